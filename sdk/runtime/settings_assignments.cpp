#include "settings_assignments.hpp"

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>

#include "argument_checks.hpp"

namespace stemstrip::runtime {
namespace {

std::string_view Trim(std::string_view s) {
    const auto first = s.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t\r\n") - first + 1);
}

double ParseNumber(std::string_view name, std::string_view value) {
    const std::string text(value);
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno == ERANGE)
        ThrowUsage(name, " = '", value, "' is not a number: expected a decimal number such as -18 or 2.5");
    return v;
}

int ParseInteger(std::string_view name, std::string_view value) {
    const double v = ParseNumber(name, value);
    if (!(v >= -1e9 && v <= 1e9) || v != static_cast<int>(v)) ThrowUsage(name, " = '", value, "' is not an integer");
    return static_cast<int>(v);
}

bool ParseBool(std::string_view name, std::string_view value) {
    if (value == "1" || value == "true" || value == "on") return true;
    if (value == "0" || value == "false" || value == "off") return false;
    ThrowUsage(name, " = '", value, "' is not a boolean: expected 1/0, true/false or on/off");
}

template <class Enum>
Enum ParseEnum(std::string_view name, std::string_view value) {
    const auto& names = EnumNames<Enum>::names;
    for (size_t index = 0; index < names.size(); ++index)
        if (value == names[index]) return static_cast<Enum>(index);
    std::string valid;
    for (std::string_view candidate : names) valid += (valid.empty() ? "" : ", ") + std::string(candidate);
    ThrowUsage(name, " = '", value, "' is unknown: valid are ", valid);
}

std::array<int, 8> ParseGroups(std::string_view name, std::string_view value) {
    std::array<int, 8> groups{};
    int count = 0;
    while (!value.empty()) {
        const auto comma = value.find(',');
        if (count == 8) ThrowUsage(name, " has more than 8 entries");
        groups[count++] = ParseInteger(name, Trim(value.substr(0, comma)));
        value = comma == std::string_view::npos ? std::string_view{} : value.substr(comma + 1);
    }
    return groups;
}

using Setter = std::function<void(Settings&, std::string_view name, std::string_view value)>;

template <class Field>
Setter Number(Field field) {
    return [field](Settings& s, std::string_view n, std::string_view v) { field(s) = ParseNumber(n, v); };
}
template <class Field>
Setter Flag(Field field) {
    return [field](Settings& s, std::string_view n, std::string_view v) { field(s) = ParseBool(n, v); };
}

const std::pair<const char*, Setter>* FindTopLevel(std::string_view name) {
    static const std::pair<const char*, Setter> kSetters[] = {
        {"compressor.thresholdDb", Number([](Settings& s) -> double& { return s.compressor.thresholdDb; })},
        {"compressor.ratio", Number([](Settings& s) -> double& { return s.compressor.ratio; })},
        {"compressor.kneeDb", Number([](Settings& s) -> double& { return s.compressor.kneeDb; })},
        {"compressor.attackMs", Number([](Settings& s) -> double& { return s.compressor.attackMs; })},
        {"compressor.releaseMs", Number([](Settings& s) -> double& { return s.compressor.releaseMs; })},
        {"compressor.maxReductionDb", Number([](Settings& s) -> double& { return s.compressor.maxReductionDb; })},
        {"compressor.makeupDb", Number([](Settings& s) -> double& { return s.compressor.makeupDb; })},
        {"expander.thresholdDb", Number([](Settings& s) -> double& { return s.expander.thresholdDb; })},
        {"expander.ratio", Number([](Settings& s) -> double& { return s.expander.ratio; })},
        {"expander.kneeDb", Number([](Settings& s) -> double& { return s.expander.kneeDb; })},
        {"expander.rangeDb", Number([](Settings& s) -> double& { return s.expander.rangeDb; })},
        {"expander.gate", Flag([](Settings& s) -> bool& { return s.expander.gate; })},
        {"expander.gateThresholdDb", Number([](Settings& s) -> double& { return s.expander.gateThresholdDb; })},
        {"expander.hysteresisDb", Number([](Settings& s) -> double& { return s.expander.hysteresisDb; })},
        {"expander.holdMs", Number([](Settings& s) -> double& { return s.expander.holdMs; })},
        {"expander.attackMs", Number([](Settings& s) -> double& { return s.expander.attackMs; })},
        {"expander.releaseMs", Number([](Settings& s) -> double& { return s.expander.releaseMs; })},
        {"detector.mode",
         [](Settings& s, std::string_view n, std::string_view v) {
             s.detector.mode = ParseEnum<DetectorMode>(n, v);
         }},
        {"detector.peakDecayMs", Number([](Settings& s) -> double& { return s.detector.peakDecayMs; })},
        {"detector.averageMs", Number([](Settings& s) -> double& { return s.detector.averageMs; })},
        {"detector.filter",
         [](Settings& s, std::string_view n, std::string_view v) {
             s.detector.filter = ParseEnum<SideChainFilter>(n, v);
         }},
        {"detector.filterHz", Number([](Settings& s) -> double& { return s.detector.filterHz; })},
        {"detector.filterQ", Number([](Settings& s) -> double& { return s.detector.filterQ; })},
        {"detector.externalKey", Flag([](Settings& s) -> bool& { return s.detector.externalKey; })},
        {"detector.keyListen", Flag([](Settings& s) -> bool& { return s.detector.keyListen; })},
        {"channelGroups",
         [](Settings& s, std::string_view n, std::string_view v) {
             if (v == "default")
                 s.channelGroups.reset();
             else
                 s.channelGroups = ParseGroups(n, v);
         }},
        {"inputMeterTrimDb", Number([](Settings& s) -> double& { return s.inputMeterTrimDb; })},
        {"bypass", Flag([](Settings& s) -> bool& { return s.bypass; })},
        {"smoothingMs", Number([](Settings& s) -> double& { return s.smoothingMs; })},
    };
    for (const auto& entry : kSetters)
        if (name == entry.first) return &entry;
    return nullptr;
}

void SetBandField(EqBand& band, std::string_view field, std::string_view name, std::string_view value) {
    if (field == "enabled")
        band.enabled = ParseBool(name, value);
    else if (field == "type")
        band.type = ParseEnum<BandType>(name, value);
    else if (field == "placement")
        band.placement = ParseEnum<Placement>(name, value);
    else if (field == "frequencyHz")
        band.frequencyHz = ParseNumber(name, value);
    else if (field == "gainDb")
        band.gainDb = ParseNumber(name, value);
    else if (field == "q")
        band.q = ParseNumber(name, value);
    else
        ThrowUsage("unknown setting '", name, "': band fields are enabled, type, placement, frequencyHz, gainDb, q");
}

// "bands[i].field"
void SetBand(Settings& s, std::string_view name, std::string_view value) {
    const auto close = name.find("].");
    if (close == std::string_view::npos) ThrowUsage("unknown setting '", name, "': expected bands[i].field");
    const int index = ParseInteger(name, name.substr(6, close - 6));
    CheckIndex("band index in bands[i]", index, kMaxBands);
    SetBandField(s.bands[index], name.substr(close + 2), name, value);
}

void Assign(Settings& s, std::string_view assignment) {
    const auto equals = assignment.find('=');
    if (equals == std::string_view::npos) ThrowUsage("'", assignment, "' is not an assignment: expected name=value");
    const std::string_view name = Trim(assignment.substr(0, equals));
    const std::string_view value = Trim(assignment.substr(equals + 1));
    if (name.substr(0, 6) == "bands[") return SetBand(s, name, value);
    const auto* entry = FindTopLevel(name);
    if (!entry) ThrowUsage("unknown setting '", name, "': names are the Settings field paths listed in stemstrip/c_api.h");
    entry->second(s, name, value);
}

}  // namespace

Settings ApplyAssignments(Settings base, std::string_view text) {
    while (!text.empty()) {
        const auto end = text.find_first_of(";\n");
        const std::string_view assignment = Trim(text.substr(0, end));
        if (!assignment.empty()) Assign(base, assignment);
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    }
    return base;
}

}  // namespace stemstrip::runtime
