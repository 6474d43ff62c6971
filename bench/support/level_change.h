// How much a processor changes the programme's energy: a chain that is
// mis-set (silent, not processing, not compressing) shows up here rather
// than as speed.
#pragma once

#include <functional>

#include "test_signal.h"

namespace bench {

// One call: process `samples` of the programme from `position` on.
using ProgrammeCall = std::function<void(int position, int samples)>;
// Output `channel` of the last call.
using CallOutput = std::function<const float*(int channel)>;

// Output over input energy of one pass through `programme` in calls of
// `callSamples` (dividing TestSignal::kLength), over its first `channels`
// channels, in dB.
double LevelChangeDb(const TestSignal& programme, int channels, int callSamples, const ProgrammeCall& call,
                     const CallOutput& output);

}  // namespace bench
