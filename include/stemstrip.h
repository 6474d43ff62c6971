/*
 * stemstrip: a real-time channel strip (EQ, dynamics, meters) for stems from
 * mono to 7.1, as a freestanding shared library.
 *
 * Ownership: the host owns every context and every block it points to. It
 * allocates them, writes their initial values (glide snapped to targets,
 * states zeroed), keeps them alive and unmoved during a call, and reads and
 * clears the meters. The library never allocates, frees or resets anything;
 * it only reads coefficients and updates states, meters and output buffers.
 *
 * Every buffer must hold the call's sample count rounded up to a multiple of
 * 16: the library always processes whole 16-sample blocks.
 *
 * This header compiles as C11 and as C++.
 */
#ifndef STEMSTRIP_H
#define STEMSTRIP_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    EQ_kMaxSections = 8,
    EQ_kCoefsPerSection = 5,
    EQ_kCoefCount = EQ_kMaxSections * EQ_kCoefsPerSection,
    Dyn_kMaxChannels = 8
};

/* Equaliser target coefficients, written by the host. Section k owns
 * coefs[5k..5k+4] as b0, b1, b2, a1, a2 with a1, a2 sign-inverted (added in
 * the recursion). Index 0 of the range arrays is the stage before the
 * dynamics, index 1 the stage after; [sectionBegin, sectionEnd) runs. */
typedef struct EQ_SCoefs {
    float coefs[EQ_kCoefCount];
    int32_t sectionBegin[2];
    int32_t sectionEnd[2];
} EQ_SCoefs;

/* Smoothed equaliser coefficients: the library glides accum towards the
 * targets; coefs is always accum rounded to float. */
typedef struct EQ_SDezipCoefs {
    float coefs[EQ_kCoefCount];
    double accum[EQ_kCoefCount];
} EQ_SDezipCoefs;

/* Per-channel equaliser filter memories; an instance has N of them back to
 * back (17 floats each). */
typedef struct EQ_SState {
    float z1[EQ_kMaxSections];
    float z2[EQ_kMaxSections];
    float spare;
} EQ_SState;

/* Dynamics coefficients, written by the host, read-only for the library. */
typedef struct Dyn_SCoefsBlock {
    float compSlope;
    float compKneeA;
    float compKneeB;
    float compKneeC;
    float compThresholdDb;
    float compKneeTopDb;
    float compKneeBottomDb;
    float compFloorDbTarget;
    float outputGainTarget;
    float compAttackCoef;
    float compReleaseCoef;
    int32_t reserved11;
    float expSlope;
    float expKneeA;
    float expKneeB;
    float expKneeC;
    float expThresholdDb;
    float gateOpenThresholdDb;
    float gateCloseThresholdDb;
    float expKneeTopDb;
    float expKneeBottomDb;
    float expRangeDbTarget;
    float expAttackCoef;
    float expReleaseCoef;
    int32_t holdSamples;
    float peakDecay;
    float detFilterB0;
    float detFilterB1;
    float detFilterB2;
    float detFilterA1;
    float detFilterA2;
    float levelB0;
    float levelB1;
    float levelB2;
    float levelA1;
    float levelA2;
    int32_t channelGroup[Dyn_kMaxChannels];
    int32_t detectorMode;
    int32_t keySource;
    int32_t keyListen;
    float inputMeterGain;
    int32_t bypass;
} Dyn_SCoefsBlock;

/* Dynamics running state, one record per channel. The gain computer of a
 * channel group lives in the record of the group's lowest channel; record
 * 0's dezipRate is the instance's smoothing rate (EQ glide and parameters). */
typedef struct Dyn_SState {
    float compGainDb;
    float expGainDb;
    float detFilterZ1;
    float detFilterZ2;
    float levelZ1;
    float levelZ2;
    float peakEnvelope;
    float levelOut;
    float outputGain;
    float compFloorDb;
    float expRangeDb;
    int32_t gateOpen;
    int32_t holdCounter;
    int32_t reserved13;
    float dezipRate;
} Dyn_SState;

/* One processing instance. The private block behind privateState holds
 * 3N + 4 floats: inputPeaks[N], outputPeaks[N], dynamicsRunState[4 + N]. */
