// Independent references for the EQ tests: the analog prototypes as complex
// transfer functions, the bilinear-transform (cookbook) designs the matched
// ones are compared with, and the response of a stored section.
#pragma once

#include <array>

#include "stemstrip/settings.hpp"

namespace stemstrip::test {

// |H(j f / f0)| in dB of the band's analog prototype.
double AnalogMagnitudeDb(const EqBand& band, double frequencyHz);

// Bilinear transform of the same prototype, prewarped at the band frequency,
// in the core's layout (b0 b1 b2 a1 a2, a1/a2 sign-inverted), rounded to float.
std::array<float, 5> BilinearSection(const EqBand& band, double sampleRate);

// |H(e^jw)| in dB of a section in the core's layout.
double DigitalMagnitudeDb(const float* section, double frequencyHz, double sampleRate);

}  // namespace stemstrip::test
