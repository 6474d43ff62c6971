#include "interleaved_timing.h"

#include <algorithm>
#include <ctime>

namespace peers {

namespace {

double ThreadCpuNs() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return t.tv_sec * 1e9 + t.tv_nsec;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const size_t m = v.size() / 2;
    return v.size() % 2 ? v[m] : (v[m - 1] + v[m]) / 2;
}

// Streams plan.streamSamples through `call`, continuing from `position`.
double TimeStream(const CallFn& call, const StreamPlan& plan, int& position) {
    const double start = ThreadCpuNs();
    for (int done = 0; done < plan.streamSamples; done += plan.callSamples) {
        call(position, plan.callSamples);
        position = (position + plan.callSamples) % plan.programmeLength;
    }
    return (ThreadCpuNs() - start) / plan.streamSamples;
}

}  // namespace

std::vector<double> InterleavedMedianNsPerSample(const std::vector<CallFn>& contenders, const StreamPlan& plan) {
    const size_t n = contenders.size();
    std::vector<int> positions(n, 0);
    for (size_t i = 0; i < n; ++i) TimeStream(contenders[i], plan, positions[i]);  // warm-up
    std::vector<std::vector<double>> samples(n);
    for (int rep = 0; rep < plan.repetitions; ++rep)
        for (size_t k = 0; k < n; ++k) {
            const size_t i = (rep + k) % n;
            samples[i].push_back(TimeStream(contenders[i], plan, positions[i]));
        }
    std::vector<double> medians;
    for (auto& s : samples) medians.push_back(Median(std::move(s)));
    return medians;
}

}  // namespace peers
