#include "sdk_render.hpp"

#include <algorithm>

namespace stemstrip::lv2test {

Audio RenderWithSdk(const PluginCase& plugin, const Settings& settings, const Audio& in, InstanceOptions options,
                    int chunk, int keyChannel) {
    const int channels = static_cast<int>(plugin.ports.size());
    // Aligned instances take whole 16-frame blocks: pad with silence.
    const long frames = in.frames();
    const long padded = options.alignedBlocks ? (frames + 15) / 16 * 16 : frames;
    std::vector<std::vector<float>> planesIn(channels, std::vector<float>(padded)),
        planesOut(channels, std::vector<float>(padded));
    std::vector<float> key(padded);
    for (long t = 0; t < frames; ++t) {
        for (int w = 0; w < channels; ++w) planesIn[plugin.ports[w].sdkChannel][t] = in.at(t, w);
        if (keyChannel >= 0) key[t] = in.at(t, keyChannel);
    }

    Instance strip(plugin.format, settings, in.sampleRate, options);
    for (long at = 0; at < padded; at += chunk) {
        const int n = static_cast<int>(std::min<long>(chunk, padded - at));
        std::vector<const float*> inputs;
        std::vector<float*> outputs;
        for (int c = 0; c < channels; ++c) {
            inputs.push_back(planesIn[c].data() + at);
            outputs.push_back(planesOut[c].data() + at);
        }
        strip.process(inputs.data(), outputs.data(), n, keyChannel >= 0 ? key.data() + at : nullptr);
    }

    Audio out{channels, in.sampleRate, std::vector<float>(frames * channels)};
    for (long t = 0; t < frames; ++t)
        for (int w = 0; w < channels; ++w) out.at(t, w) = planesOut[plugin.ports[w].sdkChannel][t];
    return out;
}

}  // namespace stemstrip::lv2test
