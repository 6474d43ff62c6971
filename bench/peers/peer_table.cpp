// stemstrip (stereo full strip, one instance per call and sixteen, as a host
// with many tracks calls it) against the peer plugin chains and, when the
// tests are part of the build, the tests' scalar model, on the same
// programme and call sizes, in one process. Prints ns per sample per
// channel (median CPU time of interleaved repetitions) and the ratio to
// stemstrip. Usage: stemstrip_peer_table [repetitions]
#include <lilv/lilv.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iterator>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host_features.h"
#include "interleaved_timing.h"
#include "peer_chain.h"
#include "support/level_change.h"
#include "support/strip_rig.h"
#include "support/test_signal.h"
#ifdef STEMSTRIP_BENCH_WITH_MODEL
#include "model/strip_model.h"
#endif

namespace {

constexpr int kCallSizes[] = {16, 64, 256, 1024};
constexpr int kMaxCall = 1024;
constexpr int kStreamSamples = 48 * 1024;  // about one second per timed stream
constexpr int kManyInstances = 16;

struct Contender {
    std::string name;
    std::string caveat;
    peers::CallFn call;
    std::function<const float*(int channel)> output;  // of the last call
    int instances = 1;                                 // processed per call
};

// The strip's full-strip settings on a rig of its own, processed by `process`.
Contender StripContender(std::string name, bench::StripRig& rig, const bench::TestSignal& programme,
                         std::function<void(bench::StripRig&)> process) {
    return {std::move(name), "",
            [&rig, &programme, process](int position, int samples) {
                rig.SetCallSamples(samples);
                rig.Feed(programme, position);
                process(rig);
            },
            [&rig](int channel) { return rig.Output(0, channel); }, rig.Instances()};
}

// Contenders from `firstPeer` on are the plugin chains; the last row is the
// fastest of them at each call size.
void PrintTable(const std::vector<Contender>& contenders, size_t firstPeer, const std::vector<std::vector<double>>& ns,
                const std::vector<double>& levelDb) {
    constexpr int kColumns = 9 * static_cast<int>(std::size(kCallSizes));
    std::printf("\n%-32s %*s   %*s   %s\n", "", kColumns - 1, "ns per sample per channel", kColumns - 1,
                "ratio to stemstrip", "out/in");
    std::printf("%-32s", "chain");
    for (int size : kCallSizes) std::printf(" %8s", ("@" + std::to_string(size)).c_str());
    std::printf("   ");
    for (int size : kCallSizes) std::printf(" %8s", ("@" + std::to_string(size)).c_str());
    std::printf("\n");
    for (size_t i = 0; i < contenders.size(); ++i) {
        std::printf("%-32s", contenders[i].name.c_str());
        for (size_t s = 0; s < ns.size(); ++s) std::printf(" %8.2f", ns[s][i]);
        std::printf("   ");
        for (size_t s = 0; s < ns.size(); ++s) std::printf(" %8.2f", ns[s][i] / ns[s][0]);
        std::printf("   %+5.1f dB\n", levelDb[i]);
    }
    if (firstPeer < contenders.size()) {
        std::printf("%-32s", "fastest peer");
        std::vector<double> fastest;
        for (const auto& atSize : ns) fastest.push_back(*std::min_element(atSize.begin() + firstPeer, atSize.end()));
        for (double v : fastest) std::printf(" %8.2f", v);
        std::printf("   ");
        for (size_t s = 0; s < ns.size(); ++s) std::printf(" %8.2f", fastest[s] / ns[s][0]);
        std::printf("\n");
        for (size_t i = 1; i < firstPeer; ++i) {
            if (contenders[i].instances == 1) continue;
            const std::string label = "fastest peer vs " + std::to_string(contenders[i].instances) + " per call";
            std::printf("%-32s%*s   ", label.c_str(), 9 * static_cast<int>(std::size(kCallSizes)), "");
            for (size_t s = 0; s < ns.size(); ++s) std::printf(" %8.2f", fastest[s] / ns[s][i]);
            std::printf("\n");
        }
    }
    for (const Contender& c : contenders)
        if (!c.caveat.empty()) std::printf("  %s: %s\n", c.name.c_str(), c.caveat.c_str());
}

// Repetitions from the command line: a whole number from 1 to 1000.
int ParseRepetitions(const char* text) {
    char* end = nullptr;
    const long n = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || n < 1 || n > 1000) {
        std::fprintf(stderr, "stemstrip_peer_table: repetitions '%s' is not a whole number from 1 to 1000\n"
                             "usage: stemstrip_peer_table [repetitions (default 21)]\n", text);
        std::exit(2);
    }
    return static_cast<int>(n);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2) {
        std::fprintf(stderr, "usage: stemstrip_peer_table [repetitions (default 21)]\n");
        return 2;
    }
    const int repetitions = argc > 1 ? ParseRepetitions(argv[1]) : 21;
    const bench::TestSignal programme(peers::PeerChain::kChannels, bench::kSampleRate);
    const bench::StemFormat& stereo = bench::StereoFormat();

    const bench::StripPreset fullStrip = bench::MakePreset(bench::Preset::FullStrip, stereo);
    bench::StripRig rig(stereo, 1, kMaxCall, fullStrip);
    bench::StripRig manyRig(stereo, kManyInstances, kMaxCall, fullStrip);
    const auto process = [](bench::StripRig& r) { r.Process(); };
    std::vector<Contender> contenders{
        StripContender("stemstrip (full strip)", rig, programme, process),
        StripContender("stemstrip, 16 per call", manyRig, programme, process)};
