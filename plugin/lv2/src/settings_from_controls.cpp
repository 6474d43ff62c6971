#include "settings_from_controls.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "stemstrip/design.hpp"

namespace stemstrip::lv2 {
namespace {

// The decimal a person would write for a port value, as a double: the
// shortest text that reads back as the same float. A host or a preset holds
// 0.707 as the float nearest to it; the settings then get 0.707 itself, as
// a preset file or an override would give them, not that float's excess
// digits.
double Decimal(float v) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, v).ptr;
    double d = v;
    std::from_chars(text, end, d);
    return d;
}

void Store(const ControlPort& port, FieldRef field, float v) {
    std::visit(
        [&]<class T>(T* f) {
            if constexpr (std::is_same_v<T, double>) {
                if (port.mapping == Mapping::TopIsInfinite && v >= port.max) *f = std::numeric_limits<double>::infinity();
                else if (port.mapping == Mapping::BottomIsZero && v <= port.min) *f = 0;
                else *f = Decimal(v);
            }
            else if constexpr (std::is_same_v<T, bool>)
                *f = (v > 0.5f) != (port.mapping == Mapping::Inverted);
            else
                *f = static_cast<T>(v);
        },
        field);
}

float Load(const ControlPort& port, FieldRef field) {
    return std::visit(
        [&]<class T>(T* f) -> float {
            if constexpr (std::is_same_v<T, double>) {
                if (port.mapping == Mapping::TopIsInfinite && std::isinf(*f)) return port.max;
                if (port.mapping == Mapping::BottomIsZero && *f == 0) return port.min;
                return static_cast<float>(*f);
            }
            else if constexpr (std::is_same_v<T, bool>)
                return *f != (port.mapping == Mapping::Inverted) ? 1.0f : 0.0f;
            else
                return static_cast<float>(static_cast<int>(*f));
        },
        field);
}

}  // namespace

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

Settings SettingsFromControls(const Plugin& plugin, std::span<const float> raw, double sampleRate) {
    const std::vector<ControlPort>& ports = ControlPortsOf(plugin);
    Settings s;
    std::array<int, 8> groups{};
    bool grouped = false;  // mono and stereo have no group ports: the format's own linking
    for (size_t i = 0; i < ports.size(); ++i) {
        const float v = Sanitise(ports[i], raw[i], sampleRate);
        if (ports[i].channel >= 0) {
            groups[ports[i].channel] = static_cast<int>(v);
            grouped = true;
        } else {
            Store(ports[i], ports[i].field(s, ports[i].band), v);
        }
    }
    if (grouped) s.channelGroups = groups;
    return s;
}

std::vector<float> ControlsFromSettings(const Plugin& plugin, const Settings& s) {
    const std::array<int, 8> groups = s.channelGroups.value_or(DefaultChannelGroups(plugin.format.format));
    Settings fields = s;  // the accessors take a mutable Settings
    std::vector<float> values;
    for (const ControlPort& port : ControlPortsOf(plugin))
        values.push_back(port.channel >= 0 ? static_cast<float>(groups[port.channel])
                                           : Load(port, port.field(fields, port.band)));
    return values;
}

}  // namespace stemstrip::lv2
