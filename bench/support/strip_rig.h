// Host side of one benchmark: every block the core needs for a set of
// instances of one format, built once, so timed loops do nothing but call the
// entry. All instances share the coefficient blocks and the input audio
// (read-only, as a host may share them); each has its own states and outputs.
#pragma once

#include <memory>
#include <vector>

#include "formats.h"
#include "stemstrip.h"
#include "strip_presets.h"
#include "test_signal.h"

namespace bench {

class StripRig {
public:
    // maxCallSamples: the largest call this rig will make, a multiple of 16.
    StripRig(const StemFormat& format, int instances, int maxCallSamples, const StripPreset& preset);
    StripRig(const StripRig&) = delete;
    StripRig& operator=(const StripRig&) = delete;

    // Glide snapped to the targets, states and meters zeroed.
    void Reset();

    void SetCallSamples(int samples);

    // Points the inputs at `position` (a multiple of the call size) of `audio`,
    // a TestSignal or Silence with at least as many channels as the format.
    // Each instance reads its own stretch, as separate tracks would, so many
    // instances do not all hit the same cache lines.
    template <class Audio>
    void Feed(const Audio& audio, int position) {
        for (size_t i = 0; i < instances_.size(); ++i) {
            const int start = (position + static_cast<int>(i) * kInstanceStride) % TestSignal::kLength;
            for (int c = 0; c < format_.channels; ++c) instances_[i]->inputs[c] = audio.Channel(c) + start;
        }
    }

    void Process() { format_.entry(contexts_.data(), contexts_.data() + contexts_.size()); }

    const StemFormat& Format() const { return format_; }
    int Instances() const { return static_cast<int>(instances_.size()); }
    int CallSamples() const { return sampleCount_; }
    SChannelStrip_Alg_Context* const* Begin() const { return contexts_.data(); }
    const void* End() const { return contexts_.data() + contexts_.size(); }
    const StripPreset& Preset() const { return preset_; }

    // Instance state, for inspection and for saving and restoring a moment.
    struct State {
        std::vector<Dyn_SState> dyn;
        EQ_SDezipCoefs eqCoefs;
        std::vector<EQ_SState> eq;
        std::vector<float> meters;  // the private block
    };
    State& InstanceState(int i) { return instances_[i]->state; }
    const State& InstanceState(int i) const { return instances_[i]->state; }
    const float* Output(int instance, int channel) const { return instances_[instance]->outputs[channel].data(); }

    std::vector<State> Save() const;
    void Restore(const std::vector<State>& saved);

private:
    static constexpr int kInstanceStride = 3 * 1024;

    struct Instance {
        State state;
        std::vector<const float*> inputs;
        std::vector<std::vector<float>> outputs;
        std::vector<float*> outputPtrs;
        float* meterBlock = nullptr;
        SChannelStrip_Alg_Context context{};
    };

    StemFormat format_;
    StripPreset preset_;
    int maxCallSamples_;
    int32_t sampleCount_;
    int32_t keyIndex_ = 0;
    std::vector<std::unique_ptr<Instance>> instances_;
    std::vector<SChannelStrip_Alg_Context*> contexts_;
};

}  // namespace bench
