// Channels side by side in the lanes of one vector. Every lane performs
// exactly the scalar operations in the scalar order (per-lane fused
// multiply-adds, separately rounded products), so results are bit-identical
// to processing the channels one at a time; only the throughput changes.
// GCC's generic vectors need no intrinsics: on x86-64-v3 they become AVX
// instructions, elsewhere whatever the target offers.
#pragma once

#include "numeric.h"

namespace stemstrip {

// Lanes per vector for N channels: one, two, else a full 8-lane vector
// (measured on x86-64-v3: 4-lane vectors ran slower than 8 with lanes to
// spare, and a lone channel fastest as plain scalar code). STEMSTRIP_SCALAR
// builds one lane everywhere: the plain channel-by-channel code, for targets
// without vector units and as a second, independent build of the same
// results.
#if defined(STEMSTRIP_SCALAR)
template <int N>
inline constexpr int kLanes = 1;
#else
template <int N>
inline constexpr int kLanes = N == 1 ? 1 : N == 2 ? 2 : 8;
#endif

template <int W>
struct LaneVector {
    typedef float type __attribute__((vector_size(sizeof(float) * W)));
};
template <int W>
using Lanes = typename LaneVector<W>::type;

// Per-lane fused multiply-add of any lane vector (never of plain floats).
// Eight lanes as one instruction where the target has it: the lane-by-lane
// form is not always put back together by the compiler.
template <typename V>
    requires(!__is_same(V, float))
inline V Fma(V p, V q, V r) {
#if defined(__FMA__) && defined(__AVX__) && !defined(__clang__)
    if constexpr (sizeof(V) == 32) return __builtin_ia32_vfmaddps256(p, q, r);
#endif
    V result;
    for (int l = 0; l < static_cast<int>(sizeof(V) / sizeof(float)); ++l) result[l] = Fma(p[l], q[l], r[l]);
    return result;
}

// Formulas written once for a plain float and for lane vectors. A
// comparison gives a bool or a lane mask, and `mask ? a : b` selects either
// way; integers live in the matching 32-bit lanes.
template <typename T>
inline constexpr bool kIsScalar = __is_same(T, float);
template <typename T>
inline constexpr int kWidth = sizeof(T) / sizeof(float);

template <typename T>
struct LaneInts {
    typedef int32_t Int __attribute__((vector_size(sizeof(T))));
    typedef uint32_t Uint __attribute__((vector_size(sizeof(T))));
};
template <>
struct LaneInts<float> {
    using Int = int32_t;
    using Uint = uint32_t;
};
template <typename T>
using IntLanes = typename LaneInts<T>::Int;
template <typename T>
using UintLanes = typename LaneInts<T>::Uint;

// One broadcast instruction: GCC builds the lane-by-lane form with a chain
// of inserts wherever it does not recognise it.
template <int W>
inline Lanes<W> Splat(float v) {
#if defined(__clang__)
    Lanes<W> result;
    for (int l = 0; l < W; ++l) result[l] = v;
    return result;
#else
    return __builtin_shuffle(Lanes<W>{v}, IntLanes<Lanes<W>>{});
#endif
}

// A value in every lane; lanes already of type T are taken as they are, so
// formulas read coefficients alike from one block or one block per lane.
template <typename T, typename C>
inline T Broadcast(C v) {
    if constexpr (__is_same(C, T)) {
        return v;
    } else {
        return Splat<kWidth<T>>(v);
    }
}

// Value conversion lane by lane (static_cast for a scalar).
template <typename To, typename From>
inline To ConvertLanes(From v) {
    if constexpr (kIsScalar<To> || __is_same(To, int32_t) || __is_same(To, uint32_t)) {
        return static_cast<To>(v);
    } else {
        return __builtin_convertvector(v, To);
    }
}

// One lane of v as S, or all of v when S is its own type.
template <typename S = float, typename T>
inline S LaneOf(const T& v, int lane) {
    if constexpr (__is_same(S, T)) {
        return v;
    } else {
        return v[lane];
    }
}

template <typename T, typename E>
inline void SetLane(T& v, int lane, E value) {
    if constexpr (__is_same(T, E)) {
        v = value;
    } else {
        v[lane] = value;
    }
}

// One table entry for each of the first Active lanes; the others read
// nothing and hold 0.
template <typename T, int Active = kWidth<T>>
[[gnu::always_inline]] inline T Lookup(const float* table, UintLanes<T> index) {
    if constexpr (kIsScalar<T>) {
        return table[index];
    } else {
        T result{};
        for (int l = 0; l < Active; ++l) result[l] = table[index[l]];
        return result;
    }
}

// Lane l of the result is lane index[l] of v.
template <typename V>
inline V Permute(V v, IntLanes<V> index) {
#if defined(__clang__)
    V result;
    for (int l = 0; l < kWidth<V>; ++l) result[l] = v[index[l]];
    return result;
#else
    return __builtin_shuffle(v, index);
#endif
}

// Lane l of the result is lane index[l] of a, or from kWidth<V> on of b.
template <typename V>
inline V Permute2(V a, V b, IntLanes<V> index) {
#if defined(__clang__)
    V result;
    for (int l = 0; l < kWidth<V>; ++l) result[l] = index[l] < kWidth<V> ? a[index[l]] : b[index[l] - kWidth<V>];
    return result;
#else
    return __builtin_shuffle(a, b, index);
#endif
}

// Every lane moved up by one, `first` into lane 0.
template <typename V>
inline V ShiftUp(V v, float first) {
#if defined(__clang__)
    V result;
    result[0] = first;
    for (int l = 1; l < kWidth<V>; ++l) result[l] = v[l - 1];
    return result;
#else
    IntLanes<V> index;
    for (int l = 0; l < kWidth<V>; ++l) index[l] = l == 0 ? kWidth<V> : l - 1;
    return __builtin_shuffle(v, Splat<kWidth<V>>(first), index);  // not V{} + first: that turns -0 into +0
#endif
}

template <typename V>
    requires(!__is_same(V, float))
inline V Abs(V v) {
    return (V)((UintLanes<V>)v & 0x7FFFFFFFu);
}

// Four samples from each of the first Count of W buffers into four lane
// vectors (sample j of buffer l in lane l of x[j]; lanes past Count hold 0),
// and back from the first Count lanes.
template <int W, int Count = W>
inline void GatherSubBlock(Lanes<W>* x, const float* const* buffers, int at) {
    for (int j = 0; j < kSubBlock; ++j) {
        for (int l = 0; l < W; ++l) x[j][l] = l < Count ? buffers[l][at + j] : 0.0f;
    }
}

template <int W, int Count = W>
inline void ScatterSubBlock(const Lanes<W>* x, float* const* buffers, int at) {
    for (int l = 0; l < Count; ++l) {
        for (int j = 0; j < kSubBlock; ++j) buffers[l][at + j] = x[j][l];
    }
}

// TruncToInt32 lane by lane: lanes that do not fit are kept out of the
// conversion and then given INT32_MIN, as the scalar version does.
template <typename V>
    requires(!__is_same(V, float))
inline IntLanes<V> TruncToInt32(V f) {
    const IntLanes<V> fits = (f > -2147483904.0f) & (f < 2147483648.0f);
    const IntLanes<V> truncated = __builtin_convertvector(fits ? f : V{}, IntLanes<V>);
    return fits ? truncated : IntLanes<V>{} + INT32_MIN;
}

}  // namespace stemstrip
