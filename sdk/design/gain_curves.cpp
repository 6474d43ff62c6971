// Compressor and expander/gate curves and their ballistics. Attack and
// release times are the time to 63 % of a step in gain (dB), per sample.
//
// Both knees are the quadratic that joins 0 dB and the straight segment with
// matching value and slope at either end of [T - W/2, T + W/2]. With W = 0
// the two ends coincide at T and the core's tests never reach the
// polynomial (compressor: L > T straight, else 0; expander: L < T straight,
// L = T the zero polynomial, else 0), which is a hard knee.
#include <cmath>
#include <limits>

#include "dynamics_design.hpp"
#include "time_constants.hpp"

namespace stemstrip::design {

float ZeroReductionGain() {
    const float curveZeroDb = static_cast<float>(std::exp2(0.5 / 262144.0));  // the exp2 table's first low entry
    return curveZeroDb * curveZeroDb;
}

void DesignCompressor(const Compressor& c, double sampleRate, Dyn_SCoefsBlock& k) {
    const double slope = 1.0 / c.ratio - 1.0;  // -1 at an infinite ratio: limiting
    const double width = c.kneeDb;
    const double bottom = c.thresholdDb - 0.5 * width;
    // gain = slope / (2W) (L - bottom)^2 over the knee
    const double a = width > 0.0 ? slope / (2.0 * width) : 0.0;
    k.compSlope = static_cast<float>(slope);
    k.compKneeA = static_cast<float>(a);
    k.compKneeB = static_cast<float>(-2.0 * a * bottom);
    k.compKneeC = static_cast<float>(a * bottom * bottom);
    k.compThresholdDb = static_cast<float>(c.thresholdDb);
    k.compKneeTopDb = static_cast<float>(c.thresholdDb + 0.5 * width);
    k.compKneeBottomDb = static_cast<float>(bottom);
    k.compFloorDbTarget = static_cast<float>(-c.maxReductionDb);
    // The core's 0 dB bias divided out: a neutral strip's gain is exactly
    // 1.0f, and makeup arrives as asked at 0 dB of reduction.
    k.outputGainTarget = static_cast<float>(std::pow(10.0, c.makeupDb / 20.0) / ZeroReductionGain());
    k.compAttackCoef = SmoothingFactor(c.attackMs, sampleRate);
    k.compReleaseCoef = SmoothingFactor(c.releaseMs, sampleRate);
}

void DesignExpander(const Expander& e, double sampleRate, Dyn_SCoefsBlock& k) {
    const double slope = e.ratio - 1.0;  // below threshold the output falls `ratio` dB per dB
    const double width = e.kneeDb;
    const double top = e.thresholdDb + 0.5 * width;
    // gain = -slope / (2W) (L - top)^2 over the knee
    const double a = width > 0.0 ? -slope / (2.0 * width) : 0.0;
    k.expSlope = static_cast<float>(slope);
    k.expKneeA = static_cast<float>(a);
    k.expKneeB = static_cast<float>(-2.0 * a * top);
    k.expKneeC = static_cast<float>(a * top * top);
    k.expThresholdDb = static_cast<float>(e.thresholdDb);
    k.expKneeTopDb = static_cast<float>(top);
    k.expKneeBottomDb = static_cast<float>(e.thresholdDb - 0.5 * width);
    k.expRangeDbTarget = static_cast<float>(-e.rangeDb);
    // Without the gate no level (the core's lowest is -140 dB) is below the
    // thresholds, so it never closes.
    const float never = std::numeric_limits<float>::lowest();
    k.gateOpenThresholdDb = e.gate ? static_cast<float>(e.gateThresholdDb) : never;
    k.gateCloseThresholdDb = e.gate ? static_cast<float>(e.gateThresholdDb - e.hysteresisDb) : never;
    k.holdSamples = static_cast<int32_t>(std::lround(e.holdMs * 1e-3 * sampleRate));
    k.expAttackCoef = SmoothingFactor(e.attackMs, sampleRate);
    k.expReleaseCoef = SmoothingFactor(e.releaseMs, sampleRate);
}

}  // namespace stemstrip::design
