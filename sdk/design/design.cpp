// Settings to the core's coefficient blocks.
#include "stemstrip/design.hpp"

#include <cmath>

#include "dynamics_design.hpp"
#include "eq_design.hpp"
#include "time_constants.hpp"

namespace stemstrip {

CoefficientSet Design(const Settings& s, Format f, double sampleRate) {
    Validate(s, f, sampleRate);
    CoefficientSet out{};
    out.eq = design::DesignEq(s.bands, sampleRate);
    design::DesignCompressor(s.compressor, sampleRate, out.dyn);
    design::DesignExpander(s.expander, sampleRate, out.dyn);
    design::DesignDetector(s.detector, sampleRate, out.dyn);
    const std::array<int, 8> groups = s.channelGroups.value_or(DefaultChannelGroups(f));
    for (int c = 0; c < Dyn_kMaxChannels; ++c) out.dyn.channelGroup[c] = c < ChannelCount(f) ? groups[c] : 0;
    out.dyn.inputMeterGain = static_cast<float>(std::pow(10.0, s.inputMeterTrimDb / 20.0));
    out.dyn.bypass = s.bypass ? 1 : 0;
    // The core glides once per 4-sample sub-block.
    out.dezipRate = design::SmoothingFactor(s.smoothingMs, sampleRate, 4);
    return out;
}

}  // namespace stemstrip
