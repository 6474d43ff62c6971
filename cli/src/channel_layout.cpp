#include "channel_layout.hpp"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <numeric>

#include "cli_error.hpp"

namespace stemstrip::cli {
namespace {

using namespace speaker;

struct Speaker {
    uint32_t bit;
    int stripRank;  // position in the strip's order
    const char* label;
};

// Every speaker a stem format uses. Ranks put side pairs before back pairs,
// and a lone back centre last, which is the order the strip's channel groups
// expect; a back pair without a side pair still lands in the surround slots.
constexpr Speaker kSpeakers[] = {
    {kFrontLeft, 0, "L"},  {kFrontRight, 1, "R"}, {kFrontCenter, 2, "C"},  {kLowFrequency, 3, "LFE"},
    {kSideLeft, 4, "Ls"},  {kSideRight, 5, "Rs"}, {kBackLeft, 6, "Lb"},    {kBackRight, 7, "Rb"},
    {kBackCenter, 8, "Cs"},
};

const Speaker& SpeakerOf(uint32_t bit) {
    return *std::find_if(std::begin(kSpeakers), std::end(kSpeakers), [&](const Speaker& s) { return s.bit == bit; });
}

// The speakers of a mask in file order (ascending bit).
std::vector<uint32_t> FileSpeakers(uint32_t mask) {
    std::vector<uint32_t> bits;
    for (uint32_t m = mask; m != 0; m &= m - 1) bits.push_back(m & (~m + 1));
    return bits;
}

// The speaker sets a file may declare for each format, the format's usual
// layout first (the one written when the input declares none). The strip's
// surround slots take a side pair or a back pair alike, so 5.x and 6.x files
// in "back" layouts and quad files with side speakers are accepted too.
struct Layout {
    Format format;
    uint32_t mask;
};
constexpr Layout kLayouts[] = {
    {Format::Mono, kFrontCenter},
    {Format::Mono, kFrontLeft},
    {Format::Stereo, kFrontLeft | kFrontRight},
    {Format::LCR, kFrontLeft | kFrontRight | kFrontCenter},
    {Format::Quad, kFrontLeft | kFrontRight | kBackLeft | kBackRight},
    {Format::Quad, kFrontLeft | kFrontRight | kSideLeft | kSideRight},
    {Format::LCRS, kFrontLeft | kFrontRight | kFrontCenter | kBackCenter},
    {Format::Surround5_0, kFrontLeft | kFrontRight | kFrontCenter | kSideLeft | kSideRight},
    {Format::Surround5_0, kFrontLeft | kFrontRight | kFrontCenter | kBackLeft | kBackRight},
    {Format::Surround5_1, kFrontLeft | kFrontRight | kFrontCenter | kLowFrequency | kSideLeft | kSideRight},
    {Format::Surround5_1, kFrontLeft | kFrontRight | kFrontCenter | kLowFrequency | kBackLeft | kBackRight},
    {Format::Surround6_0, kFrontLeft | kFrontRight | kFrontCenter | kSideLeft | kSideRight | kBackCenter},
    {Format::Surround6_0, kFrontLeft | kFrontRight | kFrontCenter | kBackLeft | kBackRight | kBackCenter},
    {Format::Surround6_1,
     kFrontLeft | kFrontRight | kFrontCenter | kLowFrequency | kSideLeft | kSideRight | kBackCenter},
    {Format::Surround6_1,
     kFrontLeft | kFrontRight | kFrontCenter | kLowFrequency | kBackLeft | kBackRight | kBackCenter},
    {Format::Surround7_0, kFrontLeft | kFrontRight | kFrontCenter | kSideLeft | kSideRight | kBackLeft | kBackRight},
    {Format::Surround7_1,
     kFrontLeft | kFrontRight | kFrontCenter | kLowFrequency | kSideLeft | kSideRight | kBackLeft | kBackRight},
};

std::optional<Format> FormatOfMask(uint32_t mask) {
    for (const Layout& l : kLayouts)
        if (l.mask == mask) return l.format;
    return std::nullopt;
}

Format DefaultFormatOfCount(int channels) {
    constexpr Format kByCount[] = {Format::Mono,        Format::Stereo,      Format::LCR,         Format::Quad,
                                   Format::Surround5_0, Format::Surround5_1, Format::Surround6_1, Format::Surround7_1};
    return kByCount[channels - 1];
}

std::string Hex(uint32_t mask) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", mask);
    return text;
}

}  // namespace

uint32_t CanonicalMask(Format f) {
    return std::find_if(std::begin(kLayouts), std::end(kLayouts), [f](const Layout& l) { return l.format == f; })->mask;
}

DetectedFormat DetectFormat(int channels, uint32_t mask, std::optional<Format> forced, const std::string& fileName) {
    if (channels < 1 || channels > 8)
        throw CliError(fileName + ": " + std::to_string(channels) +
                       " channels; stemstrip processes 1 to 8 (mono to 7.1)");
    const std::optional<Format> declared = std::popcount(mask) == channels ? FormatOfMask(mask) : std::nullopt;
    if (forced) {
        if (ChannelCount(*forced) != channels)
            throw CliError("--format " + std::string(FormatName(*forced)) + " needs " +
                           std::to_string(ChannelCount(*forced)) + " channels; " + fileName + " has " +
                           std::to_string(channels));
        return {*forced, declared == forced ? mask : CanonicalMask(*forced), ""};
    }
    if (declared) return {*declared, mask, ""};
    const Format f = DefaultFormatOfCount(channels);
    std::string note;
    if (mask != 0)
        note = "channel mask " + Hex(mask) + " of " + fileName + " is no stem layout; assuming " +
               std::string(FormatName(f)) + " (use --format to choose)";
    else if (channels == 4 || channels == 6 || channels == 7)
        note = "no channel mask in " + fileName + "; assuming " + std::string(FormatName(f)) +
               " (use --format to choose)";
    return {f, CanonicalMask(f), note};
}

std::vector<int> StripChannelOrder(uint32_t mask) {
    const std::vector<uint32_t> file = FileSpeakers(mask);
    std::vector<int> order(file.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](int a, int b) { return SpeakerOf(file[a]).stripRank < SpeakerOf(file[b]).stripRank; });
    return order;
}

std::vector<std::string> StripChannelLabels(uint32_t mask) {
    const std::vector<uint32_t> file = FileSpeakers(mask);
    std::vector<std::string> labels;
    for (int i : StripChannelOrder(mask)) labels.emplace_back(file.size() == 1 ? "M" : SpeakerOf(file[i]).label);
    return labels;
}

}  // namespace stemstrip::cli
