// The bundle's plugins as the tests expect them, written out independently
// of the plugin's own tables: URI, SDK format, and for each WAV channel
// (= audio port, in index order) its speaker and its channel in the SDK.
#pragma once

#include <tuple>
#include <string>
#include <vector>

#include "stemstrip/settings.hpp"

namespace stemstrip::lv2test {

struct SpeakerPort {
    std::string suffix;       // of the port symbols: "in" + suffix, "out" + suffix
    std::string designation;  // local name in the port-groups vocabulary
    int sdkChannel;
};

struct PluginCase {
    std::string uri;
    Format format;
    std::vector<SpeakerPort> ports;
    bool sideChain;  // a key input right after the programme
    int channels() const { return static_cast<int>(ports.size()); }
    std::vector<int> order() const {  // the file channel of each SDK channel
        std::vector<int> o(ports.size());
        for (int w = 0; w < channels(); ++w) o[ports[w].sdkChannel] = w;
        return o;
    }
};

// Side-chain plugins at urn:stemstrip:lv2:FORMAT, plain ones at urn:stemstrip:lv2:plain:FORMAT.
// WAV order: back pair and back centre before the side pair; the SDK puts sides first.
inline const std::vector<PluginCase>& PluginCases() {
    static const std::vector<PluginCase> cases = [] {
        const SpeakerPort l{"_l", "left", 0}, r{"_r", "right", 1}, c{"_c", "center", 2}, lfe{"_lfe", "lowFrequencyEffects", 3};
        const std::vector<std::tuple<std::string, Format, std::vector<SpeakerPort>>> layouts = {
            {"mono", Format::Mono, {{"", "center", 0}}},
            {"stereo", Format::Stereo, {l, r}},
            {"lcr", Format::LCR, {l, r, c}},
            {"quad", Format::Quad, {l, r, {"_ls", "rearLeft", 2}, {"_rs", "rearRight", 3}}},
            {"lcrs", Format::LCRS, {l, r, c, {"_s", "rearCenter", 3}}},
            {"5.0", Format::Surround5_0, {l, r, c, {"_ls", "rearLeft", 3}, {"_rs", "rearRight", 4}}},
            {"5.1", Format::Surround5_1, {l, r, c, lfe, {"_ls", "rearLeft", 4}, {"_rs", "rearRight", 5}}},
            {"6.0", Format::Surround6_0, {l, r, c, {"_cs", "rearCenter", 5}, {"_ls", "sideLeft", 3}, {"_rs", "sideRight", 4}}},
            {"6.1", Format::Surround6_1, {l, r, c, lfe, {"_cs", "rearCenter", 6}, {"_ls", "sideLeft", 4}, {"_rs", "sideRight", 5}}},
            {"7.0", Format::Surround7_0, {l, r, c, {"_lb", "rearLeft", 5}, {"_rb", "rearRight", 6}, {"_ls", "sideLeft", 3}, {"_rs", "sideRight", 4}}},
            {"7.1", Format::Surround7_1,
             {l, r, c, lfe, {"_lb", "rearLeft", 6}, {"_rb", "rearRight", 7}, {"_ls", "sideLeft", 4}, {"_rs", "sideRight", 5}}},
        };
        std::vector<PluginCase> all;
        for (bool sideChain : {true, false})
            for (const auto& [name, format, ports] : layouts)
                all.push_back({std::string("urn:stemstrip:lv2:") + (sideChain ? "" : "plain:") + name, format, ports, sideChain});
        return all;
    }();
    return cases;
}

}  // namespace stemstrip::lv2test
