// Table-driven conversions between linear amplitude and decibels, working on
// the bits of single-precision floats. Branch-free apart from the silence
// select, so the gain computer can evaluate them lane by lane.
#pragma once

#include "../lanes.h"
#include "lookup_tables.h"

namespace stemstrip {

inline constexpr float kDbPerDoubling = __builtin_bit_cast(float, 0x40C0A8C2u);   // 20*log10(2)
inline constexpr float kExp2Scale = __builtin_bit_cast(float, 0x49AA152Du);       // 2^23 / kDbPerDoubling
inline constexpr float kExponentBase = __builtin_bit_cast(float, 0x4E7E0000u);    // 127 * 2^23
inline constexpr float kFractionStep = __builtin_bit_cast(float, 0x38800000u);    // 2^-14
inline constexpr float kSilenceDb = -140.0f;

// T is a float or a vector of lanes, each converted on its own; only the
// first Active lanes read the tables.
template <typename T, int Active = kWidth<T>>
[[gnu::always_inline]] inline T AmpToDb(T amplitude) {
    using I = IntLanes<T>;
    using U = UintLanes<T>;
    const U u = __builtin_bit_cast(U, amplitude);
    const I exponent = ConvertLanes<I>((u >> 23) & 0xFFu);
    const U index = (u >> 14) & 0x1FFu;
    const I fraction = ConvertLanes<I>(u & 0x3FFFu);  // exact through a signed conversion
    const T entry = Lookup<T, Active>(gmLog2LUT, index);
    const T base = entry + ConvertLanes<T>(exponent - 127);
    const T slope = Lookup<T, Active>(gmLog2LUT, index + 1u) - entry;
    const T log2 = Fma(slope, ConvertLanes<T>(fraction) * kFractionStep, base);
    const T db = log2 * kDbPerDoubling;
    return Broadcast<T>(0.0f) < amplitude ? db : Broadcast<T>(kSilenceDb);
}

// 0 dB gives 1.0000013, not 1.0: the fine table is centred on its steps, and
// that half-step bias is part of every gain the strip applies.
template <typename T, int Active = kWidth<T>>
[[gnu::always_inline]] inline T DbToAmp(T db) {
    using U = UintLanes<T>;
    const U u = ConvertLanes<U>(TruncToInt32(Fma(db, Broadcast<T>(kExp2Scale), Broadcast<T>(kExponentBase))));
    const T mantissa =
        Lookup<T, Active>(gmPowTableH, (u >> 14) & 0x1FFu) * Lookup<T, Active>(gmPowTableL, (u >> 5) & 0x1FFu);
    return __builtin_bit_cast(T, (u & 0xFF800000u) | (__builtin_bit_cast(U, mantissa) & 0x007FFFFFu));
}

}  // namespace stemstrip
