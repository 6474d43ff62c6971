// Independent references for the EQ tests: the analog prototypes as complex
// transfer functions, and the response of a stored section.
#pragma once

#include <cmath>
#include <complex>
#include <numbers>

#include "stemstrip/settings.hpp"

namespace stemstrip::test {

// |H(j f / f0)| in dB of the band's analog prototype.
inline double AnalogMagnitudeDb(const EqBand& b, double frequencyHz) {
    const std::complex<double> s(0.0, frequencyHz / b.frequencyHz);
    const double a = std::pow(10.0, b.gainDb / 40.0), r = std::sqrt(a), q = b.q;
    std::complex<double> h;
    switch (b.type) {
        case BandType::Bell: h = (s * s + s * a / q + 1.0) / (s * s + s / (a * q) + 1.0); break;
        case BandType::LowShelf: h = a * (s * s + s * r / q + a) / (a * s * s + s * r / q + 1.0); break;
        case BandType::HighShelf: h = a * (a * s * s + s * r / q + 1.0) / (s * s + s * r / q + a); break;
        case BandType::HighPass1: h = s / (s + 1.0); break;
        case BandType::HighPass2: h = s * s / (s * s + s / q + 1.0); break;
        case BandType::LowPass1: h = 1.0 / (s + 1.0); break;
        case BandType::LowPass2: h = 1.0 / (s * s + s / q + 1.0); break;
        case BandType::BandPass: h = (s / q) / (s * s + s / q + 1.0); break;
        case BandType::Notch: h = (s * s + 1.0) / (s * s + s / q + 1.0); break;
    }
    return 20.0 * std::log10(std::abs(h));
}

// |H(e^jw)| in dB of a section in the core's layout (b0 b1 b2 a1 a2, a1/a2 sign-inverted).
inline double DigitalMagnitudeDb(const float* c, double frequencyHz, double sampleRate) {
    const auto z = std::polar(1.0, 2.0 * std::numbers::pi * frequencyHz / sampleRate);
    const auto h = (double(c[0]) * z * z + double(c[1]) * z + double(c[2])) / (z * z - double(c[3]) * z - double(c[4]));
    return 20.0 * std::log10(std::abs(h));
}

}  // namespace stemstrip::test
