// Dynamics coefficients evaluated by the core's own curve functions, and the
// time constants run through the core's recursions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "dynamics/gain_computer.h"
#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip {
namespace {

constexpr double kRate = 48000.0;
constexpr double kInf = std::numeric_limits<double>::infinity();

Dyn_SCoefsBlock DesignDyn(const Settings& s, Format f = Format::Stereo) { return Design(s, f, kRate).dyn; }

// Value and slope of a curve agree on both sides of a knee end. The slopes
// come from one-sided three-point stencils, exact on quadratics and lines.
template <typename Curve>
void ExpectSmoothAt(Curve curve, double level, const char* what) {
    const double e = 1e-3, h = 0.5;
    const double left = curve(level - e), right = curve(level + e);
    const double leftSlope = (3 * left - 4 * curve(level - e - h) + curve(level - e - 2 * h)) / (2 * h);
    const double rightSlope = (-3 * right + 4 * curve(level + e + h) - curve(level + e + 2 * h)) / (2 * h);
    EXPECT_NEAR(leftSlope, rightSlope, 0.01) << what << " slope at " << level;
    EXPECT_NEAR(right - left, 2 * e * leftSlope, 1e-3) << what << " value at " << level;
}

TEST(GainCurves, CompressorMatchesThresholdAndRatioAndIsSmoothAtTheKnee) {
    struct Case { double threshold, ratio, knee; };
    for (const Case c : {Case{-20, 4, 10}, Case{-6, kInf, 6}, Case{-40, 1.5, 24}, Case{-10, 2, 0}, Case{0, kInf, 0}}) {
        Settings s;
        s.compressor.thresholdDb = c.threshold;
        s.compressor.ratio = c.ratio;
        s.compressor.kneeDb = c.knee;
        const Dyn_SCoefsBlock k = DesignDyn(s);
        const auto curve = [&](double level) { return double(CompressorCurve(k, float(level))); };
        const double slope = 1.0 / c.ratio - 1.0;
        SCOPED_TRACE(testing::Message() << "T " << c.threshold << " R " << c.ratio << " W " << c.knee);
        for (double above : {0.5, 3.0, 20.0}) {
            const double level = c.threshold + c.knee / 2 + above;
            EXPECT_NEAR(curve(level), (level - c.threshold) * slope, 1e-4);
        }
        for (double below : {0.5, 30.0}) EXPECT_EQ(curve(c.threshold - c.knee / 2 - below), 0.0);
        if (c.knee > 0) {
            ExpectSmoothAt(curve, c.threshold - c.knee / 2, "compressor");
            ExpectSmoothAt(curve, c.threshold + c.knee / 2, "compressor");
            EXPECT_NEAR(curve(c.threshold), slope * c.knee / 8, 1e-4);  // the quadratic's midpoint
        } else {
            EXPECT_EQ(curve(c.threshold), 0.0);
            EXPECT_NEAR(curve(c.threshold + 0.01), 0.01 * slope, 1e-5);
        }
    }
}

TEST(GainCurves, ExpanderMatchesThresholdAndRatioAndIsSmoothAtTheKnee) {
    struct Case { double threshold, ratio, knee; };
    for (const Case c : {Case{-50, 2, 10}, Case{-30, 10, 6}, Case{-60, 1.5, 0}}) {
        Settings s;
        s.expander.thresholdDb = c.threshold;
        s.expander.ratio = c.ratio;
        s.expander.kneeDb = c.knee;
        const Dyn_SCoefsBlock k = DesignDyn(s);
        SCOPED_TRACE(testing::Message() << "T " << c.threshold << " R " << c.ratio << " W " << c.knee);
        for (bool last : {false, true}) {
            const auto curve = [&](double level) { return double(ExpanderCurve(k, float(level), last)); };
            for (double below : {0.5, 10.0}) {
                const double level = c.threshold - c.knee / 2 - below;
                EXPECT_NEAR(curve(level), (level - c.threshold) * (c.ratio - 1.0), 1e-4);
            }
            EXPECT_EQ(curve(c.threshold + c.knee / 2 + 0.5), 0.0);
            if (c.knee > 0) {
                ExpectSmoothAt(curve, c.threshold - c.knee / 2, "expander");
                ExpectSmoothAt(curve, c.threshold + c.knee / 2, "expander");
            } else {
                EXPECT_EQ(curve(c.threshold), 0.0);
            }
        }
    }
}

TEST(GainCurves, FloorRangeGateAndStaticCurveReport) {
    Settings s;
    s.compressor = {-20.0, 4.0, 0.0, 5.0, 50.0, 9.0, 3.0};
    s.expander.thresholdDb = -50.0;
    s.expander.ratio = 3.0;
    s.expander.rangeDb = 30.0;
    const Dyn_SCoefsBlock k = DesignDyn(s);
    EXPECT_FLOAT_EQ(k.compFloorDbTarget, -9.0f);
    EXPECT_FLOAT_EQ(k.expRangeDbTarget, -30.0f);
    EXPECT_NEAR(k.outputGainTarget, 1.41254, 1e-5);
    // Gate off: no level the core can produce (-140 dB and up) shuts it.
    EXPECT_LE(k.gateOpenThresholdDb, -140.0f);
    EXPECT_LE(k.gateCloseThresholdDb, -140.0f);

    const std::vector<double> levels{-140.0, -60.0, -52.0, -30.0, -10.0, 0.0, 12.0};
    const std::vector<StaticGain> report = StaticGainCurve(k, levels);
    for (size_t i = 0; i < levels.size(); ++i) {
        const double comp = std::max(std::min(0.0, (levels[i] + 20.0) * -0.75), -9.0);
        const double exp = std::max(std::min(0.0, (levels[i] + 50.0) * 2.0), -30.0);
        EXPECT_NEAR(report[i].compressorDb, comp, 1e-4) << levels[i];
        EXPECT_NEAR(report[i].expanderDb, exp, 1e-4) << levels[i];
        EXPECT_NEAR(report[i].totalDb, comp + exp + 3.0, 1e-4) << levels[i];
    }

    s.expander.gate = true;
    s.expander.gateThresholdDb = -45.0;
    s.expander.hysteresisDb = 4.0;
    const Dyn_SCoefsBlock gated = DesignDyn(s);
    EXPECT_FLOAT_EQ(gated.gateOpenThresholdDb, -45.0f);
    EXPECT_FLOAT_EQ(gated.gateCloseThresholdDb, -49.0f);
    const double gateLevels[] = {-46.0, -45.0};
    const std::vector<StaticGain> g = StaticGainCurve(gated, gateLevels);
    EXPECT_DOUBLE_EQ(g[0].expanderDb, -30.0);   // below the open threshold: shut, at the range
    EXPECT_DOUBLE_EQ(g[1].expanderDb, 0.0);     // at it: open, above the expander threshold
}

// Steps of value += (1 - value) * factor until it reaches 1 - 1/e.
int StepsTo63Percent(float factor) {
    double value = 0.0;
    int steps = 0;
    while (value < 1.0 - std::exp(-1.0)) value += (1.0 - value) * factor, ++steps;
    return steps;
}

TEST(TimeConstants, EveryTimeMeansSixtyThreePercentInTheCoresRecursion) {
    Settings s;
    s.compressor.attackMs = 5.0;
    s.compressor.releaseMs = 120.0;
    s.expander.attackMs = 0.5;
    s.expander.releaseMs = 250.0;
    s.expander.holdMs = 2.5;
    s.detector.peakDecayMs = 20.0;
    s.detector.averageMs = 30.0;
    s.smoothingMs = 40.0;
    const CoefficientSet set = Design(s, Format::Mono, kRate);
    const Dyn_SCoefsBlock& k = set.dyn;
    EXPECT_NEAR(StepsTo63Percent(k.compAttackCoef), 240, 1);
    EXPECT_NEAR(StepsTo63Percent(k.compReleaseCoef), 5760, 1);
    EXPECT_NEAR(StepsTo63Percent(k.expAttackCoef), 24, 1);
    EXPECT_NEAR(StepsTo63Percent(k.expReleaseCoef), 12000, 1);
    EXPECT_NEAR(StepsTo63Percent(set.dezipRate), 480, 1);  // one step per 4 samples: 1920 samples
    EXPECT_EQ(k.holdSamples, 120);
    EXPECT_NEAR(std::pow(double(k.peakDecay), 960.0), std::exp(-1.0), 1e-4);

    // The averaging detector is a unity-gain one-pole whose step response hits 63 % after averageMs.
    EXPECT_NEAR(k.levelB0 / (1.0 - k.levelA1), 1.0, 1e-6);
    EXPECT_EQ(k.levelB1, 0.0f);
    EXPECT_EQ(k.levelA2, 0.0f);
    EXPECT_NEAR(StepsTo63Percent(k.levelB0), 1440, 1);

    Settings instant;
    instant.compressor.attackMs = instant.expander.releaseMs = instant.detector.peakDecayMs = instant.smoothingMs = 0.0;
    const CoefficientSet zero = Design(instant, Format::Mono, kRate);
    EXPECT_EQ(zero.dyn.compAttackCoef, 1.0f);
    EXPECT_EQ(zero.dyn.expReleaseCoef, 1.0f);
    EXPECT_EQ(zero.dyn.peakDecay, 0.0f);
    EXPECT_EQ(zero.dezipRate, 1.0f);
}

TEST(Detector, ModesKeyAndSideChainFilter) {
    Settings s;
    Dyn_SCoefsBlock k = DesignDyn(s);
    EXPECT_EQ(k.detectorMode, 0);
    EXPECT_EQ(k.keySource, 0);
    EXPECT_EQ(k.keyListen, 0);
    EXPECT_EQ((std::vector<float>{k.detFilterB0, k.detFilterB1, k.detFilterB2, k.detFilterA1, k.detFilterA2}),
              (std::vector<float>{1, 0, 0, 0, 0}));

    s.detector.mode = DetectorMode::Average;
    s.detector.externalKey = s.detector.keyListen = true;
    s.detector.filter = SideChainFilter::HighPass;
    s.detector.filterHz = 150.0;
    s.inputMeterTrimDb = -6.0;
    s.bypass = true;
    k = DesignDyn(s);
    EXPECT_EQ(k.detectorMode, 1);
    EXPECT_EQ(k.keySource, 1);
    EXPECT_EQ(k.keyListen, 1);
    EXPECT_EQ(k.bypass, 1);
    EXPECT_NEAR(k.inputMeterGain, 0.501187, 1e-6);
    // High pass: nothing at DC, unity at Nyquist (sign-inverted feedback).
    EXPECT_NEAR(k.detFilterB0 + k.detFilterB1 + k.detFilterB2, 0.0, 1e-7);
    EXPECT_NEAR((k.detFilterB0 - k.detFilterB1 + k.detFilterB2) / (1.0 + k.detFilterA1 - k.detFilterA2), 1.0, 1e-3);
    s.detector.filter = SideChainFilter::LowPass;
    k = DesignDyn(s);
    EXPECT_NEAR((k.detFilterB0 + k.detFilterB1 + k.detFilterB2) / (1.0 - k.detFilterA1 - k.detFilterA2), 1.0, 1e-5);
}

TEST(Formats, TableNamesAndChannelLinking) {
    struct Row { Format f; const char* name; int channels, slots; };
    const Row rows[] = {{Format::Mono, "mono", 1, 1},          {Format::Stereo, "stereo", 2, 1},
                        {Format::LCR, "lcr", 3, 2},            {Format::Quad, "quad", 4, 2},
                        {Format::LCRS, "lcrs", 4, 3},          {Format::Surround5_0, "5.0", 5, 3},
                        {Format::Surround5_1, "5.1", 6, 4},    {Format::Surround6_0, "6.0", 6, 4},
                        {Format::Surround6_1, "6.1", 7, 5},    {Format::Surround7_0, "7.0", 7, 4},
                        {Format::Surround7_1, "7.1", 8, 5}};
    for (const Row& r : rows) {
        EXPECT_EQ(ChannelCount(r.f), r.channels);
        EXPECT_EQ(GroupSlots(r.f), r.slots);
        EXPECT_EQ(FormatName(r.f), r.name);
        EXPECT_EQ(ParseFormat(r.name), r.f);
        const std::array<int, 8> groups = DefaultChannelGroups(r.f);
        for (int c = 0; c < 8; ++c) {
            EXPECT_GE(groups[c], 0);
            EXPECT_LT(groups[c], c < r.channels ? r.slots : 1) << r.name << " channel " << c;
        }
        if (r.channels >= 2) {
            EXPECT_EQ(groups[0], groups[1]) << r.name << ": L and R are linked";
        }
        Settings none;
        EXPECT_NO_THROW(Design(none, r.f, kRate)) << r.name;
    }
    EXPECT_FALSE(ParseFormat("5.2"));
    EXPECT_EQ(DefaultChannelGroups(Format::Surround5_1), (std::array<int, 8>{0, 0, 1, 2, 3, 3, 0, 0}));
    EXPECT_EQ(DefaultChannelGroups(Format::Surround7_1), (std::array<int, 8>{0, 0, 1, 2, 3, 3, 4, 4}));

    Settings s;
    s.channelGroups = std::array<int, 8>{2, 1, 0, 0, 7, 7, 7, 7};  // past LCRS's four channels: ignored
    const Dyn_SCoefsBlock k = DesignDyn(s, Format::LCRS);
    EXPECT_EQ(std::vector<int>(k.channelGroup, k.channelGroup + 8), (std::vector<int>{2, 1, 0, 0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace stemstrip
