#include "fuzz_case.h"

namespace fuzzcase {

void SizeBuffers(scenario::Scenario& s, scenario::Instance& in) {
    const int32_t count = s.counts[in.countSlot];
    const size_t samples = count < 1 ? 16 : static_cast<size_t>(count + 15) / 16 * 16;
    const size_t length = samples + scenario::kCanaryFloats;
    auto size = [&](std::vector<float>& b, float stale) {
        b.resize(length, stale);
        for (size_t i = samples; i < length; ++i) b[i] = 1000.25f + static_cast<float>(i);
    };
    in.inBufs.resize(in.formatChannels + in.extraInputs);
    for (auto& b : in.inBufs) size(b, 0.0f);
    // Stale host content in the outputs: the library overwrites the whole
    // rounded length, or nothing when it skips the instance.
    in.outBufs.resize(in.inPlace ? 0 : in.formatChannels);
    for (auto& b : in.outBufs) size(b, -7.5f);
}

}  // namespace fuzzcase
