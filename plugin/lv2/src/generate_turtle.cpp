// Build step: writes manifest.ttl, the plugin description and the factory
// presets into the bundle.
//   stemstrip_lv2_turtle BUNDLE_DIR BINARY_FILE_NAME UI_BINARY_FILE_NAME
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <string>

#include "factory_presets.hpp"

namespace {

constexpr const char* kDescriptionFile = "stemstrip.ttl";
constexpr const char* kPresetsFile = "presets.ttl";

bool WriteFile(const std::string& path, const std::function<void(std::ostream&)>& write) {
    std::ofstream out(path);
    if (out) write(out);
    out.close();
    if (out) return true;
    std::fprintf(stderr, "stemstrip_lv2_turtle: cannot write '%s'\n", path.c_str());
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace stemstrip::lv2;
    if (argc != 4) {
        std::fprintf(stderr, "usage: stemstrip_lv2_turtle BUNDLE_DIR BINARY_FILE_NAME UI_BINARY_FILE_NAME (got %d arguments)\n",
                     argc - 1);
        return 2;
    }
    const std::string bundle = argv[1];
    std::vector<FactoryPreset> presets;
    try {
        presets = FactoryPresets();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "stemstrip_lv2_turtle: %s\n", e.what());
        return 1;
    }
    const BundleFiles files{argv[2], argv[3], kDescriptionFile, kPresetsFile};
    const bool ok = WriteFile(bundle + "/manifest.ttl", [&](std::ostream& o) { WriteManifest(o, files, presets); }) &&
                    WriteFile(bundle + "/" + kDescriptionFile, [](std::ostream& o) { WriteDescription(o); }) &&
                    WriteFile(bundle + "/" + kPresetsFile, [&](std::ostream& o) { WritePresets(o, presets); });
    return ok ? 0 : 1;
}
