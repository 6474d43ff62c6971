// Port indices of one plugin: audio inputs (WAV order), the side-chain key
// (side-chain plugins only), audio outputs, the shared input controls, the
// meters and the latency, then the detector-group controls. Simple file
// hosts treat every audio input, key included, as a file channel in index
// order, so the key comes right after the programme. The group controls
// came later than the rest and go last, so earlier ports keep their indices.
#pragma once

#include "control_ports.hpp"
#include "plugin_formats.hpp"

namespace stemstrip::lv2 {

class PortLayout {
public:
    explicit PortLayout(const Plugin& p);

    int channels() const { return channels_; }
    bool hasKey() const { return key_; }
    int controls() const { return shared_ + groups_; }  // entries of ControlPortsOf

    int audioIn(int port) const { return port; }
    int key() const { return channels_; }  // only when hasKey()
    int audioOut(int port) const { return channels_ + key_ + port; }
    int peakIn(int port) const { return audioOut(channels_) + shared_ + port; }
    int peakOut(int port) const { return peakIn(channels_) + port; }
    int compReduction() const { return peakOut(channels_); }
    int expReduction() const { return compReduction() + 1; }
    int latency() const { return expReduction() + 1; }
    int count() const { return latency() + 1 + groups_; }

    // Port index of ControlPortsOf entry i, and the inverse (-1: not a control).
    int control(int i) const { return i < shared_ ? audioOut(channels_) + i : latency() + 1 + (i - shared_); }
    int controlAt(int port) const;

private:
    int channels_;
    int key_;
    int shared_, groups_;
};

}  // namespace stemstrip::lv2
