// Coefficient glide: the smoothed set moves a fraction `rate` of the way to
// the targets once per 4-sample sub-block. The double accumulator is the real
// state, so steps too small to move the float copy still add up.
#pragma once

#include "stemstrip.h"

namespace stemstrip {

inline void EQ_DezipStep(EQ_SDezipCoefs* smoothed, const EQ_SCoefs* target, float rate) {
    for (int i = 0; i < EQ_kCoefCount; ++i) {
        // The difference is taken from the float copy, not the accumulator:
        // once the copy equals its target the glide stops.
        const float step = (target->coefs[i] - smoothed->coefs[i]) * rate;
        smoothed->accum[i] += static_cast<double>(step);
        smoothed->coefs[i] = static_cast<float>(smoothed->accum[i]);
    }
}

inline void EQ_DezipRefresh(EQ_SDezipCoefs* smoothed) {
    for (int i = 0; i < EQ_kCoefCount; ++i) {
        smoothed->coefs[i] = static_cast<float>(smoothed->accum[i]);
    }
}

}  // namespace stemstrip
