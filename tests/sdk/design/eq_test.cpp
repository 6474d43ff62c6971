// The designed EQ sections: their responses against the analog prototypes,
// their stability, where bands land in the section block, and the analysis
// of a designed block.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <array>
#include <numbers>
#include <vector>

#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

using namespace stemstrip;

namespace {

constexpr double kRate = 48000.0;
const std::vector<float> kIdentity{1, 0, 0, 0, 0};

// |H(j f / f0)| in dB of the band's analog prototype.
double AnalogMagnitudeDb(const EqBand& b, double frequencyHz) {
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
double DigitalMagnitudeDb(const float* c, double frequencyHz, double sampleRate) {
    const auto z = std::polar(1.0, 2.0 * std::numbers::pi * frequencyHz / sampleRate);
    const auto h = (double(c[0]) * z * z + double(c[1]) * z + double(c[2])) / (z * z - double(c[3]) * z - double(c[4]));
    return 20.0 * std::log10(std::abs(h));
}

std::vector<float> Section(const EQ_SCoefs& eq, int k) { return {eq.coefs + 5 * k, eq.coefs + 5 * k + 5}; }

// The section an enabled band alone designs to.
std::vector<float> DesignedSection(const EqBand& band, double sampleRate = kRate) {
    return Section(Design({.bands = {band}}, Format::Mono, sampleRate).eq, 0);
}

// Worst |digital - analog| in dB from 20 Hz to 0.9 of Nyquist.
double WorstDeviationDb(const EqBand& band, double sampleRate) {
    const std::vector<float> section = DesignedSection(band, sampleRate);
    const double top = 0.45 * sampleRate;
    double worst = 0.0;
    for (int i = -1; i <= 400; ++i) {
        const double f = i < 0 ? band.frequencyHz : 20.0 * std::pow(top / 20.0, i / 400.0);
        const double analog = AnalogMagnitudeDb(band, f);
        if (f > top || analog < -30.0) continue;  // a stopband or a notch: dB differences say nothing audible
        worst = std::max(worst, std::abs(DigitalMagnitudeDb(section.data(), f, sampleRate) - analog));
    }
    return worst;
}

// Absolute limits per type, a little above what the matched designs reach
// over band frequencies 20 Hz..18 kHz in semitones at 44.1 and
// 48 kHz. A bilinear design misses the same grid by 4 to 26 dB; a pole Q off
// by 10 %, shelf poles on the wrong side of the corner or a numerator with
// DC and Nyquist swapped each break several rows.
TEST(EqResponse, MatchedDesignsFollowTheAnalogPrototypeToNyquist) {
    const std::vector<double> gains{-18, -12, -6, -3, 3, 6, 12, 18}, none{0}, qs{0.3, 0.5, 0.7071, 1, 2, 4, 8};
    const struct { BandType type; std::vector<double> gains, qs; double limitDb; } cases[] = {
        {BandType::Bell, gains, qs, 0.9},
        {BandType::Bell, {-12, 12}, {1}, 0.65},  // the common musical bell
        {BandType::LowShelf, gains, {0.3, 0.5, 0.7071, 1}, 0.3},  // resonant shelves overshoot by up to 15 dB
        {BandType::HighShelf, gains, {0.3, 0.5, 0.7071, 1}, 0.3},
        {BandType::HighPass1, none, {0.7071}, 1.25},
        {BandType::LowPass1, none, {0.7071}, 1.0},
        {BandType::HighPass2, none, qs, 2.5},
        {BandType::LowPass2, none, qs, 1.7},
        {BandType::BandPass, none, qs, 1.45},
        {BandType::Notch, none, qs, 6.5},
    };
    for (const auto& c : cases) {
        double worst = 0.0;
        for (double fs : {44100.0, 48000.0})
            for (double f0 = 20.0; f0 <= 18000.0; f0 *= std::pow(2.0, 1.0 / 12.0))
                for (double gain : c.gains)
                    for (double q : c.qs)
                        worst = std::max(worst, WorstDeviationDb({true, c.type, Placement::PreDynamics, f0, gain, q}, fs));
        EXPECT_LE(worst, c.limitDb) << "type " << int(c.type) << ", Q up to " << c.qs.back();
    }
}

// Every band the validator accepts gives finite float coefficients with both
// poles inside the unit circle, at the extremes of frequency, Q, gain and rate.
TEST(EqResponse, AcceptedBandsAreStableInFloat) {
    for (double fs : {8000.0, 44100.0, 96000.0, 192000.0})
        for (int type = 0; type <= int(BandType::Notch); ++type)
            for (double f0 : {10.0, 1000.0, 0.45 * fs, 0.4999 * fs})
                for (double q : {0.1, 0.7071, 30.0})
                    for (double gain : {-30.0, 0.0, 30.0}) {
                        const auto c = DesignedSection({true, BandType(type), Placement::PreDynamics, f0, gain, q}, fs);
                        // 1 - a1 z^-1 - a2 z^-2 (a1, a2 as stored) is stable iff |a2| < 1 and |a1| < 1 - a2.
                        EXPECT_TRUE(std::all_of(c.begin(), c.end(), [](float v) { return std::isfinite(v); }) &&
                                    std::abs(c[4]) < 1.0f && std::abs(c[3]) < 1.0f - c[4])
                            << type << " " << f0 << " Hz Q " << q << " " << gain << " dB at " << fs;
                    }
}

TEST(EqPacking, EnabledBandsFillPreThenPostRangesInBandOrder) {
    Settings s;
    s.bands[0] = {true, BandType::Bell, Placement::PreDynamics, 1000.0, 6.0, 2.0};
    s.bands[2] = {true, BandType::HighShelf, Placement::PostDynamics, 8000.0, 3.0, 0.7071};
    s.bands[3] = {true, BandType::HighPass2, Placement::PreDynamics, 80.0, 0.0, 0.7071};
    s.bands[5] = {true, BandType::Notch, Placement::PostDynamics, 60.0, 0.0, 10.0};
    // Disabled bands, on either side of the dynamics, take no section.
    for (int i : {1, 4, 7})
        s.bands[i] = {false, BandType::HighShelf, i % 2 ? Placement::PostDynamics : Placement::PreDynamics, 3000.0, 12.0, 3.0};
    const EQ_SCoefs eq = Design(s, Format::Stereo, kRate).eq;

    EXPECT_EQ(std::vector<int>({eq.sectionBegin[0], eq.sectionEnd[0], eq.sectionBegin[1], eq.sectionEnd[1]}),
              std::vector<int>({0, 2, 2, 4}));
    int k = 0;
    for (int band : {0, 3, 2, 5}) EXPECT_EQ(Section(eq, k++), DesignedSection(s.bands[band])) << "band " << band;
    for (; k < EQ_kMaxSections; ++k) EXPECT_EQ(Section(eq, k), kIdentity);
    // A 0 dB bell is the identity too, not poles cancelling zeros.
    EXPECT_EQ(DesignedSection({true, BandType::Bell, Placement::PreDynamics, 20.0, 0.0, 30.0}), kIdentity);

    // The stage responses are the cascades of their sections, evaluated
    // independently. (A band's own curve at worked points: the Python plot test.)
    for (int stage : {0, 1})
        for (double f : {30.0, 80.0, 1000.0, 8000.0, 20000.0})
            EXPECT_NEAR(StageMagnitudeDb(eq, stage, kRate, std::array{f})[0],
                        DigitalMagnitudeDb(eq.coefs + 10 * stage, f, kRate) + DigitalMagnitudeDb(eq.coefs + 10 * stage + 5, f, kRate), 1e-9);
}

}  // namespace
