// Settings from a control thread and meter reads from a third thread while
// the audio thread runs. Kept short enough for ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

TEST(Handoff, SettingsAndMetersCrossThreadsWithoutLoss) {
    // No smoothing: each set applies at once, so the last one is visible exactly.
    const Settings quiet{.smoothingMs = 0.0}, loud{.compressor = {.makeupDb = 6.0}, .smoothingMs = 0.0};
    Instance strip(Format::Stereo, quiet, kRate, Aligned());
    constexpr int kBlock = 64, kCalls = 3000;
    std::vector<float> left(kBlock, 0.25f), right(kBlock, -0.25f), outL(kBlock), outR(kBlock);
    const float* in[] = {left.data(), right.data()};
    float* out[] = {outL.data(), outR.data()};

    std::atomic<bool> audioDone{false};
    std::atomic<long long> samplesRead{0};
    std::thread control([&] { for (int i = 0; i <= 200; ++i) strip.setSettings(i % 2 ? quiet : loud); });  // ends loud
    std::thread reader([&] { while (!audioDone) samplesRead += strip.readMeters().samples; });
    for (int i = 0; i <= kCalls; ++i) {
        if (i == kCalls) control.join();  // the last call picks up the last set
        strip.process(in, out, kBlock);
        // Every output is one of the two settings, never a torn mixture.
        const double gain = Db(outL[0] / 0.25f);
        EXPECT_TRUE(std::abs(gain) < 1e-4 || std::abs(gain - 6.0) < 1e-4) << gain;
    }
    audioDone = true;
    reader.join();
    EXPECT_NEAR(Db(outL.back() / 0.25f), 6.0, 1e-4);
    samplesRead += strip.readMeters().samples;
    EXPECT_EQ(samplesRead, (kCalls + 1LL) * kBlock) << "read-and-clear lost or doubled samples";
}
