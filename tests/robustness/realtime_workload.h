// The processing path of a host's audio thread, for the real-time proofs:
// every format through the core's entries (new coefficient blocks taken
// from a lock-free handoff between calls) and through the SDK's
// Instance::process (its own settings handoff and meter snapshot, every
// other format inside its flush-to-zero scope), while a control thread
// keeps changing settings and reading meters.
//
// Everything the audio side touches is allocated before it starts; the
// audio side itself runs inside whatever bracket the test wraps around
// RunAudio() (strict seccomp, RealtimeSanitizer) and only writes results to
// preallocated memory.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core_bank.h"
#include "extreme_settings.h"
#include "stemstrip/design.hpp"
#include "stemstrip/instance.hpp"
#include "triple_buffer.hpp"

namespace robustness {

class RealtimeWorkload {
public:
    static constexpr int kRounds = 6;     // each after a fresh settings change
    static constexpr int kSamples = 256;  // per call
    static constexpr double kRate = 48000.0;

    // The control side on a thread of its own, the audio side on the thread
    // `audioThread(body)` runs it on (false: it could not run at all); ""
    // when it ran every round, took new settings, and every meter value and
    // output sample of both paths is finite.
    static bool OnAThread(const std::function<void()>& body) {
        std::thread(body).join();
        return true;
    }
    template <class AudioThread = decltype(&OnAThread)>
    static std::string Run(AudioThread audioThread = &OnAThread) {
        RealtimeWorkload work;
        std::thread control([&] { work.RunControl(); });
        const bool ran = audioThread([&] { work.RunAudio(); });
        if (!ran) work.abandoned_.store(true);  // releases RunControl
        control.join();
        return ran ? work.Problems() : "the audio side could not run";
    }

private:
    RealtimeWorkload() {
        for (int f = 0; f < stemstrip::kFormatCount; ++f) {
            const auto format = static_cast<stemstrip::Format>(f);
            const stemstrip::CoefficientSet start = stemstrip::Design(stemstrip::Settings{}, format, kRate);
            const int n = stemstrip::ChannelCount(format);
            Format& e = formats_.emplace_back(Format{
                format, std::make_unique<CoreBank>(format, start, 2, kSamples),
                std::make_unique<stemstrip::runtime::TripleBuffer<stemstrip::CoefficientSet>>(start),
                std::make_unique<stemstrip::Instance>(format, stemstrip::Settings{}, kRate,
                                                        stemstrip::InstanceOptions{.flushDenormals = f % 2 == 1}),
                std::vector<std::vector<float>>(n, std::vector<float>(kSamples)), {}, {}});
            // A sine into the core's instances, a square into the SDK's.
            for (int c = 0; c < n; ++c) {
                for (int i = 0; i < kSamples; ++i) {
                    e.bank->input(0, c)[i] = 0.5f * std::sin(0.01f * static_cast<float>((c + 1) * i));
                    e.bank->input(1, c)[i] = (i % 64 < 32 ? 0.8f : -0.01f) / static_cast<float>(c + 1);
                }
                e.inPtrs.push_back(e.bank->input(1, c));
                e.outPtrs.push_back(e.out[c].data());
            }
        }
    }

    // Control thread: changes every format's settings kRounds times (core
    // handoff and Instance::setSettings), reading meters until the audio
    // side is done. The settings of a round: the extreme corners in turn,
    // then plain ones.
    void RunControl() {
        const std::vector<NamedSettings> extremes = ExtremeSettings();
        for (int round = 0; round < kRounds; ++round) {
            stemstrip::Settings s{.compressor = {.thresholdDb = -20.0 - round, .ratio = 4.0}};
            if (round < static_cast<int>(extremes.size())) s = extremes[round].settings;
            for (Format& f : formats_) {
                f.handoff->publish(stemstrip::Design(s, f.format, kRate));
                f.instance->setSettings(s);
            }
            published_.store(round + 1, std::memory_order_release);
        }
        while (roundsDone_.load(std::memory_order_acquire) < kRounds && !abandoned_.load()) {
            for (Format& f : formats_) f.instance->readMeters();
            std::this_thread::yield();
        }
    }

    // Audio thread: kRounds rounds over every format, each waiting (by
    // spinning, no system call) for its settings change first.
    void RunAudio() {
        for (int round = 0; round < kRounds; ++round) {
            while (published_.load(std::memory_order_acquire) <= round) {
            }
            for (Format& f : formats_) {
                if (const stemstrip::CoefficientSet* newest = f.handoff->takeNewest()) {
                    f.bank->retarget(*newest);
                    ++setsTaken_;
                }
                for (int call = 0; call < 3; ++call) {
                    f.bank->call();
                    // Odd lengths go through the instance's FIFO.
                    f.instance->process(f.inPtrs.data(), f.outPtrs.data(), call == 1 ? 1 : kSamples - 17 * call);
                }
            }
            roundsDone_.store(round + 1, std::memory_order_release);
        }
    }

    // "" when the audio side ran every round, took new settings, and every
    // meter value and output sample of both paths is finite.
    std::string Problems() const {
        if (roundsDone_.load() != kRounds) return std::to_string(roundsDone_.load()) + " rounds";
        if (setsTaken_ == 0) return "no settings taken";
        auto finite = [](const float* v, size_t n) { return std::all_of(v, v + n, [](float x) { return std::isfinite(x); }); };
        for (const Format& f : formats_) {
            for (int m = 0; m < 2; ++m) {
                if (!finite(f.bank->meters(m), 3 * f.bank->channels() + 4)) return "a core meter";
                for (int c = 0; c < f.bank->channels(); ++c)
                    if (!finite(f.bank->output(m, c), kSamples)) return "a core output";
            }
            for (const auto& b : f.out)
                if (!finite(b.data(), b.size())) return "an instance output";
        }
        return "";
    }

    struct Format {
        stemstrip::Format format;
        std::unique_ptr<CoreBank> bank;
        std::unique_ptr<stemstrip::runtime::TripleBuffer<stemstrip::CoefficientSet>> handoff;
        std::unique_ptr<stemstrip::Instance> instance;
        std::vector<std::vector<float>> out;
        std::vector<const float*> inPtrs;
        std::vector<float*> outPtrs;
    };
    std::vector<Format> formats_;
    std::atomic<int> published_{0}, roundsDone_{0};
    std::atomic<bool> abandoned_{false};
    int setsTaken_ = 0;
};

}  // namespace robustness
