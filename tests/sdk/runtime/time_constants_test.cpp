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

// The averaging detector at 0 ms passes |x| through unchanged, so a DC step
// is a clean level step. (A peak detector lets every sample equal to the
// envelope decay, so on DC it alternates between two levels.)
Settings InstantDetector() {
    Settings s;
    s.detector.mode = DetectorMode::Average;
    s.detector.averageMs = 0.0;
    return s;
}

}  // namespace

TEST(TimeConstants, CompressorAttackAndRelease) {
    Settings s = InstantDetector();
    s.compressor = {.thresholdDb = -40.0, .ratio = 4.0, .attackMs = 5.0, .releaseMs = 50.0, .maxReductionDb = 100.0};
    Instance strip(Format::Mono, s, kRate, Aligned());
    const int step = 24000;
    const std::vector<float> x = Steps({-60.0, -10.0, -60.0}, step);
    const std::vector<double> g = GainDb(x, RunMono(strip, x));
    const double attack = Ms(SamplesTo63(g, step, -22.5));
    const double release = Ms(SamplesTo63(g, 2 * step, 0.0));
    EXPECT_NEAR(attack, 5.0, 0.25);
    EXPECT_NEAR(release, 50.0, 2.5);
    RecordProperty("attack_ms", std::to_string(attack));
    RecordProperty("release_ms", std::to_string(release));
}

TEST(TimeConstants, ExpanderReleaseAttackAndHold) {
    Settings s = InstantDetector();
    s.expander = {.thresholdDb = -40.0, .ratio = 2.0, .rangeDb = 40.0, .attackMs = 2.0, .releaseMs = 30.0};
    {
        Instance strip(Format::Mono, s, kRate, Aligned());
        const int step = 24000;
        const std::vector<float> x = Steps({-30.0, -50.0, -30.0}, step);
        const std::vector<double> g = GainDb(x, RunMono(strip, x));
        EXPECT_NEAR(Ms(SamplesTo63(g, step, -10.0)), 30.0, 1.5);     // falling: release
        EXPECT_NEAR(Ms(SamplesTo63(g, 2 * step, 0.0)), 2.0, 0.1);    // rising: attack
    }
    // Hold: the counter reloads on every sample where the gain rises, so
    // close the gate while it is still opening (20 ms after the -40 dB step
    // it is within 1e-7 dB of 0 but still rising): the gain then stays put for
    // holdMs before the release starts.
    s.expander = {.rangeDb = 40.0, .gate = true, .gateThresholdDb = -40.0, .hysteresisDb = 6.0, .holdMs = 20.0,
                  .attackMs = 1.0, .releaseMs = 30.0};
    Instance strip(Format::Mono, s, kRate, Aligned());
    std::vector<float> x = Steps({-50.0}, 9600);
    const int burst = static_cast<int>(x.size());
    for (double db : {-30.0, -50.0}) x.insert(x.end(), 960 * (db == -30.0 ? 1 : 5), Amp(db));
    const std::vector<double> g = GainDb(x, RunMono(strip, x));
    ASSERT_LT(g[burst - 1], -39.9) << "shut before the burst";
    const int close = burst + 960;
    int held = 0;
    while (std::abs(g[close + held] - g[close - 1]) < 1e-5) ++held;
    EXPECT_NEAR(Ms(held), 20.0, 1.0);
    RecordProperty("hold_ms", std::to_string(Ms(held)));
}

TEST(TimeConstants, MakeupGlidesAtSmoothingTimeAndFirstCallRunsAtSettings) {
    Settings s;
    s.compressor.makeupDb = 6.0;
    s.smoothingMs = 20.0;
    Instance strip(Format::Mono, s, kRate, Aligned());
    const int step = 9600;
    const std::vector<float> x = Steps({-20.0}, step);
    std::vector<double> gain = GainDb(x, RunMono(strip, x));
    EXPECT_NEAR(gain.front(), 6.0, 1e-4) << "the first sample already has the makeup";

    s.compressor.makeupDb = 18.0;
    strip.setSettings(s);
    const std::vector<double> after = GainDb(x, RunMono(strip, x));
    std::vector<double> linear(gain.size() + after.size());
    for (size_t i = 0; i < linear.size(); ++i)
        linear[i] = std::pow(10.0, (i < gain.size() ? gain[i] : after[i - gain.size()]) / 20.0);
    const double glide = Ms(SamplesTo63(linear, step, std::pow(10.0, 18.0 / 20.0)));
    EXPECT_NEAR(glide, 20.0, 1.0);
    EXPECT_NEAR(after.back(), 18.0, 1e-3);
    RecordProperty("makeup_glide_ms", std::to_string(glide));
}

// The detector's peak decay and averaging pole fall to 1/e in their times
// (20 ms and 30 ms: 960 and 1440 samples at 48 kHz).
TEST(TimeConstants, DetectorDecaysToOneOverEInItsTimes) {
    Settings s;
    s.detector.peakDecayMs = 20.0;
    s.detector.averageMs = 30.0;
    const Dyn_SCoefsBlock k = Design(s, Format::Mono, kRate).dyn;
    EXPECT_NEAR(std::pow(double(k.peakDecay), 960.0), std::exp(-1.0), 1e-4);
    EXPECT_NEAR(std::pow(double(k.levelA1), 1440.0), std::exp(-1.0), 1e-4);
    EXPECT_NEAR(k.levelB0 / (1.0 - k.levelA1), 1.0, 1e-6);  // unity gain at DC
}
