// Meters in dB against the linear signal, read-and-clear, a disabled strip,
// and the flush-to-zero scope.
#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <cstdint>
#include <random>
#include <pmmintrin.h>
#include <xmmintrin.h>

#include "stemstrip/denormals.hpp"
#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

TEST(Meters, DecibelsMatchTheLinearSignalAndReadClears) {
    Settings s;
    s.inputMeterTrimDb = 6.0;
    s.compressor = {.thresholdDb = -30.0, .ratio = 2.0, .attackMs = 1.0, .releaseMs = 5000.0};
    s.detector.peakDecayMs = 5000.0;
    Instance strip(Format::Stereo, s, kRate, Aligned());
    const int n = 9600;
    const std::vector<float> left = Sine(0.25, n), right = Sine(0.125, n);
    std::vector<float> outL(n), outR(n);
    const float* in[] = {left.data(), right.data()};
    float* out[] = {outL.data(), outR.data()};
    strip.process(in, out, n);
    const MeterSnapshot m = strip.readMeters();

    EXPECT_EQ(m.samples, n);
    EXPECT_NEAR(m.inputPeakDb[0], Db(0.25) + 6.0, 1e-3);
    EXPECT_NEAR(m.inputPeakDb[1], Db(0.125) + 6.0, 1e-3);
    double peakL = 0, peakR = 0, lowestGain = 1e9, highestGain = 0;
    for (int i = 0; i < n; ++i) {
        peakL = std::max(peakL, std::abs(double(outL[i])));
        peakR = std::max(peakR, std::abs(double(outR[i])));
        if (std::abs(left[i]) > 0.01f) {
            lowestGain = std::min(lowestGain, double(outL[i] / left[i]));
            highestGain = std::max(highestGain, double(outL[i] / left[i]));
        }
    }
    EXPECT_NEAR(m.outputPeakDb[0], Db(peakL), 1e-3);
    EXPECT_NEAR(m.outputPeakDb[1], Db(peakR), 1e-3);
    // Linked stereo: both channels show the group's gain. The louder channel
    // (-12 dBFS, 18 dB over at 2:1) sets 9 dB of reduction.
    EXPECT_NEAR(m.compReductionDb, -Db(lowestGain), 0.01);
    EXPECT_NEAR(m.compReductionDb, 9.0, 0.1);
    EXPECT_NEAR(m.channelGainDb[0], Db(highestGain), 0.01);
    EXPECT_EQ(m.channelGainDb[1], m.channelGainDb[0]);
    EXPECT_EQ(m.expReductionDb, 0.0f);

    const MeterSnapshot again = strip.readMeters();
    EXPECT_EQ(again.samples, 0);
    EXPECT_EQ(again.inputPeakDb[0], kMeterFloorDb);
    EXPECT_EQ(again.compReductionDb, 0.0f);
}

// The null test: a neutral strip's output equals its input bit for bit,
// and makeup on it is delivered as asked.
TEST(Passthrough, ANeutralStripNullsAgainstItsInput) {
    Settings busyButNeutral;  // no band enabled, ratio 1, expander off, 0 dB makeup
    busyButNeutral.bands[3] = {.gainDb = 12.0, .q = 4.0};
    busyButNeutral.compressor = {.thresholdDb = -40.0, .kneeDb = 12.0, .attackMs = 0.1};
    busyButNeutral.expander = {.thresholdDb = -30.0, .rangeDb = 20.0};
    busyButNeutral.detector = {.mode = DetectorMode::Average, .filter = SideChainFilter::HighPass};
    busyButNeutral.inputMeterTrimDb = 6.0;
    Settings makeup;
    makeup.compressor.makeupDb = 6.0;
    for (int format = 0; format < kFormatCount; ++format) {
        for (const Settings& s : {Settings{}, busyButNeutral, makeup}) {
            const Format f = static_cast<Format>(format);
            Instance strip(f, s, kRate);
            const int channels = strip.channels(), n = 4000;
            std::mt19937 rng(3);
            std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
            std::vector<std::vector<float>> x(channels, std::vector<float>(n)), y = x;
            std::vector<const float*> in;
            std::vector<float*> out;
            for (int c = 0; c < channels; ++c) {
                for (float& v : x[c]) v = noise(rng);
                in.push_back(x[c].data());
                out.push_back(y[c].data());
            }
            strip.process(in.data(), out.data(), n);
            const double gain = std::pow(10.0, s.compressor.makeupDb / 20.0);
            const int delay = strip.latency();
            for (int c = 0; c < channels; ++c)
                for (int i = delay; i < n; ++i) {
                    const float expected = x[c][i - delay];
                    if (gain == 1.0)
                        ASSERT_EQ(y[c][i], expected) << FormatName(f) << " channel " << c << " sample " << i;
                    else  // the gain factor's and the product's rounding
                        ASSERT_NEAR(y[c][i], expected * gain, std::abs(expected) * 0x1p-22) << FormatName(f);
                }
        }
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
