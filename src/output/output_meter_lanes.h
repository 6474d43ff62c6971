// The output stage for one instance per lane: the bypass and the peak meters
// of one channel of every lane over a whole block, held in lanes for the call.
#pragma once

#include "../lanes.h"

namespace stemstrip {

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
        for (int j = 0; j < kSubBlock; ++j) {
            dst[j] = bypassed ? src[j] : dst[j];
            KeepMax(inputPeak, Abs(src[j] * meterGain));
            KeepMax(outputPeak, Abs(dst[j]));
        }
        // Lanes that are not bypassed write back what they read.
        if (anyBypassed) ScatterSubBlock<W>(dst, out, at);
    }
}

}  // namespace stemstrip
