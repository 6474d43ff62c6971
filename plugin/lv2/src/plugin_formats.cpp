#include "plugin_formats.hpp"

namespace stemstrip::lv2 {
namespace {

constexpr Speaker kMono[] = {{"", "Mono", "center"}};
constexpr Speaker kStereo[] = {{"l", "Left", "left"}, {"r", "Right", "right"}};
constexpr Speaker k51[] = {{"l", "Left", "left"},
                           {"r", "Right", "right"},
                           {"c", "Center", "center"},
                           {"lfe", "LFE", "lowFrequencyEffects"},
                           {"ls", "Left surround", "rearLeft"},
                           {"rs", "Right surround", "rearRight"}};
// WAV puts the back pair (mask bits 0x10, 0x20) before the side pair
// (0x200, 0x400); the strip wants sides first.
constexpr Speaker k71[] = {{"l", "Left", "left"},
                           {"r", "Right", "right"},
                           {"c", "Center", "center"},
                           {"lfe", "LFE", "lowFrequencyEffects"},
                           {"lb", "Left back", "rearLeft"},
                           {"rb", "Right back", "rearRight"},
                           {"ls", "Left side", "sideLeft"},
                           {"rs", "Right side", "sideRight"}};

constexpr int kInOrder[] = {0, 1, 2, 3, 4, 5};
constexpr int k71Strip[] = {0, 1, 2, 3, 6, 7, 4, 5};

constexpr PluginFormat kFormats[] = {
    {Format::Mono, "mono", "stemstrip mono", "MonoGroup", kMono, std::span(kInOrder, 1)},
    {Format::Stereo, "stereo", "stemstrip stereo", "StereoGroup", kStereo, std::span(kInOrder, 2)},
    {Format::Surround5_1, "5.1", "stemstrip 5.1", "FivePointOneGroup", k51, std::span(kInOrder, 6)},
    {Format::Surround7_1, "7.1", "stemstrip 7.1", "SevenPointOneGroup", k71, k71Strip},
};

}  // namespace

std::span<const PluginFormat> PluginFormats() { return kFormats; }

}  // namespace stemstrip::lv2
