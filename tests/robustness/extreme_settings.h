// Extreme but valid channel-strip settings, the corners a user can reach:
// infinite ratio with zero attack, thresholds at -140 dB, the longest hold,
// the largest makeup, instant and frozen smoothing.
#pragma once

#include <string>
#include <vector>

#include "stemstrip/settings.hpp"

namespace robustness {

struct NamedSettings {
    std::string name;
    stemstrip::Settings settings;
};

std::vector<NamedSettings> ExtremeSettings();

}  // namespace robustness
