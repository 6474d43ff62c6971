// The dynamics and their meters, measured from outside on steps of DC.
// Static curves follow the textbook soft-knee formulas, written out here from
// threshold, ratio and knee width. Time constants: the gain must cover 63 %
// of its change (in dB for attack and release, in linear gain for parameter
// smoothing, which glides linear factors) within 5 % of the set time.
#include <gtest/gtest.h>

#include <optional>

#include "stemstrip/design.hpp"
#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

namespace {

// The averaging detector at 0 ms passes |x| through unchanged, so a DC step
// is a clean level step. (A peak detector lets every sample equal to the
// envelope decay, so on DC it alternates between two levels.)
const Detector kDirect{.mode = DetectorMode::Average, .averageMs = 0.0};

// Constant levels in dBFS, `samples` each, one after the other.
std::vector<float> Steps(std::initializer_list<double> levelsDb, int samples) {
    std::vector<float> x;
    for (double db : levelsDb) x.insert(x.end(), samples, Amp(db));
    return x;
}

// The strip's gain in dB at each sample of a DC input.
std::vector<double> GainDb(Instance& strip, const std::vector<float>& x) {
    const std::vector<float> y = RunMono(strip, x);
    std::vector<double> g(x.size());
    for (size_t i = 0; i < x.size(); ++i) g[i] = Db(y[i] / x[i]);
    return g;
}

// Gain in dB for a level `over` dB above a threshold, with a soft knee of
// `knee` dB and `slope` dB of gain per dB above the knee.
double KneeGainDb(double over, double slope, double knee) {
    if (2.0 * over < -knee) return 0.0;
    if (2.0 * over >= knee) return over * slope;  // >=: a hard knee has no middle
    return slope * (over + knee / 2) * (over + knee / 2) / (2.0 * knee);
}

// Samples from `from` until gainDb[] has covered 63.2 % of the way from its
// value just before `from` to `settledDb`: of the way in dB or, for a glide
// of linear factors, in linear gain.
int SamplesTo63(const std::vector<double>& gainDb, int from, double settledDb, bool linear = false) {
    const auto measure = [&](double db) { return linear ? std::pow(10.0, db / 20.0) : db; };
    const double start = measure(gainDb[from - 1]), settled = measure(settledDb);
    const double mark = start + (1.0 - std::exp(-1.0)) * (settled - start);
    for (int i = from; i < static_cast<int>(gainDb.size()); ++i)
        if ((settled - start) * (measure(gainDb[i]) - mark) >= 0.0) return i - from + 1;
    return -1;
}

double Ms(int samples) { return samples * 1000.0 / kRate; }

}  // namespace

TEST(StaticCurves, CompressorLimiterAndExpanderFollowThresholdRatioKneeAndRange) {
    const std::pair<Settings, std::function<double(double)>> curves[] = {
        // Compressors: threshold, ratio, knee, attack, release, deepest reduction.
        {{.compressor = {-30.0, 4.0, 12.0, 0.5, 20.0, 100.0}, .detector = kDirect},
         [](double level) { return KneeGainDb(level + 30.0, 0.25 - 1.0, 12.0); }},
        {{.compressor = {-30.0, INFINITY, 0.0, 0.5, 20.0, 100.0}, .detector = kDirect},  // a limiter
         [](double level) { return KneeGainDb(level + 30.0, -1.0, 0.0); }},
        {{.expander = {.thresholdDb = -40.0, .ratio = 3.0, .kneeDb = 8.0, .rangeDb = 30.0, .attackMs = 0.5, .releaseMs = 20.0},
          .detector = kDirect},
         [](double level) { return std::max(KneeGainDb(-40.0 - level, -2.0, 8.0), -30.0); }},
    };
    for (const auto& [s, expected] : curves)
        for (double level = -80.0; level <= 0.0; level += 2.0) {
            Instance strip(Format::Mono, s, kRate, Aligned());
            EXPECT_NEAR(GainDb(strip, Steps({level}, 24000)).back(), expected(level), 0.1) << "at " << level << " dBFS";
            // One stage at a time, so the reduction meters add up to its
            // reduction; a meter reading the other's slot loses or doubles it.
            const MeterSnapshot m = strip.readMeters();
            EXPECT_NEAR(m.compReductionDb + m.expReductionDb, -expected(level), 0.1) << "meters at " << level << " dBFS";
        }
}

// Levels climb, then fall, in 0.5 dB steps placed 0.25 dB either side of the
// thresholds: the gate must open at the first step at or above -40 dBFS and
// close at the first step below -46 dBFS (threshold minus hysteresis). Each
// step lasts 200 ms: the hold, then six release time constants.
TEST(Gate, OpensAtThresholdClosesBelowHysteresisAndHolds) {
    const Settings s{.expander = {.rangeDb = 60.0, .gate = true, .gateThresholdDb = -40.0, .hysteresisDb = 6.0,
                                  .holdMs = 20.0, .attackMs = 1.0, .releaseMs = 30.0},
                     .detector = kDirect};
    Instance strip(Format::Mono, s, kRate, Aligned());
    auto gainAt = [&](double level) { return GainDb(strip, Steps({level}, 9600)).back(); };
    std::optional<double> opened, closed;
    for (double level = -49.75; level < -30.0 && !opened; level += 0.5)
        if (gainAt(level) > -1.0) opened = level;
    for (double level = -30.25; level > -60.0 && !closed; level -= 0.5)
        if (gainAt(level) < -1.0) closed = level;
    EXPECT_EQ(opened, -39.75);
    EXPECT_EQ(closed, -46.25);
    EXPECT_NEAR(gainAt(-55.0), -60.0, 0.1) << "closed, the gate applies exactly the range";

    // The hold counter reloads on every sample where the gain rises, so close
    // the shut gate again while it is still opening (20 ms after the -30 dB
    // step it is within 1e-6 dB of 0 but still rising): the gain then stays
    // put for holdMs before the release starts.
    const std::vector<double> g = GainDb(strip, Steps({-30.0, -50.0, -50.0, -50.0, -50.0}, 960));
    int held = 0;
    while (std::abs(g[960 + held] - g[959]) < 1e-5) ++held;
    EXPECT_NEAR(Ms(held), 20.0, 1.0);
}

