// The one biquad of the core, shared by the equaliser, the detector pre-filter
// and the level filter.
#pragma once

#include "lanes.h"

namespace stemstrip {

// One sample through a transposed direct form II biquad whose feedback
// coefficients are stored sign-inverted (they are added). The grouping of
// the fused operations is part of the result. T is float or a vector of
// channel lanes.
template <typename T>
inline T BiquadStep(T x, T b0, T b1, T b2, T a1, T a2, T& z1, T& z2) {
    const T y = Fma(x, b0, z1);
    z1 = Fma(y, a1, Fma(x, b1, z2));
    z2 = Fma(y, a2, x * b2);
    return y;
}

}  // namespace stemstrip
