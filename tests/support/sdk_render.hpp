// The reference render of a file's audio: the SDK's instance, fed and read
// the straightforward way, for tests of programs that should give its bits.
#pragma once

#include <vector>

#include "audio_files.hpp"
#include "stemstrip/instance.hpp"

namespace stemstrip_test {

struct RenderOptions {
    stemstrip::InstanceOptions instance;
    int chunk = 0;              // samples per process call; 0: all at once
    bool dropLatency = true;    // pad the input and drop the output's first latency() samples
};

// Strip channel c takes file channel order[c] and gives it back there; `key`
// (empty: none) is the detector's key, one sample per frame.
Audio SdkRender(stemstrip::Format format, const stemstrip::Settings& settings, const Audio& input,
                const std::vector<int>& order, const std::vector<float>& key = {}, const RenderOptions& options = {});

}  // namespace stemstrip_test
