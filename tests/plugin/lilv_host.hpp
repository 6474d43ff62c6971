// The tests' own host, built on lilv: loads the build's bundle as any LV2
// host would, instantiates a plugin with the features a test offers, owns
// every port's buffer, restores presets through lilv's state API.
#pragma once

#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "audio_files.hpp"
#include "plugin_cases.hpp"

namespace stemstrip::lv2test {

struct Lilv {
    LilvWorld* world = lilv_world_new();
    std::vector<std::string> uris;  // URID n is uris[n - 1]
    LV2_URID_Map map{this, [](LV2_URID_Map_Handle h, const char* uri) -> LV2_URID {
                         auto& uris = static_cast<Lilv*>(h)->uris;
                         if (std::find(uris.begin(), uris.end(), uri) == uris.end()) uris.push_back(uri);
                         return static_cast<LV2_URID>(std::find(uris.begin(), uris.end(), uri) - uris.begin() + 1);
                     }};
    Lilv() {
        LilvNode* bundle = lilv_new_file_uri(world, nullptr, STEMSTRIP_LV2_DIR "/stemstrip.lv2/");
        lilv_world_load_bundle(world, bundle);
        lilv_node_free(bundle);
    }
    const LilvPlugin* plugin(const std::string& uri) {
        LilvNode* node = lilv_new_uri(world, uri.c_str());
        const LilvPlugin* p = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), node);
        lilv_node_free(node);
        if (!p) throw std::runtime_error("lilv finds no plugin " + uri);
        return p;
    }
};
inline Lilv& World() {
    static Lilv world;
    return world;
}

// One instance: control ports at their defaults, audio inputs and the key
// (side-chain plugins) on buffers of silence.
class LilvHost {
public:
    LilvHost(const PluginCase& p, double rate, int maxBlock, const LV2_Feature* const* features)
        : plugin_(World().plugin(p.uri)), values_(lilv_plugin_get_num_ports(plugin_)),
          audio_(2 * p.channels() + 1, std::vector<float>(maxBlock)), channels_(p.channels()) {
        lilv_plugin_get_port_ranges_float(plugin_, nullptr, nullptr, values_.data());
        instance = lilv_plugin_instantiate(plugin_, rate, features);
        if (!instance) throw std::runtime_error("cannot instantiate " + p.uri);
        for (uint32_t i = 0; i < values_.size(); ++i) lilv_instance_connect_port(instance, i, &values_[i]);
        for (int c = 0; c < 2 * channels_ + p.sideChain; ++c)
            lilv_instance_connect_port(instance, c, audio_[c + (!p.sideChain && c >= channels_)].data());
    }
    ~LilvHost() {
        if (active_) lilv_instance_deactivate(instance);
        lilv_instance_free(instance);
    }
    // Any port but audio, outputs included.
    float& port(const std::string& symbol) {
        LilvNode* node = lilv_new_string(World().world, symbol.c_str());
        const LilvPort* port = lilv_plugin_get_port_by_symbol(plugin_, node);
        lilv_node_free(node);
        return values_.at(port ? lilv_port_get_index(plugin_, port) : values_.size());  // throws for no such port
    }
    void restore(const std::string& presetUri) {
        LilvNode* preset = lilv_new_uri(World().world, presetUri.c_str());
        LilvState* state = lilv_state_new_from_world(World().world, &World().map, preset);
        lilv_node_free(preset);
        if (!state) throw std::runtime_error("lilv cannot load preset " + presetUri);
        lilv_state_restore(state, instance, [](const char* symbol, void* self, const void* value, uint32_t size, uint32_t type) {
            if (size == sizeof(float) && type == World().map.map(World().map.handle, LV2_ATOM__Float))
                std::memcpy(&static_cast<LilvHost*>(self)->port(symbol), value, sizeof(float));
            else
                static_cast<LilvHost*>(self)->error_ += std::string(symbol) + " is no float; ";
        }, this, 0, nullptr);
        lilv_state_free(state);
        if (!error_.empty()) throw std::runtime_error(presetUri + ": " + error_);
    }
    void activate() { lilv_instance_activate(instance), active_ = true; }
    float* in(int c) { return audio_[c].data(); }  // the key: in(channels)
    const float* out(int c) const { return audio_[channels_ + 1 + c].data(); }
    void run(int n) { lilv_instance_run(instance, static_cast<uint32_t>(n)); }

    // File-sized audio, one block after another.
    stemstrip_test::Audio render(const stemstrip_test::Audio& input) {
        if (!active_) activate();
        stemstrip_test::Audio output{input.sampleRate, channels_, std::vector<float>(input.samples.size())};
        const long block = static_cast<long>(audio_[0].size());
        for (long at = 0; at < input.frames(); at += block) {
            const long n = std::min(block, input.frames() - at);
            for (int c = 0; c < channels_; ++c)
                for (long t = 0; t < n; ++t) in(c)[t] = input.at(at + t, c);
            run(static_cast<int>(n));
            for (int c = 0; c < channels_; ++c)
                for (long t = 0; t < n; ++t) output.at(at + t, c) = out(c)[t];
        }
        return output;
    }
    ::LilvInstance* instance;

private:
    const LilvPlugin* plugin_;
    std::vector<float> values_;
    std::vector<std::vector<float>> audio_;  // inputs, key, outputs
    int channels_;
    bool active_ = false;
    std::string error_;
};

}  // namespace stemstrip::lv2test
