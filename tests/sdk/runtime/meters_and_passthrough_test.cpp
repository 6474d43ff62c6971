// Meters in dB against the linear signal, read-and-clear, a neutral strip,
// and the flush-to-zero scope.
#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <cstdint>
#include <pmmintrin.h>
#include <xmmintrin.h>

#include "stemstrip/denormals.hpp"
#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

TEST(Meters, DecibelsMatchTheLinearSignalAndReadClears) {
    const Settings s{.compressor = {.thresholdDb = -30.0, .ratio = 2.0, .attackMs = 1.0, .releaseMs = 5000.0},
                     .detector = {.peakDecayMs = 5000.0}, .inputMeterTrimDb = 6.0};
    Instance strip(Format::Stereo, s, kRate, Aligned());
    const int n = 9600;
    const Signal x{Sine(0.25, n), Sine(0.125, n)};
    const Signal y = Stream(strip, x, [] { return n; });
    const MeterSnapshot m = strip.readMeters();

    EXPECT_EQ(m.samples, n);
    for (int c = 0; c < 2; ++c) {
        EXPECT_NEAR(m.inputPeakDb[c], Db(c ? 0.125 : 0.25) + 6.0, 1e-3);
        const auto peak = std::max_element(y[c].begin(), y[c].end(), [](float a, float b) { return std::abs(a) < std::abs(b); });
        EXPECT_NEAR(m.outputPeakDb[c], Db(std::abs(*peak)), 1e-3);
    }
    // Linked stereo: both channels show the group's gain, the highest the
    // louder channel saw. That channel (-12 dBFS, 18 dB over at 2:1) sets 9 dB
    // of reduction; the expander is off, so a meter read from the other's slot
    // shows up.
    double highestGain = 0;
    for (int i = 0; i < n; ++i)
        if (std::abs(x[0][i]) > 0.01f) highestGain = std::max(highestGain, double(y[0][i] / x[0][i]));
    EXPECT_NEAR(m.channelGainDb[0], Db(highestGain), 0.01);
    EXPECT_EQ(m.channelGainDb[1], m.channelGainDb[0]);
    EXPECT_NEAR(m.compReductionDb, 9.0, 0.1);
    EXPECT_EQ(m.expReductionDb, 0.0f);

    const MeterSnapshot again = strip.readMeters();
    EXPECT_EQ(again.samples, 0);
    EXPECT_EQ(again.inputPeakDb[0], kMeterFloorDb);
    EXPECT_EQ(again.compReductionDb, 0.0f);

    // The expander alone moves its own meter. The averaging detector at 0 ms
    // reads DC at -40 dBFS from the first sample: 20 dB under at 1:2.
    const Settings e{.expander = {.thresholdDb = -20.0, .ratio = 2.0, .rangeDb = 40.0, .attackMs = 0.1, .releaseMs = 0.1},
                     .detector = {.mode = DetectorMode::Average, .averageMs = 0.0}};
    Instance expander(Format::Mono, e, kRate, Aligned());
    RunMono(expander, std::vector<float>(4800, 0.01f));
    EXPECT_NEAR(expander.readMeters().expReductionDb, 20.0, 0.1);
}

// The null test: a neutral strip's output equals its input bit for bit, one
// latency later, in every format. (Makeup alone is measured with the time
// constants.)
TEST(Passthrough, ANeutralStripNullsAgainstItsInput) {
    Settings s;  // busy, but no band enabled, ratio 1, expander off, 0 dB makeup
    s.bands[3] = {.gainDb = 12.0, .q = 4.0};
    s.compressor = {.thresholdDb = -40.0, .kneeDb = 12.0, .attackMs = 0.1};
    s.expander = {.thresholdDb = -30.0, .rangeDb = 20.0};
    s.detector = {.mode = DetectorMode::Average, .filter = SideChainFilter::HighPass};
    s.inputMeterTrimDb = 6.0;
    for (int format = 0; format < kFormatCount; ++format) {
        Instance strip(static_cast<Format>(format), s, kRate);
        const int delay = strip.latency();
        const Signal x = Noise(strip.channels(), 4000, 3), y = Stream(strip, x, [] { return 4000; });
        for (int c = 0; c < strip.channels(); ++c)
            EXPECT_EQ(0, std::memcmp(x[c].data(), y[c].data() + delay, (4000 - delay) * sizeof(float)))
                << FormatName(static_cast<Format>(format)) << " channel " << c;
    }
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
        {
            DenormalScope nested;
        }
        EXPECT_EQ(tiny / 4.0f, 0.0f) << "a nested scope restores flushing, not the default";
    }
    EXPECT_EQ(_mm_getcsr() & (_MM_FLUSH_ZERO_MASK | _MM_DENORMALS_ZERO_MASK),
              before & (_MM_FLUSH_ZERO_MASK | _MM_DENORMALS_ZERO_MASK));
    EXPECT_GT(tiny / 4.0f, 0.0f);
}
