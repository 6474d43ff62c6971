// The equaliser of several instances side by side, one instance per lane:
// each lane has its own smoothed coefficients and its own section ranges.
// Only instances whose glide is settled are batched, so the coefficients
// and ranges hold for the whole call and are transposed into lanes once.
#pragma once

#include "eq_sections.h"

namespace stemstrip {

template <int W>
struct EQ_InstanceLanes {
    using V = Lanes<W>;
    V coefs[EQ_kCoefCount];
    IntLanes<V> sectionBegin[2], sectionEnd[2];
    // Per stage: the sections any lane runs, and whether all lanes run the
    // same ones (then no lane needs masking).
    int first[2], last[2];
    bool uniform[2];
};

template <int W>
inline void EQ_LoadInstanceLane(EQ_InstanceLanes<W>& eq, int lane, const EQ_SDezipCoefs* smoothed,
                                const EQ_SCoefs* target) {
    for (int i = 0; i < EQ_kCoefCount; ++i) eq.coefs[i][lane] = smoothed->coefs[i];
    for (int stage = 0; stage < 2; ++stage) {
        eq.sectionBegin[stage][lane] = target->sectionBegin[stage];
        eq.sectionEnd[stage][lane] = target->sectionEnd[stage];
    }
}

// After every lane is loaded: the union of the lanes' non-empty ranges.
template <int W>
inline void EQ_FinishInstanceLanes(EQ_InstanceLanes<W>& eq) {
    for (int stage = 0; stage < 2; ++stage) {
        int first = EQ_kMaxSections, last = 0;
        bool uniform = true;
        for (int l = 0; l < W; ++l) {
            const int begin = eq.sectionBegin[stage][l], end = eq.sectionEnd[stage][l];
            if (begin < end) {
                first = begin < first ? begin : first;
                last = end > last ? end : last;
            }
            uniform &= begin == eq.sectionBegin[stage][0] && end == eq.sectionEnd[stage][0];
        }
        eq.first[stage] = first;
        eq.last[stage] = last;
        eq.uniform[stage] = uniform;
    }
}

// One sub-block of one channel of every lane through a stage. A lane outside
// its own range keeps its samples and its filter memories, exactly as an
// empty or inverted range does.
template <int W>
inline void EQ_RunInstanceLanes(const EQ_InstanceLanes<W>& eq, int stage, Lanes<W>* x, Lanes<W>* z1,
                                Lanes<W>* z2) {
    using V = Lanes<W>;
    if (eq.uniform[stage]) return EQ_RunSections(eq.coefs, z1, z2, x, eq.first[stage], eq.last[stage]);
    for (int k = eq.first[stage]; k < eq.last[stage]; ++k) {
        const IntLanes<V> on = (eq.sectionBegin[stage] <= k) & (k < eq.sectionEnd[stage]);
        V y[kSubBlock], m1 = z1[k], m2 = z2[k];
        for (int j = 0; j < kSubBlock; ++j) y[j] = x[j];
        EQ_RunSections(eq.coefs + EQ_kCoefsPerSection * k, &m1, &m2, y, 0, 1);
        for (int j = 0; j < kSubBlock; ++j) x[j] = on ? y[j] : x[j];
        z1[k] = on ? m1 : z1[k];
        z2[k] = on ? m2 : z2[k];
    }
}

}  // namespace stemstrip
