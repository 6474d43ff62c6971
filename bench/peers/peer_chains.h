// The alternative plugin chains our users weigh against the strip, each set
// up as close as the plugin allows to the benchmarks' full strip: 8 EQ bands
// (high-pass 30 Hz, low shelf 100 Hz +3 dB, bells 400 Hz -2 dB, 1.2 kHz +2 dB,
// 3 kHz -1.5 dB, 6 kHz +2 dB, high shelf 10 kHz +2 dB, low-pass 18 kHz),
// compressor 4:1 at -20 dB with a 6 dB knee, 10/100 ms, and an expander/gate
// at -60 dB with 80 dB range, 1/100 ms. Stereo, 48 kHz.
#pragma once

#include <string>
#include <vector>

namespace peers {

struct Control {
    std::string symbol;
    float value;
};

struct Stage {
    std::string uri;
    std::vector<Control> controls;
};

struct ChainSpec {
    std::string name;
    std::string caveat;  // where the chain differs from the strip's settings
    std::vector<Stage> stages;
};

std::vector<ChainSpec> PeerChains();

}  // namespace peers
