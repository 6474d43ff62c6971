// The dynamics coefficients of several instances side by side, one instance
// per lane, under the field names of Dyn_SCoefsBlock: the gain computer reads
// either the same way.
#pragma once

#include "../lanes.h"
#include "stemstrip.h"

namespace stemstrip {

#define STEMSTRIP_DYN_LANE_FLOATS(X)                                                                       \
    X(compSlope) X(compKneeA) X(compKneeB) X(compKneeC) X(compThresholdDb) X(compKneeTopDb)                \
    X(compKneeBottomDb) X(compFloorDbTarget) X(outputGainTarget) X(compAttackCoef) X(compReleaseCoef)      \
    X(expSlope) X(expKneeA) X(expKneeB) X(expKneeC) X(expThresholdDb) X(gateOpenThresholdDb)               \
    X(gateCloseThresholdDb) X(expKneeTopDb) X(expKneeBottomDb) X(expRangeDbTarget) X(expAttackCoef)        \
    X(expReleaseCoef) X(peakDecay) X(detFilterB0) X(detFilterB1) X(detFilterB2) X(detFilterA1)             \
    X(detFilterA2) X(levelB0) X(levelB1) X(levelB2) X(levelA1) X(levelA2) X(inputMeterGain)
#define STEMSTRIP_DYN_LANE_INTS(X) X(holdSamples) X(detectorMode) X(keyListen) X(bypass)

template <typename V>
struct DynCoefLanes {
#define STEMSTRIP_DECLARE_FLOAT(field) V field;
#define STEMSTRIP_DECLARE_INT(field) IntLanes<V> field;
    STEMSTRIP_DYN_LANE_FLOATS(STEMSTRIP_DECLARE_FLOAT)
    STEMSTRIP_DYN_LANE_INTS(STEMSTRIP_DECLARE_INT)
#undef STEMSTRIP_DECLARE_FLOAT
#undef STEMSTRIP_DECLARE_INT
};

template <typename V>
inline void LoadDynCoefLane(DynCoefLanes<V>& lanes, int lane, const Dyn_SCoefsBlock& k) {
#define STEMSTRIP_LOAD_FIELD(field) lanes.field[lane] = k.field;
    STEMSTRIP_DYN_LANE_FLOATS(STEMSTRIP_LOAD_FIELD)
    STEMSTRIP_DYN_LANE_INTS(STEMSTRIP_LOAD_FIELD)
#undef STEMSTRIP_LOAD_FIELD
}

#undef STEMSTRIP_DYN_LANE_FLOATS
#undef STEMSTRIP_DYN_LANE_INTS

}  // namespace stemstrip
