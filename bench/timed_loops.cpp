#include "timed_loops.h"

#include <map>
#include <tuple>

namespace bench {

const TestSignal& SharedProgramme() {
    static const TestSignal programme(Dyn_kMaxChannels, kSampleRate);
    return programme;
}

const Silence& SharedSilence() {
    static const Silence silence(Dyn_kMaxChannels);
    return silence;
}

const TailStart& SharedTailStart(StripRig& rig) {
    static std::map<std::tuple<int, int, int>, TailStart> starts;
    const auto key = std::make_tuple(rig.Format().index, rig.Instances(), rig.CallSamples());
    auto found = starts.find(key);
    if (found == starts.end())
        found = starts.emplace(key, RunIntoDecayingTail(rig, SharedProgramme(), SharedSilence(),
                                                        30 * static_cast<int>(kSampleRate)))
                    .first;
    else
        rig.Restore(found->second.states);
    return found->second;
}

std::string BenchmarkName(const char* engine, const char* setting, const StemFormat& f, int call,
                          int instances) {
    return std::string(engine) + "/" + setting + "/" + f.name + "/samples:" + std::to_string(call) +
           "/instances:" + std::to_string(instances);
}

}  // namespace bench
