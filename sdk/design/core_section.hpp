// A double-precision section in the five floats the core reads: b0 b1 b2 a1 a2,
// with the feedback pair sign-inverted because the core adds it.
#pragma once

#include <array>
#include <cmath>

#include "matched_biquad.hpp"

namespace stemstrip::design {

// Poles very close to z = 1 (low frequencies at high sample rates) can round
// onto or outside the unit circle; a1 then steps towards 0 one float at a
// time until 1 - a1 z^-1 - a2 z^-2 is strictly stable again.
inline std::array<float, 5> CoreSection(const Biquad& f) {
    float a1 = static_cast<float>(-f.a1);
    float a2 = static_cast<float>(-f.a2);
    if (a2 <= -1.0f) a2 = std::nextafter(-1.0f, 0.0f);
    while (!(std::abs(a1) < 1.0f - a2)) a1 = std::nextafter(a1, 0.0f);
    return {static_cast<float>(f.b0), static_cast<float>(f.b1), static_cast<float>(f.b2), a1, a2};
}

}  // namespace stemstrip::design
