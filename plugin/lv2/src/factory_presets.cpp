#include "factory_presets.hpp"

#include <cstring>
#include <stdexcept>

#include "presets.hpp"
#include "settings_from_controls.hpp"
#include "settings_json.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip::lv2 {
namespace {

// The rates whose designs must come out the same through the ports.
constexpr double kCheckedRates[] = {44100, 48000, 96000};

bool Fits(const Settings& s, size_t groupEntries, const Plugin& p) {
    if (groupEntries != 0 && groupEntries != p.format.ports.size()) return false;
    if (s.detector.externalKey && !p.sideChain) return false;
    try {
        for (double rate : kCheckedRates) Validate(s, p.format.format, rate);
        return true;
    } catch (const SettingsError&) {
        return false;
    }
}

bool SameDesign(const CoefficientSet& a, const CoefficientSet& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

std::vector<float> PortValues(const std::string& name, const Settings& s, const Plugin& p) {
    const std::string where = "preset " + name + " on " + PluginUri(p) + ": ";
    const std::vector<ControlPort>& ports = ControlPortsOf(p);
    const std::vector<float> values = ControlsFromSettings(p, s);
    for (size_t i = 0; i < ports.size(); ++i)
        if (!(values[i] >= ports[i].min && values[i] <= ports[i].max))
            throw std::runtime_error(where + ports[i].symbol + " = " + std::to_string(values[i]) + " is outside " +
                                     std::to_string(ports[i].min) + ".." + std::to_string(ports[i].max));
    for (double rate : kCheckedRates)
        if (!SameDesign(Design(SettingsFromControls(p, values, rate), p.format.format, rate),
                        Design(s, p.format.format, rate)))
            throw std::runtime_error(where + "its values as float ports design other coefficients at " +
                                     std::to_string(static_cast<int>(rate)) + " Hz than the preset does");
    return values;
}

}  // namespace

std::vector<FactoryPreset> FactoryPresets() {
    std::vector<FactoryPreset> out;
    for (const cli::BuiltinPreset& preset : cli::BuiltinPresets()) {
        const Settings s = cli::LoadPreset(preset.name);
        const cli::Json doc = cli::ParseJsonText(preset.json, preset.name);
        const size_t groupEntries = doc.contains("channelGroups") ? doc["channelGroups"].size() : 0;
        for (const Plugin& p : Plugins())
            if (Fits(s, groupEntries, p)) out.push_back({preset.name, preset.description, &p, PortValues(preset.name, s, p)});
    }
    return out;
}

}  // namespace stemstrip::lv2
