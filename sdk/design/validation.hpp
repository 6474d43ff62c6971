// Range checks shared by Validate and the analysis functions.
#pragma once

#include <string>

#include "stemstrip/settings.hpp"

namespace stemstrip::design {

void ValidateSampleRate(double sampleRate);
// path names the band in messages, e.g. "bands[2]".
void ValidateBand(const EqBand& band, const std::string& path, double sampleRate);

}  // namespace stemstrip::design
