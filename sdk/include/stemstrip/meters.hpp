// What the meters show, in dB, as a reader gets it: the maxima of every
// value since that reader's previous read (read-and-clear).
#pragma once

#include <array>
#include <cstdint>

namespace stemstrip {

// Level reported for "nothing above zero", the core's own silence level.
inline constexpr float kMeterFloorDb = -140.0f;

struct MeterSnapshot {
    int channels = 0;
    std::array<float, 8> inputPeakDb{};    // |input x input meter trim|, dBFS
    std::array<float, 8> outputPeakDb{};   // |output|, dBFS
    std::array<float, 8> channelGainDb{};  // highest dynamics gain of the channel's group (makeup excluded)
    float compReductionDb = 0.0f;          // deepest compressor gain reduction, >= 0
    float expReductionDb = 0.0f;           // deepest expander/gate gain reduction, >= 0
    std::int64_t samples = 0;              // samples processed into these values

    // What the SDK kept from the core (see Instance::process):
    std::array<std::int64_t, 8> nonFiniteSamples{};  // per channel: NaN or infinite samples, replaced by 0
    std::int64_t nonFiniteKeySamples = 0;            // the same in the key
    std::int64_t firstNonFiniteSample = -1;          // input sample index of the earliest of them, or -1
    std::int64_t stateResets = 0;           // states that went non-finite anyway and were restarted
    std::int64_t missingKeyCalls = 0;       // calls without a key while detector.externalKey was on
};

}  // namespace stemstrip
