// The curves the interface and the inline display draw, computed with the
// SDK's analysis from the plugin's control values: each band's response, the
// EQ stages before and after the dynamics and their sum, and the dynamics'
// static transfer.
#pragma once

#include <span>
#include <vector>

#include "plugin_formats.hpp"
#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip::lv2 {

// Range of the frequency axis.
inline constexpr double kLowestHz = 20.0, kHighestHz = 20000.0;

struct EqCurves {
    std::vector<double> frequencies;          // log-spaced over the axis
    std::vector<std::vector<double>> bands;   // dB per band; empty for a disabled band
    std::vector<double> pre, post, total;     // dB
};

// What the controls design to. Total: any values a host holds design.
struct DesignedControls {
    Settings settings;
    CoefficientSet coefficients;
};
DesignedControls DesignControls(const Plugin& plugin, std::span<const float> controls, double sampleRate);

EqCurves ComputeEqCurves(const DesignedControls& d, double sampleRate, int points);

// Frequency of point i of n on the axis.
double AxisFrequency(int i, int n);

}  // namespace stemstrip::lv2
