// The tests' own host, built on lilv: loads the build's bundle as any LV2
// host would, instantiates a plugin with the features a test offers and owns
// every port's buffer.
#pragma once

#include <lilv/lilv.h>

#include <stdexcept>

#include "plugin_cases.hpp"

namespace stemstrip::lv2test {

// The build's bundle, loaded once into a lilv world of its own.
inline LilvWorld* World() {
    static LilvWorld* const world = [] {
        LilvWorld* w = lilv_world_new();
        LilvNode* bundle = lilv_new_file_uri(w, nullptr, STEMSTRIP_LV2_DIR "/stemstrip.lv2/");
        lilv_world_load_bundle(w, bundle);
        lilv_node_free(bundle);
        return w;
    }();
    return world;
}
inline const LilvPlugin* PluginOf(const std::string& uri) {
    LilvNode* node = lilv_new_uri(World(), uri.c_str());
    const LilvPlugin* p = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(World()), node);
    lilv_node_free(node);
    if (!p) throw std::runtime_error("lilv finds no plugin " + uri);
    return p;
}

// One active instance: control ports at their defaults, audio inputs and the
// key (side-chain plugins) on buffers of silence.
struct LilvHost {
    LilvHost(const PluginCase& p, double rate, int maxBlock, const LV2_Feature* const* features)
        : plugin(PluginOf(p.uri)), values(lilv_plugin_get_num_ports(plugin)), audio(2 * p.channels() + 1, std::vector<float>(maxBlock)) {
        lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, values.data());
        instance = lilv_plugin_instantiate(plugin, rate, features);
        if (!instance) throw std::runtime_error("cannot instantiate " + p.uri);
        for (uint32_t i = 0; i < values.size(); ++i) lilv_instance_connect_port(instance, i, &values[i]);
        for (int c = 0; c < 2 * p.channels() + p.sideChain; ++c)
            lilv_instance_connect_port(instance, c, audio[c + (!p.sideChain && c >= p.channels())].data());
        lilv_instance_activate(instance);
    }
    ~LilvHost() {
        lilv_instance_deactivate(instance);
        lilv_instance_free(instance);
    }
    // Any port but audio, outputs included.
    float& port(const std::string& symbol) {
        LilvNode* node = lilv_new_string(World(), symbol.c_str());
        const LilvPort* port = lilv_plugin_get_port_by_symbol(plugin, node);
        lilv_node_free(node);
        return values.at(port ? lilv_port_get_index(plugin, port) : values.size());  // throws for no such port
    }

    const LilvPlugin* plugin;
    std::vector<float> values;               // every port's, audio ones unused
    std::vector<std::vector<float>> audio;   // inputs, the key, outputs
    LilvInstance* instance;
};

}  // namespace stemstrip::lv2test
