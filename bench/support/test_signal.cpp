#include "test_signal.h"

#include <cmath>
#include <numbers>
#include <random>

namespace bench {

namespace {

// 200 ms at about -6 dBFS peak, then 100 ms at about -70 dBFS.
constexpr double kLoudSeconds = 0.2;
constexpr double kCycleSeconds = 0.3;
constexpr double kLoudAmplitude = 0.5;
constexpr double kQuietAmplitude = 0.0003;

}  // namespace

TestSignal::TestSignal(int channels, double sampleRate) : samples_(channels) {
    std::mt19937 rng(12345);
    std::uniform_real_distribution<double> noise(-1.0, 1.0);
    const double partials[] = {110.0, 277.0, 659.0, 1480.0, 5200.0};
    for (int c = 0; c < channels; ++c) {
        auto& out = samples_[c];
        out.resize(kLength);
        for (int i = 0; i < kLength; ++i) {
            const double t = i / sampleRate;
            double tone = 0.0;
            for (double f : partials) tone += std::sin(2.0 * std::numbers::pi * f * (1.0 + 0.01 * c) * t);
            const double mix = 0.8 * tone / std::size(partials) + 0.2 * noise(rng);
            const bool loud = std::fmod(t, kCycleSeconds) < kLoudSeconds;
            out[i] = static_cast<float>(mix * (loud ? kLoudAmplitude : kQuietAmplitude));
        }
    }
}

}  // namespace bench
