// The SDK's Instance around the core, as the plugin and the CLI run it, beside
// the bare entry call of the same table (stemstrip/full_strip/stereo/...): the
// difference is all the SDK adds per call. The non-finite guard alone is timed
// too, so its share of a full strip can be read off one run.
#include <benchmark/benchmark.h>

#include <vector>

#include "finite_guard.hpp"
#include "stemstrip/instance.hpp"
#include "timed_loops.h"

namespace bench {
namespace {

constexpr int kChannels = 2;

struct Call {
    const float* in[kChannels];
    float* out[kChannels];
};

// Streams the programme through `work`, one call of `samples` at a time.
template <class Work>
void TimeStereoCalls(benchmark::State& st, int samples, Work work) {
    const TestSignal& programme = SharedProgramme();
    std::vector<float> left(samples), right(samples);
    int position = 0;
    for (auto _ : st) {
        Call call{{programme.Channel(0) + position, programme.Channel(1) + position}, {left.data(), right.data()}};
        work(call);
        benchmark::ClobberMemory();
        position = (position + samples) % TestSignal::kLength;
    }
    ReportRates(st, samples, kChannels);
}

void TimeInstance(benchmark::State& st, int samples, bool aligned) {
    stemstrip::InstanceOptions options;
    options.alignedBlocks = aligned;
    stemstrip::Instance strip(stemstrip::Format::Stereo, PresetSettings(Preset::FullStrip), kSampleRate, options);
    TimeStereoCalls(st, samples, [&](Call& c) { strip.process(c.in, c.out, samples); });
}

void TimeGuard(benchmark::State& st, int samples) {
    TimeStereoCalls(st, samples, [&](Call& c) {
        benchmark::DoNotOptimize(stemstrip::runtime::ScanNonFinite(c.in, kChannels, nullptr, samples));
    });
}

const bool registered = [] {
    for (int call : kCallSizes) {
        const std::string size = "/stereo/samples:" + std::to_string(call) + "/instances:1";
        benchmark::RegisterBenchmark(("sdk_aligned/full_strip" + size).c_str(),
                                     [call](benchmark::State& st) { TimeInstance(st, call, true); });
        benchmark::RegisterBenchmark(("sdk_any_length/full_strip" + size).c_str(),
                                     [call](benchmark::State& st) { TimeInstance(st, call, false); });
        benchmark::RegisterBenchmark(("sdk_guard/non_finite_scan" + size).c_str(),
                                     [call](benchmark::State& st) { TimeGuard(st, call); });
    }
    return true;
}();

}  // namespace
}  // namespace bench
