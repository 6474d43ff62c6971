// Programme material shared by every benchmark and peer: loud passages that
// drive the compressor into gain reduction, alternating with near-silence that
// closes the gate, so both dynamics paths do real work. Channels differ, so
// linked detection has something to choose between.
#pragma once

#include <vector>

namespace bench {

class TestSignal {
public:
    // Length is a whole number of the largest call, so any call that starts
    // at a multiple of its own size stays inside the buffer.
    static constexpr int kLength = 48 * 1024;

    TestSignal(int channels, double sampleRate);

    int Channels() const { return static_cast<int>(samples_.size()); }
    const float* Channel(int c) const { return samples_[c].data(); }

private:
    std::vector<std::vector<float>> samples_;
};

// All-zero audio of the same length: the input after playback stops.
class Silence {
public:
    explicit Silence(int channels) : zeros_(TestSignal::kLength, 0.0f), channels_(channels) {}
    int Channels() const { return channels_; }
    const float* Channel(int) const { return zeros_.data(); }

private:
    std::vector<float> zeros_;
    int channels_;
};

}  // namespace bench
