// The streaming render: file chunks of the host's size through an SDK
// Instance and back to a file, with the instance's latency removed so output
// sample i belongs to input sample i (the last latency() samples come from
// feeding zeros after the input). The SDK makes the result independent of
// the chunk size, so --block only changes how the work is cut.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "audio_file.hpp"
#include "stemstrip/instance.hpp"

namespace stemstrip::cli {

// Levels over time for the report, one point per `secondsPerPoint`.
struct LevelTrace {
    double secondsPerPoint = 0.0;
    std::vector<float> inputPeakDb;      // loudest channel
    std::vector<float> outputPeakDb;
    std::vector<float> compReductionDb;  // >= 0
    std::vector<float> expReductionDb;
};

struct RenderResult {
    MeterSnapshot totals;  // maxima over the whole file, channels in strip order
    LevelTrace trace;
};

struct RenderIo {
    AudioReader& input;
    AudioReader* key;          // mixed to one channel; same rate and length as input
    AudioWriter& output;
    std::vector<int> stripToFile;  // file channel of each strip channel
};

using ProgressFn = std::function<void(int64_t doneFrames, int64_t totalFrames)>;

// Throws CliError if interrupted or on an I/O error.
RenderResult Render(Instance& strip, RenderIo& io, int blockSize, const ProgressFn& progress);

}  // namespace stemstrip::cli
