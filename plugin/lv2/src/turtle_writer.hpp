// The bundle's Turtle: manifest.ttl names the plugins, their binary, the
// interface (one for all plugins, in its own binary) and the factory presets; the description file holds every plugin's ports and the
// presets file every preset's port values.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "plugin_formats.hpp"

namespace stemstrip::lv2 {

struct FactoryPreset {
    std::string name;  // "vocal"
    std::string description;
    const Plugin* plugin;
    std::vector<float> values;  // of ControlPortsOf(*plugin), in order
};

// urn:stemstrip:lv2:preset:NAME:PLUGIN, PLUGIN the part of the plugin's
// URI after urn:stemstrip:lv2: ("stereo", "plain:5.1").
std::string PresetUri(const FactoryPreset& p);

inline constexpr std::string_view kUiUri = "urn:stemstrip:lv2:ui";

struct BundleFiles {
    std::string_view binary, uiBinary, description, presets;
};

void WriteManifest(std::ostream& out, const BundleFiles& files, const std::vector<FactoryPreset>& presets);
void WriteDescription(std::ostream& out);
void WritePresets(std::ostream& out, const std::vector<FactoryPreset>& presets);

}  // namespace stemstrip::lv2
