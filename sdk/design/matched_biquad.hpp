// Digital second-order sections whose magnitude follows the analog prototype
// up to Nyquist, computed in double precision.
#pragma once

#include "stemstrip/settings.hpp"

namespace stemstrip::design {

// H(z) = (b0 + b1 z^-1 + b2 z^-2) / (1 + a1 z^-1 + a2 z^-2), textbook signs.
struct Biquad {
    double b0 = 1.0, b1 = 0.0, b2 = 0.0, a1 = 0.0, a2 = 0.0;
};

// Analog prototypes (s normalised to the band frequency, A = 10^(gainDb/40)):
//   bell        (s^2 + s A/Q + 1) / (s^2 + s/(A Q) + 1)
//   low shelf   A (s^2 + s sqrt(A)/Q + A) / (A s^2 + s sqrt(A)/Q + 1)
//   high shelf  A (A s^2 + s sqrt(A)/Q + 1) / (s^2 + s sqrt(A)/Q + A)
//   high pass   s / (s + 1),  s^2 / (s^2 + s/Q + 1)
//   low pass    1 / (s + 1),  1 / (s^2 + s/Q + 1)
//   band pass   (s/Q) / (s^2 + s/Q + 1)      (0 dB at the centre)
//   notch       (s^2 + 1) / (s^2 + s/Q + 1)
Biquad DesignBand(BandType type, double frequencyHz, double gainDb, double q, double sampleRate);

}  // namespace stemstrip::design
