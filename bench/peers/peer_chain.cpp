#include "peer_chain.h"

namespace peers {

PeerChain::PeerChain(LilvWorld* world, HostFeatures& host, const ChainSpec& spec, double sampleRate,
                     int maxBlockLength) {
    for (auto& s : scratch_) s.assign(maxBlockLength, 0.0f);
    for (const Stage& stage : spec.stages) {
        StageInstances instances;
        auto first = std::make_unique<PluginInstance>(world, host, stage.uri, sampleRate, maxBlockLength);
        const int perInstance = first->AudioOutputs() >= kChannels ? kChannels : 1;
        instances.plugins.push_back(std::move(first));
        for (int c = perInstance; c < kChannels; c += perInstance)
            instances.plugins.push_back(
                std::make_unique<PluginInstance>(world, host, stage.uri, sampleRate, maxBlockLength));
        for (auto& plugin : instances.plugins)
            for (const Control& control : stage.controls) plugin->SetControl(control.symbol, control.value);
        stages_.push_back(std::move(instances));
    }
}

void PeerChain::Process(const float* const* inputs, int samples) {
    std::array<float*, kChannels> in{}, out{};
    for (int c = 0; c < kChannels; ++c) in[c] = const_cast<float*>(inputs[c]);
    int target = 0;
    for (StageInstances& stage : stages_) {
        for (int c = 0; c < kChannels; ++c) out[c] = scratch_[target * kChannels + c].data();
        const int perInstance = kChannels / static_cast<int>(stage.plugins.size());
        for (size_t i = 0; i < stage.plugins.size(); ++i) {
            const size_t first = i * perInstance;
            stage.plugins[i]->ConnectAudio(in.data() + first, out.data() + first, perInstance);
            stage.plugins[i]->Run(samples);
        }
        in = out;
        target ^= 1;
    }
    outputs_ = in;
}

}  // namespace peers
