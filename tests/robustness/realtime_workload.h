// The processing path of a host's audio thread, for the real-time proofs:
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
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "extreme_settings.h"
#include "stemstrip/instance.hpp"

namespace robustness {

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
    // Every format's input (7.1's eight channels at most): a square wave,
    // quieter in every further channel.
    std::vector<std::vector<float>> in(8, std::vector<float>(kSamples));
    std::vector<const float*> inPtrs;
    for (int c = 0; c < 8; ++c) {
        for (int i = 0; i < kSamples; ++i) in[c][i] = (i % 64 < 32 ? 0.8f : -0.01f) / static_cast<float>(c + 1);
        inPtrs.push_back(in[c].data());
    }
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
