// One plugin instance: the host's ports around an SDK Instance. run() is
// allocation- and lock-free and cheap for one-sample calls: it compares the
// control values with the ones last handed over, feeds the audio through the
// instance's FIFO (flush-to-zero on, the caller's FP mode restored) and
// refreshes the meter ports every few hundred samples.
//
// activate() designs the controls it finds. Some hosts (lv2file) connect or
// write them only after activating; the first run() then waits for their
// design and starts clean at it, rather than gliding from the defaults on a
// schedule set by thread timing: nothing of the activation has been heard
// yet, and offline renders stay repeatable.
#pragma once

#include <cstdint>
#include <vector>

#include "inline_display.hpp"
#include "plugin_formats.hpp"
#include "port_layout.hpp"
#include "settings_designer.hpp"
#include "stemstrip/instance.hpp"

namespace stemstrip::lv2 {

class StripPlugin {
public:
    // Throws UsageError for a sample rate the strip cannot run at.
    // `inlineHost`: the host's inline-display feature, or null.
    StripPlugin(const Plugin& plugin, double sampleRate, const LV2_Inline_Display* inlineHost);

    void connect(uint32_t port, void* data);
    void activate();
    void run(uint32_t n);
    InlineDisplay& inlineDisplay() { return inlineDisplay_; }

private:
    bool takeChangedControls();
    void clearMeters();
    void refreshMeters(uint32_t n);
    void writeMeterPorts();

    const Plugin& plugin_;
    const PluginFormat& format_;
    PortLayout layout_;
    Instance strip_;
    std::vector<const float*> audioIn_, controlIn_;
    std::vector<float*> audioOut_;
    const float* key_ = nullptr;  // stays null in plain plugins
    std::vector<float*> meterOut_;  // peaks in, peaks out, compressor, expander
    float* latencyOut_ = nullptr;
    std::vector<float> handedOver_;  // control values the designer last got
    std::vector<float> meterDb_;     // held between meter reads
    uint32_t sinceMeterRead_ = 0;
    bool firstRun_ = true;           // no run() since activate()
    InlineDisplay inlineDisplay_;
    SettingsDesigner designer_;      // last: its thread uses strip_
};

}  // namespace stemstrip::lv2
