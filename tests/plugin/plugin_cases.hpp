// The bundle's plugins as the tests expect them, written out independently
// of the plugin's own tables: URI, SDK format, and for each WAV channel
// (= audio port, in index order) its speaker and its channel in the SDK.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "stemstrip/settings.hpp"

namespace stemstrip::lv2test {

struct SpeakerPort {
    std::string symbol;       // of the input port; the output is "out" + the same suffix
    std::string designation;  // local name in the port-groups vocabulary
    int sdkChannel;
};

struct PluginCase {
    std::string uri;
    Format format;
    std::vector<SpeakerPort> ports;
    bool sideChain;  // a key input right after the programme
};

// Side-chain plugins at urn:stemstrip:lv2:FORMAT, plain ones at
// urn:stemstrip:lv2:plain:FORMAT.
inline const std::vector<PluginCase>& PluginCases() {
    const SpeakerPort l{"in_l", "left", 0}, r{"in_r", "right", 1}, c{"in_c", "center", 2};
    const SpeakerPort lfe{"in_lfe", "lowFrequencyEffects", 3};
    struct Layout {
        std::string name;
        Format format;
        std::vector<SpeakerPort> ports;
    };
    // WAV order: back pair and back centre before the side pair; the SDK
    // puts sides first.
    const std::vector<Layout> layouts = {
        {"mono", Format::Mono, {{"in", "center", 0}}},
        {"stereo", Format::Stereo, {l, r}},
        {"lcr", Format::LCR, {l, r, c}},
        {"quad", Format::Quad, {l, r, {"in_ls", "rearLeft", 2}, {"in_rs", "rearRight", 3}}},
        {"lcrs", Format::LCRS, {l, r, c, {"in_s", "rearCenter", 3}}},
        {"5.0", Format::Surround5_0, {l, r, c, {"in_ls", "rearLeft", 3}, {"in_rs", "rearRight", 4}}},
        {"5.1", Format::Surround5_1, {l, r, c, lfe, {"in_ls", "rearLeft", 4}, {"in_rs", "rearRight", 5}}},
        {"6.0", Format::Surround6_0,
         {l, r, c, {"in_cs", "rearCenter", 5}, {"in_ls", "sideLeft", 3}, {"in_rs", "sideRight", 4}}},
        {"6.1", Format::Surround6_1,
         {l, r, c, lfe, {"in_cs", "rearCenter", 6}, {"in_ls", "sideLeft", 4}, {"in_rs", "sideRight", 5}}},
        {"7.0", Format::Surround7_0,
         {l, r, c, {"in_lb", "rearLeft", 5}, {"in_rb", "rearRight", 6}, {"in_ls", "sideLeft", 3},
          {"in_rs", "sideRight", 4}}},
        {"7.1", Format::Surround7_1,
         {l, r, c, lfe, {"in_lb", "rearLeft", 6}, {"in_rb", "rearRight", 7}, {"in_ls", "sideLeft", 4},
          {"in_rs", "sideRight", 5}}},
    };
    static const std::vector<PluginCase> cases = [&] {
        std::vector<PluginCase> all;
        for (bool sideChain : {true, false})
            for (const Layout& f : layouts)
                all.push_back({std::string("urn:stemstrip:lv2:") + (sideChain ? "" : "plain:") + f.name, f.format,
                               f.ports, sideChain});
        return all;
    }();
    return cases;
}

// The case of one URI.
inline const PluginCase& Case(const std::string& uri) {
    for (const PluginCase& p : PluginCases())
        if (p.uri == uri) return p;
    throw std::runtime_error("no plugin case " + uri);
}

}  // namespace stemstrip::lv2test
