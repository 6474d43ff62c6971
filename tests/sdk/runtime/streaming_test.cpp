// Any host chunking gives the same output stream, sample for sample; the aligned
// mode is the FIFO mode without its latency. Stream() also checks that the
// core never writes past a host buffer.
#include <gtest/gtest.h>

#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

TEST(Streaming, OutputIsIndependentOfChunkingAndAlignedSkipsTheLatency) {
    constexpr int kLength = 20000;
    // Noise in bursts, so that the gate and the compressor both move.
    Signal x = Noise(2, kLength, 7);
    for (auto& channel : x)
        for (int i = 0; i < kLength; ++i) channel[i] *= (i / 3000) % 2 ? 0.6f : 0.002f;
    const auto render = [&](InstanceOptions o, std::function<int()> next, bool inPlace = false) {
        Instance strip(Format::Stereo, Busy(), kRate, o);
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
    // The FIFO's latency (proved the real delay by the null test) is all
    // that separates the two modes.
    const int latency = Instance(Format::Stereo, {}, kRate).latency();
    EXPECT_EQ(Instance(Format::Stereo, {}, kRate, Aligned()).latency(), 0);
    EXPECT_LE(latency, 16);
    for (int c = 0; c < 2; ++c)
        EXPECT_TRUE(std::equal(whole[c].begin() + latency, whole[c].end(), direct[c].begin())) << "channel " << c;
}
