#include "control_ports.hpp"

#include <array>

#include "stemstrip/design.hpp"

namespace stemstrip::lv2 {
namespace {

constexpr ScalePoint kBandTypes[] = {
    {"Bell", 0},           {"Low shelf", 1},          {"High shelf", 2},
    {"High-pass 6 dB/oct", 3}, {"High-pass 12 dB/oct", 4}, {"Low-pass 6 dB/oct", 5},
    {"Low-pass 12 dB/oct", 6}, {"Band-pass", 7},        {"Notch", 8},
};
constexpr ScalePoint kPlacements[] = {{"Before dynamics", 0}, {"After dynamics", 1}};
constexpr ScalePoint kRatios[] = {{"1:1 (off)", 1}, {"2:1", 2}, {"4:1", 4}, {"10:1", 10}, {"Limit", kLimitRatio}};
constexpr ScalePoint kAttacks[] = {{"Instant", 0.01f}};
constexpr ScalePoint kDetectorModes[] = {{"Peak", 0}, {"Average", 1}};
constexpr ScalePoint kSideChainFilters[] = {{"Off", 0}, {"High-pass", 1}, {"Low-pass", 2}, {"Band-pass", 3}};
constexpr ScalePoint kKeySources[] = {{"Programme", 0}, {"Side-chain input", 1}};
constexpr ScalePoint kGroupSlots[] = {{"Detector 1", 0}, {"Detector 2", 1}, {"Detector 3", 2}, {"Detector 4", 3},
                                      {"Detector 5", 4}};

constexpr float kDefaultQ = 0.70710678f;
// Default band frequencies spread over the spectrum, so enabling a band
// starts somewhere useful; disabled bands do not sound.
constexpr float kBandFrequencies[kMaxBands] = {60, 150, 400, 1000, 2500, 5000, 10000, 15000};

void AddBand(std::vector<ControlPort>& ports, int b) {
    const std::string id = "band" + std::to_string(b + 1);
    const std::string label = "Band " + std::to_string(b + 1) + " ";
    ports.push_back({id + "_enable", label + "enable", 0, 0, 1, Unit::None, Hint::Toggle, {}, {}, b,
                     [](Settings& s, int i) -> FieldRef { return &s.bands[i].enabled; }});
    ports.push_back({id + "_type", label + "type", 0, 0, 8, Unit::None, Hint::Enumeration, kBandTypes, {}, b,
                     [](Settings& s, int i) -> FieldRef { return &s.bands[i].type; }});
    ports.push_back({id + "_freq", label + "frequency", 10, kBandFrequencies[b], 20000, Unit::Hz, Hint::Logarithmic,
                     {}, {}, b, [](Settings& s, int i) -> FieldRef { return &s.bands[i].frequencyHz; }});
    ports.push_back({id + "_gain", label + "gain", -30, 0, 30, Unit::Db, Hint::Linear, {}, {}, b,
                     [](Settings& s, int i) -> FieldRef { return &s.bands[i].gainDb; }});
    ports.push_back({id + "_q", label + "Q", 0.1f, kDefaultQ, 30, Unit::None, Hint::Logarithmic, {}, {}, b,
                     [](Settings& s, int i) -> FieldRef { return &s.bands[i].q; }});
    ports.push_back({id + "_place", label + "placement", 0, 0, 1, Unit::None, Hint::Enumeration, kPlacements, {}, b,
                     [](Settings& s, int i) -> FieldRef { return &s.bands[i].placement; }});
}

std::vector<ControlPort> Build(bool sideChain) {
    std::vector<ControlPort> p;
    for (int b = 0; b < kMaxBands; ++b) AddBand(p, b);
    p.push_back({"comp_threshold", "Compressor threshold", -80, 0, 24, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.compressor.thresholdDb; }});
    p.push_back({"comp_ratio", "Compressor ratio", 1, 1, kLimitRatio, Unit::None, Hint::Logarithmic, kRatios, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.compressor.ratio; }, Mapping::TopIsInfinite});
    p.push_back({"comp_knee", "Compressor knee", 0, 0, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.compressor.kneeDb; }});
    p.push_back({"comp_attack", "Compressor attack", 0.01f, 10, 1000, Unit::Ms, Hint::Logarithmic, kAttacks, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.compressor.attackMs; },
                 Mapping::BottomIsZero});
    p.push_back({"comp_release", "Compressor release", 1, 100, 10000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.compressor.releaseMs; }});
    p.push_back({"comp_max_reduction", "Compressor maximum reduction", 0, 60, 200, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.compressor.maxReductionDb; }});
    p.push_back({"comp_makeup", "Compressor makeup gain", -60, 0, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.compressor.makeupDb; }});

    p.push_back({"exp_threshold", "Expander threshold", -200, -200, 24, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.thresholdDb; }});
    p.push_back({"exp_ratio", "Expander ratio", 1, 1, 100, Unit::None, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.ratio; }});
    p.push_back({"exp_knee", "Expander knee", 0, 0, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.kneeDb; }});
    p.push_back({"exp_range", "Expander range", 0, 80, 200, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.rangeDb; }});
    p.push_back({"gate", "Gate", 0, 0, 1, Unit::None, Hint::Toggle, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.gate; }});
    p.push_back({"gate_threshold", "Gate threshold", -200, -60, 24, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.gateThresholdDb; }});
    p.push_back({"gate_hysteresis", "Gate hysteresis", 0, 3, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.hysteresisDb; }});
    p.push_back({"gate_hold", "Gate hold", 0, 0, 2000, Unit::Ms, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.holdMs; }});
    p.push_back({"exp_attack", "Expander attack", 0.01f, 1, 1000, Unit::Ms, Hint::Logarithmic, kAttacks, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.attackMs; },
                 Mapping::BottomIsZero});
    p.push_back({"exp_release", "Expander release", 1, 100, 10000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.expander.releaseMs; }});

    p.push_back({"det_mode", "Detector", 0, 0, 1, Unit::None, Hint::Enumeration, kDetectorModes, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.detector.mode; }});
    p.push_back({"det_peak_decay", "Peak detector decay", 0.1f, 10, 10000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.detector.peakDecayMs; }});
    p.push_back({"det_average", "Average detector time", 0.1f, 10, 10000, Unit::Ms, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.detector.averageMs; }});
    p.push_back({"sc_filter", "Side-chain filter", 0, 0, 3, Unit::None, Hint::Enumeration, kSideChainFilters, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.detector.filter; }});
    p.push_back({"sc_freq", "Side-chain filter frequency", 10, 100, 20000, Unit::Hz, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.detector.filterHz; }});
    p.push_back({"sc_q", "Side-chain filter Q", 0.1f, kDefaultQ, 30, Unit::None, Hint::Logarithmic, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.detector.filterQ; }});
    if (sideChain)
        p.push_back({"key_source", "Key source", 0, 0, 1, Unit::None, Hint::Enumeration, kKeySources, {}, -1,
                     [](Settings& s, int) -> FieldRef { return &s.detector.externalKey; }});
    p.push_back({"key_listen", "Key listen", 0, 0, 1, Unit::None, Hint::Toggle, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.detector.keyListen; }});

    p.push_back({"meter_trim", "Input meter trim", -60, 0, 60, Unit::Db, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.inputMeterTrimDb; }});
    p.push_back({"smoothing", "Smoothing time", 0, 20, 1000, Unit::Ms, Hint::Linear, {}, {}, -1,
                 [](Settings& s, int) -> FieldRef { return &s.smoothingMs; }});
    p.push_back({"enabled", "Enabled", 0, 1, 1, Unit::None, Hint::Toggle, {}, "enabled", -1,
                 [](Settings& s, int) -> FieldRef { return &s.bypass; }, Mapping::Inverted});
    return p;
}

