// Coefficient glide: the smoothed set moves a fraction `rate` of the way to
// the targets once per 4-sample sub-block. The double accumulator is the real
// state, so steps too small to move the float copy still add up.
#pragma once

#include "../numeric.h"
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

// True when one glide step would leave every bit of the smoothed set as it
// is. Targets and rate hold for the whole call, so then no step of the call
// moves it either, and the refresh (which rounds the same accumulators again)
// changes nothing: a settled instance skips both. Deciding by running the
// step itself keeps the test exact for every value, NaN, infinity and signed
// zero included.
inline bool EQ_DezipIsSettled(const EQ_SDezipCoefs* smoothed, const EQ_SCoefs* target, float rate) {
    uint64_t accumChanges = 0;  // bit differences, OR-ed so the loop runs in vectors
    uint32_t coefChanges = 0;
    for (int i = 0; i < EQ_kCoefCount; ++i) {
        const float step = (target->coefs[i] - smoothed->coefs[i]) * rate;
        const double accum = smoothed->accum[i] + static_cast<double>(step);
        accumChanges |= __builtin_bit_cast(uint64_t, accum) ^ __builtin_bit_cast(uint64_t, smoothed->accum[i]);
        coefChanges |= FloatBits(static_cast<float>(accum)) ^ FloatBits(smoothed->coefs[i]);
    }
    return (accumChanges | coefChanges) == 0;
}

inline void EQ_DezipRefresh(EQ_SDezipCoefs* smoothed) {
    for (int i = 0; i < EQ_kCoefCount; ++i) {
        smoothed->coefs[i] = static_cast<float>(smoothed->accum[i]);
    }
}

}  // namespace stemstrip
