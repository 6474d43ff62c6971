// Build step: writes manifest.ttl and the plugin description into the bundle.
//   stemstrip_lv2_turtle BUNDLE_DIR BINARY_FILE_NAME
#include <cstdio>
#include <fstream>
#include <string>

#include "turtle_writer.hpp"

namespace {

constexpr const char* kDescriptionFile = "stemstrip.ttl";

bool WriteFile(const std::string& path, void (*write)(std::ostream&, const char*), const char* binary) {
    std::ofstream out(path);
    if (out) write(out, binary);
    out.close();
    if (out) return true;
    std::fprintf(stderr, "stemstrip_lv2_turtle: cannot write '%s'\n", path.c_str());
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: stemstrip_lv2_turtle BUNDLE_DIR BINARY_FILE_NAME (got %d arguments)\n", argc - 1);
        return 2;
    }
    const std::string bundle = argv[1];
    const bool ok =
        WriteFile(bundle + "/manifest.ttl",
                  [](std::ostream& o, const char* bin) { stemstrip::lv2::WriteManifest(o, bin, kDescriptionFile); },
                  argv[2]) &&
        WriteFile(bundle + "/" + kDescriptionFile,
                  [](std::ostream& o, const char*) { stemstrip::lv2::WriteDescription(o); }, argv[2]);
    return ok ? 0 : 1;
}
