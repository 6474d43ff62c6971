// Settings validation: every field against the range the designer and the
// core can honour. Negated comparisons make NaN fail every check.
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "stemstrip/design.hpp"
#include "validation.hpp"

namespace stemstrip {
namespace design {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// Limits that keep the float sections well conditioned and the dB gains
// inside what the core's exponential table covers.
constexpr double kMinFrequencyHz = 10.0;
constexpr double kMinQ = 0.1, kMaxQ = 30.0;
constexpr double kMaxBandGainDb = 30.0;
constexpr double kMinThresholdDb = -200.0, kMaxThresholdDb = 24.0;
constexpr double kMaxKneeDb = 60.0;
constexpr double kMaxAttenuationDb = 200.0;
constexpr double kMaxLevelTrimDb = 60.0;
constexpr double kMaxTimeMs = 10000.0;
constexpr double kMaxDecayMs = 60000.0;
constexpr double kMaxExpanderRatio = 100.0;

std::string Number(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", v);
    return text;
}

// Throws unless v lies in the interval; open ends exclude the bound.
void CheckRange(const std::string& path, double v, double lo, double hi, bool loOpen = false,
                bool hiOpen = false) {
    const bool aboveLo = loOpen ? v > lo : v >= lo;
    const bool belowHi = hiOpen ? v < hi : v <= hi;
    if (aboveLo && belowHi) return;
    throw SettingsError(path + " = " + Number(v) + " is out of range; valid: " + (loOpen ? "(" : "[") +
                        Number(lo) + ", " + Number(hi) + (hiOpen ? ")" : "]"));
}

template <typename Enum>
void CheckEnum(const std::string& path, Enum e, Enum last) {
    CheckRange(path, static_cast<int>(e), 0, static_cast<int>(last));
}

void CheckFrequency(const std::string& path, double hz, double sampleRate) {
    CheckRange(path, hz, kMinFrequencyHz, 0.5 * sampleRate, false, true);
}

void CheckTime(const std::string& path, double ms, double maxMs = kMaxTimeMs) { CheckRange(path, ms, 0.0, maxMs); }

void ValidateCompressor(const Compressor& c) {
    CheckRange("compressor.thresholdDb", c.thresholdDb, kMinThresholdDb, kMaxThresholdDb);
    CheckRange("compressor.ratio", c.ratio, 1.0, kInf);
    CheckRange("compressor.kneeDb", c.kneeDb, 0.0, kMaxKneeDb);
    CheckTime("compressor.attackMs", c.attackMs);
    CheckTime("compressor.releaseMs", c.releaseMs);
    CheckRange("compressor.maxReductionDb", c.maxReductionDb, 0.0, kMaxAttenuationDb);
    CheckRange("compressor.makeupDb", c.makeupDb, -kMaxLevelTrimDb, kMaxLevelTrimDb);
}

void ValidateExpander(const Expander& e) {
    CheckRange("expander.thresholdDb", e.thresholdDb, kMinThresholdDb, kMaxThresholdDb);
    CheckRange("expander.ratio", e.ratio, 1.0, kMaxExpanderRatio);
    CheckRange("expander.kneeDb", e.kneeDb, 0.0, kMaxKneeDb);
    CheckRange("expander.rangeDb", e.rangeDb, 0.0, kMaxAttenuationDb);
    CheckRange("expander.gateThresholdDb", e.gateThresholdDb, kMinThresholdDb, kMaxThresholdDb);
    CheckRange("expander.hysteresisDb", e.hysteresisDb, 0.0, kMaxKneeDb);
    CheckTime("expander.holdMs", e.holdMs);
    CheckTime("expander.attackMs", e.attackMs);
    CheckTime("expander.releaseMs", e.releaseMs);
}

void ValidateDetector(const Detector& d, double sampleRate) {
    CheckEnum("detector.mode", d.mode, DetectorMode::Average);
    CheckTime("detector.peakDecayMs", d.peakDecayMs, kMaxDecayMs);
    CheckTime("detector.averageMs", d.averageMs);
    CheckEnum("detector.filter", d.filter, SideChainFilter::BandPass);
    if (d.filter == SideChainFilter::Off) return;  // an unused filter is never checked, like a disabled band
    CheckFrequency("detector.filterHz", d.filterHz, sampleRate);
    CheckRange("detector.filterQ", d.filterQ, kMinQ, kMaxQ);
}

void ValidateChannelGroups(const std::array<int, 8>& groups, Format f) {
    const int slots = GroupSlots(f);
    for (int c = 0; c < ChannelCount(f); ++c)
        CheckRange("channelGroups[" + std::to_string(c) + "] (format " + std::string(FormatName(f)) + ")",
                   groups[c], 0, slots - 1);
}

}  // namespace

void ValidateSampleRate(double sampleRate) { CheckRange("sampleRate", sampleRate, 8000.0, 768000.0); }

void ValidateBand(const EqBand& band, const std::string& path, double sampleRate) {
    if (!band.enabled) return;
    CheckEnum(path + ".type", band.type, BandType::Notch);
    CheckEnum(path + ".placement", band.placement, Placement::PostDynamics);
    CheckFrequency(path + ".frequencyHz", band.frequencyHz, sampleRate);
    CheckRange(path + ".gainDb", band.gainDb, -kMaxBandGainDb, kMaxBandGainDb);
    CheckRange(path + ".q", band.q, kMinQ, kMaxQ);
}

}  // namespace design

float HighestFrequencyHz(double sampleRate) { return std::nextafter(static_cast<float>(0.5 * sampleRate), 0.0f); }

void Validate(const Settings& s, Format f, double sampleRate) {
    design::CheckEnum("format", f, Format::Surround7_1);
    design::ValidateSampleRate(sampleRate);
    for (int i = 0; i < kMaxBands; ++i) design::ValidateBand(s.bands[i], "bands[" + std::to_string(i) + "]", sampleRate);
    design::ValidateCompressor(s.compressor);
    design::ValidateExpander(s.expander);
    design::ValidateDetector(s.detector, sampleRate);
    if (s.channelGroups) design::ValidateChannelGroups(*s.channelGroups, f);
    design::CheckRange("inputMeterTrimDb", s.inputMeterTrimDb, -design::kMaxLevelTrimDb, design::kMaxLevelTrimDb);
    design::CheckTime("smoothingMs", s.smoothingMs);
}

}  // namespace stemstrip
