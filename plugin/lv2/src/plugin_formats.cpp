#include "plugin_formats.hpp"

#include <array>

namespace stemstrip::lv2 {
namespace {

constexpr Speaker kL{"l", "Left", "left"}, kR{"r", "Right", "right"}, kC{"c", "Center", "center"},
    kLfe{"lfe", "LFE", "lowFrequencyEffects"}, kS{"s", "Surround", "rearCenter"},
    kCs{"cs", "Center surround", "rearCenter"};
// Surround pairs of five- and four-channel layouts go by the rear
// designations of the LV2 5.x groups; the 6.x and 7.x groups use sides.
constexpr Speaker kLsRear{"ls", "Left surround", "rearLeft"}, kRsRear{"rs", "Right surround", "rearRight"},
    kLsSide{"ls", "Left surround", "sideLeft"}, kRsSide{"rs", "Right surround", "sideRight"},
    kLb{"lb", "Left back", "rearLeft"}, kRb{"rb", "Right back", "rearRight"},
    kLside{"ls", "Left side", "sideLeft"}, kRside{"rs", "Right side", "sideRight"};

constexpr Speaker kMono[] = {{"", "Mono", "center"}};
constexpr Speaker kStereo[] = {kL, kR};
constexpr Speaker kLcr[] = {kL, kR, kC};
constexpr Speaker kQuad[] = {kL, kR, kLsRear, kRsRear};
constexpr Speaker kLcrs[] = {kL, kR, kC, kS};
constexpr Speaker k50[] = {kL, kR, kC, kLsRear, kRsRear};
constexpr Speaker k51[] = {kL, kR, kC, kLfe, kLsRear, kRsRear};
// WAV puts the back centre (mask bit 0x100) and the back pair (0x10, 0x20)
// before the side pair (0x200, 0x400); the strip wants sides first.
constexpr Speaker k60[] = {kL, kR, kC, kCs, kLsSide, kRsSide};
constexpr Speaker k61[] = {kL, kR, kC, kLfe, kCs, kLsSide, kRsSide};
constexpr Speaker k70[] = {kL, kR, kC, kLb, kRb, kLside, kRside};
constexpr Speaker k71[] = {kL, kR, kC, kLfe, kLb, kRb, kLside, kRside};

constexpr int kInOrder[] = {0, 1, 2, 3, 4, 5};
constexpr int k60Strip[] = {0, 1, 2, 5, 3, 4};
constexpr int k61Strip[] = {0, 1, 2, 3, 6, 4, 5};
constexpr int k70Strip[] = {0, 1, 2, 5, 6, 3, 4};
constexpr int k71Strip[] = {0, 1, 2, 3, 6, 7, 4, 5};

// LV2 has no group class for LCR, quad, 6.0 and 7.0: those are plain
// discrete groups.
constexpr PluginFormat kFormats[] = {
    {Format::Mono, "MonoGroup", kMono, std::span(kInOrder, 1)},
    {Format::Stereo, "StereoGroup", kStereo, std::span(kInOrder, 2)},
    {Format::LCR, "DiscreteGroup", kLcr, std::span(kInOrder, 3)},
    {Format::Quad, "DiscreteGroup", kQuad, std::span(kInOrder, 4)},
    {Format::LCRS, "FourPointZeroGroup", kLcrs, std::span(kInOrder, 4)},
    {Format::Surround5_0, "FivePointZeroGroup", k50, std::span(kInOrder, 5)},
    {Format::Surround5_1, "FivePointOneGroup", k51, std::span(kInOrder, 6)},
    {Format::Surround6_0, "DiscreteGroup", k60, k60Strip},
    {Format::Surround6_1, "SixPointOneGroup", k61, k61Strip},
    {Format::Surround7_0, "DiscreteGroup", k70, k70Strip},
    {Format::Surround7_1, "SevenPointOneGroup", k71, k71Strip},
};
constexpr int kFormatTotal = static_cast<int>(std::size(kFormats));

constexpr std::array<Plugin, 2 * kFormatTotal> MakePlugins() {
    return [&]<size_t... i>(std::index_sequence<i...>) {
        return std::array<Plugin, 2 * kFormatTotal>{Plugin{kFormats[i % kFormatTotal], i < kFormatTotal}...};
    }(std::make_index_sequence<2 * kFormatTotal>());
}
constexpr std::array<Plugin, 2 * kFormatTotal> kPlugins = MakePlugins();

}  // namespace

std::span<const PluginFormat> PluginFormats() { return kFormats; }
std::span<const Plugin> Plugins() { return kPlugins; }

std::string PluginUri(const Plugin& p) {
    return std::string(kUriBase) + (p.sideChain ? "" : "plain:") + std::string(FormatName(p.format.format));
}

std::string PluginName(const Plugin& p) {
    return "stemstrip " + std::string(FormatName(p.format.format)) + (p.sideChain ? " side-chain" : "");
}

}  // namespace stemstrip::lv2
