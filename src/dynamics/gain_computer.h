// The gain computer: four detector samples in, four linear gains out.
// Level filter and peak detector, dB conversion, compressor and expander
// curves, gate with hysteresis, hold, attack/release smoothing, output gain
// and the gain meters. The per-sample parts that do not depend on the
// previous sample are computed side by side; the smoothing chain runs in
// strict sample order.
#pragma once

#include "../biquad_step.h"
#include "db_conversion.h"
#include "stemstrip.h"

namespace stemstrip {

// Meter slots of dynamicsRunState shared by all groups of an instance.
enum DynMeter { kMeterDetector = 0, kMeterGain = 1, kMeterCompReduction = 2, kMeterExpReduction = 3 };

inline float SmoothTowards(float value, float target, float t) { return Fma(target - value, t, value); }

inline float CompressorCurve(const Dyn_SCoefsBlock& k, float level) {
    const float straight = (level - k.compThresholdDb) * k.compSlope;
    const float knee = Fma(k.compKneeB, level, k.compKneeA * (level * level)) + k.compKneeC;
    return level > k.compKneeTopDb ? straight : level > k.compKneeBottomDb ? knee : 0.0f;
}

// The knee polynomial's grouping differs for the last sample of the four;
// results depend on it, so it is kept.
inline float ExpanderCurve(const Dyn_SCoefsBlock& k, float level, bool lastSample) {
    const float straight = (level - k.expThresholdDb) * k.expSlope;
    const float square = level * level;
    const float knee = lastSample ? Fma(k.expKneeB, level, k.expKneeA * square) + k.expKneeC
                                  : Fma(k.expKneeA, square, k.expKneeB * level) + k.expKneeC;
    return level < k.expKneeBottomDb ? straight : level <= k.expKneeTopDb ? knee : 0.0f;
}

template <int Samples>
void ProcessAudioGain(float* x, Dyn_SState* state, const SChannelStrip_Alg_Context* ctx, float t,
                      int slot, float* dynamicsRunState);

template <>
inline void ProcessAudioGain<4>(float* x, Dyn_SState* state, const SChannelStrip_Alg_Context* ctx,
                                float t, int slot, float* dynamicsRunState) {
    constexpr int S = 4;
    const Dyn_SCoefsBlock& k = *ctx->dynCoefs;
    Dyn_SState& s = *state;

    s.compFloorDb = SmoothTowards(s.compFloorDb, k.compFloorDbTarget, t);
    s.expRangeDb = SmoothTowards(s.expRangeDb, k.expRangeDbTarget, t);
    s.outputGain = SmoothTowards(s.outputGain, k.outputGainTarget, t);

    // Both detectors always run so switching detectorMode never finds stale state.
    float filtered[S], peak[S];
    float z1 = s.levelZ1, z2 = s.levelZ2, envelope = s.peakEnvelope;
    for (int i = 0; i < S; ++i) {
        filtered[i] = BiquadStep(x[i], k.levelB0, k.levelB1, k.levelB2, k.levelA1, k.levelA2, z1, z2);
        envelope = x[i] > envelope ? x[i] : envelope * k.peakDecay;
        peak[i] = envelope;
    }
    s.levelZ1 = z1;
    s.levelZ2 = z2;
    s.levelOut = filtered[S - 1];
    s.peakEnvelope = envelope;

    float detector[S], compTarget[S], expCurve[S], level[S];
    for (int i = 0; i < S; ++i) {
        detector[i] = k.detectorMode < 1 ? peak[i] : filtered[i];
        level[i] = AmpToDb(detector[i]);
        compTarget[i] = CompressorCurve(k, level[i]);
        expCurve[i] = ExpanderCurve(k, level[i], i == S - 1);
    }

    float compGain[S], expGain[S];
    float comp = s.compGainDb, expand = s.expGainDb;
    bool open = s.gateOpen > 0;
    int32_t hold = s.holdCounter;
    const int32_t holdReload = TruncToInt32(static_cast<float>(k.holdSamples));
    for (int i = 0; i < S; ++i) {
        const float compCoef = compTarget[i] <= comp ? k.compAttackCoef : k.compReleaseCoef;
        comp = Fma(compCoef, compTarget[i] - comp, comp);
        comp = comp < s.compFloorDb ? s.compFloorDb : comp;
        compGain[i] = comp;

        open = level[i] >= (open ? k.gateCloseThresholdDb : k.gateOpenThresholdDb);
        const float target = open && expCurve[i] >= s.expRangeDb ? expCurve[i] : s.expRangeDb;
        if (target > expand) {
            expand = Fma(k.expAttackCoef, target - expand, expand);
            hold = holdReload;
        } else if (hold != 0) {
            hold = static_cast<int32_t>(static_cast<uint32_t>(hold) - 1u);  // negative counts keep counting
        } else {
            expand = Fma(k.expReleaseCoef, target - expand, expand);
        }
        expGain[i] = expand;
    }
    s.compGainDb = comp;
    s.expGainDb = expand;
    s.gateOpen = open ? 1 : 0;
    s.holdCounter = hold;

    float* m = dynamicsRunState;
    for (int i = 0; i < S; ++i) {
        // Converted separately and multiplied: the table bias enters twice.
        const float compFactor = DbToAmp(compGain[i]);
        const float expFactor = DbToAmp(expGain[i]);
        const float gain = compFactor * expFactor;
        x[i] = s.outputGain * gain;

        if (gain > m[kMeterGain] || (m[kMeterGain] == 0.0f && detector[i] > m[kMeterDetector])) {
            m[kMeterGain] = gain;
            m[kMeterDetector] = detector[i];
        }
        KeepMax(m[kMeterCompReduction], 1.0f - compFactor);
        KeepMax(m[kMeterExpReduction], 1.0f - expFactor);
        KeepMax(m[slot], gain);
    }
}

}  // namespace stemstrip
