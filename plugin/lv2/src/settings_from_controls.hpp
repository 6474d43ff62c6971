// Control port values to Settings and back. Total one way: whatever a host
// writes (out of range, fractional enumerations, NaN) becomes settings the
// designer accepts, so designing them never fails.
#pragma once

#include <span>
#include <vector>

#include "control_ports.hpp"

namespace stemstrip::lv2 {

// `raw[i]` is the value of ControlPortsOf(plugin)[i].
Settings SettingsFromControls(const Plugin& plugin, std::span<const float> raw, double sampleRate);

// The port values that stand for `s` (the inverse, for presets): an infinite
// ratio reads as the ratio port's top, and the group ports read the format's
// default grouping when `s` names none.
std::vector<float> ControlsFromSettings(const Plugin& plugin, const Settings& s);

// One port's value as it is applied: NaN gives the default, values are
// clamped to the port's range, toggles become 0 or 1, enumerations the
// nearest entry, and frequencies stay below 49 % of the sample rate.
float Sanitise(const ControlPort& port, float raw, double sampleRate);

}  // namespace stemstrip::lv2
