// Long runs at the extreme corners of the settings, and NaN bursts in the
// input: nothing crashes, the meters a host reads never take a NaN, the
// audio stays finite wherever the input is, and a NaN burst in one channel
// reaches no channel outside that channel's linking group.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "extreme_settings.h"
#include "strip_bank.h"

namespace {

using stemstrip::Format;

constexpr double kRate = 48000.0;
constexpr int kCallSamples = 512;

// Programme material that visits every level region: loud noise, a quiet
// sine, digital silence, denormals and a signed-zero stretch.
float Programme(std::mt19937& rng, int channel, long i) {
    const long phase = (i / 24000 + channel) % 5;
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    switch (phase) {
        case 0: return noise(rng);
        case 1: return 1e-4f * std::sin(0.05f * static_cast<float>(i % 100000));
        case 2: return 0.0f;
        case 3: return std::numeric_limits<float>::denorm_min() * static_cast<float>(i % 7);
        default: return i % 2 ? -0.0f : 0.5f;
    }
}

bool AnyNan(const std::vector<float>& v, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (std::isnan(v[i])) return true;
    return false;
}

bool AllFinite(const std::vector<float>& v, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (!std::isfinite(v[i])) return false;
    return true;
}

// Runs `seconds` of programme through one instance; `dezipRate` < 0 keeps
// the designed rate. Checks meters and outputs after every call.
void RunLong(Format f, const stemstrip::Settings& settings, double seconds, float dezipRate) {
    stemstrip::CoefficientSet set = stemstrip::Design(settings, f, kRate);
    if (dezipRate >= 0.0f) set.dezipRate = dezipRate;
    scenario::Scenario bank = robustness::MakeBank(f, 1, kCallSamples, set);
    scenario::Instance& in = bank.instances[0];
    const int n = stemstrip::ChannelCount(f);
    std::mt19937 rng(7);
    const long total = static_cast<long>(seconds * kRate);
    for (long start = 0; start < total; start += kCallSamples) {
        for (int c = 0; c < n; ++c)
            for (int i = 0; i < kCallSamples; ++i) in.inBufs[c][i] = Programme(rng, c, start + i);
        robustness::Entry(f)(bank.Begin(), bank.End());
        ASSERT_FALSE(AnyNan(in.priv, 3 * n + 4)) << "a meter took a NaN at sample " << start;
        for (int c = 0; c < n; ++c)
            ASSERT_TRUE(AllFinite(in.outBufs[c], kCallSamples)) << "channel " << c << " at sample " << start;
        if (start % (kCallSamples * 64) == 0) std::fill(in.priv.begin(), in.priv.begin() + 3 * n + 4, 0.0f);
    }
}

class ExtremeSettingsForAMinute : public ::testing::TestWithParam<int> {};

TEST_P(ExtremeSettingsForAMinute, MetersNeverNanAndAudioStaysFinite) {
    const auto all = robustness::ExtremeSettings();
    const int v = GetParam();
    RunLong(static_cast<Format>((3 * v + 10) % stemstrip::kFormatCount), all[v].settings, 60.0, -1.0f);
}

INSTANTIATE_TEST_SUITE_P(Corners, ExtremeSettingsForAMinute,
                         ::testing::Range(0, static_cast<int>(robustness::ExtremeSettings().size())),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return robustness::ExtremeSettings()[info.param].name;
                         });

TEST(DezipRateCorners, FrozenAndInstantGlideForTwentySeconds) {
    const auto all = robustness::ExtremeSettings();
    RunLong(Format::Surround7_1, all[3].settings, 20.0, 0.0f);
    RunLong(Format::Surround5_1, all[0].settings, 20.0, 1.0f);
}

// Two identical runs of every format, one with NaN bursts in channel 0.
// Channels outside channel 0's group must come out bit for bit as in the
// clean run; channels inside it share its gains, which must stay finite.
TEST(NanBursts, StayInsideTheLinkingGroupOfTheirChannel) {
    stemstrip::Settings s;
    s.compressor.thresholdDb = -30.0;
    s.compressor.ratio = 4.0;
    s.compressor.attackMs = 1.0;
    s.expander.gate = true;
    s.expander.gateThresholdDb = -50.0;
    s.expander.holdMs = 5.0;
    s.bands[0].enabled = true;  // a recursive section that keeps the NaN in its state
    s.bands[0].gainDb = 6.0;
    for (int fi = 0; fi < stemstrip::kFormatCount; ++fi) {
        const Format f = static_cast<Format>(fi);
        const int n = stemstrip::ChannelCount(f);
        const stemstrip::CoefficientSet set = stemstrip::Design(s, f, kRate);
        scenario::Scenario clean = robustness::MakeBank(f, 1, kCallSamples, set);
        scenario::Scenario burst = clean;
        const auto& groups = set.dyn.channelGroup;
        std::mt19937 rngClean(3), rngBurst(3);
        for (long start = 0; start < 5 * static_cast<long>(kRate); start += kCallSamples) {
            for (int c = 0; c < n; ++c)
                for (int i = 0; i < kCallSamples; ++i) {
                    clean.instances[0].inBufs[c][i] = Programme(rngClean, c, start + i);
                    const float v = Programme(rngBurst, c, start + i);
                    const bool inBurst = c == 0 && (start + i) % 48000 < 100;
                    burst.instances[0].inBufs[c][i] = inBurst ? std::numeric_limits<float>::quiet_NaN() : v;
                }
            robustness::Entry(f)(clean.Begin(), clean.End());
            robustness::Entry(f)(burst.Begin(), burst.End());
            const scenario::Instance& a = clean.instances[0];
            const scenario::Instance& b = burst.instances[0];
            ASSERT_FALSE(AnyNan(b.priv, 3 * n + 4)) << stemstrip::FormatName(f) << " meters at " << start;
            for (int c = 1; c < n; ++c) {
                if (groups[c] != groups[0]) {
                    ASSERT_EQ(std::memcmp(a.outBufs[c].data(), b.outBufs[c].data(), kCallSamples * sizeof(float)), 0)
                        << stemstrip::FormatName(f) << " channel " << c << " (another group) at " << start;
                } else {
                    ASSERT_TRUE(AllFinite(b.outBufs[c], kCallSamples))
                        << stemstrip::FormatName(f) << " channel " << c << " (linked) at " << start;
                }
            }
        }
        EXPECT_TRUE(AnyNan(burst.instances[0].outBufs[0], kCallSamples))
            << stemstrip::FormatName(f) << ": the burst should still be in channel 0's EQ state";
    }
}

}  // namespace
