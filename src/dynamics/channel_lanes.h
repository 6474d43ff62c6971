// The channel side of the dynamics with every channel in a lane of one
// vector, for formats of three or more channels. Each lane runs the detector
// filter and the gain computer on its channel's own record; the linking
// maximum and the hand-over of each group's gains from its owner lane are
// lane permutations. Only owner lanes' gain-computer states are stored, so
// the result is that of running one gain computer per group. The state stays
// in lanes for the whole call; the grouping is read once per call.
#pragma once

#include "../biquad_step.h"
#include "channel_processing.h"
#include "gain_computer.h"
#include "stemstrip.h"

namespace stemstrip {

template <int N, int G>
struct Dynamics_LaneState {
    static constexpr int W = kLanes<N>;
    static_assert(W >= N, "every channel has a lane");
    using V = Lanes<W>;
    using Index = IntLanes<V>;

    V detectorZ1, detectorZ2;
    GainState<V> gain;  // lane c: channel c's record
    Index ownerLane;    // lane c: the owner of c's group
    // partner[k], lane c: the k-th channel of c's group, or c itself past
    // the group's size; the linking maximum runs over partners.
    Index partner[N];
    int partners;
    int owners[G];  // in channel order
    int ownerCount;
    float channelMeter[N];  // dynamicsRunState[4 + c] of the owners
    SharedGainMeters<> shared;
};

template <int N, int G>
inline void Dynamics_LoadLanes(Dynamics_LaneState<N, G>& s, const SChannelStrip_Alg_Context* ctx,
                               const float* dynamicsRunState) {
    using State = Dynamics_LaneState<N, G>;
    const Dyn_SCoefsBlock& k = *ctx->dynCoefs;
    const Dyn_SState idle{};
    for (int l = 0; l < State::W; ++l) {
        const Dyn_SState& record = l < N ? ctx->dynState[l] : idle;  // spare lanes run on zeros
        s.detectorZ1[l] = record.detFilterZ1;
        s.detectorZ2[l] = record.detFilterZ2;
        LoadGainState(s.gain, l, record);
        s.ownerLane[l] = l;
        for (int p = 0; p < N; ++p) s.partner[p][l] = l;
    }
    s.ownerCount = 0;
    s.partners = 1;
    for (int c = 0; c < N; ++c) {
        int members = 0;
        for (int other = 0; other < N; ++other) {
            if (k.channelGroup[other] != k.channelGroup[c]) continue;
            if (members == 0) s.ownerLane[c] = other;
            s.partner[members++][c] = other;
        }
        s.partners = members > s.partners ? members : s.partners;
        if (s.ownerLane[c] == c) s.owners[s.ownerCount++] = c;
        s.channelMeter[c] = dynamicsRunState[kFirstChannelMeter + c];
    }
    s.shared = LoadSharedGainMeters(dynamicsRunState);
}

template <int N, int G>
inline void Dynamics_StoreLanes(const Dynamics_LaneState<N, G>& s, Dyn_SState* states, float* dynamicsRunState) {
    for (int c = 0; c < N; ++c) {
        states[c].detFilterZ1 = s.detectorZ1[c];
        states[c].detFilterZ2 = s.detectorZ2[c];
    }
    for (int o = 0; o < s.ownerCount; ++o) StoreGainState(s.gain, s.owners[o], states[s.owners[o]]);
    for (int c = 0; c < N; ++c) dynamicsRunState[kFirstChannelMeter + c] = s.channelMeter[s.ownerLane[c]];
    StoreSharedGainMeters(s.shared, dynamicsRunState);
}

// One sub-block: x holds the channels after the EQ before the dynamics (as
// just written to the outputs) and receives them after the dynamics. The key,
// when used, is read from memory, where it may be one of those outputs.
template <int N, int G>
inline void Dynamics_ProcessLanes(Dynamics_LaneState<N, G>& s, const Dyn_SCoefsBlock& k, float rate,
                                  const float* key, int at, Lanes<Dynamics_LaneState<N, G>::W>* x) {
    constexpr int W = Dynamics_LaneState<N, G>::W;
    using V = Lanes<W>;
    const bool useKey = k.keySource == 1 && key != nullptr;
    V sideChain[kSubBlock], row[kSubBlock];
    for (int i = 0; i < kSubBlock; ++i) {
        const V source = useKey ? Splat<W>(key[at + i]) : x[i];
        sideChain[i] = BiquadStep(source, Splat<W>(k.detFilterB0), Splat<W>(k.detFilterB1), Splat<W>(k.detFilterB2),
                                  Splat<W>(k.detFilterA1), Splat<W>(k.detFilterA2), s.detectorZ1, s.detectorZ2);
        const V magnitude = Abs(sideChain[i]);
        row[i] = V{};
        for (int p = 0; p < s.partners; ++p) KeepMax(row[i], Permute(magnitude, s.partner[p]));
    }
    GainMeterInputs<V> meterInputs;
    ComputeGains<V, N>(k, Splat<W>(rate), s.gain, row, meterInputs);
    for (int o = 0; o < s.ownerCount; ++o) {
        const int c = s.owners[o];
        RaiseGainMeters(s.shared, s.channelMeter[c], meterInputs, c);
    }
    for (int i = 0; i < kSubBlock; ++i) {
        x[i] = k.keyListen != 0 ? sideChain[i] : x[i] * Permute(row[i], s.ownerLane);
    }
}

}  // namespace stemstrip
