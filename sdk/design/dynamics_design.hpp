// The dynamics fields of the coefficient block, one group of fields each.
#pragma once

#include "stemstrip.h"
#include "stemstrip/settings.hpp"

namespace stemstrip::design {

void DesignCompressor(const Compressor& c, double sampleRate, Dyn_SCoefsBlock& k);
void DesignExpander(const Expander& e, double sampleRate, Dyn_SCoefsBlock& k);
void DesignDetector(const Detector& d, double sampleRate, Dyn_SCoefsBlock& k);

// The core's linear gain at 0 dB of reduction before the output gain: each
// curve's 0 dB converts to 1.0000013f (its exp2 table sits half a step high,
// on purpose) and the two are multiplied in single precision.
float ZeroReductionGain();

}  // namespace stemstrip::design
