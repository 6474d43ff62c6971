// One running channel strip for one stem format: owns the core's context and
// every block behind it, adapts any host buffer length to the core's 16-sample
// blocks, takes new settings from a control thread without locking the audio
// thread, and publishes meters.
//
//   stemstrip::Instance strip(stemstrip::Format::Stereo, settings, 48000);
//   strip.process(in, out, n);           // audio thread
//   strip.setSettings(newSettings);      // any thread; applied at the next process()
//   auto m = strip.readMeters();         // any thread; maxima since the last read
#pragma once

#include <memory>

#include "stemstrip/meters.hpp"
#include "stemstrip/settings.hpp"

namespace stemstrip {

struct InstanceOptions {
    // The host promises that every process() call passes a multiple of 16
    // samples: the instance then adds no latency. Without the promise any
    // length works, through a FIFO of latency() samples.
    bool alignedBlocks = false;
    // Internal buffer length per channel (a multiple of 16, 16..65536). Longer
    // host calls are split; it only trades memory for calls into the core.
    int stagingSamples = 512;
    // Run process() inside a DenormalScope (flush-to-zero).
    bool flushDenormals = false;
};

class Instance {
public:
    // Throws UsageError (format, sample rate, options) or SettingsError.
    Instance(Format format, const Settings& settings, double sampleRate, InstanceOptions options = {});
    ~Instance();
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    // Control side, any thread. Validates and designs the settings, then hands
    // them over; the audio thread applies them at the start of its next
    // process() and the core glides there. Throws on bad settings and then
    // leaves the running settings untouched.
    void setSettings(const Settings& settings);
    // The settings most recently accepted by setSettings (or the constructor).
    Settings settings() const;
    // Any thread: the next process() starts clean (states, FIFO, meters of
    // the core) at the current settings.
    void reset();

    // Audio thread. inputs/outputs: one pointer per channel to n samples each
    // (they may be the same buffers); key: n samples, used when
    // settings.detector.externalKey is on (without one the strip detects
    // from the programme and counts the call). NaN and infinite samples
    // reach the strip as 0 (counted; the caller's buffers are not written),
    // and a state that goes non-finite anyway restarts within the call, so
    // one bad sample never silences the strip for good. No locks, no
    // allocation; throws UsageError on a bad argument before touching
    // anything.
    void process(const float* const* inputs, float* const* outputs, int n, const float* key = nullptr);

    // Any thread: maxima and counts since the previous read.
    MeterSnapshot readMeters();

    int latency() const;  // samples of delay from input to output: 0 or 15
    Format format() const;
    int channels() const;
    double sampleRate() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace stemstrip
