// The LV2 entry: one descriptor per plugin, all on StripPlugin.
// Only lv2_descriptor leaves the binary (see exports.map).
#include <lv2/core/lv2.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "strip_plugin.hpp"

namespace stemstrip::lv2 {
namespace {

StripPlugin* Self(LV2_Handle h) { return static_cast<StripPlugin*>(h); }

const Plugin& PluginOf(const LV2_Descriptor* d);

LV2_Handle Instantiate(const LV2_Descriptor* d, double rate, const char*, const LV2_Feature* const*) {
    try {
        return new StripPlugin(PluginOf(d), rate);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: cannot instantiate: %s\n", d->URI, e.what());
        return nullptr;
    }
}

void ConnectPort(LV2_Handle h, uint32_t port, void* data) { Self(h)->connect(port, data); }
void Activate(LV2_Handle h) { Self(h)->activate(); }
void Run(LV2_Handle h, uint32_t n) { Self(h)->run(n); }
void Cleanup(LV2_Handle h) { delete Self(h); }
const void* ExtensionData(const char*) { return nullptr; }

struct Descriptors {
    Descriptors() {
        for (const Plugin& p : Plugins()) uris.push_back(PluginUri(p));
        for (const std::string& uri : uris)
            table.push_back({uri.c_str(), Instantiate, ConnectPort, Activate, Run, nullptr, Cleanup, ExtensionData});
    }
    std::vector<std::string> uris;
    std::vector<LV2_Descriptor> table;
};

const Descriptors& All() {
    static const Descriptors d;
    return d;
}

const Plugin& PluginOf(const LV2_Descriptor* d) { return Plugins()[d - All().table.data()]; }

}  // namespace
}  // namespace stemstrip::lv2

extern "C" LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t index) {
    using stemstrip::lv2::All;
    return index < All().table.size() ? &All().table[index] : nullptr;
}
