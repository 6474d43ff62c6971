#include "lilv_host.hpp"

#include "inline_display_extension.h"

#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/presets/presets.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace stemstrip::lv2test {
namespace {

// The URID map lilv's state API needs.
struct UridMap {
    std::vector<std::string> uris;
    LV2_URID_Map map{this, [](LV2_URID_Map_Handle h, const char* uri) -> LV2_URID {
                         auto& uris = static_cast<UridMap*>(h)->uris;
                         const auto it = std::find(uris.begin(), uris.end(), uri);
                         if (it != uris.end()) return static_cast<LV2_URID>(it - uris.begin() + 1);
                         uris.push_back(uri);
                         return static_cast<LV2_URID>(uris.size());
                     }};
};

// The build's bundle only, as the other host tests see it.
struct World {
    World() : world(lilv_world_new()) {
        LilvNode* bundle = lilv_new_file_uri(world, nullptr, STEMSTRIP_LV2_DIR "/stemstrip.lv2/");
        lilv_world_load_bundle(world, bundle);
        lilv_node_free(bundle);
    }
    ~World() { lilv_world_free(world); }
    const LilvPlugin* plugin(const std::string& uri) const {
        LilvNode* node = lilv_new_uri(world, uri.c_str());
        const LilvPlugin* p = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), node);
        lilv_node_free(node);
        if (!p) throw std::runtime_error("lilv finds no plugin " + uri);
        return p;
    }
    LilvWorld* world;
};

struct Ports {
    const LilvPlugin* plugin;
    std::vector<float> values;  // every port's value by index (audio ports' unused)
    UridMap* urids;
    std::string error;          // lilv calls back from C: no exceptions there
};

void SetPortValue(const char* symbol, void* data, const void* value, uint32_t size, uint32_t type) {
    auto* ports = static_cast<Ports*>(data);
    if (type != ports->urids->map.map(ports->urids, LV2_ATOM__Float) || size != sizeof(float)) {
        ports->error += std::string("the value of ") + symbol + " is not a float; ";
        return;
    }
    for (uint32_t i = 0; i < lilv_plugin_get_num_ports(ports->plugin); ++i) {
        const LilvPort* port = lilv_plugin_get_port_by_index(ports->plugin, i);
        if (std::strcmp(lilv_node_as_string(lilv_port_get_symbol(ports->plugin, port)), symbol) == 0) {
            std::memcpy(&ports->values[i], value, sizeof(float));
            return;
        }
    }
    ports->error += std::string("no port ") + symbol + "; ";
}

}  // namespace

std::pair<int, int> PluginVersion(const std::string& pluginUri) {
    World w;
    LilvNode* minor = lilv_new_uri(w.world, LILV_NS_LV2 "minorVersion");
    LilvNode* micro = lilv_new_uri(w.world, LILV_NS_LV2 "microVersion");
    LilvNodes* minors = lilv_plugin_get_value(w.plugin(pluginUri), minor);
    LilvNodes* micros = lilv_plugin_get_value(w.plugin(pluginUri), micro);
    const std::pair<int, int> version{minors ? lilv_node_as_int(lilv_nodes_get_first(minors)) : -1,
                                      micros ? lilv_node_as_int(lilv_nodes_get_first(micros)) : -1};
    lilv_nodes_free(minors);
    lilv_nodes_free(micros);
    lilv_node_free(minor);
    lilv_node_free(micro);
    return version;
}

std::vector<PresetRef> PresetsOf(const std::string& pluginUri) {
    World w;
    LilvNode* presetClass = lilv_new_uri(w.world, LV2_PRESETS__Preset);
    LilvNode* label = lilv_new_uri(w.world, LILV_NS_RDFS "label");
    const LilvPlugin* plugin = w.plugin(pluginUri);
    LilvNodes* related = lilv_plugin_get_related(plugin, presetClass);
    std::vector<PresetRef> out;
    LILV_FOREACH (nodes, i, related) {
        const LilvNode* preset = lilv_nodes_get(related, i);
        lilv_world_load_resource(w.world, preset);
        LilvNode* name = lilv_world_get(w.world, preset, label, nullptr);
        out.push_back({lilv_node_as_uri(preset), name ? lilv_node_as_string(name) : ""});
        lilv_node_free(name);
    }
    lilv_nodes_free(related);
    lilv_node_free(label);
    lilv_node_free(presetClass);
    return out;
}

