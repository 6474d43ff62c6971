#include "extreme_settings.h"

#include <limits>

namespace robustness {

using stemstrip::Settings;

std::vector<NamedSettings> ExtremeSettings() {
    std::vector<NamedSettings> all;

    Settings limiter;
    limiter.compressor.thresholdDb = -140.0;
    limiter.compressor.ratio = std::numeric_limits<double>::infinity();
    limiter.compressor.attackMs = 0.0;
    limiter.compressor.releaseMs = 0.0;
    limiter.compressor.maxReductionDb = 200.0;
    limiter.compressor.makeupDb = 60.0;
    all.push_back({"brickwall_at_minus_140_with_huge_makeup", limiter});

    Settings gate;
    gate.expander.gate = true;
    gate.expander.gateThresholdDb = -140.0;
    gate.expander.hysteresisDb = 60.0;
    gate.expander.holdMs = 10000.0;
    gate.expander.attackMs = 0.0;
    gate.expander.releaseMs = 0.0;
    gate.expander.rangeDb = 200.0;
    gate.expander.thresholdDb = -140.0;
    gate.expander.ratio = 100.0;
    gate.detector.mode = stemstrip::DetectorMode::Average;
    gate.detector.averageMs = 0.0;
    all.push_back({"gate_at_minus_140_longest_hold", gate});

    Settings knees;
    knees.compressor.thresholdDb = 24.0;
    knees.compressor.kneeDb = 60.0;
    knees.compressor.ratio = 1e9;
    knees.expander.thresholdDb = 24.0;
    knees.expander.kneeDb = 60.0;
    knees.expander.ratio = 100.0;
    knees.detector.peakDecayMs = 60000.0;
    knees.detector.filter = stemstrip::SideChainFilter::BandPass;
    knees.detector.filterHz = 23999.0;
    knees.detector.filterQ = 30.0;
    all.push_back({"widest_knees_slowest_decay_sharpest_key_filter", knees});

    Settings eq;
    for (int i = 0; i < stemstrip::kMaxBands; ++i) {
        stemstrip::EqBand& b = eq.bands[i];
        b.enabled = true;
        b.type = i % 2 ? stemstrip::BandType::LowShelf : stemstrip::BandType::Bell;
        b.placement = i < 4 ? stemstrip::Placement::PreDynamics : stemstrip::Placement::PostDynamics;
        b.frequencyHz = i % 2 ? 10.0 : 23999.0;
        b.gainDb = 30.0;
        b.q = 30.0;
    }
    eq.smoothingMs = 0.0;  // instant glide
    eq.compressor.makeupDb = -60.0;
    all.push_back({"eight_bands_at_full_boost_instant_glide", eq});

    Settings slow;
    slow.smoothingMs = 10000.0;
    slow.compressor.thresholdDb = -200.0;
    slow.compressor.ratio = 20.0;
    slow.compressor.attackMs = 10000.0;
    slow.compressor.releaseMs = 10000.0;
    slow.inputMeterTrimDb = 60.0;
    all.push_back({"slowest_everything_floor_threshold", slow});
    return all;
}

}  // namespace robustness
