// What a plotting report needs from a design: EQ magnitude responses
// evaluated from the float coefficients the core actually receives, and the
// dynamics' static gain curves evaluated with the core's own tests.
#pragma once

#include <span>
#include <vector>

#include "stemstrip.h"
#include "stemstrip/settings.hpp"

namespace stemstrip {

// One band designed on its own (as if enabled), in dB at each frequency.
// Throws SettingsError for a band or sample rate Validate would reject.
std::vector<double> BandMagnitudeDb(const EqBand& band, double sampleRate, std::span<const double> frequenciesHz);

// The cascade of one stage's section range (0: before the dynamics, 1: after),
// in dB at each frequency; 0 dB everywhere for an empty range.
std::vector<double> StageMagnitudeDb(const EQ_SCoefs& eq, int stage, double sampleRate,
                                     std::span<const double> frequenciesHz);

struct StaticGain {
    double compressorDb;  // curve, held at the floor (compFloorDbTarget)
    double expanderDb;    // curve, held at the range; the range when the gate is shut
    double totalDb;       // both plus the output gain
};

// Steady-state gains at constant detector levels (dB). Levels inside the gate's
// hysteresis show it shut, as when the level rises from silence.
std::vector<StaticGain> StaticGainCurve(const Dyn_SCoefsBlock& dyn, std::span<const double> levelsDb);

}  // namespace stemstrip
