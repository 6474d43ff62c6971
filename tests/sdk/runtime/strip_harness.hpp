// Helpers for measuring an Instance from outside: signals, streamed runs and
// gains in dB.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "stemstrip/instance.hpp"

namespace stemstrip_test {

using Signal = std::vector<std::vector<float>>;  // one vector per channel
inline constexpr double kRate = 48000.0;

inline double Db(double linear) { return 20.0 * std::log10(linear); }
inline float Amp(double db) { return static_cast<float>(std::pow(10.0, db / 20.0)); }

inline Signal Noise(int channels, int n, unsigned seed, float amplitude = 1.0f) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> noise(-amplitude, amplitude);
    Signal x(channels, std::vector<float>(n));
    for (auto& channel : x) std::generate(channel.begin(), channel.end(), [&] { return noise(rng); });
    return x;
}

// Every stage that keeps a memory busy: EQ before and after the dynamics,
// compressor, gate with hold.
inline stemstrip::Settings Busy() {
    using namespace stemstrip;
    return {.bands = {EqBand{.enabled = true, .type = BandType::Bell, .frequencyHz = 1000.0, .gainDb = 6.0, .q = 1.0},
                      EqBand{.enabled = true, .type = BandType::HighPass2, .placement = Placement::PostDynamics, .frequencyHz = 80.0}},
            .compressor = {.thresholdDb = -24.0, .ratio = 3.0, .kneeDb = 6.0, .attackMs = 2.0, .releaseMs = 80.0},
            .expander = {.gate = true, .gateThresholdDb = -50.0, .holdMs = 5.0, .attackMs = 0.5, .releaseMs = 40.0}};
}

inline stemstrip::InstanceOptions Aligned() { return {.alignedBlocks = true}; }

// Streams x (the strip's channels, then optionally the key) through the strip
// in chunks of the sizes next() returns. Every host buffer holds exactly its
// chunk followed by sentinels, which must survive, and inputs must come back
// untouched, unless inPlace has the output overwrite them.
inline Signal Stream(stemstrip::Instance& strip, const Signal& x, const std::function<int()>& next, bool inPlace = false) {
    constexpr int kPad = 32;
    constexpr float kSentinel = 12345.0f;
    const size_t channels = strip.channels(), length = x[0].size();
    Signal y(channels);
    for (size_t at = 0; at < length;) {
        const size_t n = std::min<size_t>(next(), length - at);
        Signal in(x.size()), out(channels, std::vector<float>(n + kPad, kSentinel));
        std::vector<const float*> inputs;
        std::vector<float*> outputs;
        for (size_t c = 0; c < x.size(); ++c) {
            in[c].assign(x[c].begin() + at, x[c].begin() + at + n);
            in[c].resize(n + kPad, kSentinel);
            inputs.push_back(in[c].data());
            if (c < channels) outputs.push_back(inPlace ? in[c].data() : out[c].data());
        }
        strip.process(inputs.data(), outputs.data(), static_cast<int>(n), x.size() > channels ? inputs[channels] : nullptr);
        for (size_t c = 0; c < channels; ++c) {
            const std::vector<float>& result = inPlace ? in[c] : out[c];
            EXPECT_EQ(std::vector<float>(result.begin() + n, result.end()), std::vector<float>(kPad, kSentinel))
                << "written past the host buffer";
            y[c].insert(y[c].end(), result.begin(), result.begin() + n);
        }
        for (size_t c = inPlace ? channels : 0; c < x.size(); ++c)  // bits: a NaN must stay a NaN
            EXPECT_EQ(std::memcmp(in[c].data(), x[c].data() + at, n * sizeof(float)), 0) << "an input was written";
        at += n;
    }
    return y;
}

// Runs a mono instance over the whole signal in one call and returns the
// output (aligned strips take lengths in multiples of 16).
inline std::vector<float> RunMono(stemstrip::Instance& strip, const std::vector<float>& x) {
    return Stream(strip, {x}, [n = static_cast<int>(x.size())] { return n; })[0];
}

}  // namespace stemstrip_test
