// The bundle's factory presets, made at build time from the CLI's built-in
// presets (cli/presets/*.json, compiled into the CLI), so the two cannot
// disagree. A preset goes to every plugin it fits: the designer accepts it
// for the plugin's format, a channelGroups list has one entry per channel of
// the format, and only side-chain plugins take a preset that detects from
// the key.
#pragma once

#include <vector>

#include "turtle_writer.hpp"

namespace stemstrip::lv2 {

// Throws std::runtime_error naming the preset and plugin when a preset that
// fits a plugin cannot be said in its ports: a value outside a port's range,
// or port values (floats) that design other coefficients than the preset.
std::vector<FactoryPreset> FactoryPresets();

}  // namespace stemstrip::lv2
