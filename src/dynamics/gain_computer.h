// The gain computer: detector samples in, linear gains out, four at a time
// or whole blocks of sub-blocks. Level filter and peak detector, dB
// conversion, compressor and expander curves, gate with hysteresis, hold,
// attack/release smoothing, output gain and the gain meters. The per-sample
// parts that do not depend on the previous sample are computed side by side
// (for one group over a block: consecutive samples in time lanes); only the
// filters and the smoothing chain run in strict sample order. The arithmetic is written once for a float (one
// group) and for lane vectors (one channel's record or one instance per lane,
// each lane doing exactly the scalar operations); meters are raised
// afterwards, one group at a time or every instance's lane at once.
#pragma once

#include "../biquad_step.h"
#include "db_conversion.h"
#include "stemstrip.h"

namespace stemstrip {

// Meter slots of dynamicsRunState shared by all groups of an instance.
enum DynMeter { kMeterDetector = 0, kMeterGain = 1, kMeterCompReduction = 2, kMeterExpReduction = 3 };

template <typename T>
inline T SmoothTowards(T value, T target, T t) {
    return Fma(target - value, t, value);
}

template <typename T, typename K>
[[gnu::always_inline]] inline T CompressorCurve(const K& k, T level) {
    const T straight = (level - k.compThresholdDb) * k.compSlope;
    const T knee = Fma(Broadcast<T>(k.compKneeB), level, k.compKneeA * (level * level)) + k.compKneeC;
    return level > k.compKneeTopDb ? straight : level > k.compKneeBottomDb ? knee : Broadcast<T>(0.0f);
}

// The knee polynomial's grouping differs for the last sample of the four;
// results depend on it, so it is kept. lastSample is a bool or a lane mask.
template <typename T, typename K, typename Last>
[[gnu::always_inline]] inline T ExpanderCurve(const K& k, T level, Last lastSample) {
    const T straight = (level - k.expThresholdDb) * k.expSlope;
    const T square = level * level;
    const T knee = lastSample ? Fma(Broadcast<T>(k.expKneeB), level, k.expKneeA * square) + k.expKneeC
                              : Fma(Broadcast<T>(k.expKneeA), square, k.expKneeB * level) + k.expKneeC;
    return level < k.expKneeBottomDb ? straight : level <= k.expKneeTopDb ? knee : Broadcast<T>(0.0f);
}

// The gain-computer fields of a Dyn_SState record, for one group or one
// group per lane.
template <typename T>
struct GainState {
    T compGainDb, expGainDb, levelZ1, levelZ2, peakEnvelope, levelOut, outputGain, compFloorDb, expRangeDb;
    IntLanes<T> gateOpen;
    UintLanes<T> holdCounter;
};

template <typename T>
inline void LoadGainState(GainState<T>& g, int lane, const Dyn_SState& s) {
    SetLane(g.compGainDb, lane, s.compGainDb);
    SetLane(g.expGainDb, lane, s.expGainDb);
    SetLane(g.levelZ1, lane, s.levelZ1);
    SetLane(g.levelZ2, lane, s.levelZ2);
    SetLane(g.peakEnvelope, lane, s.peakEnvelope);
    SetLane(g.levelOut, lane, s.levelOut);
    SetLane(g.outputGain, lane, s.outputGain);
    SetLane(g.compFloorDb, lane, s.compFloorDb);
    SetLane(g.expRangeDb, lane, s.expRangeDb);
    SetLane(g.gateOpen, lane, s.gateOpen);
    SetLane(g.holdCounter, lane, static_cast<uint32_t>(s.holdCounter));
}

template <typename T>
inline void StoreGainState(const GainState<T>& g, int lane, Dyn_SState& s) {
    s.compGainDb = LaneOf(g.compGainDb, lane);
    s.expGainDb = LaneOf(g.expGainDb, lane);
    s.levelZ1 = LaneOf(g.levelZ1, lane);
    s.levelZ2 = LaneOf(g.levelZ2, lane);
    s.peakEnvelope = LaneOf(g.peakEnvelope, lane);
    s.levelOut = LaneOf(g.levelOut, lane);
    s.outputGain = LaneOf(g.outputGain, lane);
    s.compFloorDb = LaneOf(g.compFloorDb, lane);
    s.expRangeDb = LaneOf(g.expRangeDb, lane);
    if constexpr (kIsScalar<T>) {
        s.gateOpen = g.gateOpen;
        s.holdCounter = static_cast<int32_t>(g.holdCounter);
    } else {
        s.gateOpen = g.gateOpen[lane];
        s.holdCounter = static_cast<int32_t>(g.holdCounter[lane]);
    }
}

// What the meters need of one call: each sample's combined gain and detector
// value, and the call's peaks of the two reductions and of the gain. A peak
// starts at -inf and rises only on strictly greater values, so raising a
// held meter by it ends exactly where raising it by each sample in turn
// would: on the first of the largest values, never on a NaN.
template <typename T, int S = kSubBlock>
struct GainMeterInputs {
    T gain[S], detector[S];
    T compReductionPeak, expReductionPeak, gainPeak;
};

// The hold reload: the count goes through float and back, truncated.
template <typename T, typename I>
inline UintLanes<T> HoldReload(I holdSamples) {
    if constexpr (__is_same(I, int32_t)) {
        return UintLanes<T>{} + static_cast<uint32_t>(TruncToInt32(static_cast<float>(holdSamples)));
    } else {
        return (UintLanes<T>)TruncToInt32(ConvertLanes<T>(holdSamples));
    }
}

// The lanes the sample-independent parts run in: with one record (T =
// float), whole vectors of samples and vector lanes in the build, eight
// consecutive samples side by side (time lanes); otherwise T itself, one
// sample at a time.
template <typename T, int S>
inline constexpr bool kTimeLanes = kIsScalar<T> && S % 8 == 0 && kLanes<8> == 8;

template <typename U, typename T>
inline U LoadSamples(const T* p) {
    if constexpr (__is_same(U, T)) {
        return *p;
    } else {
        U v;
        __builtin_memcpy(&v, p, sizeof v);
        return v;
    }
}

template <typename U, typename T>
inline void StoreSamples(T* p, U v) {
    if constexpr (__is_same(U, T)) {
        *p = v;
    } else {
        __builtin_memcpy(p, &v, sizeof v);
    }
}

// `step(i, lastSample)` for each group of samples starting at i, in the lane
// type U (a scalar T's time lanes or T itself); lastSample tells the lanes
// that end a sub-block.
template <typename T, int S, typename Step>
[[gnu::always_inline]] inline void ForSampleGroups(Step step) {
    if constexpr (kTimeLanes<T, S>) {
        using U = Lanes<8>;
        const IntLanes<U> last = {0, 0, 0, -1, 0, 0, 0, -1};
        for (int i = 0; i < S; i += 8) step.template operator()<U>(i, last);
    } else {
        for (int i = 0; i < S; ++i) step.template operator()<T>(i, i % kSubBlock == kSubBlock - 1);
    }
}

// The lanes of a time-lane vector folded into one value by the held-maximum
// rule (the same maximum in any order).
template <typename T, typename U>
inline T FoldMax(U v) {
    if constexpr (__is_same(U, T)) {
        return v;
    } else {
        T held = -__builtin_inff();
        for (int l = 0; l < kWidth<U>; ++l) KeepMax(held, v[l]);
        return held;
    }
}

// S detector samples (whole sub-blocks) in, S output gain factors out, for
// one group or one group per lane (the first Active lanes in use); the
// state advances by S samples and the parameters glide once per sub-block.
// K is the coefficient block shared by all lanes, or a record of the same
// fields with one block per lane.
template <typename T, int Active = kWidth<T>, int S = kSubBlock, typename K>
[[gnu::always_inline]] inline void ComputeGains(const K& k, T t, GainState<T>& s, T* x,
                                                GainMeterInputs<T, S>& out) {
    using Mask = decltype(T{} > T{});
    constexpr int kSubBlocks = S / kSubBlock;
    static_assert(S % kSubBlock == 0, "whole sub-blocks");

    // The parameters never depend on the signal: their glide runs ahead.
    T compFloor[kSubBlocks], expRange[kSubBlocks], outputGain[S];
    for (int b = 0; b < kSubBlocks; ++b) {
        s.compFloorDb = compFloor[b] = SmoothTowards(s.compFloorDb, Broadcast<T>(k.compFloorDbTarget), t);
        s.expRangeDb = expRange[b] = SmoothTowards(s.expRangeDb, Broadcast<T>(k.expRangeDbTarget), t);
        s.outputGain = SmoothTowards(s.outputGain, Broadcast<T>(k.outputGainTarget), t);
        for (int i = 0; i < kSubBlock; ++i) outputGain[b * kSubBlock + i] = s.outputGain;
    }

    // Both detectors always run so switching detectorMode never finds stale state.
    const T b0 = Broadcast<T>(k.levelB0), b1 = Broadcast<T>(k.levelB1), b2 = Broadcast<T>(k.levelB2);
    const T a1 = Broadcast<T>(k.levelA1), a2 = Broadcast<T>(k.levelA2);
    T filtered[S], peak[S];
    T z1 = s.levelZ1, z2 = s.levelZ2, envelope = s.peakEnvelope;
    for (int i = 0; i < S; ++i) {
        filtered[i] = BiquadStep(x[i], b0, b1, b2, a1, a2, z1, z2);
        envelope = x[i] > envelope ? x[i] : envelope * k.peakDecay;
        peak[i] = envelope;
    }
    s.levelZ1 = z1;
    s.levelZ2 = z2;
    s.levelOut = filtered[S - 1];
    s.peakEnvelope = envelope;

    const auto peakMode = k.detectorMode < 1;
    T compTarget[S], expCurve[S], level[S];
    ForSampleGroups<T, S>([&]<typename U>(int i, auto lastSample) {
        constexpr int kActive = __is_same(U, T) ? Active : kWidth<U>;
        const U detector = peakMode ? LoadSamples<U>(peak + i) : LoadSamples<U>(filtered + i);
        const U db = AmpToDb<U, kActive>(detector);
        StoreSamples(out.detector + i, detector);
        StoreSamples(level + i, db);
        StoreSamples(compTarget + i, CompressorCurve(k, db));
        StoreSamples(expCurve + i, ExpanderCurve(k, db, lastSample));
    });

    T compGain[S], expGain[S];
    T comp = s.compGainDb, expand = s.expGainDb;
    Mask open = s.gateOpen > 0;
    UintLanes<T> hold = s.holdCounter;
    const UintLanes<T> holdReload = HoldReload<T>(k.holdSamples);
    const T compAttack = Broadcast<T>(k.compAttackCoef), compRelease = Broadcast<T>(k.compReleaseCoef);
    const T expAttack = Broadcast<T>(k.expAttackCoef), expRelease = Broadcast<T>(k.expReleaseCoef);
    const T gateClose = Broadcast<T>(k.gateCloseThresholdDb), gateOpen = Broadcast<T>(k.gateOpenThresholdDb);
    for (int i = 0; i < S; ++i) {
        const T floor = compFloor[i / kSubBlock], range = expRange[i / kSubBlock];
        const T compCoef = compTarget[i] <= comp ? compAttack : compRelease;
        comp = Fma(compCoef, compTarget[i] - comp, comp);
        comp = comp < floor ? floor : comp;
        compGain[i] = comp;

        open = level[i] >= (open ? gateClose : gateOpen);
        const T target = (open & (expCurve[i] >= range)) ? expCurve[i] : range;
        // Rising: attack and reload the hold. Otherwise hold while the
        // counter runs (negative counts keep counting), then release.
        const Mask rising = target > expand;
        const Mask holding = hold != 0u;
        const T attacked = Fma(expAttack, target - expand, expand);
        const T released = Fma(expRelease, target - expand, expand);
        expand = rising ? attacked : holding ? expand : released;
        hold = rising ? holdReload : holding ? hold - 1u : hold;
        expGain[i] = expand;
    }
    s.compGainDb = comp;
    s.expGainDb = expand;
    s.gateOpen = open ? IntLanes<T>{} + 1 : IntLanes<T>{};
    s.holdCounter = hold;

    out.compReductionPeak = out.expReductionPeak = out.gainPeak = Broadcast<T>(-__builtin_inff());
    ForSampleGroups<T, S>([&]<typename U>(int i, auto) {
        constexpr int kActive = __is_same(U, T) ? Active : kWidth<U>;
        // Converted separately and multiplied: the table bias enters twice.
        const U compFactor = DbToAmp<U, kActive>(LoadSamples<U>(compGain + i));
        const U expFactor = DbToAmp<U, kActive>(LoadSamples<U>(expGain + i));
        const U gain = compFactor * expFactor;
        StoreSamples(out.gain + i, gain);
        StoreSamples(x + i, LoadSamples<U>(outputGain + i) * gain);
        KeepMax(out.compReductionPeak, FoldMax<T>(1.0f - compFactor));
        KeepMax(out.expReductionPeak, FoldMax<T>(1.0f - expFactor));
        KeepMax(out.gainPeak, FoldMax<T>(gain));
    });
}

// The meters all groups of an instance share, held in registers while the
// groups raise them in turn (S = float), or one instance's per lane.
template <typename S = float>
struct SharedGainMeters {
    S detector, gain, compReduction, expReduction;
};

inline SharedGainMeters<> LoadSharedGainMeters(const float* m) {
    return {m[kMeterDetector], m[kMeterGain], m[kMeterCompReduction], m[kMeterExpReduction]};
}

inline void StoreSharedGainMeters(const SharedGainMeters<>& shared, float* m) {
    m[kMeterDetector] = shared.detector;
    m[kMeterGain] = shared.gain;
    m[kMeterCompReduction] = shared.compReduction;
    m[kMeterExpReduction] = shared.expReduction;
}

// Raises the meters by one group's call: one lane of a lane vector (S =
// float), or every lane at once when each lane is an instance of its own (S =
// T). The retained gain and its detector value depend on the sample order.
template <typename S, typename T, int Samples>
inline void RaiseGainMeters(SharedGainMeters<S>& shared, S& groupMeter, const GainMeterInputs<T, Samples>& in,
                            int lane) {
    for (int i = 0; i < Samples; ++i) {
        const S gain = LaneOf<S>(in.gain[i], lane), detector = LaneOf<S>(in.detector[i], lane);
        const auto raise = (gain > shared.gain) | ((shared.gain == 0.0f) & (detector > shared.detector));
        shared.gain = raise ? gain : shared.gain;
        shared.detector = raise ? detector : shared.detector;
    }
    KeepMax(shared.compReduction, LaneOf<S>(in.compReductionPeak, lane));
    KeepMax(shared.expReduction, LaneOf<S>(in.expReductionPeak, lane));
    KeepMax(groupMeter, LaneOf<S>(in.gainPeak, lane));
}

template <int Samples>
void ProcessAudioGain(float* x, Dyn_SState* state, const SChannelStrip_Alg_Context* ctx, float t,
                      int slot, float* dynamicsRunState);

// One group's call; slot is its meter, past the four shared ones.
template <>
inline void ProcessAudioGain<4>(float* x, Dyn_SState* state, const SChannelStrip_Alg_Context* ctx,
                                float t, int slot, float* dynamicsRunState) {
    GainState<float> s;
    LoadGainState(s, 0, *state);
    GainMeterInputs<float> meterInputs;
    ComputeGains(*ctx->dynCoefs, t, s, x, meterInputs);
    StoreGainState(s, 0, *state);
    SharedGainMeters<> shared = LoadSharedGainMeters(dynamicsRunState);
    RaiseGainMeters(shared, dynamicsRunState[slot], meterInputs, 0);
    StoreSharedGainMeters(shared, dynamicsRunState);
}

}  // namespace stemstrip
