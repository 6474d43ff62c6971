// The library's eleven entries, in the order of model::kFormats.
#pragma once

#include "stemstrip.h"

namespace stemstrip_test {

inline constexpr AlgEntry_Fn kEntries[] = {
    AlgEntry_16_Stem_Mono, AlgEntry_16_Stem_Stereo, AlgEntry_16_Stem_LCR, AlgEntry_16_Stem_Quad,
    AlgEntry_16_Stem_LCRS, AlgEntry_16_Stem_5_0,    AlgEntry_16_Stem_5_1, AlgEntry_16_Stem_6_0,
    AlgEntry_16_Stem_6_1,  AlgEntry_16_Stem_7_0,    AlgEntry_16_Stem_7_1,
};

}  // namespace stemstrip_test
