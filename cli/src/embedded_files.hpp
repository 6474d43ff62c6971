// Text files compiled into the program (built-in presets, report page assets);
// the tables are generated from cli/presets/ and cli/report/ at build time.
#pragma once

#include <span>
#include <string_view>

namespace stemstrip::cli {

struct EmbeddedFile {
    std::string_view name;   // file name, e.g. "vocal.json"
    std::string_view text;
};

extern const std::span<const EmbeddedFile> kBuiltinPresetFiles;
extern const std::span<const EmbeddedFile> kReportAssetFiles;

}  // namespace stemstrip::cli
