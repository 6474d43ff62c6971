// Extreme but valid channel-strip settings, the corners a user can reach:
// infinite ratio with zero attack, thresholds at -140 dB, the longest hold,
// the largest makeup, instant and frozen smoothing.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "stemstrip/settings.hpp"

namespace robustness {

struct NamedSettings {
    std::string name;
    stemstrip::Settings settings;
};

inline std::vector<NamedSettings> ExtremeSettings() {
    using namespace stemstrip;
    Settings limiter, gate, knees, eq, slow;
    limiter.compressor = {.thresholdDb = -140.0, .ratio = std::numeric_limits<double>::infinity(), .attackMs = 0.0,
                          .releaseMs = 0.0, .maxReductionDb = 200.0, .makeupDb = 60.0};
    gate.expander = {.thresholdDb = -140.0, .ratio = 100.0, .rangeDb = 200.0, .gate = true, .gateThresholdDb = -140.0,
                     .hysteresisDb = 60.0, .holdMs = 10000.0, .attackMs = 0.0, .releaseMs = 0.0};
    gate.detector = {.mode = DetectorMode::Average, .averageMs = 0.0};
    knees.compressor = {.thresholdDb = 24.0, .ratio = 1e9, .kneeDb = 60.0};
    knees.expander = {.thresholdDb = 24.0, .ratio = 100.0, .kneeDb = 60.0};
    knees.detector = {.peakDecayMs = 60000.0, .filter = SideChainFilter::BandPass, .filterHz = 23999.0, .filterQ = 30.0};
    for (int i = 0; i < kMaxBands; ++i)
        eq.bands[i] = {.enabled = true, .type = i % 2 ? BandType::LowShelf : BandType::Bell,
                       .placement = i < 4 ? Placement::PreDynamics : Placement::PostDynamics,
                       .frequencyHz = i % 2 ? 10.0 : 23999.0, .gainDb = 30.0, .q = 30.0};
    eq.smoothingMs = 0.0;  // instant glide
    eq.compressor.makeupDb = -60.0;
    slow.smoothingMs = 10000.0;
    slow.compressor = {.thresholdDb = -200.0, .ratio = 20.0, .attackMs = 10000.0, .releaseMs = 10000.0};
    slow.inputMeterTrimDb = 60.0;
    return {{"brickwall_at_minus_140_with_huge_makeup", limiter},
            {"gate_at_minus_140_longest_hold", gate},
            {"widest_knees_slowest_decay_sharpest_key_filter", knees},
            {"eight_bands_at_full_boost_instant_glide", eq},
            {"slowest_everything_floor_threshold", slow}};
}

}  // namespace robustness
