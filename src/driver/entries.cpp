// The library's whole outside interface: one entry per stem format, each a
// tail jump into the driver for its channel count and group slots. 5.1 and
// 6.0 are distinct symbols that enter the same driver.
#include "channel_strip.h"

using stemstrip::ChannelStrip_AlgorithmProcessFunction;

#define STEMSTRIP_EXPORT extern "C" __attribute__((visibility("default")))
#define STEMSTRIP_DEFINE_ENTRY(name, N, G)                                                  \
    STEMSTRIP_EXPORT void name(SChannelStrip_Alg_Context* const* begin, const void* end) { \
        ChannelStrip_AlgorithmProcessFunction<N, N, 16, G>(begin, end);                     \
    }

STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_Mono, 1, 1)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_Stereo, 2, 1)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_LCR, 3, 2)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_Quad, 4, 2)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_LCRS, 4, 3)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_5_0, 5, 3)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_5_1, 6, 4)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_6_0, 6, 4)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_6_1, 7, 5)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_7_0, 7, 4)
STEMSTRIP_DEFINE_ENTRY(AlgEntry_16_Stem_7_1, 8, 5)
