// The dynamics fields of the coefficient block, one group of fields each.
#pragma once

#include "stemstrip.h"
#include "stemstrip/settings.hpp"

namespace stemstrip::design {

void DesignCompressor(const Compressor& c, double sampleRate, Dyn_SCoefsBlock& k);
void DesignExpander(const Expander& e, double sampleRate, Dyn_SCoefsBlock& k);
void DesignDetector(const Detector& d, double sampleRate, Dyn_SCoefsBlock& k);

}  // namespace stemstrip::design
