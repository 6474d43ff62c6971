// Musical settings of one channel strip, in the units a user thinks in.
// Defaults give a transparent strip: every EQ band disabled, compressor and
// expander at 1:1, no gate, no trim.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace stemstrip {

// The eleven stem formats, in the order of the core's entries.
enum class Format : int { Mono, Stereo, LCR, Quad, LCRS, Surround5_0, Surround5_1, Surround6_0, Surround6_1, Surround7_0, Surround7_1 };

inline constexpr int kFormatCount = 11;
inline constexpr int kMaxBands = 8;

int ChannelCount(Format f);                 // 1..8
int GroupSlots(Format f);                   // 1..5
std::string_view FormatName(Format f);      // "mono", "stereo", "lcr", "quad", "lcrs", "5.0", "5.1", "6.0", "6.1", "7.0", "7.1"
std::optional<Format> ParseFormat(std::string_view name);

enum class BandType : int {
    Bell,
    LowShelf,
    HighShelf,
    HighPass1,   // first order: q ignored
    HighPass2,
    LowPass1,    // first order: q ignored
    LowPass2,
    BandPass,    // constant 0 dB peak gain
    Notch,
};

enum class Placement : int { PreDynamics, PostDynamics };

struct EqBand {
    bool enabled = false;
    BandType type = BandType::Bell;
    Placement placement = Placement::PreDynamics;
    double frequencyHz = 1000.0;
    double gainDb = 0.0;   // bells and shelves only
    double q = 0.7071067811865476;
};

struct Compressor {
    double thresholdDb = 0.0;
    double ratio = 1.0;             // >= 1; infinity limits
    double kneeDb = 0.0;            // width of the soft knee, 0 = hard
    double attackMs = 10.0;
    double releaseMs = 100.0;
    double maxReductionDb = 60.0;   // floor of the gain reduction, >= 0
    double makeupDb = 0.0;
};

struct Expander {
    double thresholdDb = -200.0;    // below it the expander turns the level down
    double ratio = 1.0;             // >= 1; a gate is a steep ratio with a range
    double kneeDb = 0.0;
    double rangeDb = 80.0;          // most attenuation applied, >= 0
    bool gate = false;              // hard gate with hysteresis at gateThresholdDb
    double gateThresholdDb = -60.0; // opens at or above this level
    double hysteresisDb = 3.0;      // closes below gateThresholdDb - hysteresisDb
    double holdMs = 0.0;
    double attackMs = 1.0;
    double releaseMs = 100.0;
};

enum class DetectorMode : int { Peak, Average };
enum class SideChainFilter : int { Off, HighPass, LowPass, BandPass };

struct Detector {
    DetectorMode mode = DetectorMode::Peak;
    double peakDecayMs = 10.0;        // peak detector: time to fall by 63 %
    double averageMs = 10.0;          // averaging detector: time constant
    SideChainFilter filter = SideChainFilter::Off;
    double filterHz = 100.0;
    double filterQ = 0.7071067811865476;
    bool externalKey = false;         // detect from the key input instead of the programme
    bool keyListen = false;           // output the filtered side-chain signal
};

// The names of each enumeration's values, in enumerator order, as presets,
// overrides and the C API spell them.
template <class E>
struct EnumNames;
template <>
struct EnumNames<BandType> {
    static constexpr std::array<std::string_view, 9> names{"Bell",     "LowShelf", "HighShelf", "HighPass1", "HighPass2",
                                                           "LowPass1", "LowPass2", "BandPass",  "Notch"};
};
template <>
struct EnumNames<Placement> {
    static constexpr std::array<std::string_view, 2> names{"PreDynamics", "PostDynamics"};
};
template <>
struct EnumNames<DetectorMode> {
    static constexpr std::array<std::string_view, 2> names{"Peak", "Average"};
};
template <>
struct EnumNames<SideChainFilter> {
    static constexpr std::array<std::string_view, 4> names{"Off", "HighPass", "LowPass", "BandPass"};
};

struct Settings {
    std::array<EqBand, kMaxBands> bands{};
    Compressor compressor{};
    Expander expander{};
    Detector detector{};
    // Group slot of each channel for linked detection; empty = the format's default.
    std::optional<std::array<int, 8>> channelGroups{};
    double inputMeterTrimDb = 0.0;
    bool bypass = false;
    double smoothingMs = 20.0;        // glide of EQ coefficients, floor, range and output gain
};

}  // namespace stemstrip