#ifdef STEMSTRIP_BENCH_WITH_MODEL
    bench::StripRig modelRig(stereo, 1, kMaxCall, fullStrip);
    contenders.push_back(StripContender("scalar model (tests)", modelRig, programme, [](bench::StripRig& r) {
        model::Entry(r.Format().index, r.Begin(), r.End());
    }));
#endif

    const size_t firstPeer = contenders.size();

    LilvWorld* world = lilv_world_new();
    lilv_world_load_all(world);
    peers::HostFeatures host(bench::kSampleRate, kMaxCall);
    std::vector<std::unique_ptr<peers::PeerChain>> chains;
    for (const peers::ChainSpec& spec : peers::PeerChains()) {
        try {
            auto& chain = chains.emplace_back(
                std::make_unique<peers::PeerChain>(world, host, spec, bench::kSampleRate, kMaxCall));
            contenders.push_back({spec.name, spec.caveat, [&chain = *chain, &programme](int position, int samples) {
                                      const float* in[] = {programme.Channel(0) + position,
                                                           programme.Channel(1) + position};
                                      chain.Process(in, samples);
                                  },
                                  [&chain = *chain](int channel) { return chain.Output(channel); }});
        } catch (const std::runtime_error& e) {
            std::printf("skipped %s: %s\n", spec.name.c_str(), e.what());
        }
    }

    std::vector<peers::CallFn> calls;
    for (const Contender& c : contenders) calls.push_back(c.call);
    const int channels = peers::PeerChain::kChannels;
    std::vector<std::vector<double>> nsPerSampleChannel;
    for (int size : kCallSizes) {
        const peers::StreamPlan plan{size, kStreamSamples, bench::TestSignal::kLength, repetitions};
        auto perSample = peers::InterleavedMedianNsPerSample(calls, plan);
        for (size_t i = 0; i < perSample.size(); ++i) perSample[i] /= channels * contenders[i].instances;
        nsPerSampleChannel.push_back(std::move(perSample));
    }
    std::printf("stereo, 48 kHz, %d interleaved repetitions of %d samples per call size, medians of thread CPU time\n",
                repetitions, kStreamSamples);
    std::vector<double> levelDb;
    for (const Contender& c : contenders)
        levelDb.push_back(bench::LevelChangeDb(programme, channels, 256, c.call, c.output));
    PrintTable(contenders, firstPeer, nsPerSampleChannel, levelDb);

    chains.clear();
    lilv_world_free(world);
    return 0;
}
