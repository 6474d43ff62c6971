// The equaliser's target block from the eight bands.
#pragma once

#include <array>

#include "stemstrip.h"
#include "stemstrip/settings.hpp"

namespace stemstrip::design {

// Enabled pre-dynamics bands fill sections [0, p) in band order, enabled
// post-dynamics bands [p, p + q); the remaining sections are identities.
EQ_SCoefs DesignEq(const std::array<EqBand, kMaxBands>& bands, double sampleRate);

}  // namespace stemstrip::design
