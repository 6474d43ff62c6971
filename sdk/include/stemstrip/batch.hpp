// Many instances of one format run by a single call into the core, for
// benchmarks and hosts that process a bank of strips in lockstep. Each member
// owns padded input and output buffers; there is no FIFO and no thread
// handoff: settings change between process() calls, on the audio thread.
#pragma once

#include <memory>

#include "stemstrip/meters.hpp"
#include "stemstrip/settings.hpp"

namespace stemstrip {

class Batch {
public:
    // `count` members (>= 1) at `settings`; buffers of `capacity` samples
    // (a multiple of 16, 16..65536). Throws UsageError or SettingsError.
    Batch(Format format, const Settings& settings, double sampleRate, int count, int capacity);
    ~Batch();
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    int size() const;
    int channels() const;
    int capacity() const;
    float* input(int member, int channel);   // `capacity` samples
    float* output(int member, int channel);  // `capacity` samples

    // Throws SettingsError and leaves the member untouched on bad settings.
    void setSettings(int member, const Settings& settings);
    // Every member over the first n samples of its buffers in one core call;
    // n is a multiple of 16 in 0..capacity.
    void process(int n);
    MeterSnapshot readMeters(int member);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace stemstrip
