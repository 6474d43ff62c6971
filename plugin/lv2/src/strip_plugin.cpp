#include "strip_plugin.hpp"

#include <algorithm>
#include <bit>

#include "stemstrip.h"
#include "stemstrip/meters.hpp"

namespace stemstrip::lv2 {
namespace {

// Meter ports are for eyes: reading the instance's meters (a few dozen
// atomic exchanges) every sample would cost more than the audio does.
constexpr uint32_t kMeterReadInterval = 256;

std::vector<float> Defaults(const Plugin& p) {
    std::vector<float> v;
    for (const ControlPort& c : ControlPortsOf(p)) v.push_back(c.defaultValue);
    return v;
}

InstanceOptions PluginInstanceOptions() {
    InstanceOptions o;
    o.flushDenormals = true;  // hosts leave the FP mode alone; decaying tails would go denormal
    return o;
}

}  // namespace

StripPlugin::StripPlugin(const Plugin& plugin, double sampleRate, const LV2_Inline_Display* inlineHost)
    : plugin_(plugin),
      format_(plugin.format),
      layout_(plugin),
      strip_(format_.format, Settings{}, sampleRate, PluginInstanceOptions()),
      audioIn_(layout_.channels()),
      controlIn_(layout_.controls()),
      audioOut_(layout_.channels()),
      meterOut_(2 * layout_.channels() + 2),
      handedOver_(Defaults(plugin)),
      meterDb_(meterOut_.size()),
      inlineDisplay_(plugin, sampleRate, inlineHost),
      designer_(strip_, plugin, handedOver_.size()) {
    clearMeters();
}

void StripPlugin::connect(uint32_t port, void* data) {
    const int p = static_cast<int>(port);
    auto* f = static_cast<float*>(data);
    if (const int c = layout_.controlAt(p); c >= 0) controlIn_[c] = f;
    else if (p < layout_.channels()) audioIn_[p] = f;
    else if (layout_.hasKey() && p == layout_.key()) key_ = f;
    else if (p < layout_.audioOut(layout_.channels())) audioOut_[p - layout_.audioOut(0)] = f;
    else if (p >= layout_.peakIn(0) && p < layout_.latency()) meterOut_[p - layout_.peakIn(0)] = f;
    else if (p == layout_.latency()) latencyOut_ = f;
}

void StripPlugin::activate() {
    const std::vector<ControlPort>& ports = ControlPortsOf(plugin_);
    for (size_t i = 0; i < ports.size(); ++i) handedOver_[i] = controlIn_[i] ? *controlIn_[i] : ports[i].defaultValue;
    designer_.restartAt(handedOver_);
    inlineDisplay_.publishControls(handedOver_);
    clearMeters();
    firstRun_ = true;
    if (latencyOut_) *latencyOut_ = static_cast<float>(strip_.latency());  // for hosts that ask before run()
}

// Peaks at silence, gain reductions at none.
void StripPlugin::clearMeters() {
    std::fill(meterDb_.begin(), meterDb_.end() - 2, kMeterFloorDb);
    std::fill(meterDb_.end() - 2, meterDb_.end(), 0.0f);
    sinceMeterRead_ = 0;
}

void StripPlugin::run(uint32_t n) {
    if (takeChangedControls()) {
        if (firstRun_) {
            designer_.requestAndWait(handedOver_);
            strip_.reset();
        } else {
            designer_.request(handedOver_);
        }
        inlineDisplay_.publishControls(handedOver_);
    }
    firstRun_ = false;
    const float* in[Dyn_kMaxChannels];
    float* out[Dyn_kMaxChannels];
    for (int p = 0; p < layout_.channels(); ++p) {
        in[format_.stripChannel[p]] = audioIn_[p];
        out[format_.stripChannel[p]] = audioOut_[p];
    }
    // An unconnected side-chain leaves the programme's first channel as key.
    strip_.process(in, out, static_cast<int>(n), key_ ? key_ : in[0]);
    refreshMeters(n);
    if (latencyOut_) *latencyOut_ = static_cast<float>(strip_.latency());
}

// Compares bit patterns, so a NaN the host keeps writing is not a change.
bool StripPlugin::takeChangedControls() {
    bool changed = false;
    for (size_t i = 0; i < handedOver_.size(); ++i) {
        const float v = *controlIn_[i];
        if (std::bit_cast<uint32_t>(v) != std::bit_cast<uint32_t>(handedOver_[i])) {
            handedOver_[i] = v;
            changed = true;
        }
    }
    return changed;
}

void StripPlugin::refreshMeters(uint32_t n) {
    sinceMeterRead_ += n;
    if (sinceMeterRead_ >= kMeterReadInterval) {
        sinceMeterRead_ = 0;
        const MeterSnapshot m = strip_.readMeters();
        if (m.samples > 0) {
            const int channels = layout_.channels();
            for (int p = 0; p < channels; ++p) {
                meterDb_[p] = m.inputPeakDb[format_.stripChannel[p]];
                meterDb_[channels + p] = m.outputPeakDb[format_.stripChannel[p]];
            }
            meterDb_[2 * channels] = m.compReductionDb;
            meterDb_[2 * channels + 1] = m.expReductionDb;
            inlineDisplay_.publishReduction(m.compReductionDb + m.expReductionDb);
        }
    }
    writeMeterPorts();
}

// Every call: a host may hand over fresh port buffers with each run().
void StripPlugin::writeMeterPorts() {
    for (size_t i = 0; i < meterOut_.size(); ++i)
        if (meterOut_[i]) *meterOut_[i] = meterDb_[i];
}

}  // namespace stemstrip::lv2
