// The equaliser of one instance with its sections side by side: lane k runs
// section begin + k one sample behind lane k - 1, so a cascade costs about
// one section's recurrence per sample instead of every section's in turn.
// Each lane does exactly its section's step on each sample in order, so the
// result is that of running the sections one after another. The
// coefficients must hold for the call (a settled glide).
#pragma once

#include "../biquad_step.h"
#include "stemstrip.h"

namespace stemstrip {

// Without vector lanes the sections run one after another.
inline constexpr bool kSectionLanes = kLanes<8> == EQ_kMaxSections;

template <int N>
struct EQ_Wavefront {
    using V = Lanes<EQ_kMaxSections>;
    int begin, sections;
    V b0, b1, b2, a1, a2;
    V z1[N], z2[N];  // lane k: section begin + k of each channel
};

// False when the range reaches outside the cascade (then the sections run
// one after another); an empty or inverted range has no sections.
template <int N>
inline bool EQ_WavefrontLoad(EQ_Wavefront<N>& w, const EQ_SDezipCoefs* coefs, const EQ_SState* state, int begin,
                             int end) {
    if (begin < end && (begin < 0 || end > EQ_kMaxSections)) return false;
    w.begin = begin;
    w.sections = begin < end ? end - begin : 0;
    for (int k = 0; k < EQ_kMaxSections; ++k) {
        const bool on = k < w.sections;
        // Lanes without a section address section 0: the range may lie
        // anywhere, and only addresses inside the cascade may be formed.
        const float* q = coefs->coefs + EQ_kCoefsPerSection * (on ? begin + k : 0);
        w.b0[k] = on ? q[0] : 0.0f, w.b1[k] = on ? q[1] : 0.0f, w.b2[k] = on ? q[2] : 0.0f;
        w.a1[k] = on ? q[3] : 0.0f, w.a2[k] = on ? q[4] : 0.0f;
        for (int c = 0; c < N; ++c) {
            w.z1[c][k] = on ? state[c].z1[begin + k] : 0.0f;
            w.z2[c][k] = on ? state[c].z2[begin + k] : 0.0f;
        }
    }
    return true;
}

template <int N>
inline void EQ_WavefrontStore(const EQ_Wavefront<N>& w, EQ_SState* state) {
    for (int c = 0; c < N; ++c) {
        for (int k = 0; k < w.sections; ++k) {
            state[c].z1[w.begin + k] = w.z1[c][k];
            state[c].z2[w.begin + k] = w.z2[c][k];
        }
    }
}

// S samples of every channel from `in` to `out` at `at`. A sample is read
// before any later one is written, so the stage may run in place.
template <int N, int S>
inline void EQ_WavefrontRun(EQ_Wavefront<N>& w, const float* const* in, float* const* out, int at) {
    using V = typename EQ_Wavefront<N>::V;
    const int sections = w.sections;
    if (sections == 0) {
        for (int c = 0; c < N; ++c) {
            for (int i = 0; i < S; ++i) out[c][at + i] = in[c][at + i];
        }
        return;
    }
    // Locals, not the record: the output stores could alias it.
    const V b0 = w.b0, b1 = w.b1, b2 = w.b2, a1 = w.a1, a2 = w.a2;
    V z1[N], z2[N], y[N] = {};
    for (int c = 0; c < N; ++c) z1[c] = w.z1[c], z2[c] = w.z2[c];
    IntLanes<V> lane;
    for (int k = 0; k < EQ_kMaxSections; ++k) lane[k] = k;
    // Step t feeds sample t to the first section and takes sample
    // t - sections + 1 from the last; while filling and draining, lanes
    // without a sample keep their memories.
    const auto step = [&]<bool kPartial>(int t) {
        V x[N];
        for (int c = 0; c < N; ++c) x[c] = ShiftUp(y[c], t < S ? in[c][at + t] : 0.0f);
        for (int c = 0; c < N; ++c) {
            V m1 = z1[c], m2 = z2[c];
            y[c] = BiquadStep(x[c], b0, b1, b2, a1, a2, m1, m2);
            if constexpr (kPartial) {
                const IntLanes<V> live = (lane <= t) & (lane > t - S);
                z1[c] = live ? m1 : z1[c];
                z2[c] = live ? m2 : z2[c];
            } else {
                z1[c] = m1;
                z2[c] = m2;
            }
        }
        if (t >= sections - 1) {
            for (int c = 0; c < N; ++c) out[c][at + t - sections + 1] = y[c][sections - 1];
        }
    };
    int t = 0;
    for (; t < sections - 1; ++t) step.template operator()<true>(t);
    for (; t < S; ++t) step.template operator()<false>(t);
    for (; t < S + sections - 1; ++t) step.template operator()<true>(t);
    for (int c = 0; c < N; ++c) w.z1[c] = z1[c], w.z2[c] = z2[c];
}

}  // namespace stemstrip
