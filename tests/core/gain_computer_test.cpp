#include <gtest/gtest.h>

#include <cmath>

#include "dynamics/gain_computer.h"

namespace stemstrip {
namespace {

// A gain computer whose smoothing is instantaneous (coefficients 1 from a
// 0 dB start), floor and range out of the way and the gate open, so each
// static curve can be read straight off the state.
struct Rig {
    Dyn_SCoefsBlock k{};
    Dyn_SState s{};
    SChannelStrip_Alg_Context ctx{};
    float meters[6] = {};
    Rig() {
        k.compAttackCoef = k.compReleaseCoef = 1.0f;
        k.expAttackCoef = k.expReleaseCoef = 1.0f;
        k.compFloorDbTarget = s.compFloorDb = -1000.0f;
        k.expRangeDbTarget = s.expRangeDb = -1000.0f;
        k.gateOpenThresholdDb = k.gateCloseThresholdDb = -1000.0f;
        k.compKneeTopDb = k.compKneeBottomDb = 1000.0f;    // compressor idle
        k.expKneeTopDb = k.expKneeBottomDb = -1000.0f;     // expander idle
        k.outputGainTarget = s.outputGain = 1.0f;
        k.peakDecay = 1.0f;
        k.detectorMode = 1, k.levelB0 = 1.0f;               // the level filter passes x through
        ctx.dynCoefs = &k;
    }
    // Runs one call on a constant detector value; returns the gains.
    std::array<float, 4> Run(float detector, float t = 0.0f) {
        std::array<float, 4> x{detector, detector, detector, detector};
        ProcessAudioGain<4>(x.data(), &s, &ctx, t, 4, meters);
        return x;
    }
};

TEST(GainComputer, CompressorCurveBoundaries) {
    const float x = 0.25f, level = AmpToDb(x);
    Rig straight, atTop, atBottom;
    for (Rig* r : {&straight, &atTop, &atBottom}) {
        r->k.compSlope = -0.5f, r->k.compThresholdDb = -20.0f;
        r->k.compKneeA = -0.01f, r->k.compKneeB = 0.3f, r->k.compKneeC = 2.0f;
    }
    straight.k.compKneeTopDb = level - 1.0f, straight.k.compKneeBottomDb = level - 2.0f;
    atTop.k.compKneeTopDb = level, atTop.k.compKneeBottomDb = level - 2.0f;
    atBottom.k.compKneeTopDb = level + 1.0f, atBottom.k.compKneeBottomDb = level;
    straight.Run(x), atTop.Run(x), atBottom.Run(x);
    EXPECT_EQ(straight.s.compGainDb, (level + 20.0f) * -0.5f);
    EXPECT_EQ(atTop.s.compGainDb, std::fma(0.3f, level, -0.01f * (level * level)) + 2.0f);
    EXPECT_EQ(atBottom.s.compGainDb, 0.0f);
}

TEST(GainComputer, ExpanderCurveBoundariesAndLastSampleGrouping) {
    const float x = 0.01f, level = AmpToDb(x);
    Rig straight, atTop, atBottom;
    for (Rig* r : {&straight, &atTop, &atBottom}) {
        r->k.expSlope = 2.0f, r->k.expThresholdDb = -30.0f;
        r->k.expKneeA = 0.013f, r->k.expKneeB = 0.77f, r->k.expKneeC = -3.1f;
    }
    straight.k.expKneeBottomDb = level + 1.0f, straight.k.expKneeTopDb = level + 2.0f;
    atTop.k.expKneeBottomDb = level - 1.0f, atTop.k.expKneeTopDb = level;
    atBottom.k.expKneeBottomDb = level, atBottom.k.expKneeTopDb = level + 1.0f;
    straight.Run(x), atTop.Run(x);
    EXPECT_EQ(straight.s.expGainDb, (level + 30.0f) * 2.0f);
    const float lastSample = std::fma(0.77f, level, 0.013f * (level * level)) + -3.1f;
    EXPECT_EQ(atTop.s.expGainDb, lastSample);

    // Find a level where the two groupings of the knee round differently and
    // check samples 0-2 use one and sample 3 the other.
    float probe = 0.0f, early = 0.0f, late = 0.0f;
    for (float a = 0.001f; a < 1.0f && early == late; a *= 1.001f) {
        probe = a;
        const float l = AmpToDb(a);
        early = std::fma(0.013f, l * l, 0.77f * l) + -3.1f;
        late = std::fma(0.77f, l, 0.013f * (l * l)) + -3.1f;
    }
    ASSERT_NE(early, late);
    atBottom.k.expKneeBottomDb = -1000.0f, atBottom.k.expKneeTopDb = 1000.0f;
    const auto gains = atBottom.Run(probe);
    EXPECT_EQ(gains[0], 1.0f * (DbToAmp(0.0f) * DbToAmp(early)));
    EXPECT_EQ(gains[2], 1.0f * (DbToAmp(0.0f) * DbToAmp(early)));
    EXPECT_EQ(atBottom.s.expGainDb, late);

    Rig bottomInclusive;
    bottomInclusive.k = atBottom.k;
    bottomInclusive.k.expKneeBottomDb = level, bottomInclusive.k.expKneeTopDb = level + 1.0f;
    bottomInclusive.Run(x);
    EXPECT_EQ(bottomInclusive.s.expGainDb, lastSample);
}

TEST(GainComputer, GateHysteresisAndHold) {
    Rig r;
    r.k.expRangeDbTarget = r.s.expRangeDb = -60.0f;
    r.k.expKneeTopDb = r.k.expKneeBottomDb = -1000.0f;  // curve 0 dB while open
    const float loud = 0.5f, mid = 0.1f, quiet = 0.01f;
    r.k.gateOpenThresholdDb = AmpToDb(loud);   // exactly at the threshold counts as open
    r.k.gateCloseThresholdDb = AmpToDb(mid);

    r.s.expGainDb = -60.0f;
    r.Run(mid);
    EXPECT_EQ(r.s.gateOpen, 0) << "between the thresholds a closed gate stays closed";
    r.Run(loud);
    EXPECT_EQ(r.s.gateOpen, 1);
    EXPECT_EQ(r.s.expGainDb, 0.0f);
    r.Run(mid);
    EXPECT_EQ(r.s.gateOpen, 1) << "at the close threshold an open gate stays open";
    r.Run(quiet);
    EXPECT_EQ(r.s.gateOpen, 0);
    EXPECT_EQ(r.s.expGainDb, -60.0f);

    // Hold of 3: after the rising sample the gain stays for exactly three
    // samples and the fourth starts the release (coefficient 0.5 here).
    Rig h;
    h.k.expRangeDbTarget = h.s.expRangeDb = -40.0f;
    h.k.expReleaseCoef = 0.5f;
    h.k.holdSamples = 3;
    h.k.gateOpenThresholdDb = AmpToDb(0.5f), h.k.gateCloseThresholdDb = AmpToDb(0.5f);
    h.s.expGainDb = -40.0f;
    std::array<float, 4> x{0.5f, 0.1f, 0.1f, 0.1f};
    ProcessAudioGain<4>(x.data(), &h.s, &h.ctx, 0.0f, 4, h.meters);
    EXPECT_EQ(h.s.expGainDb, 0.0f);
    EXPECT_EQ(h.s.holdCounter, 0);
    x = {0.1f, 0.1f, 0.1f, 0.1f};
    ProcessAudioGain<4>(x.data(), &h.s, &h.ctx, 0.0f, 4, h.meters);
    EXPECT_EQ(x[0], DbToAmp(0.0f) * DbToAmp(-20.0f)) << "first released sample after the hold";
    EXPECT_EQ(h.s.expGainDb, -37.5f);

    // A tie is not a rise: the counter keeps counting, even below zero.
    Rig tie;
    tie.k.expRangeDbTarget = tie.s.expRangeDb = -10.0f;
    tie.k.gateOpenThresholdDb = tie.k.gateCloseThresholdDb = 1000.0f;  // closed: target is the range
    tie.s.expGainDb = -10.0f;
    tie.s.holdCounter = -2;
    tie.Run(0.1f);
    EXPECT_EQ(tie.s.holdCounter, -6);
    EXPECT_EQ(tie.s.expGainDb, -10.0f);
}

TEST(GainComputer, AttackReleaseTiesFloorAndParameterSmoothing) {
    Rig r;
    r.k.compAttackCoef = 0.25f, r.k.compReleaseCoef = 0.5f;
    r.k.compKneeTopDb = r.k.compKneeBottomDb = -1000.0f, r.k.compSlope = 0.0f;  // target 0 dB
    r.s.compGainDb = 0.0f;
    r.Run(0.5f);
    EXPECT_EQ(r.s.compGainDb, 0.0f) << "a tie takes the attack coefficient and stays";
    r.s.compGainDb = -8.0f;
    r.Run(0.5f);
    EXPECT_EQ(r.s.compGainDb, -0.5f) << "release halves the distance each sample";
    r.s.compGainDb = 8.0f;
    r.Run(0.5f);
    EXPECT_EQ(r.s.compGainDb, 8.0f * 0.75f * 0.75f * 0.75f * 0.75f);

    // Floor, output gain and range glide once per call at rate t, and the
    // new floor clamps this call's gains.
    Rig f;
    f.k.compKneeTopDb = -1000.0f, f.k.compSlope = -1.0f, f.k.compThresholdDb = 0.0f;
    f.k.compFloorDbTarget = -6.0f, f.s.compFloorDb = -2.0f;
    f.k.outputGainTarget = 3.0f, f.s.outputGain = 1.0f;
    f.k.expRangeDbTarget = -50.0f, f.s.expRangeDb = -10.0f;
    const auto gains = f.Run(1.0f, 0.5f);  // level 0 dB: target 0
    EXPECT_EQ(f.s.compFloorDb, -4.0f);
    EXPECT_EQ(f.s.outputGain, 2.0f);
    EXPECT_EQ(f.s.expRangeDb, -30.0f);
    f.k.compThresholdDb = -30.0f;  // target -30, clamped to the floor
    const auto clamped = f.Run(1.0f, 0.5f);
    EXPECT_EQ(f.s.compFloorDb, -5.0f);
    EXPECT_EQ(f.s.compGainDb, -5.0f);
    EXPECT_EQ(clamped[0], 2.5f * (DbToAmp(-5.0f) * DbToAmp(0.0f)));
    EXPECT_EQ(gains[0], 2.0f * (DbToAmp(0.0f) * DbToAmp(0.0f)));
}

TEST(GainComputer, BiasDetectorModeAndMeters) {
    Rig r;
    r.k.outputGainTarget = r.s.outputGain = 0.7f;
    const auto gains = r.Run(0.3f);
    const float bias = 1.0000013f;
    for (float g : gains) EXPECT_EQ(g, 0.7f * (bias * bias));
    EXPECT_EQ(r.meters[1], bias * bias);
    EXPECT_EQ(r.meters[0], 0.3f);
    EXPECT_EQ(r.meters[4], bias * bias);
    EXPECT_EQ(r.meters[2], 0.0f) << "1 - 1.0000013 is negative and never beats 0";

    // The level filter's output is not rectified: negative means silence.
    Rig avg;
    avg.k.levelB0 = -1.0f;
    avg.k.expRangeDbTarget = avg.s.expRangeDb = -20.0f;
    avg.k.expKneeTopDb = avg.k.expKneeBottomDb = -1000.0f;
    avg.k.gateOpenThresholdDb = avg.k.gateCloseThresholdDb = -139.0f;
    avg.s.gateOpen = 1;
    avg.s.expGainDb = 0.0f;
    avg.Run(0.5f);
    EXPECT_EQ(avg.s.levelOut, -0.5f);
    EXPECT_EQ(avg.s.gateOpen, 0) << "-140 dB is below a -139 dB close threshold";
    EXPECT_EQ(avg.s.peakEnvelope, 0.5f) << "the peak detector runs whatever the mode";

    // While the retained gain is exactly zero the larger detector value wins.
    Rig zero;
    zero.k.outputGainTarget = zero.s.outputGain = 1.0f;
    zero.meters[0] = 0.1f;
    zero.meters[1] = 0.0f;
    zero.k.compKneeTopDb = -1000.0f, zero.k.compSlope = -1.0f, zero.k.compThresholdDb = 10000.0f;
    zero.Run(0.05f);
    EXPECT_EQ(zero.meters[0], 0.1f);
    EXPECT_EQ(zero.meters[1], 0.0f) << "a flushed-to-zero gain never beats a held zero";
}

}  // namespace
}  // namespace stemstrip
