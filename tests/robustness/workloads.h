// The robustness tests' workloads: the extreme corners of the settings, and
// the processing path of a host's audio thread for the real-time proofs:
// Instance::process in every format (the core's entries, the settings
// handoff, the meter exchange, the FIFO of odd lengths, every other format
// inside its flush-to-zero scope), while a control thread keeps changing
// settings and reading meters. The core's entries need no bracket of their
// own: the library is freestanding (tests/library proves it imports nothing).
//
// Everything the audio side touches is allocated before it starts; the
// audio side itself runs inside whatever bracket the test's audio thread
// puts around it (exit-only seccomp, RealtimeSanitizer) and only writes
// results to preallocated memory.
#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "stemstrip/instance.hpp"

namespace robustness {

struct NamedSettings {
    std::string name;
    stemstrip::Settings settings;
};

// Extreme but valid channel-strip settings, the corners a user can reach:
// infinite ratio with zero attack, thresholds at -140 dB, the longest hold,
// the largest makeup, instant and frozen smoothing.
inline std::vector<NamedSettings> ExtremeSettings() {
    using namespace stemstrip;
    Settings limiter, gate, knees, eq, slow;
    limiter.compressor = {.thresholdDb = -140.0, .ratio = std::numeric_limits<double>::infinity(), .attackMs = 0.0,
                          .releaseMs = 0.0, .maxReductionDb = 200.0, .makeupDb = 60.0};
    gate.expander = {.thresholdDb = -140.0, .ratio = 100.0, .rangeDb = 200.0, .gate = true, .gateThresholdDb = -140.0,
                     .hysteresisDb = 60.0, .holdMs = 10000.0, .attackMs = 0.0, .releaseMs = 0.0};
    gate.detector = {.mode = DetectorMode::Average, .averageMs = 0.0};
    knees.compressor = {.thresholdDb = 24.0, .ratio = 1e9, .kneeDb = 60.0};
    knees.expander = {.thresholdDb = 24.0, .ratio = 100.0, .kneeDb = 60.0};
    knees.detector = {.peakDecayMs = 60000.0, .filter = SideChainFilter::BandPass, .filterHz = 23999.0, .filterQ = 30.0};
    for (int i = 0; i < kMaxBands; ++i)
        eq.bands[i] = {.enabled = true, .type = i % 2 ? BandType::LowShelf : BandType::Bell,
                       .placement = i < 4 ? Placement::PreDynamics : Placement::PostDynamics,
                       .frequencyHz = i % 2 ? 10.0 : 23999.0, .gainDb = 30.0, .q = 30.0};
    eq.smoothingMs = 0.0;  // instant glide
    eq.compressor.makeupDb = -60.0;
    slow.smoothingMs = 10000.0;
    slow.compressor = {.thresholdDb = -200.0, .ratio = 20.0, .attackMs = 10000.0, .releaseMs = 10000.0};
    slow.inputMeterTrimDb = 60.0;
    return {{"brickwall_at_minus_140_with_huge_makeup", limiter}, {"gate_at_minus_140_longest_hold", gate},
            {"widest_knees_slowest_decay_sharpest_key_filter", knees}, {"eight_bands_at_full_boost_instant_glide", eq},
            {"slowest_everything_floor_threshold", slow}};
}

// Runs `body` on a thread of its own; true: it ran.
inline bool OnAThread(const std::function<void()>& body) {
    std::thread(body).join();
    return true;
}

// The control side on a thread of its own, the audio side on the thread
// `audioThread(body)` runs it on (false: it could not run at all); "" when
// it ran, took new settings, and every output sample is finite.
inline std::string RunRealtimeWorkload(
    const std::function<bool(const std::function<void()>&)>& audioThread = OnAThread) {
    constexpr int kRounds = 6;     // each after a fresh settings change
    constexpr int kSamples = 256;  // per call
    // Every channel of every format (7.1's eight at most) gets one square wave.
    std::vector<float> in(kSamples);
    for (int i = 0; i < kSamples; ++i) in[i] = i % 64 < 32 ? 0.8f : -0.01f;
    const std::vector<const float*> inPtrs(8, in.data());
    struct Strip {
        std::unique_ptr<stemstrip::Instance> instance;
        std::vector<std::vector<float>> out;
        std::vector<float*> outPtrs;
    };
    std::vector<Strip> strips;
    for (int f = 0; f < stemstrip::kFormatCount; ++f) {
        Strip& s = strips.emplace_back();
        s.instance = std::make_unique<stemstrip::Instance>(static_cast<stemstrip::Format>(f), stemstrip::Settings{},
                                                           48000.0, stemstrip::InstanceOptions{.flushDenormals = f % 2 == 1});
        s.out.assign(s.instance->channels(), std::vector<float>(kSamples));
        for (auto& b : s.out) s.outPtrs.push_back(b.data());
    }
    std::atomic<int> published{0};
    std::atomic<bool> audioDone{false};
    // The deepest compressor reduction read: the first round's limiter at
    // -140 dB shows whether the audio side took new settings.
    float deepest = 0.0f;
    auto readMeters = [&] {
        for (Strip& s : strips) deepest = std::max(deepest, s.instance->readMeters().compReductionDb);
    };

    // Control thread: changes every format's settings kRounds times, the
    // extreme corners in turn, then plain ones, reading meters until the
    // audio side is done.
    std::thread control([&] {
        const std::vector<NamedSettings> extremes = ExtremeSettings();
        for (int round = 0; round < kRounds; ++round) {
            stemstrip::Settings settings{.compressor = {.thresholdDb = -20.0 - round, .ratio = 4.0}};
            if (round < static_cast<int>(extremes.size())) settings = extremes[round].settings;
            for (Strip& s : strips) s.instance->setSettings(settings);
            published.store(round + 1, std::memory_order_release);
        }
        while (!audioDone.load()) {
            readMeters();
            std::this_thread::yield();
        }
    });
    // Audio side: kRounds rounds over every format, each waiting (by
    // spinning, no system call) for its settings change first.
    const bool ran = audioThread([&] {
        for (int round = 0; round < kRounds; ++round) {
            while (published.load(std::memory_order_acquire) <= round) {
            }
            for (Strip& s : strips)
                for (int call = 0; call < 3; ++call)  // odd lengths go through the instance's FIFO
                    s.instance->process(inPtrs.data(), s.outPtrs.data(), call == 1 ? 1 : kSamples - 17 * call);
        }
    });
    audioDone.store(true);  // also when it could not run at all
    control.join();

    if (!ran) return "the audio side could not run";
    readMeters();
    if (!(deepest > 0.0f)) return "no settings taken";
    for (const Strip& s : strips)
        for (const auto& b : s.out)
            if (!std::all_of(b.begin(), b.end(), [](float x) { return std::isfinite(x); })) return "an output";
    return "";
}

}  // namespace robustness
