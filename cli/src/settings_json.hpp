// Settings as JSON: every field under its name in stemstrip::Settings (units
// are in the names: Db, Ms, Hz), enums as their enumerator names ("LowShelf",
// "PostDynamics"), infinity as the string "inf". Missing fields keep their
// defaults, so a preset lists only what it changes; an optional top-level
// "description" string is for people. Value ranges are the designer's business
// (stemstrip::Validate); here every field is checked for name and type.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "stemstrip/settings.hpp"

namespace stemstrip::cli {

using Json = nlohmann::ordered_json;

Json SettingsToJson(const Settings& settings);

// Throws CliError "<origin>: <field path>: <what is wrong>" for an unknown
// field, a wrong type or an unknown enum name.
Settings SettingsFromJson(const Json& doc, const std::string& origin);

// Parses JSON text, throwing CliError "<origin>: <parser message>" if it is not JSON.
Json ParseJsonText(const std::string& text, const std::string& origin);

}  // namespace stemstrip::cli
