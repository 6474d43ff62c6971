// Last stage of every block: the strip's bypass (input copied over the
// processed output) and the input and output peak meters, held as linear
// maxima that only the host lowers.
#pragma once

#include "../numeric.h"
#include "stemstrip.h"

namespace stemstrip {

template <int N, int BlockSize>
void OutputMeters_AlgorithmProcessFunction(const float* const* in, float* const* out, float* inputPeaks,
                                           float* outputPeaks, const Dyn_SCoefsBlock* coefs,
                                           int blockStart) {
    const float meterGain = coefs->inputMeterGain;
    const bool bypass = coefs->bypass >= 1;
    for (int c = 0; c < N; ++c) {
        const float* src = in[c] + blockStart;
        float* dst = out[c] + blockStart;
        float inPeak = inputPeaks[c], outPeak = outputPeaks[c];
        for (int i = 0; i < BlockSize; ++i) {
            if (bypass) dst[i] = src[i];
            KeepMax(inPeak, Abs(src[i] * meterGain));
            KeepMax(outPeak, Abs(dst[i]));
        }
        inputPeaks[c] = inPeak;
        outputPeaks[c] = outPeak;
    }
}

}  // namespace stemstrip
