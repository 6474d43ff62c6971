// The output stage's 32-sample instantiation, which no driver calls: one
// 32-sample call must equal two 16-sample calls, and both must match the
// plain rules (bypass copies, meters hold strict maxima).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "guarded_memory.h"
#include "output/output_meters.h"

namespace {

using stemstrip_test::GuardedArena;

template <int N>
struct Bench {
    GuardedArena arena;
    float* in[N];
    float* out[N];
    float* peaks;  // inputPeaks then outputPeaks, 2N floats ending at a guard
    Dyn_SCoefsBlock* coefs;

    Bench(int samples, int bypass, unsigned seed) {
        peaks = arena.Floats(2 * N);
        coefs = arena.Make<Dyn_SCoefsBlock>();
        coefs->bypass = bypass;
        coefs->inputMeterGain = -1.5f;  // |x * gain|: a magnitude all the same
        for (int c = 0; c < N; ++c) {
            in[c] = arena.Floats(samples);
            out[c] = arena.Floats(samples);
            for (int i = 0; i < samples; ++i) {
                seed = seed * 1664525u + 1013904223u;
                in[c][i] = static_cast<float>(static_cast<int>(seed >> 20) - 2048) / 1024.0f;
                out[c][i] = in[c][i] * -0.375f + 0.0625f;  // "processed"
            }
            peaks[c] = 0.25f * c;  // held values, some above the block
            peaks[N + c] = 0.5f * c;
        }
        // Last sample of the buffer: a meter that took it would keep it.
        in[0][samples - 1] = std::numeric_limits<float>::quiet_NaN();
        out[N - 1][samples - 1] = -std::numeric_limits<float>::quiet_NaN();
    }

    template <int Block>
    void Run(int blockStart) {
        stemstrip::OutputMeters_AlgorithmProcessFunction<N, Block>(in, out, peaks, peaks + N, coefs, blockStart);
    }
};

uint32_t Bits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    return u;
}

template <int N>
void CheckChannelCount() {
    SCOPED_TRACE(testing::Message() << "N = " << N);
    for (int bypass : {0, 1, -5, 3}) {
        SCOPED_TRACE(testing::Message() << "bypass " << bypass);
        const bool copies = bypass >= 1;
        // 64-sample buffers: the 32-sample call at blockStart 32 must reach
        // the guard exactly, and leave samples 0..31 alone.
        Bench<N> one(64, bypass, 5), two(64, bypass, 5), ref(64, bypass, 5);
        one.template Run<32>(32);
        two.template Run<16>(32);
        two.template Run<16>(48);
        for (int c = 0; c < N; ++c) {
            ASSERT_EQ(0, std::memcmp(one.out[c], two.out[c], 64 * sizeof(float))) << "channel " << c;
            float inPeak = ref.peaks[c], outPeak = ref.peaks[N + c];
            for (int i = 0; i < 64; ++i) {
                const float want = i >= 32 && copies ? ref.in[c][i] : ref.out[c][i];
                ASSERT_EQ(Bits(want), Bits(one.out[c][i])) << c << "/" << i;
                if (i < 32) continue;
                const float v = std::fabs(ref.in[c][i] * -1.5f), w = std::fabs(want);
                if (v > inPeak) inPeak = v;  // NaN compares false
                if (w > outPeak) outPeak = w;
            }
            EXPECT_EQ(inPeak, one.peaks[c]);
            EXPECT_EQ(outPeak, one.peaks[N + c]);
        }
        EXPECT_EQ(0, std::memcmp(one.peaks, two.peaks, 2 * N * sizeof(float)));
    }
}

TEST(OutputStage32, EqualsTwo16SampleBlocks) {
    CheckChannelCount<1>();
    CheckChannelCount<2>();
    CheckChannelCount<5>();
    CheckChannelCount<7>();
    CheckChannelCount<8>();
}

}  // namespace
