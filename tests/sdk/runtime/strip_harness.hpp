// Helpers for measuring an Instance from outside: signals, whole-stream runs
// and gains in dB.
#pragma once

#include <cmath>
#include <numbers>
#include <vector>

#include "stemstrip/instance.hpp"

namespace stemstrip_test {

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

inline stemstrip::InstanceOptions Aligned() {
    stemstrip::InstanceOptions o;
    o.alignedBlocks = true;
    return o;
}

// Runs a mono instance over the whole signal (length rounded up to 16 with
// zeros) and returns the output.
inline std::vector<float> RunMono(stemstrip::Instance& strip, std::vector<float> x) {
    x.resize((x.size() + 15) / 16 * 16, 0.0f);
    std::vector<float> y(x.size());
    const float* in[] = {x.data()};
    float* out[] = {y.data()};
    strip.process(in, out, static_cast<int>(x.size()));
    return y;
}

// Gain of the strip in dB at each sample of a DC input.
inline std::vector<double> GainDb(const std::vector<float>& in, const std::vector<float>& out) {
    std::vector<double> g(in.size());
    for (size_t i = 0; i < in.size(); ++i) g[i] = Db(out[i] / in[i]);
    return g;
}

}  // namespace stemstrip_test
