// What each stem format is: channel count, group slots, name and default
// detector linking (channel orders in design.hpp).
#include <stdexcept>

#include "stemstrip/design.hpp"
#include "stemstrip/settings.hpp"

namespace stemstrip {
namespace {

struct FormatInfo {
    std::string_view name;
    int channels;
    int groupSlots;
    std::array<int, 8> groups;
};

constexpr std::array<FormatInfo, kFormatCount> kFormats{{
    {"mono", 1, 1, {0}},
    {"stereo", 2, 1, {0, 0}},
    {"lcr", 3, 2, {0, 0, 1}},
    {"quad", 4, 2, {0, 0, 1, 1}},
    {"lcrs", 4, 3, {0, 0, 1, 2}},
    {"5.0", 5, 3, {0, 0, 1, 2, 2}},
    {"5.1", 6, 4, {0, 0, 1, 2, 3, 3}},
    {"6.0", 6, 4, {0, 0, 1, 2, 2, 3}},
    {"6.1", 7, 5, {0, 0, 1, 2, 3, 3, 4}},
    {"7.0", 7, 4, {0, 0, 1, 2, 2, 3, 3}},
    {"7.1", 8, 5, {0, 0, 1, 2, 3, 3, 4, 4}},
}};

const FormatInfo& Info(Format f) {
    const int index = static_cast<int>(f);
    if (index < 0 || index >= kFormatCount) throw std::out_of_range("not a stem format");
    return kFormats[index];
}

}  // namespace

int ChannelCount(Format f) { return Info(f).channels; }
int GroupSlots(Format f) { return Info(f).groupSlots; }
std::string_view FormatName(Format f) { return Info(f).name; }
std::array<int, 8> DefaultChannelGroups(Format f) { return Info(f).groups; }

std::optional<Format> ParseFormat(std::string_view name) {
    for (int i = 0; i < kFormatCount; ++i)
        if (kFormats[i].name == name) return static_cast<Format>(i);
    return std::nullopt;
}

}  // namespace stemstrip
