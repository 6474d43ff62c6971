// Instances of one format started at designed settings and called together
// through the format's entry: the core alone, without the SDK's recovery
// between calls. Buffers hold one call of `samples` samples.
#pragma once

#include <memory>
#include <vector>

#include "core_strip.hpp"

namespace robustness {

class CoreBank {
public:
    CoreBank(stemstrip::Format f, const stemstrip::CoefficientSet& set, int instances, int samples)
        : entry_(stemstrip::runtime::EntryFor(f)), channels_(stemstrip::ChannelCount(f)),
          buffers_(2 * instances * channels_, std::vector<float>(samples)) {
        for (int i = 0; i < instances; ++i) {
            strips_.push_back(std::make_unique<stemstrip::runtime::CoreStrip>(f));
            strips_[i]->start(set);
            std::vector<const float*> in;
            std::vector<float*> out;
            for (int c = 0; c < channels_; ++c) {
                in.push_back(input(i, c));
                out.push_back(output(i, c));
            }
            strips_[i]->bind(in.data(), out.data(), nullptr, samples);
            contexts_.push_back(strips_[i]->context());
        }
    }

    void call() { entry_(contexts_.data(), contexts_.data() + contexts_.size()); }
    void retarget(const stemstrip::CoefficientSet& set) {
        for (auto& s : strips_) s->retarget(set);
    }

    int channels() const { return channels_; }
    float* input(int instance, int channel) { return buffers_[2 * (instance * channels_ + channel)].data(); }
    float* output(int instance, int channel) { return buffers_[2 * (instance * channels_ + channel) + 1].data(); }
    // Peaks in, peaks out, the dynamics meters: 3 * channels + 4 floats.
    float* meters(int instance) { return strips_[instance]->inputPeaks(); }

private:
    AlgEntry_Fn entry_;
    int channels_;
    std::vector<std::vector<float>> buffers_;
    std::vector<std::unique_ptr<stemstrip::runtime::CoreStrip>> strips_;
    std::vector<SChannelStrip_Alg_Context*> contexts_;
};

}  // namespace robustness
