// Helpers for measuring an Instance from outside: signals, streamed runs and
// gains in dB.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

#include "stemstrip/instance.hpp"

namespace stemstrip_test {

using Signal = std::vector<std::vector<float>>;  // one vector per channel
inline constexpr double kRate = 48000.0;

inline double Db(double linear) { return 20.0 * std::log10(linear); }
inline float Amp(double db) { return static_cast<float>(std::pow(10.0, db / 20.0)); }

// 1 kHz at 48 kHz: every 12th sample hits +-amplitude exactly.
inline std::vector<float> Sine(double amplitude, int n) {
    std::vector<float> x(n);
    for (int i = 0; i < n; ++i) x[i] = static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * i / 48.0));
    return x;
}

// Constant levels in dBFS, `samples` each, one after the other.
inline std::vector<float> Steps(std::initializer_list<double> levelsDb, int samples) {
    std::vector<float> x;
    for (double db : levelsDb) x.insert(x.end(), samples, Amp(db));
    return x;
}

inline Signal Noise(int channels, int n, unsigned seed, float amplitude = 1.0f) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> noise(-amplitude, amplitude);
    Signal x(channels, std::vector<float>(n));
    for (auto& channel : x)
        for (float& v : channel) v = noise(rng);
    return x;
}

// Every stage that keeps a memory busy: EQ before and after the dynamics,
// compressor, gate with hold.
inline stemstrip::Settings Busy() {
    using namespace stemstrip;
    Settings s;
    s.bands[0] = {.enabled = true, .type = BandType::Bell, .frequencyHz = 1000.0, .gainDb = 6.0, .q = 1.0};
    s.bands[1] = {.enabled = true, .type = BandType::HighPass2, .placement = Placement::PostDynamics, .frequencyHz = 80.0};
    s.compressor = {.thresholdDb = -24.0, .ratio = 3.0, .kneeDb = 6.0, .attackMs = 2.0, .releaseMs = 80.0};
    s.expander = {.gate = true, .gateThresholdDb = -50.0, .holdMs = 5.0, .attackMs = 0.5, .releaseMs = 40.0};
    return s;
}

inline stemstrip::InstanceOptions Aligned() { return {.alignedBlocks = true}; }

// Streams x (the strip's channels, then optionally the key) through the strip
// in chunks of the sizes next() returns. Every host buffer holds exactly its
// chunk followed by sentinels, which must survive, and inputs must come back
// untouched, unless inPlace has the output overwrite them.
inline Signal Stream(stemstrip::Instance& strip, const Signal& x, const std::function<int()>& next, bool inPlace = false) {
    constexpr float kSentinel = 12345.0f;
    const int channels = strip.channels(), length = static_cast<int>(x[0].size());
    const bool keyed = static_cast<int>(x.size()) > channels;
    Signal y(channels, std::vector<float>(length)), inBuf(x.size()), outBuf(channels);
    for (int at = 0; at < length;) {
        const int n = std::min(next(), length - at);
        std::vector<const float*> in;
        std::vector<float*> out;
        for (size_t c = 0; c < x.size(); ++c) {
            inBuf[c].assign(x[c].begin() + at, x[c].begin() + at + n);
            inBuf[c].resize(n + 32, kSentinel);
            in.push_back(inBuf[c].data());
        }
        for (int c = 0; c < channels; ++c) {
            outBuf[c].assign(n + 32, kSentinel);
            out.push_back(inPlace ? inBuf[c].data() : outBuf[c].data());
        }
        strip.process(in.data(), out.data(), n, keyed ? in[channels] : nullptr);
        for (size_t c = inPlace ? channels : 0; c < x.size(); ++c)  // bits: a NaN must stay a NaN
            EXPECT_EQ(std::memcmp(inBuf[c].data(), x[c].data() + at, n * sizeof(float)), 0) << "an input was written";
        for (int c = 0; c < channels; ++c) {
            const std::vector<float>& result = inPlace ? inBuf[c] : outBuf[c];
            for (int i = n; i < n + 32; ++i) EXPECT_EQ(result[i], kSentinel) << "written past the host buffer";
            std::copy(result.begin(), result.begin() + n, y[c].begin() + at);
        }
        at += n;
    }
    return y;
}

// Runs a mono instance over the whole signal in one call (length rounded up
// to 16 with zeros) and returns the output.
inline std::vector<float> RunMono(stemstrip::Instance& strip, std::vector<float> x) {
    x.resize((x.size() + 15) / 16 * 16, 0.0f);
    return Stream(strip, {x}, [n = static_cast<int>(x.size())] { return n; })[0];
}

// Gain of the strip in dB at each sample of a DC input.
inline std::vector<double> GainDb(const std::vector<float>& in, const std::vector<float>& out) {
    std::vector<double> g(in.size());
    for (size_t i = 0; i < in.size(); ++i) g[i] = Db(out[i] / in[i]);
    return g;
}

}  // namespace stemstrip_test
