// One instance of the core: its context and every block behind it in one
// cache-line aligned allocation, written so that the first call already runs
// at the designed settings.
#pragma once

#include <memory>
#include <utility>

#include "stemstrip.h"
#include "stemstrip/design.hpp"

namespace stemstrip::runtime {

AlgEntry_Fn EntryFor(Format f);

class CoreStrip {
public:
    explicit CoreStrip(Format f);

    int channels() const { return channels_; }
    SChannelStrip_Alg_Context* context() { return &blocks_->context; }

    // Clean start at `set`: meters zeroed, and the designed start state
    // (see restart()).
    void start(const CoefficientSet& set);
    // New targets while running; the core glides the smoothed values there.
    void retarget(const CoefficientSet& set);

    // Points the context at these buffers for the next entry call. Every
    // buffer must hold `n` rounded up to 16 samples; `key` may be null.
    void bind(const float* const* inputs, float* const* outputs, const float* key, int n);
    // Binds and runs this instance alone, then recovers (below).
    void run(const float* const* inputs, float* const* outputs, const float* key, int n);
    // After an entry call over the bound n samples: finite inputs can still
    // drive a state to infinity or NaN under extreme settings, and the core
    // would keep it for good. Then the state restarts and the call's
    // non-finite output samples become 0.
    void recoverIfNonFinite();
    // Restarts since the previous call, then cleared (for the meters).
    int takeStateResets() { return std::exchange(stateResets_, 0); }

    // The private block's meter arrays (owned by the audio thread).
    float* inputPeaks() { return blocks_->privateBlock; }
    float* outputPeaks() { return blocks_->privateBlock + channels_; }
    float* dynamicsRun() { return blocks_->privateBlock + 2 * channels_; }  // 4 + N values
    int privateFloats() const { return 3 * channels_ + 4; }

private:
    // The designed start state at the current targets: filters and envelopes
    // zeroed, the EQ glide and the smoothed dynamics parameters at their
    // targets, gains at 0 dB with the gate open.
    void restart();
    bool stateIsFinite() const;

    struct alignas(64) Blocks {
        SChannelStrip_Alg_Context context;
        const float* inputs[Dyn_kMaxChannels + 1];  // the channels, then the key
        float* outputs[Dyn_kMaxChannels];
        int32_t keyIndex;
        int32_t sampleCount;
        float* privatePointer;
        alignas(64) Dyn_SCoefsBlock dyn;
        alignas(64) Dyn_SState dynState[Dyn_kMaxChannels];
        alignas(64) EQ_SCoefs eqTarget;
        alignas(64) EQ_SDezipCoefs eqCoefs;
        alignas(64) EQ_SState eqState[Dyn_kMaxChannels];
        alignas(64) float privateBlock[3 * Dyn_kMaxChannels + 4];
    };

    AlgEntry_Fn entry_;
    int channels_;
    float dezipRate_ = 0.0f;
    int stateResets_ = 0;
    std::unique_ptr<Blocks> blocks_;  // heap: the context's pointers stay valid when a CoreStrip moves
};

}  // namespace stemstrip::runtime
