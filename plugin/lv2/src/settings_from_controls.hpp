// Control port values to Settings. Total: whatever a host writes (out of
// range, fractional enumerations, NaN) becomes settings the designer
// accepts, so designing them never fails.
#pragma once

#include <span>

#include "control_ports.hpp"

namespace stemstrip::lv2 {

// `raw[i]` is the value of ControlPorts()[i].
Settings SettingsFromControls(std::span<const float> raw, double sampleRate);

// One port's value as it is applied: NaN gives the default, values are
// clamped to the port's range, toggles become 0 or 1, enumerations the
// nearest entry, and frequencies stay below 49 % of the sample rate.
float Sanitise(const ControlPort& port, float raw, double sampleRate);

}  // namespace stemstrip::lv2
