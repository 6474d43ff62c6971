// Presets: the built-in ones compiled into the program and JSON files of
// settings (see settings_json.hpp) chosen with --preset FILE|NAME.
#pragma once

#include <string>
#include <vector>

#include "stemstrip/settings.hpp"

namespace stemstrip::cli {

struct BuiltinPreset {
    std::string name;         // e.g. "vocal"
    std::string description;
    std::string json;         // as shipped
};

std::vector<BuiltinPreset> BuiltinPresets();

// A path to an existing file is read as a preset file; otherwise `fileOrName`
// must name a built-in preset. Throws CliError naming the file or field.
Settings LoadPreset(const std::string& fileOrName);

// The full settings of a built-in preset as indented JSON, every field shown.
std::string ShowPreset(const std::string& name);

}  // namespace stemstrip::cli
