// The channel side of the dynamics, written once over a lane layout: the
// detector filter on each channel's side-chain source, linking channels into
// groups by the per-sample maximum of their magnitudes, one gain computer
// per group (state in the record of the group's first channel), the gains
// applied, key listening and mirroring of each group's gain meter into its
// members' slots.
//
// The layouts (lane_layouts.h) say which channel each unit and lane carry.
// With one lane per unit groups link units; with channels in lanes they link
// lanes (lane permutations). Only owner lanes' gain-computer states are
// stored, so the result is that of running one gain computer per group.
#pragma once

#include "../biquad_step.h"
#include "../lane_layouts.h"
#include "gain_computer.h"
#include "stemstrip.h"

namespace stemstrip {

inline constexpr int kFirstChannelMeter = 4;

template <typename L>
struct Dynamics_Lanes {
    using V = typename L::V;
    using Meter = typename L::Meter;
    static constexpr int kUnits = L::kUnits;
    V rate;
    V detectorZ1[kUnits], detectorZ2[kUnits];
    // Groups in the order of their first channels: each unit's group, each
    // group's first unit and gain computer.
    int groupOf[kUnits], firstUnit[kUnits], groups;
    GainState<V> gain[kUnits];
    // With channels in lanes: lane c applies the gain of lane ownerLane[c];
    // partner[p], lane c: the p-th channel of c's group (c past its size).
    IntLanes<V> ownerLane, partner[L::W];
    int partners;
    SharedGainMeters<Meter> shared;
    Meter channelMeter[L::kUnits * L::W];  // by channel; only owners' are raised
};

// Saying at compile time that the units form one group keeps the rows in
// registers.
template <typename L>
inline int GroupOf(const Dynamics_Lanes<L>& s, int unit) {
    return L::kOneGroup ? 0 : s.groupOf[unit];
}

template <typename L>
inline int GroupCount(const Dynamics_Lanes<L>& s) {
    return L::kOneGroup ? 1 : s.groups;
}

template <typename L>
inline bool IsOwnerLane(const Dynamics_Lanes<L>& s, int lane) {
    return LaneOf<int32_t>(s.ownerLane, lane) == lane;
}

// Channel whose slots hold the group state of (unit, lane).
template <typename L>
inline int OwnerChannel(const Dynamics_Lanes<L>& s, int unit, int lane) {
    return L::Channel(s.firstUnit[s.groupOf[unit]], LaneOf<int32_t>(s.ownerLane, lane));
}

// contexts[l] and runStates[l]: the instance of lane l (every lane the same
// one when the lanes are channels). Channels past N run on idle records.
template <int N, typename L>
inline void Dynamics_Load(Dynamics_Lanes<L>& s, const SChannelStrip_Alg_Context* const* contexts,
                          const float* const* runStates) {
    const Dyn_SCoefsBlock& k = *contexts[0]->dynCoefs;
    const Dyn_SState idle{};
    s.groups = 0;
    for (int u = 0; u < L::kUnits; ++u) {
        const int group = k.channelGroup[L::Channel(u, 0)];
        s.groupOf[u] = -1;
        for (int earlier = 0; earlier < u; ++earlier) {
            if (k.channelGroup[L::Channel(earlier, 0)] == group) s.groupOf[u] = s.groupOf[earlier];
        }
        if (s.groupOf[u] < 0) s.firstUnit[s.groupOf[u] = s.groups++] = u;
    }
    s.partners = 1;
    for (int l = 0; l < L::W; ++l) {
        SetLane(s.ownerLane, l, l);
        for (int p = 0; p < L::W; ++p) SetLane(s.partner[p], l, l);
        if (!L::kLanesLink || l >= N) continue;
        int members = 0;
        for (int other = 0; other < N; ++other) {
            if (k.channelGroup[other] != k.channelGroup[l]) continue;
            if (members == 0) SetLane(s.ownerLane, l, other);
            SetLane(s.partner[members++], l, other);
        }
        s.partners = members > s.partners ? members : s.partners;
    }
    for (int l = 0; l < L::W; ++l) {
        const SChannelStrip_Alg_Context& ctx = *contexts[l];
        SetLane(s.rate, l, ctx.dynState[0].dezipRate);
        for (int u = 0; u < L::kUnits; ++u) {
            const int c = L::Channel(u, l);
            const Dyn_SState& record = c < N ? ctx.dynState[c] : idle;
            SetLane(s.detectorZ1[u], l, record.detFilterZ1);
            SetLane(s.detectorZ2[u], l, record.detFilterZ2);
        }
        for (int g = 0; g < s.groups; ++g) {
            const int c = L::Channel(s.firstUnit[g], l);
            LoadGainState(s.gain[g], l, c < N ? ctx.dynState[c] : idle);
        }
        const float* m = runStates[l];
        SetLane(s.shared.detector, l, m[kMeterDetector]);
        SetLane(s.shared.gain, l, m[kMeterGain]);
        SetLane(s.shared.compReduction, l, m[kMeterCompReduction]);
        SetLane(s.shared.expReduction, l, m[kMeterExpReduction]);
        for (int u = 0; u < L::kUnits; ++u) {
            const int c = L::Channel(u, l);
            if (c < N) SetLane(s.channelMeter[c], l, m[kFirstChannelMeter + c]);
        }
    }
}

// Back to the instances of the first `count` lanes.
template <int N, typename L>
inline void Dynamics_Store(const Dynamics_Lanes<L>& s, SChannelStrip_Alg_Context* const* contexts,
                           float* const* runStates, int count) {
    for (int l = 0; l < count; ++l) {
        SChannelStrip_Alg_Context& ctx = *contexts[l];
        for (int u = 0; u < L::kUnits; ++u) {
            const int c = L::Channel(u, l);
            if (c >= N) continue;
            ctx.dynState[c].detFilterZ1 = LaneOf(s.detectorZ1[u], l);
            ctx.dynState[c].detFilterZ2 = LaneOf(s.detectorZ2[u], l);
            if (s.firstUnit[s.groupOf[u]] == u && IsOwnerLane(s, l)) StoreGainState(s.gain[s.groupOf[u]], l, ctx.dynState[c]);
        }
        float* m = runStates[l];
        m[kMeterDetector] = LaneOf(s.shared.detector, l);
        m[kMeterGain] = LaneOf(s.shared.gain, l);
        m[kMeterCompReduction] = LaneOf(s.shared.compReduction, l);
        m[kMeterExpReduction] = LaneOf(s.shared.expReduction, l);
        for (int u = 0; u < L::kUnits; ++u) {
            const int c = L::Channel(u, l);
            if (c < N) m[kFirstChannelMeter + c] = LaneOf(s.channelMeter[OwnerChannel(s, u, l)], l);
        }
    }
}

// The one instance of every lane when the lanes are its channels.
template <int N>
inline void Dynamics_LoadInstance(Dynamics_Lanes<ChannelLanes<N>>& s, const SChannelStrip_Alg_Context* ctx,
                                  const float* runState) {
    const SChannelStrip_Alg_Context* contexts[ChannelLanes<N>::W];
    const float* runStates[ChannelLanes<N>::W];
    for (int l = 0; l < ChannelLanes<N>::W; ++l) contexts[l] = ctx, runStates[l] = runState;
    Dynamics_Load<N>(s, contexts, runStates);
}

template <int N>
inline void Dynamics_StoreInstance(const Dynamics_Lanes<ChannelLanes<N>>& s, SChannelStrip_Alg_Context* ctx,
                                   float* runState) {
    SChannelStrip_Alg_Context* contexts[ChannelLanes<N>::W];
    float* runStates[ChannelLanes<N>::W];
    for (int l = 0; l < ChannelLanes<N>::W; ++l) contexts[l] = ctx, runStates[l] = runState;
    Dynamics_Store<N>(s, contexts, runStates, ChannelLanes<N>::W);
}

// Key listening replaces the signal by its side chain; otherwise the gain
// multiplies it.
template <typename V, typename Listen>
inline V ApplyGain(Listen listen, V sideChain, V x, V gain) {
    return listen ? sideChain : x * gain;
}

// S samples (one sub-block, or several when the instance has one group):
// each unit's detector input in, its filtered side chain and the gain it
// applies out. The groups' gain computers run, and raise the meters, in the
// order of their first channels.
template <int N, int S = kSubBlock, typename L, typename K>
inline void Dynamics_SubBlock(Dynamics_Lanes<L>& s, const K& k, const typename L::V (*source)[S],
                              typename L::V (*sideChain)[S], typename L::V (*gain)[S]) {
    using V = typename L::V;
    V rows[L::kUnits][S] = {};
    for (int u = 0; u < L::kUnits; ++u) {
        V z1 = s.detectorZ1[u], z2 = s.detectorZ2[u];  // in registers: the stores below could alias s
        for (int i = 0; i < S; ++i) {
            sideChain[u][i] = BiquadStep(source[u][i], Broadcast<V>(k.detFilterB0), Broadcast<V>(k.detFilterB1),
                                         Broadcast<V>(k.detFilterB2), Broadcast<V>(k.detFilterA1),
                                         Broadcast<V>(k.detFilterA2), z1, z2);
            const V magnitude = Abs(sideChain[u][i]);
            if constexpr (L::kLanesLink) {
                for (int p = 0; p < s.partners; ++p) KeepMax(rows[GroupOf(s, u)][i], Permute(magnitude, s.partner[p]));
            } else {
                KeepMax(rows[GroupOf(s, u)][i], magnitude);  // NaN never enters
            }
        }
        s.detectorZ1[u] = z1;
        s.detectorZ2[u] = z2;
    }
    for (int g = 0; g < GroupCount(s); ++g) {
        GainMeterInputs<V, S> meterInputs;
        ComputeGains<V, L::kActive, S>(k, s.rate, s.gain[g], rows[g], meterInputs);
        constexpr int kRaisedApart = __is_same(typename L::Meter, V) ? 1 : L::W;
        for (int l = 0; l < kRaisedApart; ++l) {
            const int c = L::Channel(s.firstUnit[g], l);
            if (c < N && IsOwnerLane(s, l)) RaiseGainMeters(s.shared, s.channelMeter[c], meterInputs, l);
        }
    }
    for (int u = 0; u < L::kUnits; ++u) {
        for (int i = 0; i < S; ++i) {
            if constexpr (L::kLanesLink) {
                gain[u][i] = Permute(rows[GroupOf(s, u)][i], s.ownerLane);
            } else {
                gain[u][i] = rows[GroupOf(s, u)][i];
            }
        }
    }
}

// The stage through the buffers of one instance, over S samples from `at`:
// every side-chain source is read before anything is written (the call
// works in place), then each channel in turn is read and written. Several
// sub-blocks at once only for one group (the meters' order) and buffers that
// do not partly overlap.
template <int N, int G, int S = kSubBlock>
void Dynamics_AlgorithmProcessFunction(Dynamics_Lanes<ChannelLanes<N>>& s, const Dyn_SCoefsBlock& k,
                                       const float* const* in, float* const* out, const float* key, int at) {
    using L = ChannelLanes<N>;
    using V = typename L::V;
    static_assert(S == kSubBlock || G == 1, "groups raise the meters sub-block by sub-block");
    const bool useKey = k.keySource == 1 && key != nullptr;
    V source[L::kUnits][S] = {}, sideChain[L::kUnits][S], gain[L::kUnits][S];
    for (int u = 0; u < L::kUnits; ++u) {
        for (int l = 0; l < L::W && L::Channel(u, l) < N; ++l) {
            const float* from = useKey ? key : in[L::Channel(u, l)];
            for (int i = 0; i < S; ++i) SetLane(source[u][i], l, from[at + i]);
        }
    }
    Dynamics_SubBlock<N, S>(s, k, source, sideChain, gain);
    for (int u = 0; u < L::kUnits; ++u) {
        for (int l = 0; l < L::W && L::Channel(u, l) < N; ++l) {
            const int c = L::Channel(u, l);
            for (int i = 0; i < S; ++i) {
                out[c][at + i] = ApplyGain(k.keyListen != 0, LaneOf(sideChain[u][i], l), in[c][at + i],
                                           LaneOf(gain[u][i], l));
            }
        }
    }
}

}  // namespace stemstrip
