#include "plugin_instance.h"

#include <lv2/atom/atom.h>

#include <cmath>
#include <stdexcept>

namespace peers {

namespace {

constexpr uint32_t kEventCapacity = 8192;

struct Node {
    explicit Node(LilvNode* n) : node(n) {}
    ~Node() { lilv_node_free(node); }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    LilvNode* node;
};

}  // namespace

// An atom sequence port buffer: empty for inputs; for outputs, reset to its
// full capacity before every run as LV2 asks of hosts.
struct PluginInstance::EventBuffer {
    uint32_t port;
    LV2_URID sequenceType, chunkType;
    alignas(8) unsigned char bytes[kEventCapacity];
    LV2_Atom_Sequence* Sequence() { return reinterpret_cast<LV2_Atom_Sequence*>(bytes); }
    void MakeEmptyInput() {
        Sequence()->atom = {sizeof(LV2_Atom_Sequence_Body), sequenceType};
        Sequence()->body = {0, 0};
    }
    void MakeOutputSpace() { Sequence()->atom = {kEventCapacity - sizeof(LV2_Atom), chunkType}; }
};

PluginInstance::PluginInstance(LilvWorld* world, HostFeatures& host, const std::string& uri,
                               double sampleRate, int maxBlockLength)
    : silence_(maxBlockLength, 0.0f) {
    Node uriNode(lilv_new_uri(world, uri.c_str()));
    const LilvPlugin* plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), uriNode.node);
    if (!plugin) throw PluginMissing("not installed: " + uri);

    Node audio(lilv_new_uri(world, LV2_CORE__AudioPort)), control(lilv_new_uri(world, LV2_CORE__ControlPort));
    Node input(lilv_new_uri(world, LV2_CORE__InputPort)), atom(lilv_new_uri(world, LV2_ATOM__AtomPort));
    const uint32_t ports = lilv_plugin_get_num_ports(plugin);
    std::vector<float> defaults(ports, NAN), minimums(ports, NAN), maximums(ports, NAN);
    lilv_plugin_get_port_ranges_float(plugin, minimums.data(), maximums.data(), defaults.data());
    controls_.assign(ports, 0.0f);

    instance_ = lilv_plugin_instantiate(plugin, sampleRate, host.List());
    if (!instance_) throw std::runtime_error("would not instantiate: " + uri);

    for (uint32_t p = 0; p < ports; ++p) {
        const LilvPort* port = lilv_plugin_get_port_by_index(plugin, p);
        const bool isInput = lilv_port_is_a(plugin, port, input.node);
        if (lilv_port_is_a(plugin, port, control.node)) {
            controls_[p] = !std::isnan(defaults[p]) ? defaults[p] : !std::isnan(minimums[p]) ? minimums[p] : 0.0f;
            lilv_instance_connect_port(instance_, p, &controls_[p]);
            if (isInput)
                controlInputs_.push_back(
                    {lilv_node_as_string(lilv_port_get_symbol(plugin, port)), p, minimums[p], maximums[p]});
        } else if (lilv_port_is_a(plugin, port, audio.node)) {
            (isInput ? audioIn_ : audioOut_).push_back(p);
        } else if (lilv_port_is_a(plugin, port, atom.node)) {
            auto buffer = std::make_unique<EventBuffer>();
            buffer->port = p;
            buffer->sequenceType = host.Map(LV2_ATOM__Sequence);
            buffer->chunkType = host.Map(LV2_ATOM__Chunk);
            if (isInput)
                buffer->MakeEmptyInput();
            else
                buffer->MakeOutputSpace();
            lilv_instance_connect_port(instance_, p, buffer->bytes);
            (isInput ? eventInputs_ : eventOutputs_).push_back(std::move(buffer));
        } else {
            lilv_instance_connect_port(instance_, p, nullptr);  // optional ports we do not use
        }
    }
    lilv_instance_activate(instance_);
}

PluginInstance::~PluginInstance() {
    lilv_instance_deactivate(instance_);
    lilv_instance_free(instance_);
}

void PluginInstance::SetControl(std::string_view symbol, float value) {
    for (const ControlInput& c : controlInputs_)
        if (c.symbol == symbol) {
            // NaN bounds (none declared) compare false and let any value through.
            if (value < c.minimum || value > c.maximum)
                throw std::runtime_error("control '" + c.symbol + "' = " + std::to_string(value) + " is outside [" +
                                         std::to_string(c.minimum) + ", " + std::to_string(c.maximum) + "]");
            controls_[c.port] = value;
            return;
        }
    throw std::runtime_error("no control input '" + std::string(symbol) + "'");
}

void PluginInstance::ConnectAudio(const float* const* inputs, float* const* outputs, int channels) {
    for (size_t i = 0; i < audioIn_.size(); ++i)
        lilv_instance_connect_port(instance_, audioIn_[i],
                                   const_cast<float*>(static_cast<int>(i) < channels ? inputs[i] : silence_.data()));
    for (size_t i = 0; i < audioOut_.size(); ++i) lilv_instance_connect_port(instance_, audioOut_[i], outputs[i]);
}

void PluginInstance::Run(int samples) {
    for (auto& buffer : eventOutputs_) buffer->MakeOutputSpace();
    lilv_instance_run(instance_, static_cast<uint32_t>(samples));
}

}  // namespace peers
