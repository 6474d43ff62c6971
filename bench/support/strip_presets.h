// The coefficient sets the benchmarks run: what a host would hand the core for
// a few typical strip settings.
#pragma once

#include "formats.h"
#include "stemstrip.h"
#include "stemstrip/settings.hpp"

namespace bench {

inline constexpr double kSampleRate = 48000.0;

enum class Preset {
    FullStrip,  // 8 bands (4 before, 4 after the dynamics), compressor, expander and gate
    EqOnly,     // the same 8 bands, dynamics at 1:1
    Idle,       // no band in either stage, dynamics at 1:1
};

struct StripPreset {
    EQ_SCoefs eq;
    Dyn_SCoefsBlock dyn;
    float dezipRate;
};

stemstrip::Settings PresetSettings(Preset p);
StripPreset MakePreset(Preset p, const StemFormat& format);

}  // namespace bench
