// The library's entries over every format, call size, instance count and
// setting, including the decaying tail with and without flush-to-zero.
#include <benchmark/benchmark.h>

#include "timed_loops.h"

namespace bench {
namespace {

void CallEntry(StripRig& rig) { rig.Process(); }

struct Setting {
    const char* name;
    Preset preset;
    enum { Programme, Tail, TailFlushToZero } run;
};

constexpr Setting kSettings[] = {
    {"full_strip", Preset::FullStrip, Setting::Programme},
    {"eq_only", Preset::EqOnly, Setting::Programme},
    {"idle", Preset::Idle, Setting::Programme},
    {"decaying_tail", Preset::FullStrip, Setting::Tail},
    {"decaying_tail_ftz", Preset::FullStrip, Setting::TailFlushToZero},
};

void Run(benchmark::State& st, const Setting& setting, const StemFormat& format, int call, int instances) {
    StripRig rig(format, instances, call, MakePreset(setting.preset, format));
    if (setting.run == Setting::Programme)
        TimeProgramme(st, rig, CallEntry);
    else
        TimeDecayingTail(st, rig, setting.run == Setting::TailFlushToZero, CallEntry);
}

const bool registered = [] {
    for (const Setting& setting : kSettings)
        for (const StemFormat& format : kStemFormats)
            for (int instances : kInstanceCounts)
                for (int call : kCallSizes)
                    benchmark::RegisterBenchmark(
                        BenchmarkName("stemstrip", setting.name, format, call, instances).c_str(),
                        [&setting, &format, call, instances](benchmark::State& st) {
                            Run(st, setting, format, call, instances);
                        });
    return true;
}();

}  // namespace
}  // namespace bench
