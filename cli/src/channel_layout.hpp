// Which stem format a file holds, and how its channels line up with the
// strip's. A WAV file names its speakers with a WAVE_FORMAT_EXTENSIBLE channel
// mask and stores them in ascending bit order; the strip wants its own order
// (fronts, LFE, side or surround pair, then back pair or centre surround).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "stemstrip/settings.hpp"

namespace stemstrip::cli {

// Speaker bits of the WAVE_FORMAT_EXTENSIBLE channel mask.
namespace speaker {
inline constexpr uint32_t kFrontLeft = 0x1, kFrontRight = 0x2, kFrontCenter = 0x4, kLowFrequency = 0x8,
                          kBackLeft = 0x10, kBackRight = 0x20, kBackCenter = 0x100, kSideLeft = 0x200,
                          kSideRight = 0x400;
}

// The mask a file of this format gets when the input declared no layout of it.
uint32_t CanonicalMask(Format f);

struct DetectedFormat {
    Format format;
    uint32_t mask;       // the speakers the channels carry, in file order
    std::string note;    // non-empty when the format was guessed from the count
};

// The format of a file with `channels` channels and channel mask `mask` (0 =
// none). A mask that is one of the formats' speaker layouts decides, which
// tells the ambiguous counts apart (4: quad or lcrs, 6: 5.1 or 6.0, 7: 6.1 or
// 7.0). Without one the count decides: quad, 5.1 and 6.1, the usual layouts of
// such files, with a note saying so. `forced` (--format) wins over the mask
// but must have the file's channel count. Throws CliError for 0 or more than 8
// channels.
DetectedFormat DetectFormat(int channels, uint32_t mask, std::optional<Format> forced, const std::string& fileName);

// Element i is the file channel that is the strip's channel i.
std::vector<int> StripChannelOrder(uint32_t mask);

// Short speaker names ("L", "LFE", "Ls", ...) in the strip's channel order.
std::vector<std::string> StripChannelLabels(uint32_t mask);

}  // namespace stemstrip::cli
