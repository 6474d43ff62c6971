// Static gain curves measured with steady sines. Expected gains come from
// the textbook soft-knee formulas, written out here from threshold, ratio
// and knee width.
#include <gtest/gtest.h>

#include <algorithm>

#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

namespace {

double CompressorGainDb(double level, double threshold, double ratio, double knee) {
    const double over = level - threshold;
    if (2.0 * over < -knee) return 0.0;
    if (2.0 * over > knee) return over * (1.0 / ratio - 1.0);
    return (1.0 / ratio - 1.0) * (over + knee / 2) * (over + knee / 2) / (2.0 * knee);
}

double ExpanderGainDb(double level, double threshold, double ratio, double knee, double range) {
    const double under = threshold - level;
    double gain;
    if (2.0 * under < -knee)
        gain = 0.0;
    else if (2.0 * under > knee)
        gain = -under * (ratio - 1.0);
    else
        gain = -(ratio - 1.0) * (under + knee / 2) * (under + knee / 2) / (2.0 * knee);
    return std::max(gain, -range);
}

// Gain (dB) of a fresh mono strip on a 0.5 s sine, read at the
// last positive peak, where the input is exactly the amplitude.
double SteadyGainDb(const Settings& s, double levelDb) {
    Instance strip(Format::Mono, s, kRate, Aligned());
    const std::vector<float> x = Sine(Amp(levelDb), 24000);
    const std::vector<float> y = RunMono(strip, x);
    const int peak = 24000 - 48 + 12;
    return Db(y[peak] / x[peak]);
}

Settings SlowPeakDetector() {
    Settings s;
    s.detector.peakDecayMs = 5000.0;  // no ripple between the sine's peaks
    return s;
}

}  // namespace

TEST(StaticCurves, CompressorFollowsThresholdRatioAndKnee) {
    Settings s = SlowPeakDetector();
    s.compressor = {.thresholdDb = -30.0, .ratio = 4.0, .kneeDb = 12.0, .attackMs = 0.5, .releaseMs = 20.0,
                    .maxReductionDb = 100.0};
    double worst = 0.0;
    for (double level = -80.0; level <= 0.0; level += 2.0) {
        const double error = SteadyGainDb(s, level) - CompressorGainDb(level, -30.0, 4.0, 12.0);
        EXPECT_NEAR(error, 0.0, 0.1) << "at " << level << " dBFS";
        worst = std::max(worst, std::abs(error));
    }
    RecordProperty("worst_error_db", std::to_string(worst));

    s.compressor.kneeDb = 0.0;
    s.compressor.ratio = std::numeric_limits<double>::infinity();  // limiter
    for (double level : {-40.0, -20.0, -10.0, 0.0})
        EXPECT_NEAR(SteadyGainDb(s, level), CompressorGainDb(level, -30.0, 1e300, 0.0), 0.1) << level;
}

TEST(StaticCurves, ExpanderFollowsThresholdRatioKneeAndRange) {
    Settings s = SlowPeakDetector();
    s.expander = {.thresholdDb = -40.0, .ratio = 3.0, .kneeDb = 8.0, .rangeDb = 30.0, .attackMs = 0.5,
                  .releaseMs = 20.0};
    double worst = 0.0;
    for (double level = -80.0; level <= 0.0; level += 2.0) {
        const double error = SteadyGainDb(s, level) - ExpanderGainDb(level, -40.0, 3.0, 8.0, 30.0);
        EXPECT_NEAR(error, 0.0, 0.1) << "at " << level << " dBFS";
        worst = std::max(worst, std::abs(error));
    }
    RecordProperty("worst_error_db", std::to_string(worst));
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
    const int step = 480;
    auto openAt = [&](double level) {
        const std::vector<float> x = Steps({level}, step);
        return Db(RunMono(strip, x).back() / x.back()) > -1.0;
    };
    std::optional<double> opened, closed;
    for (double level = -49.75; level < -30.0 && !opened; level += 0.5)
        if (openAt(level)) opened = level;
    for (double level = -30.25; level > -60.0 && !closed; level -= 0.5)
        if (!openAt(level)) closed = level;
    EXPECT_EQ(opened, -39.75);
    EXPECT_EQ(closed, -46.25);
    // Closed, the gate applies exactly the range.
    const std::vector<float> quiet = Steps({-55.0}, step);
    EXPECT_NEAR(GainDb(quiet, RunMono(strip, quiet)).back(), -60.0, 0.1);
}
