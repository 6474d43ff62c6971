#include "presets.hpp"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli_error.hpp"
#include "embedded_files.hpp"
#include "settings_json.hpp"

namespace stemstrip::cli {
namespace {

constexpr std::string_view kSuffix = ".json";

const EmbeddedFile* FindBuiltin(const std::string& name) {
    for (const EmbeddedFile& f : kBuiltinPresetFiles)
        if (f.name == name + std::string(kSuffix)) return &f;
    return nullptr;
}

std::string BuiltinNames() {
    std::string names;
    for (const BuiltinPreset& p : BuiltinPresets()) names += (names.empty() ? "" : ", ") + p.name;
    return names;
}

Settings BuiltinSettings(const EmbeddedFile& file) {
    return SettingsFromJson(ParseJsonText(std::string(file.text), std::string(file.name)), std::string(file.name));
}

}  // namespace

std::vector<BuiltinPreset> BuiltinPresets() {
    std::vector<BuiltinPreset> presets;
    for (const EmbeddedFile& f : kBuiltinPresetFiles) {
        const Json doc = ParseJsonText(std::string(f.text), std::string(f.name));
        presets.push_back({std::string(f.name.substr(0, f.name.size() - kSuffix.size())),
                           doc.value("description", ""), std::string(f.text)});
    }
    return presets;
}

Settings LoadPreset(const std::string& fileOrName) {
    namespace fs = std::filesystem;
    if (fs::is_regular_file(fileOrName)) {
        std::ifstream in(fileOrName, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        if (!in) throw CliError(fileOrName + ": cannot read the preset file");
        return SettingsFromJson(ParseJsonText(text.str(), fileOrName), fileOrName);
    }
    if (const EmbeddedFile* f = FindBuiltin(fileOrName)) return BuiltinSettings(*f);
    throw CliError("--preset " + fileOrName + ": no such file and no built-in preset of that name (built-in: " +
                   BuiltinNames() + ")");
}

std::string ShowPreset(const std::string& name) {
    const EmbeddedFile* f = FindBuiltin(name);
    if (f == nullptr) throw CliError("preset " + name + ": no built-in preset of that name (built-in: " + BuiltinNames() + ")");
    Json doc = SettingsToJson(BuiltinSettings(*f));
    const Json shipped = ParseJsonText(std::string(f->text), std::string(f->name));
    Json shown = Json::object();
    shown["description"] = shipped.value("description", "");
    shown.update(doc);
    return shown.dump(2) + "\n";
}

}  // namespace stemstrip::cli
