// Fair timing of several processors in one process: each repetition times
// every contender once on the same amount of audio, in a rotating order, and
// the figure kept per contender is the median over repetitions. Time is the
// thread's CPU time, so preemption on a shared machine does not count.
#pragma once

#include <functional>
#include <vector>

namespace peers {

// One host cycle: process `samples` starting at `position` of the programme.
using CallFn = std::function<void(int position, int samples)>;

struct StreamPlan {
    int callSamples;     // samples per call
    int streamSamples;   // samples per timed stream (a multiple of callSamples)
    int programmeLength; // positions wrap here (a multiple of callSamples)
    int repetitions;
};

// Median CPU nanoseconds per sample (all channels together) for each contender.
std::vector<double> InterleavedMedianNsPerSample(const std::vector<CallFn>& contenders, const StreamPlan& plan);

}  // namespace peers
