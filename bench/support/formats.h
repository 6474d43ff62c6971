// The eleven stem formats as the benchmarks address them: a short name for
// benchmark labels, the channel count and the exported entry.
#pragma once

#include "stemstrip.h"

namespace bench {

struct StemFormat {
    const char* name;
    int index;     // position among the entries, as the model numbers formats
    int channels;
    AlgEntry_Fn entry;
};

inline constexpr int kStemFormatCount = 11;
extern const StemFormat kStemFormats[kStemFormatCount];

const StemFormat& StereoFormat();

}  // namespace bench
