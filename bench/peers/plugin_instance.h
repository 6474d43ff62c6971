// One instantiated LV2 plugin, wired up so it can run: every control port
// has storage (its default unless set), event ports get empty sequences,
// audio inputs beyond the programme channels (side chains) hear silence.
#pragma once

#include <lilv/lilv.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host_features.h"

namespace peers {

// The plugin's bundle is not installed (as opposed to a plugin that is there
// but was set up wrongly, which throws a plain std::runtime_error).
struct PluginMissing : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class PluginInstance {
public:
    // Throws PluginMissing, or std::runtime_error when it will not instantiate.
    PluginInstance(LilvWorld* world, HostFeatures& host, const std::string& uri, double sampleRate,
                   int maxBlockLength);
    ~PluginInstance();
    PluginInstance(const PluginInstance&) = delete;
    PluginInstance& operator=(const PluginInstance&) = delete;

    // Throws when the plugin has no control input of that symbol or the value
    // is outside the port's declared range, so a setting can never silently
    // miss or be clamped into something else.
    void SetControl(std::string_view symbol, float value);

    int AudioInputs() const { return static_cast<int>(audioIn_.size()); }
    int AudioOutputs() const { return static_cast<int>(audioOut_.size()); }

    // Programme inputs 0..channels-1 and outputs; further inputs stay silent.
    void ConnectAudio(const float* const* inputs, float* const* outputs, int channels);
    void Run(int samples);

private:
    struct EventBuffer;

    LilvInstance* instance_ = nullptr;
    struct ControlInput {
        std::string symbol;
        uint32_t port;
        float minimum, maximum;  // NaN when the plugin declares none
    };
    std::vector<ControlInput> controlInputs_;
    std::vector<float> controls_;                                  // indexed by port
    std::vector<uint32_t> audioIn_, audioOut_;
    std::vector<float> silence_;
    std::vector<std::unique_ptr<EventBuffer>> eventOutputs_, eventInputs_;
};

}  // namespace peers
