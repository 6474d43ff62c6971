#include "formats.h"

namespace bench {

const StemFormat kStemFormats[kStemFormatCount] = {
    {"mono", 0, 1, AlgEntry_16_Stem_Mono},  {"stereo", 1, 2, AlgEntry_16_Stem_Stereo},
    {"lcr", 2, 3, AlgEntry_16_Stem_LCR},    {"quad", 3, 4, AlgEntry_16_Stem_Quad},
    {"lcrs", 4, 4, AlgEntry_16_Stem_LCRS},  {"5.0", 5, 5, AlgEntry_16_Stem_5_0},
    {"5.1", 6, 6, AlgEntry_16_Stem_5_1},    {"6.0", 7, 6, AlgEntry_16_Stem_6_0},
    {"6.1", 8, 7, AlgEntry_16_Stem_6_1},    {"7.0", 9, 7, AlgEntry_16_Stem_7_0},
    {"7.1", 10, 8, AlgEntry_16_Stem_7_1},
};

const StemFormat& StereoFormat() { return kStemFormats[1]; }

}  // namespace bench
