// Static gain curves measured with steady sines. Expected gains come from
// the textbook soft-knee formulas, written out here from threshold, ratio
// and knee width.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

namespace {

// Gain in dB for a level `over` dB above a threshold, with a soft knee of
// `knee` dB and `slope` dB of gain per dB above the knee.
double KneeGainDb(double over, double slope, double knee) {
    if (2.0 * over < -knee) return 0.0;
    if (2.0 * over >= knee) return over * slope;  // >=: a hard knee has no middle
    return slope * (over + knee / 2) * (over + knee / 2) / (2.0 * knee);
}

// Gain (dB) of a fresh mono strip on a 0.5 s sine, read at the last positive
// peak, where the input is exactly the amplitude.
double SteadyGainDb(const Settings& s, double levelDb) {
    Instance strip(Format::Mono, s, kRate, Aligned());
    const std::vector<float> x = Sine(Amp(levelDb), 24000), y = RunMono(strip, x);
    const int peak = 24000 - 48 + 12;
    return Db(y[peak] / x[peak]);
}

}  // namespace

TEST(StaticCurves, CompressorLimiterAndExpanderFollowThresholdRatioKneeAndRange) {
    Settings comp, limiter, expander;
    comp.compressor = {.thresholdDb = -30.0, .ratio = 4.0, .kneeDb = 12.0, .attackMs = 0.5, .releaseMs = 20.0,
                       .maxReductionDb = 100.0};
    limiter.compressor = comp.compressor;
    limiter.compressor.kneeDb = 0.0;
    limiter.compressor.ratio = std::numeric_limits<double>::infinity();
    expander.expander = {.thresholdDb = -40.0, .ratio = 3.0, .kneeDb = 8.0, .rangeDb = 30.0, .attackMs = 0.5,
                         .releaseMs = 20.0};
    const std::pair<Settings, std::function<double(double)>> curves[] = {
        {comp, [](double level) { return KneeGainDb(level + 30.0, 0.25 - 1.0, 12.0); }},
        {limiter, [](double level) { return KneeGainDb(level + 30.0, -1.0, 0.0); }},
        {expander, [](double level) { return std::max(KneeGainDb(-40.0 - level, -2.0, 8.0), -30.0); }},
    };
    for (auto [s, expected] : curves) {
        s.detector.peakDecayMs = 5000.0;  // no ripple between the sine's peaks
        for (double level = -80.0; level <= 0.0; level += 2.0)
            EXPECT_NEAR(SteadyGainDb(s, level), expected(level), 0.1) << "at " << level << " dBFS";
    }
}

// Levels climb, then fall, in 0.5 dB steps placed 0.25 dB either side of the
// thresholds: the gate must open at the first step at or above -40 dBFS and
// close at the first step below -46 dBFS (threshold minus hysteresis).
TEST(StaticCurves, GateOpensAtThresholdAndClosesBelowHysteresis) {
    Settings s;
    s.expander = {.rangeDb = 60.0, .gate = true, .gateThresholdDb = -40.0, .hysteresisDb = 6.0, .attackMs = 0.1,
                  .releaseMs = 0.1};
    s.detector.peakDecayMs = 1.0;
    Instance strip(Format::Mono, s, kRate, Aligned());
    auto gainAt = [&](double level) {
        const std::vector<float> x = Steps({level}, 480);
        return GainDb(x, RunMono(strip, x)).back();
    };
    std::optional<double> opened, closed;
    for (double level = -49.75; level < -30.0 && !opened; level += 0.5)
        if (gainAt(level) > -1.0) opened = level;
    for (double level = -30.25; level > -60.0 && !closed; level -= 0.5)
        if (gainAt(level) < -1.0) closed = level;
    EXPECT_EQ(opened, -39.75);
    EXPECT_EQ(closed, -46.25);
    EXPECT_NEAR(gainAt(-55.0), -60.0, 0.1) << "closed, the gate applies exactly the range";
}
