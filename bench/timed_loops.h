// The timed loops every strip benchmark shares, whoever processes the rig
// (the library's entry or the reference model), and the rates they report:
// CPU time per sample per channel, and the real-time factor (instances of
// this format one core keeps up with at 48 kHz).
#pragma once

#include <benchmark/benchmark.h>

#include <string>

#include "stemstrip/denormals.hpp"

#include "support/decaying_tail.h"
#include "support/strip_rig.h"
#include "support/test_signal.h"

namespace bench {

inline constexpr int kCallSizes[] = {16, 64, 256, 1024};
inline constexpr int kInstanceCounts[] = {1, 16};

const TestSignal& SharedProgramme();  // 8 channels, enough for every format
const Silence& SharedSilence();

// Puts `rig` at the start of its decaying tail and returns that start. Run
// into once per format, instance count and call size, then restored: the
// library re-runs a benchmark several times while it settles on an
// iteration count, and each run-in takes seconds of audio.
const TailStart& SharedTailStart(StripRig& rig);

std::string BenchmarkName(const char* engine, const char* setting, const StemFormat& f, int call,
                          int instances);

// Shown as e.g. "time_per_sample_ch=20.5ns"; realtime_instances_48k carries a
// "/s" that the library appends to every rate.
// `samples`: per channel and iteration, over every instance.
inline void ReportRates(benchmark::State& st, double samples, int channels) {
    using benchmark::Counter;
    st.counters["time_per_sample_ch"] =
        Counter(samples * channels, Counter::kIsIterationInvariantRate | Counter::kInvert);
    st.counters["realtime_instances_48k"] = Counter(samples / kSampleRate, Counter::kIsIterationInvariantRate);
}

inline void ReportRates(benchmark::State& st, const StripRig& rig) {
    ReportRates(st, double(rig.CallSamples()) * rig.Instances(), rig.Format().channels);
}

// Programme material streaming through the strip, call after call.
template <class Process>
void TimeProgramme(benchmark::State& st, StripRig& rig, Process process) {
    const TestSignal& programme = SharedProgramme();
    int position = 0;
    for (auto _ : st) {
        rig.Feed(programme, position);
        process(rig);
        position = (position + rig.CallSamples()) % TestSignal::kLength;
    }
    ReportRates(st, rig);
}

// Silence after programme, starting from memories that are all denormal. The
// start is put back every kTailWindow samples (outside the timing), so the
// figure is that of the first stretch of the tail, not of a strip long gone
// quiet. With `flushToZero`, FTZ and DAZ are set around each call.
inline constexpr int kTailWindow = 4096;

template <class Process>
void TimeDecayingTail(benchmark::State& st, StripRig& rig, bool flushToZero, Process process) {
    const TailStart& start = SharedTailStart(rig);
    rig.Feed(SharedSilence(), 0);
    int sinceStart = 0;
    for (auto _ : st) {
        if (sinceStart >= kTailWindow) {
            st.PauseTiming();
            rig.Restore(start.states);
            sinceStart = 0;
            st.ResumeTiming();
        }
        if (flushToZero) {
            stemstrip::DenormalScope ftz;
            process(rig);
        } else {
            process(rig);
        }
        sinceStart += rig.CallSamples();
    }
    ReportRates(st, rig);
    st.counters["denormal_memories"] = start.census.denormal;
    st.counters["normal_memories"] = start.census.normal;
    st.counters["silence_ms"] = start.silentSamples * 1000.0 / kSampleRate;
}

}  // namespace bench
