// The benchmark settings in the user's terms, designed by the SDK's designer
// into exactly what a host would hand the core. The peers get the same
// choices (bench/peers/peer_chains.cpp).
#include "strip_presets.h"

#include "stemstrip/design.hpp"

namespace bench {

namespace {

using stemstrip::BandType;
using stemstrip::Placement;

// High-pass 30 Hz, low shelf 100 Hz +3 dB, bells 400 Hz -2 dB and 1.2 kHz
// +2 dB before the dynamics; bells 3 kHz -1.5 dB and 6 kHz +2 dB, high shelf
// 10 kHz +2 dB, low-pass 18 kHz after them.
void SetBands(stemstrip::Settings& s) {
    const stemstrip::EqBand bands[stemstrip::kMaxBands] = {
        {true, BandType::HighPass2, Placement::PreDynamics, 30.0, 0.0, 0.707},
        {true, BandType::LowShelf, Placement::PreDynamics, 100.0, 3.0, 0.707},
        {true, BandType::Bell, Placement::PreDynamics, 400.0, -2.0, 1.0},
        {true, BandType::Bell, Placement::PreDynamics, 1200.0, 2.0, 0.8},
        {true, BandType::Bell, Placement::PostDynamics, 3000.0, -1.5, 1.0},
        {true, BandType::Bell, Placement::PostDynamics, 6000.0, 2.0, 1.5},
        {true, BandType::HighShelf, Placement::PostDynamics, 10000.0, 2.0, 0.707},
        {true, BandType::LowPass2, Placement::PostDynamics, 18000.0, 0.0, 0.707},
    };
    for (int k = 0; k < stemstrip::kMaxBands; ++k) s.bands[k] = bands[k];
}

// Compressor 4:1 above -20 dB, 6 dB knee, 10/100 ms. Expander 2:1 below
// -50 dB, 6 dB knee, with a gate opening at -60 dB (3 dB hysteresis), 80 dB
// range, 10 ms hold, 1/100 ms.
void SetDynamics(stemstrip::Settings& s) {
    s.compressor.thresholdDb = -20.0;
    s.compressor.ratio = 4.0;
    s.compressor.kneeDb = 6.0;
    s.compressor.attackMs = 10.0;
    s.compressor.releaseMs = 100.0;
    s.expander.thresholdDb = -50.0;
    s.expander.ratio = 2.0;
    s.expander.kneeDb = 6.0;
    s.expander.rangeDb = 80.0;
    s.expander.gate = true;
    s.expander.gateThresholdDb = -60.0;
    s.expander.hysteresisDb = 3.0;
    s.expander.holdMs = 10.0;
    s.expander.attackMs = 1.0;
    s.expander.releaseMs = 100.0;
}

}  // namespace

stemstrip::Settings PresetSettings(Preset p) {
    stemstrip::Settings settings;  // defaults: transparent
    if (p != Preset::Idle) SetBands(settings);
    if (p == Preset::FullStrip) SetDynamics(settings);
    return settings;
}

StripPreset MakePreset(Preset p, const StemFormat& format) {
    const stemstrip::CoefficientSet set =
        stemstrip::Design(PresetSettings(p), static_cast<stemstrip::Format>(format.index), kSampleRate);
    return {set.eq, set.dyn, set.dezipRate};
}

}  // namespace bench
