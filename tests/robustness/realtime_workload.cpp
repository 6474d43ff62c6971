#include "realtime_workload.h"

#include <cmath>
#include <thread>

#include "extreme_settings.h"

namespace robustness {
namespace {

constexpr double kRate = 48000.0;

bool Finite(const float* v, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (!std::isfinite(v[i])) return false;
    return true;
}

// The settings of one round: the extreme corners in turn, then plain ones.
stemstrip::Settings RoundSettings(int round) {
    static const std::vector<NamedSettings> extremes = ExtremeSettings();
    if (round < static_cast<int>(extremes.size())) return extremes[round].settings;
    stemstrip::Settings s;
    s.compressor.thresholdDb = -20.0 - round;
    s.compressor.ratio = 4.0;
    return s;
}

}  // namespace

RealtimeWorkload::RealtimeWorkload() {
    for (int f = 0; f < stemstrip::kFormatCount; ++f) {
        const auto format = static_cast<stemstrip::Format>(f);
        const stemstrip::CoefficientSet start = stemstrip::Design(stemstrip::Settings{}, format, kRate);
        const int n = stemstrip::ChannelCount(format);
        Format entry{format, std::make_unique<CoreBank>(format, start, 2, kSamples),
                     std::make_unique<stemstrip::runtime::TripleBuffer<stemstrip::CoefficientSet>>(start),
                     std::make_unique<stemstrip::Instance>(format, stemstrip::Settings{}, kRate,
                                                             stemstrip::InstanceOptions{.flushDenormals = f % 2 == 1}),
                     {}, {}, {}, {}};
        for (int m = 0; m < 2; ++m)
            for (int c = 0; c < n; ++c)
                for (int i = 0; i < kSamples; ++i)
                    entry.bank->input(m, c)[i] = 0.5f * std::sin(0.01f * static_cast<float>((c + 1) * i));
        entry.in.assign(n, std::vector<float>(kSamples));
        entry.out.assign(n, std::vector<float>(kSamples));
        for (int c = 0; c < n; ++c) {
            for (int i = 0; i < kSamples; ++i) entry.in[c][i] = (i % 64 < 32 ? 0.8f : -0.01f) / static_cast<float>(c + 1);
            entry.inPtrs.push_back(entry.in[c].data());
            entry.outPtrs.push_back(entry.out[c].data());
        }
        formats_.push_back(std::move(entry));
    }
}

void RealtimeWorkload::RunControl() {
    for (int round = 0; round < kRounds; ++round) {
        for (Format& f : formats_) {
            const stemstrip::Settings s = RoundSettings(round);
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

void RealtimeWorkload::RunAudio() {
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

bool RealtimeWorkload::AllFinite() const {
    for (const Format& f : formats_) {
        for (int m = 0; m < 2; ++m) {
            if (!Finite(f.bank->meters(m), 3 * f.bank->channels() + 4)) return false;
            for (int c = 0; c < f.bank->channels(); ++c)
                if (!Finite(f.bank->output(m, c), kSamples)) return false;
        }
        for (const auto& b : f.out)
            if (!Finite(b.data(), b.size())) return false;
    }
    return true;
}

}  // namespace robustness
