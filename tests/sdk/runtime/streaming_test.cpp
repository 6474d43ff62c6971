// The audio path as a host drives it. Any host chunking gives the same output
// stream, sample for sample; the aligned mode is the FIFO mode without its
// latency, and a neutral strip is that latency alone. Stream() also checks
// that the core never writes past a host buffer. Settings from a control
// thread and meter reads from a third thread cross to the audio thread whole
// (kept short enough for ThreadSanitizer). A host's audio thread runs in a
// flush-to-zero scope that gives the caller's mode back.
#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cfloat>
#include <cstdint>
#include <pmmintrin.h>
#include <thread>
#include <xmmintrin.h>

#include "stemstrip/denormals.hpp"
#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

TEST(Streaming, OutputIsIndependentOfChunkingAndTheLatencyIsTheOnlyDelay) {
    constexpr int kLength = 20000;
    // Noise in bursts, so that the gate and the compressor both move.
    Signal x = Noise(2, kLength, 7);
    for (auto& channel : x)
        for (int i = 0; i < kLength; ++i) channel[i] *= (i / 3000) % 2 ? 0.6f : 0.002f;
    const auto render = [&](InstanceOptions o, std::function<int()> next, bool inPlace = false, const Settings& s = Busy()) {
        Instance strip(Format::Stereo, s, kRate, o);
        return Stream(strip, x, next, inPlace);
    };
    const Signal whole = render({}, [] { return kLength; });
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> random(0, 700);
    for (int size : {1, 15, 17, 441, -1})  // -1: random sizes, 0 included
        EXPECT_EQ(render({}, [&] { return size > 0 ? size : random(rng); }), whole) << "chunks of " << size;
    EXPECT_EQ(render({}, [] { return 441; }, true), whole) << "in place";

    const InstanceOptions aligned{.alignedBlocks = true, .stagingSamples = 64};  // several staging chunks per call
    const Signal direct = render(aligned, [] { return 16 * 20; });
    EXPECT_EQ(render(aligned, [] { return 16 * 37; }, true), direct);
    // The FIFO's latency is all that separates the two modes.
    const int latency = Instance(Format::Stereo, {}, kRate).latency();
    EXPECT_EQ(Instance(Format::Stereo, {}, kRate, Aligned()).latency(), 0);
    for (int c = 0; c < 2; ++c)
        EXPECT_TRUE(std::equal(whole[c].begin() + latency, whole[c].end(), direct[c].begin())) << "channel " << c;

    // The null test: a neutral strip, busy but with no band enabled, ratios
    // of 1 and no makeup, is that latency alone, bit for bit. (Every format
    // at default settings: the command line's round trip.)
    const Settings neutral{.bands = {EqBand{.gainDb = 12.0, .q = 4.0}},  // disabled
                           .compressor = {.thresholdDb = -40.0, .kneeDb = 12.0, .attackMs = 0.1},
                           .expander = {.thresholdDb = -30.0, .rangeDb = 20.0},
                           .detector = {.mode = DetectorMode::Average, .filter = SideChainFilter::HighPass},
                           .inputMeterTrimDb = 6.0};
    const Signal y = render({}, [] { return 441; }, false, neutral);
    for (int c = 0; c < 2; ++c)
        EXPECT_EQ(std::memcmp(x[c].data(), y[c].data() + latency, (kLength - latency) * sizeof(float)), 0) << "channel " << c;
}

TEST(Handoff, SettingsAndMetersCrossThreadsWithoutLoss) {
    // No smoothing: each set applies at once, so the last one is visible exactly.
    const Settings quiet{.smoothingMs = 0.0}, loud{.compressor = {.makeupDb = 6.0}, .smoothingMs = 0.0};
    Instance strip(Format::Stereo, quiet, kRate, Aligned());
    constexpr int kBlock = 64, kCalls = 3000;
    const Signal x{std::vector<float>(kCalls * kBlock, 0.25f), std::vector<float>(kCalls * kBlock, -0.25f)};

    std::atomic<bool> audioDone{false};
    std::atomic<long long> samplesRead{0};
    std::thread control([&] { for (int i = 0; i <= 200; ++i) strip.setSettings(i % 2 ? quiet : loud); });  // ends loud
    std::thread reader([&] { while (!audioDone) samplesRead += strip.readMeters().samples; });
    int calls = 0;
    const Signal y = Stream(strip, x, [&] {
        if (++calls == kCalls) control.join();  // the last call picks up the last set
        return kBlock;
    });
    audioDone = true;
    reader.join();
    // Every output is one of the two settings, never a torn mixture.
    for (const float v : y[0]) ASSERT_TRUE(std::abs(Db(v / 0.25f)) < 1e-4 || std::abs(Db(v / 0.25f) - 6.0) < 1e-4) << v;
    EXPECT_NEAR(Db(y[0].back() / 0.25f), 6.0, 1e-4);
    samplesRead += strip.readMeters().samples;
    EXPECT_EQ(samplesRead, kCalls * kBlock) << "read-and-clear lost or doubled samples";
}

TEST(Denormals, ScopeFlushesInsideAndRestoresTheCallersMode) {
    if (!DenormalScope::Supported()) GTEST_SKIP() << "no flush-to-zero control on this platform";
    volatile float tiny = FLT_MIN;
    const unsigned before = _mm_getcsr();
    {
        DenormalScope scope;
        // Bits, not a comparison: with denormals-are-zero alone a stored
        // denormal would still compare equal to zero.
        EXPECT_EQ(std::bit_cast<uint32_t>(tiny / 4.0f), 0u);
        { DenormalScope nested; }
        EXPECT_EQ(tiny / 4.0f, 0.0f) << "a nested scope restores flushing, not the default";
    }
    EXPECT_EQ(_mm_getcsr() & (_MM_FLUSH_ZERO_MASK | _MM_DENORMALS_ZERO_MASK),
              before & (_MM_FLUSH_ZERO_MASK | _MM_DENORMALS_ZERO_MASK));
    EXPECT_GT(tiny / 4.0f, 0.0f);
}
