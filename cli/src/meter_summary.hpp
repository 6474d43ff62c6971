// The few lines printed after a render: what was processed, per channel peak
// in and out, the deepest compressor and expander gain reduction, the time
// taken and the real-time factor.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stemstrip/meters.hpp"
#include "stemstrip/settings.hpp"

namespace stemstrip::cli {

struct SummaryFacts {
    std::string input, output, presetLabel, note;
    Format format;
    int sampleRate;
    double audioSeconds;
    double wallSeconds;
    std::vector<std::string> channelLabels;  // strip order, as the meters
    MeterSnapshot totals;
    int64_t clippedSamples = 0;  // in an integer output encoding
};

std::string FormatSummary(const SummaryFacts& facts);

// Folds one read of the meters into `totals`: maxima stay maxima, sample
// counts add up.
void AccumulateMeters(MeterSnapshot& totals, const MeterSnapshot& m);

// "-3.2 dBFS", or "silent" at the meters' floor.
std::string FormatPeak(float db);

}  // namespace stemstrip::cli