Audio RenderPresetWithLilv(const PluginCase& plugin, const std::string& presetUri, const Audio& in, int block) {
    World w;
    UridMap urids;
    const LilvPlugin* p = w.plugin(plugin.uri);
    const uint32_t portCount = lilv_plugin_get_num_ports(p);
    Ports ports{p, std::vector<float>(portCount), &urids, {}};
    lilv_plugin_get_port_ranges_float(p, nullptr, nullptr, ports.values.data());  // defaults

    LilvNode* presetNode = lilv_new_uri(w.world, presetUri.c_str());
    lilv_world_load_resource(w.world, presetNode);
    LilvState* state = lilv_state_new_from_world(w.world, &urids.map, presetNode);
    lilv_node_free(presetNode);
    if (!state) throw std::runtime_error("lilv cannot load preset " + presetUri);

    const LV2_Feature mapFeature{LV2_URID__map, &urids.map};
    const LV2_Feature* features[] = {&mapFeature, nullptr};
    LilvInstance* instance = lilv_plugin_instantiate(p, in.sampleRate, features);
    if (!instance) throw std::runtime_error("cannot instantiate " + plugin.uri);
    lilv_state_restore(state, instance, SetPortValue, &ports, 0, features);
    lilv_state_free(state);
    if (!ports.error.empty()) throw std::runtime_error("preset " + presetUri + ": " + ports.error);

    const int channels = static_cast<int>(plugin.ports.size());
    const int firstOut = channels + (plugin.sideChain ? 1 : 0);
    std::vector<std::vector<float>> audioIn(channels, std::vector<float>(block)), audioOut = audioIn;
    for (uint32_t i = 0; i < portCount; ++i) lilv_instance_connect_port(instance, i, &ports.values[i]);
    for (int c = 0; c < channels; ++c) {
        lilv_instance_connect_port(instance, c, audioIn[c].data());
        lilv_instance_connect_port(instance, firstOut + c, audioOut[c].data());
    }
    if (plugin.sideChain) lilv_instance_connect_port(instance, channels, nullptr);

    Audio out{channels, in.sampleRate, std::vector<float>(in.samples.size())};
    lilv_instance_activate(instance);
    for (long at = 0; at < in.frames(); at += block) {
        const int n = static_cast<int>(std::min<long>(block, in.frames() - at));
        for (int c = 0; c < channels; ++c)
            for (int t = 0; t < n; ++t) audioIn[c][t] = in.at(at + t, c);
        lilv_instance_run(instance, n);
        for (int c = 0; c < channels; ++c)
            for (int t = 0; t < n; ++t) out.at(at + t, c) = audioOut[c][t];
    }
    lilv_instance_deactivate(instance);
    lilv_instance_free(instance);
    return out;
}

InlineImage RenderInlineDisplay(const std::string& pluginUri, const std::vector<std::pair<std::string, float>>& controls,
                                uint32_t width, uint32_t maxHeight) {
    World w;
    const LilvPlugin* p = w.plugin(pluginUri);
    std::vector<float> values(lilv_plugin_get_num_ports(p));
    lilv_plugin_get_port_ranges_float(p, nullptr, nullptr, values.data());
    for (const auto& [symbol, value] : controls) {
        LilvNode* node = lilv_new_string(w.world, symbol.c_str());
        values[lilv_port_get_index(p, lilv_plugin_get_port_by_symbol(p, node))] = value;
        lilv_node_free(node);
    }
    int requests = 0;
    LV2_Inline_Display queue{&requests, [](void* h) { ++*static_cast<int*>(h); }};
    const LV2_Feature queueFeature{LV2_INLINEDISPLAY__queue_draw, &queue};
    const LV2_Feature* features[] = {&queueFeature, nullptr};
    LilvInstance* instance = lilv_plugin_instantiate(p, 48000, features);
    if (!instance) throw std::runtime_error("cannot instantiate " + pluginUri);
    std::vector<float> silence(256);
    for (uint32_t i = 0; i < values.size(); ++i) lilv_instance_connect_port(instance, i, &values[i]);
    LilvNode* audio = lilv_new_uri(w.world, LILV_URI_AUDIO_PORT);
    for (uint32_t i = 0; i < values.size(); ++i)
        if (lilv_port_is_a(p, lilv_plugin_get_port_by_index(p, i), audio)) lilv_instance_connect_port(instance, i, silence.data());
    lilv_node_free(audio);
    lilv_instance_activate(instance);
    lilv_instance_run(instance, 256);
    const auto* display =
        static_cast<const LV2_Inline_Display_Interface*>(lilv_instance_get_extension_data(instance, LV2_INLINEDISPLAY__interface));
    if (!display) throw std::runtime_error(pluginUri + " has no inline display");
    const LV2_Inline_Display_Image_Surface* image = display->render(lilv_instance_get_handle(instance), width, maxHeight);
    InlineImage out{image->width, image->height, image->stride,
                    {image->data, image->data + image->stride * image->height}, requests};
    lilv_instance_deactivate(instance);
    lilv_instance_free(instance);
    return out;
}

}  // namespace stemstrip::lv2test
