// The LV2 entry: one descriptor per plugin, all on StripPlugin.
// Only lv2_descriptor leaves the binary (see exports.map).
#include <lv2/core/lv2.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "strip_plugin.hpp"

namespace stemstrip::lv2 {
namespace {

StripPlugin* Self(LV2_Handle h) { return static_cast<StripPlugin*>(h); }

const Plugin& PluginOf(const LV2_Descriptor* d);

const LV2_Inline_Display* InlineHost(const LV2_Feature* const* features) {
    for (int i = 0; features && features[i]; ++i)
        if (std::strcmp(features[i]->URI, LV2_INLINEDISPLAY__queue_draw) == 0)
            return static_cast<const LV2_Inline_Display*>(features[i]->data);
    return nullptr;
}

LV2_Handle Instantiate(const LV2_Descriptor* d, double rate, const char*, const LV2_Feature* const* features) {
    try {
        return new StripPlugin(PluginOf(d), rate, InlineHost(features));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: cannot instantiate: %s\n", d->URI, e.what());
        return nullptr;
    }
}

void ConnectPort(LV2_Handle h, uint32_t port, void* data) { Self(h)->connect(port, data); }
void Activate(LV2_Handle h) { Self(h)->activate(); }
void Run(LV2_Handle h, uint32_t n) { Self(h)->run(n); }
void Cleanup(LV2_Handle h) { delete Self(h); }
LV2_Inline_Display_Image_Surface* RenderInline(LV2_Handle h, uint32_t w, uint32_t maxH) {
    return Self(h)->inlineDisplay().render(w, maxH);
}

const void* ExtensionData(const char* uri) {
    static const LV2_Inline_Display_Interface inlineDisplay{RenderInline};
    return std::strcmp(uri, LV2_INLINEDISPLAY__interface) == 0 ? &inlineDisplay : nullptr;
}

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
