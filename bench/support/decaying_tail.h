// The moment after playback stops: the strip has run on programme material,
// then on silence until every filter and detector memory has sunk below the
// smallest normal float. Without flush-to-zero each of them now costs a
// denormal operation per sample.
#pragma once

#include <vector>

#include "strip_rig.h"
#include "test_signal.h"

namespace bench {

struct MemoryCensus {
    int normal = 0;    // nonzero, at least the smallest normal float
    int denormal = 0;  // nonzero, below it
};

// Counts the memories that decay towards zero in silence: EQ section states,
// detector pre-filter, level filter, peak envelope and compressor gain.
MemoryCensus CountDecayingMemories(const StripRig& rig);

struct TailStart {
    std::vector<StripRig::State> states;  // to Restore() the tail's start
    int silentSamples = 0;                // silence it took to get there
    MemoryCensus census;                  // at that moment
};

// Runs `rig` on `programme` for one second, then on silence in calls of the
// rig's size until no memory is normal any more (or `maxSilentSamples` ran).
TailStart RunIntoDecayingTail(StripRig& rig, const TestSignal& programme, const Silence& silence,
                              int maxSilentSamples);

}  // namespace bench
