// Baseline: the tests' scalar reference model on the same rigs, full strip,
// one instance per call.
#include <benchmark/benchmark.h>

#include "model/strip_model.h"
#include "timed_loops.h"

namespace bench {
namespace {

void CallModel(StripRig& rig) { model::Entry(rig.Format().index, rig.Begin(), rig.End()); }

const bool registered = [] {
    for (const StemFormat& format : kStemFormats)
        for (int call : kCallSizes)
            benchmark::RegisterBenchmark(BenchmarkName("model", "full_strip", format, call, 1).c_str(),
                                         [&format, call](benchmark::State& st) {
                                             StripRig rig(format, 1, call, MakePreset(Preset::FullStrip, format));
                                             TimeProgramme(st, rig, CallModel);
                                         });
    return true;
}();

}  // namespace
}  // namespace bench
