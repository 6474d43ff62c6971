// A chain of LV2 plugins run in series over stereo audio. Mono plugins get
// one instance per channel. Stages hand audio on through two scratch buffers.
#pragma once

#include <lilv/lilv.h>

#include <array>
#include <memory>
#include <vector>

#include "host_features.h"
#include "peer_chains.h"
#include "plugin_instance.h"

namespace peers {

class PeerChain {
public:
    static constexpr int kChannels = 2;

    // Throws PluginMissing when a plugin is not installed, std::runtime_error
    // naming the control when a setting does not fit the plugin.
    PeerChain(LilvWorld* world, HostFeatures& host, const ChainSpec& spec, double sampleRate, int maxBlockLength);

    // One host cycle: `samples` of each input channel into the chain.
    void Process(const float* const* inputs, int samples);

    const float* Output(int channel) const { return outputs_[channel]; }

private:
    struct StageInstances {
        std::vector<std::unique_ptr<PluginInstance>> plugins;  // 1 stereo, or 1 per channel
    };
    std::vector<StageInstances> stages_;
    std::array<std::vector<float>, 2 * kChannels> scratch_;
    std::array<float*, kChannels> outputs_{};
};

}  // namespace peers
