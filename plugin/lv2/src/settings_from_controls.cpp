#include "settings_from_controls.hpp"

#include <algorithm>
#include <cmath>

#include "stemstrip/design.hpp"

namespace stemstrip::lv2 {

float Sanitise(const ControlPort& port, float raw, double sampleRate) {
    // A NaN becomes the default, which then goes through the same checks:
    // a default frequency can be above what a low sample rate allows.
    float v = std::clamp(std::isnan(raw) ? port.defaultValue : raw, port.min, port.max);
    switch (port.hint) {
        case Hint::Toggle: return v > 0.0f ? 1.0f : 0.0f;  // LV2: above zero is on
        case Hint::Enumeration: return std::round(v);
        case Hint::Linear:
        case Hint::Logarithmic: break;
    }
    // A plugin cannot refuse a value: a frequency the rate cannot play is
    // clamped to the highest one the SDK accepts.
    if (port.unit == Unit::Hz) v = std::min(v, HighestFrequencyHz(sampleRate));
    return v;
}

Settings SettingsFromControls(std::span<const float> raw, double sampleRate) {
    const std::vector<ControlPort>& ports = ControlPorts();
    Settings s;
    for (size_t i = 0; i < ports.size(); ++i) ports[i].apply(s, ports[i].band, Sanitise(ports[i], raw[i], sampleRate));
    return s;
}

}  // namespace stemstrip::lv2
