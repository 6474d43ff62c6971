// Meters in dB against the linear signal, read-and-clear, and the
// flush-to-zero scope.
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

// On DC through the averaging detector at 0 ms, which reads |x| from the
// first sample.
TEST(Meters, DecibelsMatchTheLinearSignalAndReadClears) {
    const Detector direct{.mode = DetectorMode::Average, .averageMs = 0.0};
    const Settings s{.compressor = {.thresholdDb = -30.0, .ratio = 2.0, .attackMs = 1.0}, .detector = direct, .inputMeterTrimDb = 6.0};
    Instance strip(Format::Stereo, s, kRate, Aligned());
    const Signal x{std::vector<float>(4800, 0.25f), std::vector<float>(4800, 0.125f)};
    const Signal y = Stream(strip, x, [] { return 4800; });
    const MeterSnapshot m = strip.readMeters();
    EXPECT_EQ(m.samples, 4800);
    for (int c = 0; c < 2; ++c) {
        EXPECT_NEAR(m.inputPeakDb[c], Db(x[c][0]) + 6.0, 1e-3);
        EXPECT_NEAR(m.outputPeakDb[c], Db(*std::max_element(y[c].begin(), y[c].end())), 1e-3);
    }
    // Linked stereo: both channels show the group's gain, the highest the
    // louder channel saw (before the attack). That channel (-12 dBFS, 18 dB
    // over at 2:1) sets 9 dB of reduction; the expander is off, so a meter
    // read from the other's slot shows up.
    EXPECT_NEAR(m.channelGainDb[0], Db(*std::max_element(y[0].begin(), y[0].end()) / 0.25), 0.01);
    EXPECT_EQ(m.channelGainDb[1], m.channelGainDb[0]);
    EXPECT_NEAR(m.compReductionDb, 9.0, 0.1);
    EXPECT_EQ(m.expReductionDb, 0.0f);

    const MeterSnapshot again = strip.readMeters();  // its sample count: the handoff test
    EXPECT_EQ(again.inputPeakDb[0], kMeterFloorDb);
    EXPECT_EQ(again.compReductionDb, 0.0f);

    // The expander alone moves its own meter: -40 dBFS is 20 dB under at 1:2.
    const Settings e{.expander = {.thresholdDb = -20.0, .ratio = 2.0, .rangeDb = 40.0, .attackMs = 0.1, .releaseMs = 0.1},
                     .detector = direct};
    Instance expander(Format::Mono, e, kRate, Aligned());
    RunMono(expander, std::vector<float>(4800, 0.01f));
    EXPECT_NEAR(expander.readMeters().expReductionDb, 20.0, 0.1);
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
