// Time constants measured on steps of DC: the gain must cover 63 % of its
// change (in dB for attack and release, in linear gain for parameter
// smoothing, which glides linear factors) within 5 % of the set time.
#include <gtest/gtest.h>

#include "stemstrip/design.hpp"
#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

namespace {

// Samples from `from` until gain[] has covered 63.2 % of the way from its
// value just before `from` to `settled`.
int SamplesTo63(const std::vector<double>& gain, int from, double settled) {
    const double start = gain[from - 1];
    const double mark = start + (1.0 - std::exp(-1.0)) * (settled - start);
    for (int i = from; i < static_cast<int>(gain.size()); ++i)
        if ((settled - start) * (gain[i] - mark) >= 0.0) return i - from + 1;
    return -1;
}

double Ms(int samples) { return samples * 1000.0 / kRate; }

}  // namespace

TEST(TimeConstants, AttackAndReleaseOfBothStages) {
    // The averaging detector at 0 ms passes |x| through unchanged, so a DC
    // step is a clean level step. (A peak detector lets every sample equal to
    // the envelope decay, so on DC it alternates between two levels.)
    Settings comp, expander;
    comp.detector = expander.detector = {.mode = DetectorMode::Average, .averageMs = 0.0};
    comp.compressor = {.thresholdDb = -40.0, .ratio = 4.0, .attackMs = 5.0, .releaseMs = 50.0, .maxReductionDb = 100.0};
    expander.expander = {.thresholdDb = -40.0, .ratio = 2.0, .rangeDb = 40.0, .attackMs = 2.0, .releaseMs = 30.0};
    const struct {
        const Settings& s;
        double fromDb, toDb, settledGainDb, expectedMs;
    } steps[] = {
        {comp, -60.0, -10.0, -22.5, 5.0},      // 30 dB over at 4:1: attack
        {comp, -10.0, -60.0, 0.0, 50.0},       // release
        {expander, -30.0, -50.0, -10.0, 30.0},  // 10 dB under at 1:2: falling is the release
        {expander, -50.0, -30.0, 0.0, 2.0},     // rising: attack
    };
    for (const auto& step : steps) {
        Instance strip(Format::Mono, step.s, kRate, Aligned());
        const std::vector<float> x = Steps({step.fromDb, step.toDb}, 24000);
        const double ms = Ms(SamplesTo63(GainDb(x, RunMono(strip, x)), 24000, step.settledGainDb));
        EXPECT_NEAR(ms, step.expectedMs, 0.05 * step.expectedMs) << step.fromDb << " to " << step.toDb << " dBFS";
    }
}

// The counter reloads on every sample where the gain rises, so close the
// gate while it is still opening (20 ms after the -40 dB step it is within
// 1e-7 dB of 0 but still rising): the gain then stays put for holdMs before
// the release starts.
TEST(TimeConstants, GateHoldsForItsHoldTime) {
    Settings s;
    s.detector = {.mode = DetectorMode::Average, .averageMs = 0.0};
    s.expander = {.rangeDb = 40.0, .gate = true, .gateThresholdDb = -40.0, .hysteresisDb = 6.0, .holdMs = 20.0,
                  .attackMs = 1.0, .releaseMs = 30.0};
    Instance strip(Format::Mono, s, kRate, Aligned());
    const int burst = 9600, close = burst + 960;
    std::vector<float> x = Steps({-50.0}, burst);
    for (double db : {-30.0, -50.0}) x.insert(x.end(), 960 * (db == -30.0 ? 1 : 5), Amp(db));
    const std::vector<double> g = GainDb(x, RunMono(strip, x));
    ASSERT_LT(g[burst - 1], -39.9) << "shut before the burst";
    int held = 0;
    while (std::abs(g[close + held] - g[close - 1]) < 1e-5) ++held;
    EXPECT_NEAR(Ms(held), 20.0, 1.0);
}

// New settings glide from the running gain; the very first call runs at its settings.
TEST(TimeConstants, MakeupGlidesAtSmoothingTimeAndFirstCallRunsAtSettings) {
    Settings s;
    s.compressor.makeupDb = 6.0;
    s.smoothingMs = 20.0;
    Instance strip(Format::Mono, s, kRate, Aligned());
    const std::vector<float> x = Steps({-20.0}, 9600);
    const std::vector<double> before = GainDb(x, RunMono(strip, x));
    EXPECT_NEAR(before.front(), 6.0, 1e-4);
    s.compressor.makeupDb = 18.0;
    strip.setSettings(s);
    const std::vector<double> after = GainDb(x, RunMono(strip, x));
    std::vector<double> linear{std::pow(10.0, before.back() / 20.0)};  // the glide runs in linear gain
    for (double db : after) linear.push_back(std::pow(10.0, db / 20.0));
    EXPECT_NEAR(Ms(SamplesTo63(linear, 1, std::pow(10.0, 18.0 / 20.0))), 20.0, 1.0);
    EXPECT_NEAR(after.back(), 18.0, 1e-3);
}

// The detector's peak decay and averaging pole fall to 1/e in their times
// (20 ms and 30 ms: 960 and 1440 samples at 48 kHz).
TEST(TimeConstants, DetectorDecaysToOneOverEInItsTimes) {
    Settings s;
    s.detector = {.peakDecayMs = 20.0, .averageMs = 30.0};
    const Dyn_SCoefsBlock k = Design(s, Format::Mono, kRate).dyn;
    EXPECT_NEAR(std::pow(double(k.peakDecay), 960.0), std::exp(-1.0), 1e-4);
    EXPECT_NEAR(std::pow(double(k.levelA1), 1440.0), std::exp(-1.0), 1e-4);
    EXPECT_NEAR(k.levelB0 / (1.0 - k.levelA1), 1.0, 1e-6);  // unity gain at DC
}