TEST(TimeConstants, AttackAndReleaseOfBothStages) {
    const Settings comp{.compressor = {.thresholdDb = -40.0, .ratio = 4.0, .attackMs = 5.0, .releaseMs = 50.0, .maxReductionDb = 100.0},
                        .detector = kDirect};
    const Settings expander{.expander = {.thresholdDb = -40.0, .ratio = 2.0, .rangeDb = 40.0, .attackMs = 2.0, .releaseMs = 30.0},
                            .detector = kDirect};
    const struct { const Settings& s; double fromDb, toDb, settledGainDb, expectedMs; } steps[] = {
        {comp, -60.0, -10.0, -22.5, 5.0},      // 30 dB over at 4:1: attack
        {comp, -10.0, -60.0, 0.0, 50.0},       // release
        {expander, -30.0, -50.0, -10.0, 30.0},  // 10 dB under at 1:2: falling is the release
        {expander, -50.0, -30.0, 0.0, 2.0},     // rising: attack
    };
    for (const auto& step : steps) {
        Instance strip(Format::Mono, step.s, kRate, Aligned());
        const double ms = Ms(SamplesTo63(GainDb(strip, Steps({step.fromDb, step.toDb}, 24000)), 24000, step.settledGainDb));
        EXPECT_NEAR(ms, step.expectedMs, 0.05 * step.expectedMs) << step.fromDb << " to " << step.toDb << " dBFS";
    }
}

// New settings glide from the running gain; the very first call runs at its settings.
TEST(TimeConstants, MakeupGlidesAtSmoothingTimeAndFirstCallRunsAtSettings) {
    Settings s{.compressor = {.makeupDb = 6.0}};
    Instance strip(Format::Mono, s, kRate, Aligned());  // smoothing: the default 20 ms
    const std::vector<float> x = Steps({-20.0}, 9600);
    std::vector<double> gain = GainDb(strip, x);
    EXPECT_NEAR(gain.front(), 6.0, 1e-4);
    s.compressor.makeupDb = 18.0;
    strip.setSettings(s);
    const std::vector<double> after = GainDb(strip, x);
    gain.insert(gain.end(), after.begin(), after.end());
    EXPECT_NEAR(gain.back(), 18.0, 1e-3);
    EXPECT_NEAR(Ms(SamplesTo63(gain, 9600, 18.0, /*linear=*/true)), 20.0, 1.0);
}

// The detector's peak decay and averaging pole fall to 1/e in their times
// (20 ms and 30 ms: 960 and 1440 samples at 48 kHz).
TEST(TimeConstants, DetectorDecaysToOneOverEInItsTimes) {
    const Dyn_SCoefsBlock k = Design({.detector = {.peakDecayMs = 20.0, .averageMs = 30.0}}, Format::Mono, kRate).dyn;
    EXPECT_NEAR(std::pow(double(k.peakDecay), 960.0), std::exp(-1.0), 1e-4);
    EXPECT_NEAR(std::pow(double(k.levelA1), 1440.0), std::exp(-1.0), 1e-4);
    EXPECT_NEAR(k.levelB0 / (1.0 - k.levelA1), 1.0, 1e-6);  // unity gain at DC
}

// Linked stereo on DC: both channels show the group's gain, the highest the
// louder channel saw (before the attack). That channel (-12 dBFS, 18 dB over
// at 2:1) sets 9 dB of reduction.
TEST(Meters, DecibelsMatchTheLinearSignalAndReadClears) {
    const Settings s{.compressor = {.thresholdDb = -30.0, .ratio = 2.0, .attackMs = 1.0}, .detector = kDirect, .inputMeterTrimDb = 6.0};
    Instance strip(Format::Stereo, s, kRate, Aligned());
    const Signal x{std::vector<float>(4800, 0.25f), std::vector<float>(4800, 0.125f)};
    const Signal y = Stream(strip, x, [] { return 4800; });
    const MeterSnapshot m = strip.readMeters();
    for (int c = 0; c < 2; ++c) {
        EXPECT_NEAR(m.inputPeakDb[c], Db(x[c][0]) + 6.0, 1e-3);
        EXPECT_NEAR(m.outputPeakDb[c], Db(*std::max_element(y[c].begin(), y[c].end())), 1e-3);
    }
    EXPECT_NEAR(m.channelGainDb[0], Db(*std::max_element(y[0].begin(), y[0].end()) / 0.25), 0.01);
    EXPECT_EQ(m.channelGainDb[1], m.channelGainDb[0]);
    EXPECT_NEAR(m.compReductionDb, 9.0, 0.1);

    const MeterSnapshot again = strip.readMeters();  // sample counts: the handoff and refusal tests
    EXPECT_EQ(again.inputPeakDb[0], kMeterFloorDb);
    EXPECT_EQ(again.compReductionDb, 0.0f);
}
