#include "stemstrip/analysis.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "core_section.hpp"
#include "dynamics_design.hpp"
#include "matched_biquad.hpp"
#include "validation.hpp"

namespace stemstrip {
namespace {

// |H| in dB of a section stored the core's way (a1, a2 sign-inverted).
double SectionMagnitudeDb(const float* c, double frequencyHz, double sampleRate) {
    const std::complex<double> z1 = std::polar(1.0, -2.0 * std::numbers::pi * frequencyHz / sampleRate);
    const std::complex<double> numerator = double(c[0]) + z1 * (double(c[1]) + z1 * double(c[2]));
    const std::complex<double> denominator = 1.0 - z1 * (double(c[3]) + z1 * double(c[4]));
    return 20.0 * std::log10(std::abs(numerator / denominator));
}

// The makeup the core delivers: the output gain times its 0 dB factor.
double MakeupDb(const Dyn_SCoefsBlock& k) {
    return 20.0 * std::log10(double(k.outputGainTarget) * design::ZeroReductionGain());
}

}  // namespace

std::vector<double> BandMagnitudeDb(const EqBand& band, double sampleRate, std::span<const double> frequenciesHz) {
    design::ValidateSampleRate(sampleRate);
    design::ValidateBand(band, "band", sampleRate);
    const std::array<float, 5> section =
        design::CoreSection(design::DesignBand(band.type, band.frequencyHz, band.gainDb, band.q, sampleRate));
    std::vector<double> db;
    for (double f : frequenciesHz) db.push_back(SectionMagnitudeDb(section.data(), f, sampleRate));
    return db;
}

std::vector<double> StageMagnitudeDb(const EQ_SCoefs& eq, int stage, double sampleRate,
                                     std::span<const double> frequenciesHz) {
    const int begin = std::max(eq.sectionBegin[stage], 0);
    const int end = std::min(eq.sectionEnd[stage], int{EQ_kMaxSections});
    std::vector<double> db(frequenciesHz.size(), 0.0);
    for (int k = begin; k < end; ++k)
        for (size_t i = 0; i < db.size(); ++i)
            db[i] += SectionMagnitudeDb(eq.coefs + EQ_kCoefsPerSection * k, frequenciesHz[i], sampleRate);
    return db;
}

std::vector<StaticGain> StaticGainCurve(const Dyn_SCoefsBlock& k, std::span<const double> levelsDb) {
    std::vector<StaticGain> curve;
    for (double level : levelsDb) {
        const double compCurve = level > k.compKneeTopDb ? (level - k.compThresholdDb) * k.compSlope
                                 : level > k.compKneeBottomDb
                                     ? (k.compKneeA * level + k.compKneeB) * level + k.compKneeC
                                     : 0.0;
        const double expCurve = level < k.expKneeBottomDb ? (level - k.expThresholdDb) * k.expSlope
                                : level <= k.expKneeTopDb ? (k.expKneeA * level + k.expKneeB) * level + k.expKneeC
                                                          : 0.0;
        const bool gateOpen = level >= k.gateOpenThresholdDb;
        const double compressor = std::max(compCurve, double(k.compFloorDbTarget));
        const double expander = gateOpen && expCurve >= k.expRangeDbTarget ? expCurve : double(k.expRangeDbTarget);
        curve.push_back({compressor, expander, compressor + expander + MakeupDb(k)});
    }
    return curve;
}

}  // namespace stemstrip
