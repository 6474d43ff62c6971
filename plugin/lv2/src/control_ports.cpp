#include "control_ports.hpp"

#include <limits>

namespace stemstrip::lv2 {
namespace {

constexpr ScalePoint kBandTypes[] = {
    {"Bell", 0},           {"Low shelf", 1},          {"High shelf", 2},
    {"High-pass 6 dB/oct", 3}, {"High-pass 12 dB/oct", 4}, {"Low-pass 6 dB/oct", 5},
    {"Low-pass 12 dB/oct", 6}, {"Band-pass", 7},        {"Notch", 8},
};
constexpr ScalePoint kPlacements[] = {{"Before dynamics", 0}, {"After dynamics", 1}};
constexpr ScalePoint kRatios[] = {{"1:1 (off)", 1}, {"2:1", 2}, {"4:1", 4}, {"10:1", 10}, {"Limit", kLimitRatio}};
constexpr ScalePoint kDetectorModes[] = {{"Peak", 0}, {"Average", 1}};
constexpr ScalePoint kSideChainFilters[] = {{"Off", 0}, {"High-pass", 1}, {"Low-pass", 2}, {"Band-pass", 3}};
constexpr ScalePoint kKeySources[] = {{"Programme", 0}, {"Side-chain input", 1}};

constexpr float kDefaultQ = 0.70710678f;
// Default band frequencies spread over the spectrum, so enabling a band
// starts somewhere useful; disabled bands do not sound.
constexpr float kBandFrequencies[kMaxBands] = {60, 150, 400, 1000, 2500, 5000, 10000, 15000};

bool On(float v) { return v > 0.5f; }

void AddBand(std::vector<ControlPort>& ports, int b) {
    const std::string id = "band" + std::to_string(b + 1);
    const std::string label = "Band " + std::to_string(b + 1) + " ";
    ports.push_back({id + "_enable", label + "enable", 0, 0, 1, Unit::None, Hint::Toggle, {}, {}, b,
                     [](Settings& s, int i, float v) { s.bands[i].enabled = On(v); }});
    ports.push_back({id + "_type", label + "type", 0, 0, 8, Unit::None, Hint::Enumeration, kBandTypes, {}, b,
                     [](Settings& s, int i, float v) { s.bands[i].type = static_cast<BandType>(v); }});
    ports.push_back({id + "_freq", label + "frequency", 10, kBandFrequencies[b], 20000, Unit::Hz, Hint::Logarithmic,
                     {}, {}, b, [](Settings& s, int i, float v) { s.bands[i].frequencyHz = v; }});
    ports.push_back({id + "_gain", label + "gain", -30, 0, 30, Unit::Db, Hint::Linear, {}, {}, b,
                     [](Settings& s, int i, float v) { s.bands[i].gainDb = v; }});
    ports.push_back({id + "_q", label + "Q", 0.1f, kDefaultQ, 30, Unit::None, Hint::Logarithmic, {}, {}, b,
                     [](Settings& s, int i, float v) { s.bands[i].q = v; }});
    ports.push_back({id + "_place", label + "placement", 0, 0, 1, Unit::None, Hint::Enumeration, kPlacements, {}, b,
                     [](Settings& s, int i, float v) { s.bands[i].placement = static_cast<Placement>(v); }});
}

std::vector<ControlPort> Build() {
    std::vector<ControlPort> p;
    for (int b = 0; b < kMaxBands; ++b) AddBand(p, b);
    p.push_back({"comp_threshold", "Compressor threshold", -80, 0, 24, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.compressor.thresholdDb = v; }});
    p.push_back({"comp_ratio", "Compressor ratio", 1, 1, kLimitRatio, Unit::None, Hint::Logarithmic, kRatios, {}, -1,
                 [](Settings& s, int, float v) {
                     s.compressor.ratio = v >= kLimitRatio ? std::numeric_limits<double>::infinity() : v;
                 }});
    p.push_back({"comp_knee", "Compressor knee", 0, 0, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.compressor.kneeDb = v; }});
    p.push_back({"comp_attack", "Compressor attack", 0.01f, 10, 1000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int, float v) { s.compressor.attackMs = v; }});
    p.push_back({"comp_release", "Compressor release", 1, 100, 10000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int, float v) { s.compressor.releaseMs = v; }});
    p.push_back({"comp_max_reduction", "Compressor maximum reduction", 0, 60, 200, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.compressor.maxReductionDb = v; }});
    p.push_back({"comp_makeup", "Compressor makeup gain", -60, 0, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.compressor.makeupDb = v; }});

    p.push_back({"exp_threshold", "Expander threshold", -200, -200, 24, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.thresholdDb = v; }});
    p.push_back({"exp_ratio", "Expander ratio", 1, 1, 100, Unit::None, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.ratio = v; }});
    p.push_back({"exp_knee", "Expander knee", 0, 0, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.kneeDb = v; }});
    p.push_back({"exp_range", "Expander range", 0, 80, 200, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.rangeDb = v; }});
    p.push_back({"gate", "Gate", 0, 0, 1, Unit::None, Hint::Toggle, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.gate = On(v); }});
    p.push_back({"gate_threshold", "Gate threshold", -200, -60, 24, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.gateThresholdDb = v; }});
    p.push_back({"gate_hysteresis", "Gate hysteresis", 0, 3, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.hysteresisDb = v; }});
    p.push_back({"gate_hold", "Gate hold", 0, 0, 2000, Unit::Ms, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.holdMs = v; }});
    p.push_back({"exp_attack", "Expander attack", 0.01f, 1, 1000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.attackMs = v; }});
    p.push_back({"exp_release", "Expander release", 1, 100, 10000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int, float v) { s.expander.releaseMs = v; }});

    p.push_back({"det_mode", "Detector", 0, 0, 1, Unit::None, Hint::Enumeration, kDetectorModes, {}, -1,
                 [](Settings& s, int, float v) { s.detector.mode = static_cast<DetectorMode>(v); }});
    p.push_back({"det_peak_decay", "Peak detector decay", 0.1f, 10, 10000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int, float v) { s.detector.peakDecayMs = v; }});
    p.push_back({"det_average", "Average detector time", 0.1f, 10, 10000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int, float v) { s.detector.averageMs = v; }});
    p.push_back({"sc_filter", "Side-chain filter", 0, 0, 3, Unit::None, Hint::Enumeration, kSideChainFilters, {}, -1,
                 [](Settings& s, int, float v) { s.detector.filter = static_cast<SideChainFilter>(v); }});
    p.push_back({"sc_freq", "Side-chain filter frequency", 10, 100, 20000, Unit::Hz, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int, float v) { s.detector.filterHz = v; }});
    p.push_back({"sc_q", "Side-chain filter Q", 0.1f, kDefaultQ, 30, Unit::None, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int, float v) { s.detector.filterQ = v; }});
    p.push_back({"key_source", "Key source", 0, 0, 1, Unit::None, Hint::Enumeration, kKeySources, {}, -1,
                 [](Settings& s, int, float v) { s.detector.externalKey = On(v); }});
    p.push_back({"key_listen", "Key listen", 0, 0, 1, Unit::None, Hint::Toggle, {}, {}, -1,
                 [](Settings& s, int, float v) { s.detector.keyListen = On(v); }});

    p.push_back({"meter_trim", "Input meter trim", -60, 0, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.inputMeterTrimDb = v; }});
    p.push_back({"smoothing", "Smoothing time", 0, 20, 1000, Unit::Ms, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int, float v) { s.smoothingMs = v; }});
    p.push_back({"enabled", "Enabled", 0, 1, 1, Unit::None, Hint::Toggle, {}, "enabled", -1,
                 [](Settings& s, int, float v) { s.bypass = !On(v); }});
    return p;
}

}  // namespace

const std::vector<ControlPort>& ControlPorts() {
    static const std::vector<ControlPort> ports = Build();
    return ports;
}

}  // namespace stemstrip::lv2
