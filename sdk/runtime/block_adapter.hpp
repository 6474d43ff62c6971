// Feeds host buffers of any length to the core, which works in whole
// 16-sample blocks and writes up to the next multiple of 16.
//
// Aligned mode (the host promises multiples of 16): no latency. Host buffers
// go to the core directly, since they then hold exactly the rounded-up
// length; when an output overlaps an input (in-place processing) the inputs
// are first copied to internal buffers, so the core's bypass and input
// meter still see the untouched input. Inputs holding non-finite samples
// take the same copying path, which replaces those samples by 0.
//
// FIFO mode (any length): incoming samples collect in a 16-sample input
// FIFO; each completed block is processed into an output queue that the
// host reads from kFifoLatency samples behind. 15 samples is the least
// delay that works for every chunking (a 1-sample call must be answered
// before its block is complete). The core never sees a host buffer here,
// and every copy into the FIFO replaces non-finite samples by 0.
//
// All memory is allocated at construction.
#pragma once

#include <vector>

#include "core_strip.hpp"

namespace stemstrip::runtime {

inline constexpr int kCoreBlock = 16;
inline constexpr int kFifoLatency = kCoreBlock - 1;

class BlockAdapter {
public:
    // `stagingSamples`: internal buffer length per channel, a multiple of 16.
    BlockAdapter(int channels, bool aligned, int stagingSamples);

    int latency() const { return aligned_ ? 0 : kFifoLatency; }
    // Forgets every buffered sample (the FIFO restarts with silence).
    void reset();

    // Runs `core` over the host's n samples; returns how many samples the
    // core processed (for the meters). `inputsFinite`: no input or key
    // sample is NaN or infinite.
    int process(CoreStrip& core, const float* const* inputs, float* const* outputs, const float* key, int n,
                bool inputsFinite);

private:
    int processAligned(CoreStrip& core, const float* const* inputs, float* const* outputs, const float* key, int n,
                       bool inputsFinite);
    int processFifo(CoreStrip& core, const float* const* inputs, float* const* outputs, const float* key, int n);
    bool outputsOverlapInputs(const float* const* inputs, float* const* outputs, const float* key, int n) const;
    void stage(const float* const* inputs, const float* key, int from, int count, int at);

    int channels_;
    bool aligned_;
    int staging_;
    int pendingIn_ = 0;  // FIFO mode: samples waiting in stagedIn_ for their block to complete
    int queuedOut_ = 0;  // FIFO mode: processed samples waiting in queue_
    std::vector<float> stagedInStore_, queueStore_;
    std::vector<const float*> stagedIn_;  // the channels, then the key
    std::vector<float*> stagedInWritable_, queue_;
};

}  // namespace stemstrip::runtime
