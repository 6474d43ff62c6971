// The equaliser cascade: sections [sectionBegin, sectionEnd) of transposed
// direct form II biquads over one 4-sample sub-block of every channel. All
// channels share the smoothed coefficients; each has its own EQ_SState.
#pragma once

#include "../numeric.h"
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
    for (int c = 0; c < N; ++c) {
        float x[kSubBlock];
        for (int j = 0; j < kSubBlock; ++j) x[j] = in[c][at + j];  // all loaded before any store
        EQ_SState& s = state[c];
        for (int k = sectionBegin; k < sectionEnd; ++k) {
            const float* q = coefs->coefs + EQ_kCoefsPerSection * k;
            const float b0 = q[0], b1 = q[1], b2 = q[2], a1 = q[3], a2 = q[4];
            float z1 = s.z1[k], z2 = s.z2[k];
            for (int j = 0; j < kSubBlock; ++j) x[j] = BiquadStep(x[j], b0, b1, b2, a1, a2, z1, z2);
            s.z1[k] = z1;
            s.z2[k] = z2;
        }
        for (int j = 0; j < kSubBlock; ++j) out[c][at + j] = x[j];
    }
}

}  // namespace stemstrip
