// The equaliser cascade: sections [sectionBegin, sectionEnd) of transposed
// direct form II biquads over one 4-sample sub-block of every channel. All
// channels share the smoothed coefficients; each has its own EQ_SState.
// Channels run side by side in vector lanes.
#pragma once

#include "../biquad_step.h"
#include "stemstrip.h"

namespace stemstrip {

template <int N>
void EQ_AlgorithmProcessFunction(const EQ_SDezipCoefs* coefs, EQ_SState* state,
                                 const float* const* in, float* const* out, int subBlockOffset,
                                 int sectionBegin, int sectionEnd, int blockStart) {
    const int at = blockStart + subBlockOffset;
    if (sectionBegin >= sectionEnd) {
        // An empty or inverted range passes audio through and freezes state.
        for (int c = 0; c < N; ++c) {
            const float* src = in[c] + at;
            float* dst = out[c] + at;
            float x[kSubBlock];
            for (int j = 0; j < kSubBlock; ++j) x[j] = src[j];
            for (int j = 0; j < kSubBlock; ++j) dst[j] = x[j];
        }
        return;
    }
    // Channels in lanes, W at a time; lanes past the last channel carry zeros
    // and are never stored.
    constexpr int W = kLanes<N>;
    using V = Lanes<W>;
    for (int base = 0; base < N; base += W) {
        V x[kSubBlock];
        for (int j = 0; j < kSubBlock; ++j) {  // all loaded before any store
            for (int l = 0; l < W; ++l) x[j][l] = base + l < N ? in[base + l][at + j] : 0.0f;
        }
        for (int k = sectionBegin; k < sectionEnd; ++k) {
            const float* q = coefs->coefs + EQ_kCoefsPerSection * k;
            const V b0 = Splat<W>(q[0]), b1 = Splat<W>(q[1]), b2 = Splat<W>(q[2]);
            const V a1 = Splat<W>(q[3]), a2 = Splat<W>(q[4]);
            V z1, z2;
            for (int l = 0; l < W; ++l) {
                z1[l] = base + l < N ? state[base + l].z1[k] : 0.0f;
                z2[l] = base + l < N ? state[base + l].z2[k] : 0.0f;
            }
            for (int j = 0; j < kSubBlock; ++j) x[j] = BiquadStep(x[j], b0, b1, b2, a1, a2, z1, z2);
            for (int l = 0; l < W && base + l < N; ++l) {
                state[base + l].z1[k] = z1[l];
                state[base + l].z2[k] = z2[l];
            }
        }
        for (int l = 0; l < W && base + l < N; ++l) {
            for (int j = 0; j < kSubBlock; ++j) out[base + l][at + j] = x[j][l];
        }
    }
}

}  // namespace stemstrip