std::vector<ControlPort> GroupPorts(const PluginFormat& f) {
    const int slots = GroupSlots(f.format);
    if (slots < 2) return {};
    const std::array<int, 8> defaults = DefaultChannelGroups(f.format);
    std::vector<ControlPort> p;
    for (size_t w = 0; w < f.ports.size(); ++w) {
        const Speaker& sp = f.ports[w];
        const int channel = f.stripChannel[w];
        p.push_back({"group_" + std::string(sp.symbol), std::string(sp.label) + " detector group", 0,
                     static_cast<float>(defaults[channel]), static_cast<float>(slots - 1), Unit::None,
                     Hint::Enumeration, std::span(kGroupSlots, slots), {}, -1, nullptr, Mapping::Direct, channel});
    }
    return p;
}

}  // namespace

const std::vector<ControlPort>& ControlPortsOf(const Plugin& p) {
    static const auto all = [] {
        std::vector<std::vector<ControlPort>> lists;
        for (const Plugin& q : Plugins()) {
            lists.push_back(Build(q.sideChain));
            const std::vector<ControlPort> groups = GroupPorts(q.format);
            lists.back().insert(lists.back().end(), groups.begin(), groups.end());
        }
        return lists;
    }();
    return all[&p - Plugins().data()];
}

}  // namespace stemstrip::lv2
