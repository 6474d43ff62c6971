#include "decaying_tail.h"

#include <cfloat>
#include <cmath>

namespace bench {

namespace {

void Tally(MemoryCensus& census, float v) {
    if (v == 0.0f || std::isnan(v)) return;
    if (std::fabs(v) < FLT_MIN)
        ++census.denormal;
    else
        ++census.normal;
}

// Calls of the rig's size through `samples` of `audio`, wrapping around.
template <class Audio>
void Play(StripRig& rig, const Audio& audio, int samples) {
    const int call = rig.CallSamples();
    for (int done = 0; done < samples; done += call) {
        rig.Feed(audio, done % TestSignal::kLength);
        rig.Process();
    }
}

}  // namespace

MemoryCensus CountDecayingMemories(const StripRig& rig) {
    MemoryCensus census;
    for (int i = 0; i < rig.Instances(); ++i) {
        const StripRig::State& s = rig.InstanceState(i);
        for (const EQ_SState& e : s.eq)
            for (int k = 0; k < EQ_kMaxSections; ++k) {
                Tally(census, e.z1[k]);
                Tally(census, e.z2[k]);
            }
        for (const Dyn_SState& d : s.dyn) {
            for (float v : {d.detFilterZ1, d.detFilterZ2, d.levelZ1, d.levelZ2, d.peakEnvelope,
                            d.levelOut, d.compGainDb})
                Tally(census, v);
        }
    }
    return census;
}

TailStart RunIntoDecayingTail(StripRig& rig, const TestSignal& programme, const Silence& silence,
                              int maxSilentSamples) {
    Play(rig, programme, TestSignal::kLength);
    TailStart start;
    const int call = rig.CallSamples();
    while (start.silentSamples < maxSilentSamples && CountDecayingMemories(rig).normal > 0) {
        Play(rig, silence, call);
        start.silentSamples += call;
    }
    start.states = rig.Save();
    start.census = CountDecayingMemories(rig);
    return start;
}

}  // namespace bench
