#include "reference_filters.hpp"

#include <cmath>
#include <complex>
#include <numbers>

namespace stemstrip::test {

using Complex = std::complex<double>;

double AnalogMagnitudeDb(const EqBand& b, double frequencyHz) {
    const Complex s(0.0, frequencyHz / b.frequencyHz);
    const double a = std::pow(10.0, b.gainDb / 40.0), r = std::sqrt(a), q = b.q;
    Complex h;
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

std::array<float, 5> BilinearSection(const EqBand& band, double sampleRate) {
    const double w0 = 2.0 * std::numbers::pi * band.frequencyHz / sampleRate;
    const double a = std::pow(10.0, band.gainDb / 40.0), c = std::cos(w0), alpha = std::sin(w0) / (2.0 * band.q);
    const double beta = 2.0 * std::sqrt(a) * alpha, k = std::tan(0.5 * w0);
    double b0 = 1, b1 = 0, b2 = 0, a0 = 1, a1 = 0, a2 = 0;
    switch (band.type) {
        case BandType::Bell:
            b0 = 1 + alpha * a, b1 = -2 * c, b2 = 1 - alpha * a, a0 = 1 + alpha / a, a1 = -2 * c, a2 = 1 - alpha / a;
            break;
        case BandType::LowShelf:
            b0 = a * ((a + 1) - (a - 1) * c + beta), b1 = 2 * a * ((a - 1) - (a + 1) * c),
            b2 = a * ((a + 1) - (a - 1) * c - beta), a0 = (a + 1) + (a - 1) * c + beta,
            a1 = -2 * ((a - 1) + (a + 1) * c), a2 = (a + 1) + (a - 1) * c - beta;
            break;
        case BandType::HighShelf:
            b0 = a * ((a + 1) + (a - 1) * c + beta), b1 = -2 * a * ((a - 1) + (a + 1) * c),
            b2 = a * ((a + 1) + (a - 1) * c - beta), a0 = (a + 1) - (a - 1) * c + beta,
            a1 = 2 * ((a - 1) - (a + 1) * c), a2 = (a + 1) - (a - 1) * c - beta;
            break;
        case BandType::HighPass1: b0 = 1, b1 = -1, a0 = 1 + k, a1 = k - 1; break;
        case BandType::LowPass1: b0 = k, b1 = k, a0 = 1 + k, a1 = k - 1; break;
        case BandType::HighPass2:
            b0 = (1 + c) / 2, b1 = -(1 + c), b2 = (1 + c) / 2, a0 = 1 + alpha, a1 = -2 * c, a2 = 1 - alpha;
            break;
        case BandType::LowPass2:
            b0 = (1 - c) / 2, b1 = 1 - c, b2 = (1 - c) / 2, a0 = 1 + alpha, a1 = -2 * c, a2 = 1 - alpha;
            break;
        case BandType::BandPass: b0 = alpha, b2 = -alpha, a0 = 1 + alpha, a1 = -2 * c, a2 = 1 - alpha; break;
        case BandType::Notch: b0 = 1, b1 = -2 * c, b2 = 1, a0 = 1 + alpha, a1 = -2 * c, a2 = 1 - alpha; break;
    }
    return {float(b0 / a0), float(b1 / a0), float(b2 / a0), float(-a1 / a0), float(-a2 / a0)};
}

double DigitalMagnitudeDb(const float* c, double frequencyHz, double sampleRate) {
    const Complex z = std::polar(1.0, 2.0 * std::numbers::pi * frequencyHz / sampleRate);
    const Complex h = (double(c[0]) * z * z + double(c[1]) * z + double(c[2])) /
                      (z * z - double(c[3]) * z - double(c[4]));
    return 20.0 * std::log10(std::abs(h));
}

}  // namespace stemstrip::test
