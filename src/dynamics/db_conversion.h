// Table-driven conversions between linear amplitude and decibels, working on
// the bits of single-precision floats. Branch-free apart from the silence
// select, so the gain computer can evaluate them lane by lane.
#pragma once

#include "../numeric.h"
#include "lookup_tables.h"

namespace stemstrip {

inline constexpr float kDbPerDoubling = __builtin_bit_cast(float, 0x40C0A8C2u);   // 20*log10(2)
inline constexpr float kExp2Scale = __builtin_bit_cast(float, 0x49AA152Du);       // 2^23 / kDbPerDoubling
inline constexpr float kExponentBase = __builtin_bit_cast(float, 0x4E7E0000u);    // 127 * 2^23
inline constexpr float kFractionStep = __builtin_bit_cast(float, 0x38800000u);    // 2^-14
inline constexpr float kSilenceDb = -140.0f;

inline float AmpToDb(float amplitude) {
    const uint32_t u = FloatBits(amplitude);
    const int32_t exponent = static_cast<int32_t>((u >> 23) & 0xFFu);
    const uint32_t index = (u >> 14) & 0x1FFu;
    const uint32_t fraction = u & 0x3FFFu;
    const float base = gmLog2LUT[index] + static_cast<float>(exponent - 127);
    const float slope = gmLog2LUT[index + 1] - gmLog2LUT[index];
    const float log2 = Fma(slope, static_cast<float>(fraction) * kFractionStep, base);
    const float db = log2 * kDbPerDoubling;
    return 0.0f < amplitude ? db : kSilenceDb;
}

// 0 dB gives 1.0000013, not 1.0: the fine table is centred on its steps, and
// that half-step bias is part of every gain the strip applies.
inline float DbToAmp(float db) {
    const uint32_t u = static_cast<uint32_t>(TruncToInt32(Fma(db, kExp2Scale, kExponentBase)));
    const float mantissa = gmPowTableH[(u >> 14) & 0x1FFu] * gmPowTableL[(u >> 5) & 0x1FFu];
    return BitsFloat((u & 0xFF800000u) | (FloatBits(mantissa) & 0x007FFFFFu));
}

}  // namespace stemstrip
