// A host built on lilv: loads the build's bundle as any LV2 host would,
// reads a plugin's version and presets, restores a preset through lilv's
// state API into a fresh instance and renders a file's worth of audio
// through it, key port left unconnected.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "plugin_cases.hpp"
#include "wav_file.hpp"

namespace stemstrip::lv2test {

struct PresetRef {
    std::string uri, label;  // the label is the CLI preset's name
};

// lv2:minorVersion and lv2:microVersion; -1 where one is missing.
std::pair<int, int> PluginVersion(const std::string& pluginUri);

// The presets lilv finds for a plugin.
std::vector<PresetRef> PresetsOf(const std::string& pluginUri);

struct InlineImage {
    int width, height, stride;
    std::vector<unsigned char> data;  // Cairo ARGB32
    int drawRequests;                 // queue_draw calls from activate() and run()
};

// Instantiates a plugin offering the inline-display host feature, sets
// controls by symbol, runs one block of silence, then renders the display.
InlineImage RenderInlineDisplay(const std::string& pluginUri, const std::vector<std::pair<std::string, float>>& controls,
                                uint32_t width, uint32_t maxHeight);

// Throws std::runtime_error naming the plugin or preset it cannot use.
Audio RenderPresetWithLilv(const PluginCase& plugin, const std::string& presetUri, const Audio& in, int block);

}  // namespace stemstrip::lv2test
