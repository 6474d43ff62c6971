// The door between host audio and the core. The core is exact, so a NaN or
// an infinity that reaches its filter and envelope memories stays there for
// good (the compressor switched off, every later EQ sample NaN). The SDK
// therefore replaces non-finite programme and key samples by 0 on their way
// in, in its own copies (never in the caller's buffers), and counts them.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace stemstrip::runtime {

inline bool NonFinite(float x) { return (std::bit_cast<std::uint32_t>(x) & 0x7f800000u) == 0x7f800000u; }

// What a scan of one call's inputs found: how many non-finite samples in
// each channel (then the key), and the index within the call of the
// earliest one.
struct NonFiniteScan {
    std::array<int, 9> perInput{};
    int count = 0;
    int first = 0;
};

// Every channel and the key (may be null) over n samples. Branch-free over
// the samples, so it costs a fraction of the core's work on the same data.
NonFiniteScan ScanNonFinite(const float* const* channels, int channelCount, const float* key, int n);

// Copies n samples with every non-finite one replaced by 0.
void CopyFinite(float* to, const float* from, int n);

}  // namespace stemstrip::runtime
