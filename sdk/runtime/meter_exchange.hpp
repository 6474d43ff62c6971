// Meters from the audio thread to any reader. After each call the audio
// thread folds the core's meter block into running maxima and clears the
// block (the core only ever raises its meters). A reader takes every maximum
// and resets it in the same atomic exchange, so it gets exactly what
// happened since its previous read and nothing is lost between the two
// threads. Lock-free on both sides.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "core_strip.hpp"
#include "finite_guard.hpp"
#include "stemstrip/meters.hpp"

namespace stemstrip::runtime {

class MeterExchange {
public:
    explicit MeterExchange(int channels) : channels_(channels) {}

    // Audio thread, after the core ran `samples` samples.
    void foldAndClear(CoreStrip& core, std::int64_t samples);

    // Audio thread: non-finite input samples found at the door; `position`
    // is the input sample index of the call's first sample.
    void countNonFinite(const NonFiniteScan& scan, std::int64_t position);
    void countMissingKey() { missingKeyCalls_.fetch_add(1, std::memory_order_relaxed); }

    // Any thread: maxima since the previous read, then cleared.
    MeterSnapshot read();

private:
    static void raise(std::atomic<float>& held, float value);
    static float take(std::atomic<float>& held) { return held.exchange(0.0f, std::memory_order_relaxed); }

    static_assert(std::atomic<float>::is_always_lock_free);
    int channels_;
    std::array<std::atomic<float>, 8> inputPeak_{}, outputPeak_{}, channelGain_{};
    std::atomic<float> compReduction_{0.0f}, expReduction_{0.0f};  // linear: 1 - gain
    std::array<std::atomic<std::int64_t>, 9> nonFinite_{};  // the channels, then the key
    std::atomic<std::int64_t> samples_{0}, stateResets_{0}, missingKeyCalls_{0};
    std::atomic<std::int64_t> firstNonFinite_{kNone};
    static constexpr std::int64_t kNone = INT64_MAX;
};

}  // namespace stemstrip::runtime
