// Scalar arithmetic shared by every stage. All results must be bit-exact, so
// each operation here is spelled out: fused multiply-adds where intended,
// separately rounded operations everywhere else (the core is built with
// -ffp-contract=off so the compiler never fuses on its own).
#pragma once

#include <stdint.h>

#if defined(__x86_64__) || defined(__i386__)
#if !defined(__FMA__)
#error "stemstrip needs FMA hardware: build for x86-64-v3 (or any target with FMA)"
#endif
#elif defined(__aarch64__)
// AArch64 always has fused multiply-add.
#elif !defined(__FP_FAST_FMAF)
#error "stemstrip needs a target with a hardware fused multiply-add"
#endif

namespace stemstrip {

// Samples per sub-block: the unit of coefficient glide and gain computation.
inline constexpr int kSubBlock = 4;

// p * q + r with one rounding.
inline float Fma(float p, float q, float r) { return __builtin_fmaf(p, q, r); }

inline uint32_t FloatBits(float f) { return __builtin_bit_cast(uint32_t, f); }
inline float BitsFloat(uint32_t u) { return __builtin_bit_cast(float, u); }

inline float Abs(float f) { return BitsFloat(FloatBits(f) & 0x7FFFFFFFu); }

// Held maxima rise only on a strictly greater value, so NaN never enters.
// T is a float or a vector of lanes.
template <typename T>
inline void KeepMax(T& held, T value) {
    held = value > held ? value : held;
}

// Truncation toward zero, with the x86 convention for values that do not fit
// (NaN and out of range give INT32_MIN), so results never depend on the
// compiler's treatment of an undefined conversion.
inline int32_t TruncToInt32(float f) {
    const bool fits = f > -2147483904.0f && f < 2147483648.0f;
    return fits ? static_cast<int32_t>(f) : INT32_MIN;
}

}  // namespace stemstrip
