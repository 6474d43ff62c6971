// Port indices of one plugin: audio inputs (WAV order), the side-chain key,
// audio outputs, the input controls, then the meters and the latency.
// Simple file hosts treat every audio input, key included, as a file
// channel in index order, so the key comes right after the programme.
#pragma once

#include "control_ports.hpp"
#include "plugin_formats.hpp"

namespace stemstrip::lv2 {

class PortLayout {
public:
    explicit PortLayout(const PluginFormat& f)
        : channels_(static_cast<int>(f.ports.size())), controls_(static_cast<int>(ControlPorts().size())) {}

    int channels() const { return channels_; }
    int controls() const { return controls_; }

    int audioIn(int port) const { return port; }
    int key() const { return channels_; }
    int audioOut(int port) const { return channels_ + 1 + port; }
    int control(int i) const { return 2 * channels_ + 1 + i; }
    int peakIn(int port) const { return control(controls_) + port; }
    int peakOut(int port) const { return peakIn(channels_) + port; }
    int compReduction() const { return peakOut(channels_); }
    int expReduction() const { return compReduction() + 1; }
    int latency() const { return expReduction() + 1; }
    int count() const { return latency() + 1; }

private:
    int channels_;
    int controls_;
};

}  // namespace stemstrip::lv2
