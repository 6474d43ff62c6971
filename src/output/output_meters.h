// Last stage of every block: the strip's bypass (input copied over the
// processed output) and the input and output peak meters, held as linear
// maxima that only the host lowers. One instance channel by channel, or one
// channel of an instance per lane.
#pragma once

#include "../lanes.h"
#include "stemstrip.h"

namespace stemstrip {

// One sample: the output it leaves (the input when bypassed), meters raised.
template <typename V, typename Bypass>
inline V OutputMeterStep(V src, V dst, Bypass bypassed, V meterGain, V& inputPeak, V& outputPeak) {
    dst = bypassed ? src : dst;
    KeepMax(inputPeak, Abs(src * meterGain));
    KeepMax(outputPeak, Abs(dst));
    return dst;
}

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
            const float y = OutputMeterStep(src[i], dst[i], bypass, meterGain, inPeak, outPeak);
            if (bypass) dst[i] = y;  // an output that is not bypassed is not written
        }
        inputPeaks[c] = inPeak;
        outputPeaks[c] = outPeak;
    }
}

// One channel of every lane's instance over a whole block.
template <int W, int BlockSize>
inline void OutputMeters_InstanceLanes(const float* const* in, float* const* out, Lanes<W>& inputPeak,
                                       Lanes<W>& outputPeak, Lanes<W> meterGain, IntLanes<Lanes<W>> bypassed,
                                       bool anyBypassed, int blockStart) {
    using V = Lanes<W>;
    for (int sub = 0; sub < BlockSize; sub += kSubBlock) {
        const int at = blockStart + sub;
        V src[kSubBlock], dst[kSubBlock];
        GatherSubBlock<W>(src, in, at);
        GatherSubBlock<W>(dst, out, at);
        for (int j = 0; j < kSubBlock; ++j) dst[j] = OutputMeterStep(src[j], dst[j], bypassed, meterGain, inputPeak, outputPeak);
        // Lanes that are not bypassed write back what they read.
        if (anyBypassed) ScatterSubBlock<W>(dst, out, at);
    }
}

}  // namespace stemstrip
