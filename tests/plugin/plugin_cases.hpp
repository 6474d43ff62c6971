// The bundle's plugins as the tests expect them, written out independently
// of the plugin's own tables: URI, SDK format, and for each WAV channel
// (= audio port, in index order) its speaker and its channel in the SDK.
#pragma once

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
};

inline const std::vector<PluginCase>& PluginCases() {
    static const std::vector<PluginCase> cases = {
        {"urn:stemstrip:lv2:mono", Format::Mono, {{"in", "center", 0}}},
        {"urn:stemstrip:lv2:stereo", Format::Stereo, {{"in_l", "left", 0}, {"in_r", "right", 1}}},
        {"urn:stemstrip:lv2:5.1",
         Format::Surround5_1,
         {{"in_l", "left", 0},
          {"in_r", "right", 1},
          {"in_c", "center", 2},
          {"in_lfe", "lowFrequencyEffects", 3},
          {"in_ls", "rearLeft", 4},
          {"in_rs", "rearRight", 5}}},
        // WAV puts the back pair before the side pair; the SDK sides first.
        {"urn:stemstrip:lv2:7.1",
         Format::Surround7_1,
         {{"in_l", "left", 0},
          {"in_r", "right", 1},
          {"in_c", "center", 2},
          {"in_lfe", "lowFrequencyEffects", 3},
          {"in_lb", "rearLeft", 6},
          {"in_rb", "rearRight", 7},
          {"in_ls", "sideLeft", 4},
          {"in_rs", "sideRight", 5}}},
    };
    return cases;
}

}  // namespace stemstrip::lv2test
