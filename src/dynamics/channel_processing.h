// The channel side of the dynamics: per-channel detector filter on the
// side-chain source, linking channels into groups by the per-sample maximum
// of their magnitudes, one gain computer per group (state in the record of
// the group's lowest channel), gains applied in place, key listening and
// mirroring of each group's gain meter into its members' slots. Channel by
// channel: the path of one or two channels and of the one-lane build (three
// or more channels otherwise run in lanes, channel_lanes.h).
#pragma once

#include "../biquad_step.h"
#include "gain_computer.h"
#include "stemstrip.h"

namespace stemstrip {

inline constexpr int kFirstChannelMeter = 4;

// Turns each owned group's row of detector levels into gains, in place, one
// group after another in their owners' channel order.
template <int N, int G>
inline void RunGainComputers(const SChannelStrip_Alg_Context* ctx, float (*rows)[kSubBlock], const int* owner,
                             float rate, float* dynamicsRunState) {
    for (int c = 0; c < N; ++c) {
        const int g = ctx->dynCoefs->channelGroup[c];
        if (owner[g] == c) {
            ProcessAudioGain<kSubBlock>(rows[g], &ctx->dynState[c], ctx, rate, kFirstChannelMeter + c,
                                        dynamicsRunState);
        }
    }
}

template <int N, int G>
void Dynamics_AlgorithmProcessFunction(const SChannelStrip_Alg_Context* ctx, const float* const* in,
                                       float* const* out, const float* key, int subBlockOffset,
                                       float* dynamicsRunState, int blockStart) {
    constexpr int S = kSubBlock;
    const Dyn_SCoefsBlock& k = *ctx->dynCoefs;
    Dyn_SState* states = ctx->dynState;
    const int at = blockStart + subBlockOffset;
    const bool useKey = k.keySource == 1 && key != nullptr;

    // Detection reads every channel before anything is written: the call
    // works in place.
    float sideChain[N][S];
    for (int c = 0; c < N; ++c) {
        const float* source = (useKey ? key : in[c]) + at;
        float z1 = states[c].detFilterZ1, z2 = states[c].detFilterZ2;
        for (int i = 0; i < S; ++i) {
            sideChain[c][i] = BiquadStep(source[i], k.detFilterB0, k.detFilterB1, k.detFilterB2,
                                         k.detFilterA1, k.detFilterA2, z1, z2);
        }
        states[c].detFilterZ1 = z1;
        states[c].detFilterZ2 = z2;
    }

    float rows[G][S];
    for (int g = 0; g < G; ++g) {
        for (int i = 0; i < S; ++i) rows[g][i] = 0.0f;
    }
    for (int c = 0; c < N; ++c) {
        float* row = rows[k.channelGroup[c]];
        for (int i = 0; i < S; ++i) KeepMax(row[i], Abs(sideChain[c][i]));  // NaN never enters
    }

    // Owners in channel order: the first channel of each group keeps its
    // gain-computer state and meter slot.
    int owner[G];
    for (int g = 0; g < G; ++g) owner[g] = -1;
    for (int c = 0; c < N; ++c) {
        const int g = k.channelGroup[c];
        if (owner[g] < 0) owner[g] = c;
    }
    RunGainComputers<N, G>(ctx, rows, owner, states[0].dezipRate, dynamicsRunState);

    for (int c = 0; c < N; ++c) {
        const int g = k.channelGroup[c];
        float* dst = out[c] + at;
        if (k.keyListen != 0) {
            for (int i = 0; i < S; ++i) dst[i] = sideChain[c][i];
        } else {
            const float* src = in[c] + at;
            for (int i = 0; i < S; ++i) dst[i] = src[i] * rows[g][i];
        }
        dynamicsRunState[kFirstChannelMeter + c] = dynamicsRunState[kFirstChannelMeter + owner[g]];
    }
}

}  // namespace stemstrip
