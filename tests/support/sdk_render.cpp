#include "sdk_render.hpp"

#include <algorithm>

namespace stemstrip_test {

Audio SdkRender(stemstrip::Format format, const stemstrip::Settings& settings, const Audio& input,
                const std::vector<int>& order, const std::vector<float>& key, const RenderOptions& options) {
    stemstrip::Settings s = settings;
    s.detector.externalKey = !key.empty();
    stemstrip::Instance strip(format, s, input.sampleRate, options.instance);
    const int n = input.channels;
    const int64_t frames = input.frames(), latency = options.dropLatency ? strip.latency() : 0;
    const int64_t total = frames + latency;
    std::vector<std::vector<float>> in(n, std::vector<float>(total, 0.0f)), out(n, std::vector<float>(total));
    for (int c = 0; c < n; ++c)
        for (int64_t i = 0; i < frames; ++i) in[c][i] = input.at(i, order[c]);
    std::vector<float> paddedKey(key);
    paddedKey.resize(total, 0.0f);
    const int64_t chunk = options.chunk > 0 ? options.chunk : total;
    for (int64_t at = 0; at < total; at += chunk) {
        std::vector<const float*> inPtrs;
        std::vector<float*> outPtrs;
        for (int c = 0; c < n; ++c) inPtrs.push_back(in[c].data() + at);
        for (int c = 0; c < n; ++c) outPtrs.push_back(out[c].data() + at);
        strip.process(inPtrs.data(), outPtrs.data(), static_cast<int>(std::min(chunk, total - at)),
                      key.empty() ? nullptr : paddedKey.data() + at);
    }
    Audio result{input.sampleRate, n, std::vector<float>(input.samples.size())};
    for (int c = 0; c < n; ++c)
        for (int64_t i = 0; i < frames; ++i) result.at(i, order[c]) = out[c][i + latency];
    return result;
}

}  // namespace stemstrip_test
