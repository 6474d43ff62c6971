// The core never touches the floating-point environment: whatever rounding
// and flush-to-zero mode the host's audio thread runs in, every entry
// returns with the control bits as they were. (Status flags are sticky and
// may be raised by any arithmetic; they are not part of the mode.)
#include <gtest/gtest.h>

#include <limits>

#include "core_bank.h"

#if defined(__SSE__)
#include <pmmintrin.h>
#include <xmmintrin.h>

namespace {

constexpr unsigned kStatusFlags = 0x3F;

TEST(FloatingPointMode, EveryEntryLeavesTheCallersModeAlone) {
    const unsigned defaultMode = _mm_getcsr() & ~kStatusFlags;
    const unsigned flush = _MM_FLUSH_ZERO_ON | _MM_DENORMALS_ZERO_ON;
    const unsigned modes[] = {defaultMode, defaultMode | flush,
                              (defaultMode & ~_MM_ROUND_MASK) | _MM_ROUND_TOWARD_ZERO,
                              (defaultMode & ~_MM_ROUND_MASK) | _MM_ROUND_UP | flush};
    stemstrip::Settings s;
    s.compressor = {.thresholdDb = -30.0, .ratio = 4.0};
    s.bands[0] = {.enabled = true, .gainDb = 6.0};
    for (int fi = 0; fi < stemstrip::kFormatCount; ++fi) {
        const auto f = static_cast<stemstrip::Format>(fi);
        robustness::CoreBank bank(f, stemstrip::Design(s, f, 48000.0), 1, 64);
        for (int c = 0; c < bank.channels(); ++c)
            for (int i = 0; i < 64; ++i)
                bank.input(0, c)[i] = i % 3 ? std::numeric_limits<float>::denorm_min() * static_cast<float>(i) : 0.5f;
        for (unsigned mode : modes) {
            _mm_setcsr(mode);
            bank.call();
            const unsigned after = _mm_getcsr();
            _mm_setcsr(defaultMode);
            EXPECT_EQ(after & ~kStatusFlags, mode) << stemstrip::FormatName(f) << " in mode " << std::hex << mode;
        }
    }
}

}  // namespace
#endif
