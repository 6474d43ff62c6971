// The plugin's input controls: one table shared by every plugin, plus the
// detector-group controls of the formats that can link channels. The Turtle
// generator writes the ports from it and the plugin turns their values into
// Settings with it, so the two cannot drift apart.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "plugin_formats.hpp"
#include "stemstrip/settings.hpp"

namespace stemstrip::lv2 {

enum class Unit { None, Hz, Db, Ms };
enum class Hint { Linear, Logarithmic, Toggle, Enumeration };

struct ScalePoint {
    std::string_view label;
    float value;
};

// The settings field a port stands for; one accessor serves both ways
// (controls to settings in the plugin, settings to controls for presets).
using FieldRef = std::variant<double*, bool*, BandType*, Placement*, DetectorMode*, SideChainFilter*>;

// How a port's value relates to its field, beyond a plain conversion.
enum class Mapping {
    Direct,
    Inverted,     // a toggle whose "on" is the field's false ("enabled" vs bypass)
    TopIsInfinite, // the port's maximum stands for an infinite field value
    BottomIsZero   // the minimum of a logarithmic time stands for 0 (instant)
};

struct ControlPort {
    std::string symbol;
    std::string name;
    float min, defaultValue, max;
    Unit unit = Unit::None;
    Hint hint = Hint::Linear;
    std::span<const ScalePoint> scalePoints{};
    std::string_view designation{};  // LV2 core designation, e.g. "enabled"
    int band = -1;                   // EQ band the port belongs to (its port group), or -1
    FieldRef (*field)(Settings& s, int band) = nullptr;  // null for the detector-group ports
    Mapping mapping = Mapping::Direct;
    int channel = -1;  // detector-group ports: the strip channel whose group slot it sets
};

// Ratios at or above this are infinite (the compressor limits).
inline constexpr float kLimitRatio = 100.0f;

// Every input control of a plugin. First the ones all plugins share (plain
// plugins leave out the key source), in port order after the audio ports.
// Then, in formats with more than one group slot, one port per speaker in
// port order: the group slot (channelGroups entry) of its strip channel,
// defaulting to the SDK's default grouping; these come last of all ports.
// `p` must be an element of Plugins().
const std::vector<ControlPort>& ControlPortsOf(const Plugin& p);

}  // namespace stemstrip::lv2