typedef struct SChannelStrip_Alg_Context {
    const float* const* inputs;
    float* const* outputs;
    const int32_t* sideChainIndex;
    const int32_t* sampleCount;
    const Dyn_SCoefsBlock* dynCoefs;
    Dyn_SState* dynState;
    const EQ_SCoefs* eqTarget;
    EQ_SDezipCoefs* eqCoefs;
    EQ_SState* eqState;
    float** privateState;
} SChannelStrip_Alg_Context;

/* The eleven entries: process every context of [begin, end) in order. */
#define STEMSTRIP_ENTRY(name) \
    void name(SChannelStrip_Alg_Context* const* begin, const void* end)
STEMSTRIP_ENTRY(AlgEntry_16_Stem_Mono);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_Stereo);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_LCR);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_Quad);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_LCRS);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_5_0);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_5_1);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_6_0);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_6_1);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_7_0);
STEMSTRIP_ENTRY(AlgEntry_16_Stem_7_1);
#undef STEMSTRIP_ENTRY

typedef void (*AlgEntry_Fn)(SChannelStrip_Alg_Context* const* begin, const void* end);

/* Layout guards: these records are shared with hosts in other languages. */
#ifdef __cplusplus
#define STEMSTRIP_ASSERT(c, m) static_assert(c, m)
#else
#define STEMSTRIP_ASSERT(c, m) _Static_assert(c, m)
#endif
STEMSTRIP_ASSERT(sizeof(EQ_SCoefs) == 176, "EQ_SCoefs layout");
STEMSTRIP_ASSERT(offsetof(EQ_SCoefs, sectionBegin) == 160, "EQ_SCoefs layout");
STEMSTRIP_ASSERT(offsetof(EQ_SCoefs, sectionEnd) == 168, "EQ_SCoefs layout");
STEMSTRIP_ASSERT(sizeof(EQ_SDezipCoefs) == 480, "EQ_SDezipCoefs layout");
STEMSTRIP_ASSERT(offsetof(EQ_SDezipCoefs, accum) == 160, "EQ_SDezipCoefs layout");
STEMSTRIP_ASSERT(sizeof(EQ_SState) == 17 * 4, "EQ_SState layout");
STEMSTRIP_ASSERT(offsetof(EQ_SState, z2) == 32, "EQ_SState layout");
STEMSTRIP_ASSERT(offsetof(EQ_SState, spare) == 64, "EQ_SState layout");
STEMSTRIP_ASSERT(sizeof(Dyn_SCoefsBlock) == 49 * 4, "Dyn_SCoefsBlock layout");
STEMSTRIP_ASSERT(offsetof(Dyn_SCoefsBlock, reserved11) == 11 * 4, "Dyn_SCoefsBlock layout");
STEMSTRIP_ASSERT(offsetof(Dyn_SCoefsBlock, holdSamples) == 24 * 4, "Dyn_SCoefsBlock layout");
STEMSTRIP_ASSERT(offsetof(Dyn_SCoefsBlock, detFilterB0) == 26 * 4, "Dyn_SCoefsBlock layout");
STEMSTRIP_ASSERT(offsetof(Dyn_SCoefsBlock, levelB0) == 31 * 4, "Dyn_SCoefsBlock layout");
STEMSTRIP_ASSERT(offsetof(Dyn_SCoefsBlock, channelGroup) == 36 * 4, "Dyn_SCoefsBlock layout");
STEMSTRIP_ASSERT(offsetof(Dyn_SCoefsBlock, detectorMode) == 44 * 4, "Dyn_SCoefsBlock layout");
STEMSTRIP_ASSERT(offsetof(Dyn_SCoefsBlock, bypass) == 48 * 4, "Dyn_SCoefsBlock layout");
STEMSTRIP_ASSERT(sizeof(Dyn_SState) == 15 * 4, "Dyn_SState layout");
STEMSTRIP_ASSERT(offsetof(Dyn_SState, gateOpen) == 11 * 4, "Dyn_SState layout");
STEMSTRIP_ASSERT(offsetof(Dyn_SState, dezipRate) == 14 * 4, "Dyn_SState layout");
STEMSTRIP_ASSERT(sizeof(SChannelStrip_Alg_Context) == 10 * sizeof(void*), "context layout");
STEMSTRIP_ASSERT(offsetof(SChannelStrip_Alg_Context, privateState) == 9 * sizeof(void*), "context layout");
#undef STEMSTRIP_ASSERT

#ifdef __cplusplus
}
#endif

#endif /* STEMSTRIP_H */
