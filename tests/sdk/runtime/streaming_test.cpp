// Any host chunking gives the same output stream, bit for bit, and the core
// never writes past a host buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>

#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

namespace {

constexpr int kChannels = 2;
constexpr int kLength = 20000;
constexpr float kSentinel = 12345.0f;

// A strip with every stage busy: EQ before and after the dynamics,
// compressor, gate with hold.
Settings BusySettings() {
    Settings s;
    s.bands[0] = {.enabled = true, .type = BandType::Bell, .frequencyHz = 1000.0, .gainDb = 6.0, .q = 1.0};
    s.bands[1] = {.enabled = true, .type = BandType::HighPass2, .placement = Placement::PostDynamics, .frequencyHz = 80.0};
    s.compressor = {.thresholdDb = -24.0, .ratio = 3.0, .kneeDb = 6.0, .attackMs = 2.0, .releaseMs = 80.0};
    s.expander = {.gate = true, .gateThresholdDb = -50.0, .holdMs = 5.0, .attackMs = 0.5, .releaseMs = 40.0};
    return s;
}

// Noise in bursts, so that the gate and the compressor both move.
std::vector<std::vector<float>> Program() {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    std::vector<std::vector<float>> x(kChannels, std::vector<float>(kLength));
    for (int i = 0; i < kLength; ++i) {
        const float envelope = (i / 3000) % 2 ? 0.6f : 0.002f;
        for (auto& channel : x) channel[i] = envelope * noise(rng);
    }
    return x;
}

// Streams x through a fresh strip in chunks of the sizes next() returns.
// Every host buffer holds exactly its chunk, followed by sentinels that must
// survive. With inPlace the output overwrites the input buffers.
std::vector<std::vector<float>> Stream(const std::vector<std::vector<float>>& x, InstanceOptions options,
                                       const std::function<int()>& next, bool inPlace = false) {
    Instance strip(Format::Stereo, BusySettings(), kRate, options);
    std::vector<std::vector<float>> y(kChannels, std::vector<float>(kLength));
    std::vector<std::vector<float>> inBuf(kChannels), outBuf(kChannels);
    for (int at = 0; at < kLength;) {
        const int n = std::min(next(), kLength - at);
        const float* in[kChannels];
        float* out[kChannels];
        for (int c = 0; c < kChannels; ++c) {
            inBuf[c].assign(x[c].begin() + at, x[c].begin() + at + n);
            inBuf[c].resize(n + 32, kSentinel);
            outBuf[c].assign(n + 32, kSentinel);
            in[c] = inBuf[c].data();
            out[c] = inPlace ? inBuf[c].data() : outBuf[c].data();
        }
        strip.process(in, out, n);
        for (int c = 0; c < kChannels; ++c) {
            const std::vector<float>& result = inPlace ? inBuf[c] : outBuf[c];
            for (int i = n; i < n + 32; ++i) EXPECT_EQ(result[i], kSentinel) << "written past the host buffer";
            std::copy(result.begin(), result.begin() + n, y[c].begin() + at);
        }
        at += n;
    }
    return y;
}

bool BitIdentical(const std::vector<float>& a, const std::vector<float>& b, size_t from = 0) {
    return std::memcmp(a.data() + from, b.data() + from, (a.size() - from) * sizeof(float)) == 0;
}

}  // namespace

TEST(Streaming, FifoOutputIsIndependentOfChunking) {
    const auto x = Program();
    const auto whole = Stream(x, {}, [] { return kLength; });
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> size(0, 700);
    const std::pair<const char*, std::function<int()>> chunkings[] = {
        {"1", [] { return 1; }},     {"15", [] { return 15; }},         {"17", [] { return 17; }},
        {"441", [] { return 441; }}, {"random", [&] { return size(rng); }}};
    for (const auto& [name, next] : chunkings) {
        const auto y = Stream(x, {}, next);
        for (int c = 0; c < kChannels; ++c) EXPECT_TRUE(BitIdentical(y[c], whole[c])) << "chunks of " << name;
    }
    const auto inPlace = Stream(x, {}, [] { return 441; }, true);
    for (int c = 0; c < kChannels; ++c) EXPECT_TRUE(BitIdentical(inPlace[c], whole[c])) << "in place";
}

TEST(Streaming, AlignedModeHasNoLatencyAndMatchesFifoShiftedByItsLatency) {
    const auto x = Program();
    InstanceOptions aligned = Aligned();
    aligned.stagingSamples = 64;  // in-place runs through several staging chunks per call
    const auto direct = Stream(x, aligned, [] { return 16 * 20; });
    const auto inPlace = Stream(x, aligned, [] { return 16 * 37; }, true);
    const auto fifo = Stream(x, {}, [] { return 100; });
    const int latency = Instance(Format::Stereo, {}, kRate).latency();
    EXPECT_EQ(Instance(Format::Stereo, {}, kRate, Aligned()).latency(), 0);
    EXPECT_LE(latency, 16);
    for (int c = 0; c < kChannels; ++c) {
        EXPECT_TRUE(BitIdentical(inPlace[c], direct[c]));
        for (int i = 0; i < latency; ++i) EXPECT_EQ(fifo[c][i], 0.0f);
        EXPECT_EQ(0, std::memcmp(fifo[c].data() + latency, direct[c].data(), (kLength - latency) * sizeof(float)))
            << "channel " << c;
    }
}
