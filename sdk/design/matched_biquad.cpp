// Magnitude-matched sections after M. Vicanek, "Matched Second Order Digital
// Filters" (2016). The poles are the analog prototype's mapped by z = e^s
// (impulse invariance), which keeps their frequency and damping right up to
// Nyquist instead of cramping them like the bilinear transform. The numerator
// is then chosen so that |H|^2 meets the prototype at chosen points: on the
// unit circle any quadratic c0 + c1 z^-1 + c2 z^-2 has
//   |C|^2 = C0 phi0 + C1 phi1 + C2 phi2,
//   C0 = (c0 + c1 + c2)^2, C1 = (c0 - c1 + c2)^2, C2 = -4 c0 c2,
//   phi1 = sin^2(w/2), phi0 = 1 - phi1, phi2 = 4 phi0 phi1,
// so each matching condition is linear in (B0, B1, B2). Bells and shelves,
// whose prototypes still move at Nyquist, spend their third degree of
// freedom on a least-squares fit instead of a single point.
#include "matched_biquad.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace stemstrip::design {
namespace {

double Square(double x) { return x * x; }

struct PowerBasis {
    double phi0, phi1, phi2;
};

PowerBasis AtFrequency(double w) {
    const double phi1 = Square(std::sin(0.5 * w));
    return {1.0 - phi1, phi1, 4.0 * (1.0 - phi1) * phi1};
}

// |C|^2 of a quadratic as C0 phi0 + C1 phi1 + C2 phi2.
struct PowerCoefs {
    double c0, c1, c2;
    double At(PowerBasis p) const { return c0 * p.phi0 + c1 * p.phi1 + c2 * p.phi2; }
    double SlopeAt(PowerBasis p) const { return -c0 + c1 + 4.0 * c2 * (p.phi0 - p.phi1); }  // d/dphi1
};

PowerCoefs DenominatorPower(const Biquad& f) {
    return {Square(1.0 + f.a1 + f.a2), Square(1.0 - f.a1 + f.a2), -4.0 * f.a2};
}

// Zeros with the given |B|^2, taken inside or on the unit circle. A negative
// power coefficient means the three conditions cannot all be met by a real
// quadratic; clamping keeps the nearest realisable response.
void SetNumerator(Biquad& f, PowerCoefs b) {
    const double atDc = std::sqrt(std::max(b.c0, 0.0));
    const double atNyquist = std::sqrt(std::max(b.c1, 0.0));
    const double outer = 0.5 * (atDc + atNyquist);  // b0 + b2
    f.b0 = 0.5 * (outer + std::sqrt(std::max(Square(outer) + b.c2, 0.0)));
    f.b1 = 0.5 * (atDc - atNyquist);
    f.b2 = outer - f.b0;
}

// Poles of s^2 + s w0/Q + w0^2 (w0 in radians per sample) mapped by z = e^s.
Biquad MatchedPoles(double w0, double q) {
    const double zeta = 0.5 / q;
    const double radius = std::exp(-zeta * w0);
    Biquad f;
    f.a1 = zeta <= 1.0 ? -2.0 * radius * std::cos(w0 * std::sqrt(1.0 - zeta * zeta))
                       : -2.0 * radius * std::cosh(w0 * std::sqrt(zeta * zeta - 1.0));
    f.a2 = radius * radius;
    return f;
}

Biquad Inverse(const Biquad& f) {
    return {1.0 / f.b0, f.a1 / f.b0, f.a2 / f.b0, f.b1 / f.b0, f.b2 / f.b0};
}

// Numerator power giving |H|^2 = dcPower at DC and a flat extremum
// |H|^2 = centrePower at w0 (the value and the slope in phi1 both match).
PowerCoefs PeakPower(const Biquad& f, double w0, double dcPower, double centrePower) {
    const PowerCoefs a = DenominatorPower(f);
    const PowerBasis p = AtFrequency(w0);
    const double b0 = a.c0 * dcPower;
    const double value = a.At(p) * centrePower;
    const double slope = a.SlopeAt(p) * centrePower;
    const double b2 = (value - b0 - slope * p.phi1) / (4.0 * p.phi1 * p.phi1);
    const double b1 = slope + b0 + 4.0 * (p.phi1 - p.phi0) * b2;
    return {b0, b1, b2};
}

// Numerators meeting the prototype at DC and at w0 form a line in (B0, B1, B2);
// from b, move along it to the point that best fits the prototype's power
// (relative error, least squares, w0 / 32 to Nyquist). power(x) is the
// prototype's |H|^2 at x = w / w0.
template <typename Prototype>
void FitAlongCentreLine(Biquad& f, PowerCoefs b, double w0, Prototype power) {
    const PowerCoefs den = DenominatorPower(f);
    const PowerBasis c = AtFrequency(w0);
    double projection = 0.0, norm = 0.0;
    constexpr int kPoints = 256;
    for (int i = 0; i <= kPoints; ++i) {
        const double w = w0 / 32.0 * std::pow(32.0 * std::numbers::pi / w0, double(i) / kPoints);
        if (w > std::numbers::pi) continue;
        const PowerBasis p = AtFrequency(w);
        const double target = den.At(p) * power(w / w0);
        const double residual = b.At(p) / target - 1.0;
        const double direction = (c.phi2 * p.phi1 - c.phi1 * p.phi2) / target;
        projection += residual * direction;
        norm += direction * direction;
    }
    const double t = norm > 0.0 ? -projection / norm : 0.0;
    b.c1 += t * c.phi2;
    b.c2 -= t * c.phi1;
    SetNumerator(f, b);
}

// A cut is the exact inverse of the boost by the same amount; designing the
// boost keeps the matched poles on the side where they are sharp and below
// the band frequency.
Biquad Bell(double w0, double gain, double q) {
    if (gain == 1.0) return {};  // exact identity rather than poles cancelling zeros
    if (gain < 1.0) return Inverse(Bell(w0, 1.0 / gain, q));
    Biquad f = MatchedPoles(w0, q * std::sqrt(gain));
    const double a = std::sqrt(gain);
    FitAlongCentreLine(f, PeakPower(f, w0, 1.0, gain * gain), w0, [&](double x) {
        const double x2 = x * x, flat = Square(1.0 - x2);
        return (flat + x2 * a * a / (q * q)) / (flat + x2 / (a * a * q * q));
    });
    return f;
}

// |H(jw)|^2 of the low-shelf prototype at w = analog frequency / band frequency.
double LowShelfPower(double w, double a, double q) {
    const double w2 = w * w, damping = w2 * a / (q * q);
    return a * a * (Square(a - w2) + damping) / (Square(1.0 - a * w2) + damping);
}

// The shelf's poles sit at w0 / sqrt(A) (low) or w0 sqrt(A) (high). Only the
// low boost and the high cut keep them below w0, hence below Nyquist; the
// other two are designed as the inverse of the opposite gain. The numerator
// starts from the one matching the prototype at DC, the band frequency and
// Nyquist, then moves along the DC/centre line to the best fit.
Biquad Shelf(bool high, double w0, double gain, double q) {
    if (gain == 1.0) return {};
    const bool polesAbove = high ? gain > 1.0 : gain < 1.0;
    if (polesAbove) return Inverse(Shelf(high, w0, 1.0 / gain, q));
    const double a = std::sqrt(gain);
    const auto power = [&](double w) { return high ? LowShelfPower(1.0 / w, a, q) : LowShelfPower(w, a, q); };
    Biquad f = MatchedPoles(high ? w0 * std::sqrt(a) : w0 / std::sqrt(a), q);
    const PowerCoefs den = DenominatorPower(f);
    const PowerBasis p = AtFrequency(w0);
    const double b0 = den.c0 * (high ? 1.0 : gain * gain);
    const double b1 = den.c1 * power(std::numbers::pi / w0);
    const double b2 = (den.At(p) * gain - b0 * p.phi0 - b1 * p.phi1) / p.phi2;
    FitAlongCentreLine(f, {b0, b1, b2}, w0, [&](double x) { return high ? LowShelfPower(1.0 / x, a, q) : LowShelfPower(x, a, q); });
    return f;
}

// Unity at DC, |H| = Q at the corner, b2 = 0.
Biquad LowPass2(double w0, double q) {
    Biquad f = MatchedPoles(w0, q);
    const PowerCoefs den = DenominatorPower(f);
    const PowerBasis p = AtFrequency(w0);
    const double b1 = (den.At(p) * q * q - den.c0 * p.phi0) / p.phi1;
    SetNumerator(f, {den.c0, b1, 0.0});
    return f;
}

// Double zero at DC; the one free gain gives |H| = Q at the corner.
Biquad HighPass2(double w0, double q) {
    Biquad f = MatchedPoles(w0, q);
    const PowerBasis p = AtFrequency(w0);
    f.b0 = std::sqrt(DenominatorPower(f).At(p)) * q / (4.0 * p.phi1);
    f.b1 = -2.0 * f.b0;
    f.b2 = f.b0;
    return f;
}

Biquad BandPass(double w0, double q) {
    Biquad f = MatchedPoles(w0, q);
    SetNumerator(f, PeakPower(f, w0, 0.0, 1.0));
    return f;
}

// Zeros exactly on the unit circle at w0 keep the notch infinitely deep; the
// scale is the geometric mean of the ones that match DC and Nyquist.
Biquad Notch(double w0, double q) {
    Biquad f = MatchedPoles(w0, q);
    const double c = std::cos(w0);
    const double wn = std::numbers::pi / w0;
    const double nyquistGain = std::abs(1.0 - wn * wn) / std::hypot(1.0 - wn * wn, wn / q);
    const double dcScale = (1.0 + f.a1 + f.a2) / (2.0 - 2.0 * c);
    const double nyquistScale = nyquistGain * (1.0 - f.a1 + f.a2) / (2.0 + 2.0 * c);
    f.b0 = std::sqrt(dcScale * nyquistScale);
    f.b1 = -2.0 * c * f.b0;
    f.b2 = f.b0;
    return f;
}

// First order: pole e^-w0, gains matched at DC and Nyquist.
Biquad FirstOrder(bool high, double w0) {
    const double pole = std::exp(-w0);
    const double wn = std::numbers::pi / w0;
    const double nyquistGain = high ? wn / std::hypot(1.0, wn) : 1.0 / std::hypot(1.0, wn);
    const double sum = high ? 0.0 : 1.0 - pole;            // b0 + b1
    const double difference = (1.0 + pole) * nyquistGain;  // b0 - b1
    return {0.5 * (sum + difference), 0.5 * (sum - difference), 0.0, -pole, 0.0};
}

}  // namespace

Biquad DesignBand(BandType type, double frequencyHz, double gainDb, double q, double sampleRate) {
    const double w0 = 2.0 * std::numbers::pi * frequencyHz / sampleRate;
    const double gain = std::pow(10.0, gainDb / 20.0);
    switch (type) {
        case BandType::Bell: return Bell(w0, gain, q);
        case BandType::LowShelf: return Shelf(false, w0, gain, q);
        case BandType::HighShelf: return Shelf(true, w0, gain, q);
        case BandType::HighPass1: return FirstOrder(true, w0);
        case BandType::HighPass2: return HighPass2(w0, q);
        case BandType::LowPass1: return FirstOrder(false, w0);
        case BandType::LowPass2: return LowPass2(w0, q);
        case BandType::BandPass: return BandPass(w0, q);
        case BandType::Notch: return Notch(w0, q);
    }
    return {};
}

}  // namespace stemstrip::design
