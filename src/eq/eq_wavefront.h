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

// S samples of every channel from `in` to `out` at `at`, G lanes per
// channel: with G = 4 two channels share a vector (lane 4c + k: section
// begin + k of channel c), half the instructions per step. A sample is read
// before any later one is written, so the stage may run in place.
template <int N, int S, int G>
inline void EQ_WavefrontRunLanes(EQ_Wavefront<N>& w, const float* const* in, float* const* out, int at) {
    using V = typename EQ_Wavefront<N>::V;
    constexpr int P = EQ_kMaxSections / G;  // channels per vector
    constexpr int M = (N + P - 1) / P;      // vectors
    const int sections = w.sections;
    // Locals, not the record: the output stores could alias it.
    V b0, b1, b2, a1, a2, z1[M], z2[M], y[M] = {};
    // Literal lane maps, so each shuffle is one fixed instruction: group
    // starts take the new samples; lane: the section within its channel.
    static_assert(EQ_kMaxSections == 8, "the lane maps spell out eight lanes");
    using I = IntLanes<V>;
    const I shift = G == 8 ? I{8, 0, 1, 2, 3, 4, 5, 6} : I{8, 0, 1, 2, 12, 4, 5, 6};
    const I lane = G == 8 ? I{0, 1, 2, 3, 4, 5, 6, 7} : I{0, 1, 2, 3, 0, 1, 2, 3};
    const I pair = G == 8 ? lane : I{0, 1, 2, 3, 8, 9, 10, 11};
    b0 = Permute(w.b0, lane), b1 = Permute(w.b1, lane), b2 = Permute(w.b2, lane);
    a1 = Permute(w.a1, lane), a2 = Permute(w.a2, lane);
    for (int m = 0; m < M; ++m) {  // a spare channel slot repeats the vector's first channel
        const int c = m * P, d = c + 1 < N ? c + 1 : c;
        z1[m] = Permute2(w.z1[c], w.z1[d], pair), z2[m] = Permute2(w.z2[c], w.z2[d], pair);
    }
    // Step t feeds sample t to the first section and takes sample
    // t - sections + 1 from the last; while filling and draining, lanes
    // without a sample keep their memories.
    const auto step = [&]<bool kPartial>(int t) {
        for (int m = 0; m < M; ++m) {
            V first{};
            for (int p = 0; p < P; ++p) {  // spare lanes repeat a channel: one shuffle builds x either way
                const int c = m * P + p < N ? m * P + p : m * P;
                first[p * G] = t < S ? in[c][at + t] : 0.0f;
            }
            V x;
            if constexpr (G == EQ_kMaxSections) {
                x = ShiftUp(y[m], first[0]);
            } else {
                x = Permute2(y[m], first, shift);
            }
            V m1 = z1[m], m2 = z2[m];
            y[m] = BiquadStep(x, b0, b1, b2, a1, a2, m1, m2);
            if constexpr (kPartial) {
                const IntLanes<V> live = (lane <= t) & (lane > t - S);
                z1[m] = live ? m1 : z1[m];
                z2[m] = live ? m2 : z2[m];
            } else {
                z1[m] = m1;
                z2[m] = m2;
            }
        }
        if (t >= sections - 1) {
            for (int c = 0; c < N; ++c) out[c][at + t - sections + 1] = y[c / P][c % P * G + sections - 1];
        }
    };
    int t = 0;
    for (; t < sections - 1; ++t) step.template operator()<true>(t);
    for (; t < S; ++t) step.template operator()<false>(t);
    for (; t < S + sections - 1; ++t) step.template operator()<true>(t);
    for (int c = 0; c < N; ++c) {  // lanes from G on are never read back
        w.z1[c] = Permute(z1[c / P], lane + c % P * G), w.z2[c] = Permute(z2[c / P], lane + c % P * G);
    }
}

template <int N, int S>
inline void EQ_WavefrontRun(EQ_Wavefront<N>& w, const float* const* in, float* const* out, int at) {
    if (w.sections == 0) {
        for (int c = 0; c < N; ++c) {
            for (int i = 0; i < S; ++i) out[c][at + i] = in[c][at + i];
        }
    } else if (N <= 2 && w.sections <= EQ_kMaxSections / 2) {
        EQ_WavefrontRunLanes<N, S, EQ_kMaxSections / 2>(w, in, out, at);
    } else {
        EQ_WavefrontRunLanes<N, S, EQ_kMaxSections>(w, in, out, at);
    }
}

}  // namespace stemstrip
