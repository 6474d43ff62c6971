// Detector: side-chain pre-filter, peak or averaging detection, key routing.
#include "core_section.hpp"
#include "dynamics_design.hpp"
#include "matched_biquad.hpp"
#include "time_constants.hpp"

namespace stemstrip::design {
namespace {

Biquad SideChainSection(const Detector& d, double sampleRate) {
    switch (d.filter) {
        case SideChainFilter::Off: return Biquad{};
        case SideChainFilter::HighPass: return DesignBand(BandType::HighPass2, d.filterHz, 0.0, d.filterQ, sampleRate);
        case SideChainFilter::LowPass: return DesignBand(BandType::LowPass2, d.filterHz, 0.0, d.filterQ, sampleRate);
        case SideChainFilter::BandPass: return DesignBand(BandType::BandPass, d.filterHz, 0.0, d.filterQ, sampleRate);
    }
    return Biquad{};
}

}  // namespace

void DesignDetector(const Detector& d, double sampleRate, Dyn_SCoefsBlock& k) {
    const std::array<float, 5> pre = CoreSection(SideChainSection(d, sampleRate));
    k.detFilterB0 = pre[0];
    k.detFilterB1 = pre[1];
    k.detFilterB2 = pre[2];
    k.detFilterA1 = pre[3];
    k.detFilterA2 = pre[4];

    // Averaging: a one-pole low-pass of the magnitude, y = b0 |x| + a y, which
    // covers 63 % of a step in averageMs. b0 = 1 - a in float (exact for
    // a >= 0.5) keeps the DC gain exactly 1.
    const double pole = DecayFactor(d.averageMs, sampleRate);
    const Biquad level{1.0 - pole, 0.0, 0.0, -pole, 0.0};
    const std::array<float, 5> average = CoreSection(level);
    k.levelB0 = average[0];
    k.levelB1 = average[1];
    k.levelB2 = average[2];
    k.levelA1 = average[3];
    k.levelA2 = average[4];

    k.peakDecay = DecayFactor(d.peakDecayMs, sampleRate);
    k.detectorMode = d.mode == DetectorMode::Average ? 1 : 0;
    k.keySource = d.externalKey ? 1 : 0;
    k.keyListen = d.keyListen ? 1 : 0;
}

}  // namespace stemstrip::design
