// Channels side by side in the lanes of one vector. Every lane performs
// exactly the scalar operations in the scalar order (per-lane fused
// multiply-adds, separately rounded products), so results are bit-identical
// to processing the channels one at a time; only the throughput changes.
// GCC's generic vectors need no intrinsics: on x86-64-v3 they become AVX
// instructions, elsewhere whatever the target offers.
#pragma once

#include "numeric.h"

namespace stemstrip {

// Lanes per vector for N channels. One or two channels run a lane at a time
// (their independent chains already overlap, and a half-empty vector
// measured slower); more fill a vector of 4 or 8. STEMSTRIP_SCALAR builds one
// lane everywhere: the plain channel-by-channel code, for targets without
// vector units and as a second, independent build of the same results.
#if defined(STEMSTRIP_SCALAR)
template <int N>
inline constexpr int kLanes = 1;
#else
template <int N>
inline constexpr int kLanes = N <= 2 ? 1 : N <= 4 ? 4 : 8;
#endif

template <int W>
struct LaneVector {
    typedef float type __attribute__((vector_size(sizeof(float) * W)));
};
template <int W>
using Lanes = typename LaneVector<W>::type;

// Per-lane fused multiply-add of any lane vector (never of plain floats).
template <typename V>
    requires(!__is_same(V, float))
inline V Fma(V p, V q, V r) {
    V result;
    for (int l = 0; l < static_cast<int>(sizeof(V) / sizeof(float)); ++l) result[l] = Fma(p[l], q[l], r[l]);
    return result;
}

template <int W>
inline Lanes<W> Splat(float v) {
    Lanes<W> result;
    for (int l = 0; l < W; ++l) result[l] = v;
    return result;
}

}  // namespace stemstrip
