// Times in milliseconds to the factors of the core's recursions.
#pragma once

#include <cmath>

namespace stemstrip::design {

// For value += (target - value) * factor, applied once every stepSamples:
// after tauMs the value has covered 1 - 1/e (63 %) of a step. 0 ms is instant.
inline float SmoothingFactor(double tauMs, double sampleRate, int stepSamples = 1) {
    if (tauMs == 0.0) return 1.0f;
    return static_cast<float>(-std::expm1(-stepSamples * 1000.0 / (tauMs * sampleRate)));
}

// For value *= factor per sample: after tauMs the value has fallen to 1/e.
// 0 ms drops at once.
inline float DecayFactor(double tauMs, double sampleRate) {
    if (tauMs == 0.0) return 0.0f;
    return static_cast<float>(std::exp(-1000.0 / (tauMs * sampleRate)));
}

}  // namespace stemstrip::design
