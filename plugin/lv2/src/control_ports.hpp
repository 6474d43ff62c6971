// The plugin's input controls, one table for every format: the Turtle
// generator writes the ports from it and the plugin turns their values into
// Settings with it, so the two cannot drift apart.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "stemstrip/settings.hpp"

namespace stemstrip::lv2 {

enum class Unit { None, Hz, Db, Ms };
enum class Hint { Linear, Logarithmic, Toggle, Enumeration };

struct ScalePoint {
    std::string_view label;
    float value;
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
    // Stores an in-range value (see SettingsFromControls) into the settings.
    void (*apply)(Settings& s, int band, float value) = nullptr;
};

// Ratios at or above this are infinite (the compressor limits).
inline constexpr float kLimitRatio = 100.0f;

// In port order, after the audio ports.
const std::vector<ControlPort>& ControlPorts();

}  // namespace stemstrip::lv2
