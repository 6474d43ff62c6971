// The equaliser cascade: sections [sectionBegin, sectionEnd) of transposed
// direct form II biquads over one 4-sample sub-block of every channel. All
// channels share the smoothed coefficients; each has its own EQ_SState.
// Channels run side by side in vector lanes.
#pragma once

#include "../biquad_step.h"
#include "stemstrip.h"

namespace stemstrip {

// The filter memories of every channel, transposed so that channels sit in
// lanes. The driver loads them once per call and writes them back at its end,
// so the sub-blocks in between never gather or scatter per section.
template <int N>
struct EQ_LaneState {
    static constexpr int W = kLanes<N>;
    static constexpr int kLaneGroups = (N + W - 1) / W;
    Lanes<W> z1[kLaneGroups][EQ_kMaxSections], z2[kLaneGroups][EQ_kMaxSections];
};

// Lanes past the last channel carry zeros and are never stored.
template <int N>
void EQ_LoadLanes(EQ_LaneState<N>& lanes, const EQ_SState* state) {
    constexpr int W = EQ_LaneState<N>::W;
    for (int g = 0; g < EQ_LaneState<N>::kLaneGroups; ++g) {
        for (int k = 0; k < EQ_kMaxSections; ++k) {
            for (int l = 0; l < W; ++l) {
                const int c = g * W + l;
                lanes.z1[g][k][l] = c < N ? state[c].z1[k] : 0.0f;
                lanes.z2[g][k][l] = c < N ? state[c].z2[k] : 0.0f;
            }
        }
    }
}

template <int N>
void EQ_StoreLanes(const EQ_LaneState<N>& lanes, EQ_SState* state) {
    constexpr int W = EQ_LaneState<N>::W;
    for (int g = 0; g < EQ_LaneState<N>::kLaneGroups; ++g) {
        for (int k = 0; k < EQ_kMaxSections; ++k) {
            for (int l = 0; l < W && g * W + l < N; ++l) {
                state[g * W + l].z1[k] = lanes.z1[g][k][l];
                state[g * W + l].z2[k] = lanes.z2[g][k][l];
            }
        }
    }
}

// Four samples of every lane through one section.
template <typename V>
inline void EQ_SectionSubBlock(V* x, V b0, V b1, V b2, V a1, V a2, V& z1, V& z2) {
    V m1 = z1, m2 = z2;
    for (int j = 0; j < kSubBlock; ++j) x[j] = BiquadStep(x[j], b0, b1, b2, a1, a2, m1, m2);
    z1 = m1;
    z2 = m2;
}

// Sections [sectionBegin, sectionEnd) over one sub-block held in registers;
// an empty or inverted range leaves samples and memories. C is float
// (coefficients shared by every lane) or the lane type (a set per lane).
template <typename V, typename C>
inline void EQ_RunSections(const C* coefs, V* z1, V* z2, V* x, int sectionBegin, int sectionEnd) {
    for (int k = sectionBegin; k < sectionEnd; ++k) {
        const C* q = coefs + EQ_kCoefsPerSection * k;
        EQ_SectionSubBlock(x, Broadcast<V>(q[0]), Broadcast<V>(q[1]), Broadcast<V>(q[2]), Broadcast<V>(q[3]),
                           Broadcast<V>(q[4]), z1[k], z2[k]);
    }
}

// One sub-block through the sections, channels in lanes W at a time, from
// `in` to `out`.
template <int N>
void EQ_ProcessLanes(const EQ_SDezipCoefs* coefs, EQ_LaneState<N>& lanes, const float* const* in,
                     float* const* out, int subBlockOffset, int sectionBegin, int sectionEnd, int blockStart) {
    const int at = blockStart + subBlockOffset;
    constexpr int W = EQ_LaneState<N>::W;
    constexpr int kGroups = EQ_LaneState<N>::kLaneGroups;
    static_assert(kGroups == 1 || W == 1, "channels fit one vector, or go one by one");
    constexpr int kChannelsPerGroup = kGroups == 1 ? N : 1;
    for (int g = 0; g < kGroups; ++g) {
        Lanes<W> x[kSubBlock];
        GatherSubBlock<W, kChannelsPerGroup>(x, in + g * W, at);  // all loaded before any store: may run in place
        EQ_RunSections(coefs->coefs, lanes.z1[g], lanes.z2[g], x, sectionBegin, sectionEnd);
        ScatterSubBlock<W, kChannelsPerGroup>(x, out + g * W, at);
    }
}

// The stage on its own, state in and out of the host's records.
template <int N>
void EQ_AlgorithmProcessFunction(const EQ_SDezipCoefs* coefs, EQ_SState* state, const float* const* in,
                                 float* const* out, int subBlockOffset, int sectionBegin, int sectionEnd,
                                 int blockStart) {
    EQ_LaneState<N> lanes;
    EQ_LoadLanes(lanes, state);
    EQ_ProcessLanes<N>(coefs, lanes, in, out, subBlockOffset, sectionBegin, sectionEnd, blockStart);
    EQ_StoreLanes(lanes, state);
}

}  // namespace stemstrip
