// The channel side of the dynamics: per-channel detector filter on the
// side-chain source, linking channels into groups by the per-sample maximum
// of their magnitudes, one gain computer per group (state in the record of
// the group's lowest channel), gains applied in place, key listening and
// mirroring of each group's gain meter into its members' slots.
#pragma once

#include "../biquad_step.h"
#include "gain_computer.h"
#include "stemstrip.h"

namespace stemstrip {

inline constexpr int kFirstChannelMeter = 4;

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

    int owner[G];
    for (int g = 0; g < G; ++g) owner[g] = -1;
    const float rate = states[0].dezipRate;
    for (int c = 0; c < N; ++c) {
        const int g = k.channelGroup[c];
        if (owner[g] < 0) {
            ProcessAudioGain<S>(rows[g], &states[c], ctx, rate, kFirstChannelMeter + c, dynamicsRunState);
            owner[g] = c;
        }
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
