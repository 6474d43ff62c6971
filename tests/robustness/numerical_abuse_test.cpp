// Long runs at the extreme corners of the settings, and NaN bursts in the
// input, straight through the core: nothing crashes, the meters a host reads
// never take a NaN, the audio stays finite wherever the input is, and a NaN
// burst in one channel reaches no channel outside its linking group. And
// whatever rounding and flush-to-zero mode the host's audio thread runs in,
// every entry returns with the control bits as they were, in every run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "core_strip.hpp"
#include "workloads.h"

#if defined(__SSE__)
#include <pmmintrin.h>
#endif

namespace {

#if defined(__SSE__)
// Status flags are sticky and may be raised by any arithmetic; they are not part of the mode.
unsigned Mode() { return _mm_getcsr() & ~0x3Fu; }
void SetMode(unsigned mode) { _mm_setcsr(mode); }
const unsigned kFlush = _MM_FLUSH_ZERO_ON | _MM_DENORMALS_ZERO_ON;
const unsigned kModes[] = {Mode(), Mode() | kFlush, (Mode() & ~_MM_ROUND_MASK) | _MM_ROUND_TOWARD_ZERO,
                           (Mode() & ~_MM_ROUND_MASK) | _MM_ROUND_UP | kFlush};
#else
unsigned Mode() { return 0; }
void SetMode(unsigned) {}
const unsigned kModes[] = {0};
#endif

using namespace stemstrip;

constexpr double kRate = 48000.0;
constexpr int kCall = 512;

// Programme material that visits every level region: loud noise, a quiet
// sine, digital silence, denormals and a signed-zero stretch.
float Programme(std::mt19937& rng, int channel, long i) {
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    switch ((i / 24000 + channel) % 5) {
        case 0: return noise(rng);
        case 1: return 1e-4f * std::sin(0.05f * static_cast<float>(i % 100000));
        case 2: return 0.0f;
        case 3: return std::numeric_limits<float>::denorm_min() * static_cast<float>(i % 7);
        default: return i % 2 ? -0.0f : 0.5f;
    }
}

// One instance started at designed settings and called through its format's
// entry: the core alone, without the SDK's recovery between calls.
struct Core {
    Core(Format f, const CoefficientSet& set)
        : strip(f), entry(runtime::EntryFor(f)), in(strip.channels(), std::vector<float>(kCall)), out(in) {
        strip.start(set);
        std::vector<const float*> inPtrs;
        std::vector<float*> outPtrs;
        for (const auto& b : in) inPtrs.push_back(b.data());
        for (auto& b : out) outPtrs.push_back(b.data());
        strip.bind(inPtrs.data(), outPtrs.data(), nullptr, kCall);
    }
    void call() {
        SChannelStrip_Alg_Context* context = strip.context();
        entry(&context, &context + 1);
    }

    runtime::CoreStrip strip;
    AlgEntry_Fn entry;
    std::vector<std::vector<float>> in, out;
};

bool All(const float* v, int n, bool (*pred)(float)) { return std::all_of(v, v + n, pred); }
bool Finite(float v) { return std::isfinite(v); }
bool NotNan(float v) { return !std::isnan(v); }

// `seconds` of programme through two identical instances, each call in
// another floating-point mode, which it must leave alone. With `bursts`, the
// second gets NaN bursts in channel 0: channels outside channel 0's group
// must come out bit for bit as in the clean twin, channels inside it share
// its gains, which must stay finite. Without, the twins must agree on every
// channel. The meters a host reads never take a NaN.
void RunTwins(Format f, const CoefficientSet& set, double seconds, bool bursts) {
    Core clean(f, set), burst(f, set);
    const int n = clean.strip.channels();
    std::mt19937 rng(7);
    for (long start = 0; start < static_cast<long>(seconds * kRate); start += kCall) {
        for (int c = 0; c < n; ++c)
            for (int i = 0; i < kCall; ++i) {
                clean.in[c][i] = Programme(rng, c, start + i);
                burst.in[c][i] = bursts && c == 0 && (start + i) % 48000 < 100 ? NAN : clean.in[c][i];
            }
        const unsigned mode = kModes[start / kCall % std::size(kModes)];
        SetMode(mode);
        clean.call();
        burst.call();
        const unsigned after = Mode();
        SetMode(kModes[0]);
        const std::string where = std::string(FormatName(f)) + " at " + std::to_string(start);
        ASSERT_EQ(after, mode) << where << ": the floating-point mode";
        for (Core* core : {&clean, &burst}) {
            // Peaks in, peaks out, the dynamics meters: 3n + 4 floats from inputPeaks().
            ASSERT_TRUE(All(core->strip.inputPeaks(), 3 * n + 4, NotNan)) << where << ": meters";
            if (start % (kCall * 64) == 0) std::fill_n(core->strip.inputPeaks(), 3 * n + 4, 0.0f);  // a host reads and clears
        }
        for (int c = 0; c < n; ++c) {
            ASSERT_TRUE(All(clean.out[c].data(), kCall, Finite)) << where << ": channel " << c;
            if (!bursts || set.dyn.channelGroup[c] != set.dyn.channelGroup[0])
                ASSERT_EQ(clean.out[c], burst.out[c]) << where << ": channel " << c << " (another group)";
            else if (c > 0)
                ASSERT_TRUE(All(burst.out[c].data(), kCall, Finite)) << where << ": channel " << c << " (linked)";
        }
    }
    // Channel 0's recursive EQ section keeps the burst: the twins did differ.
    if (bursts)
        EXPECT_FALSE(All(burst.out[0].data(), kCall, NotNan)) << FormatName(f) << ": the NaN left channel 0's EQ";
}

class ExtremeSettingsForAMinute : public ::testing::TestWithParam<int> {};

TEST_P(ExtremeSettingsForAMinute, MetersNeverNanAndAudioStaysFinite) {
    const auto f = static_cast<Format>((3 * GetParam() + 10) % kFormatCount);
    RunTwins(f, Design(robustness::ExtremeSettings()[GetParam()].settings, f, kRate), 60.0, false);
}

INSTANTIATE_TEST_SUITE_P(Corners, ExtremeSettingsForAMinute,
                         ::testing::Range(0, static_cast<int>(robustness::ExtremeSettings().size())),
                         [](const auto& info) { return robustness::ExtremeSettings()[info.param].name; });

TEST(NanBursts, StayInsideTheLinkingGroupOfTheirChannel) {
    Settings s{.compressor = {.thresholdDb = -30.0, .ratio = 4.0, .attackMs = 1.0},
                          .expander = {.gate = true, .gateThresholdDb = -50.0, .holdMs = 5.0}};
    s.bands[0] = {.enabled = true, .gainDb = 6.0};  // a recursive section that keeps the NaN in its state
    for (int f = 0; f < kFormatCount; ++f)
        RunTwins(static_cast<Format>(f), Design(s, static_cast<Format>(f), kRate), 5.0, true);
}

}  // namespace
