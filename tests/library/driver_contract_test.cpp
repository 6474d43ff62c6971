// The driver's contract, observed only through the exported entries, on
// contexts whose every block ends at a guard page: any access past a block,
// any write to a read-only block, crashes the test.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <algorithm>
#include <vector>

#include "guarded_memory.h"
#include "stemstrip.h"

namespace {

using stemstrip_test::GuardedArena;
using stemstrip_test::GuardedStrip;

struct Format {
    const char* name;
    AlgEntry_Fn entry;
    int n, g;
};

const Format kFormats[] = {
    {"Mono", AlgEntry_16_Stem_Mono, 1, 1}, {"Stereo", AlgEntry_16_Stem_Stereo, 2, 1},
    {"LCR", AlgEntry_16_Stem_LCR, 3, 2},   {"Quad", AlgEntry_16_Stem_Quad, 4, 2},
    {"LCRS", AlgEntry_16_Stem_LCRS, 4, 3}, {"5.0", AlgEntry_16_Stem_5_0, 5, 3},
    {"5.1", AlgEntry_16_Stem_5_1, 6, 4},   {"6.0", AlgEntry_16_Stem_6_0, 6, 4},
    {"6.1", AlgEntry_16_Stem_6_1, 7, 5},   {"7.0", AlgEntry_16_Stem_7_0, 7, 4},
    {"7.1", AlgEntry_16_Stem_7_1, 8, 5},
};

// The gain of neutral dynamics: two 0 dB factors, each 1.0000013f.
const float kUnity = 1.0000013f * 1.0000013f;

uint32_t Bits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    return u;
}

struct Rng {
    uint32_t s;
    float Next() {  // uniform in [-1, 1)
        s ^= s << 13;
        s ^= s >> 17;
        s ^= s << 5;
        return static_cast<float>(static_cast<int32_t>(s) >> 8) / 8388608.0f;
    }
};

// Everything moving at once: gliding EQ in both stages, compressor, gate
// with hold, output gain smoothing, a filtered outside key on inputs[N],
// channels spread over all group slots, input meter gain.
void Busy(GuardedStrip& s, int groups, uint32_t seed) {
    Rng rng{seed};
    s.FillInputs([&](int, int) { return rng.Next(); });
    const float section[5] = {0.5f, 0.2f, 0.1f, 0.3f, -0.2f};
    for (int k = 0; k < 4; ++k)
        for (int j = 0; j < 5; ++j) s.EqTarget().coefs[5 * k + j] = section[j] * (1.0f + 0.25f * k);
    s.EqTarget().sectionBegin[0] = 0;
    s.EqTarget().sectionEnd[0] = 2;
    s.EqTarget().sectionBegin[1] = 2;
    s.EqTarget().sectionEnd[1] = 4;
    s.DynState()[0].dezipRate = 0.3f;

    Dyn_SCoefsBlock& d = s.Dyn();
    d.compSlope = -0.5f;
    d.compThresholdDb = d.compKneeTopDb = d.compKneeBottomDb = -20.0f;
    d.compFloorDbTarget = -60.0f;
    d.compAttackCoef = 0.3f;
    d.compReleaseCoef = 0.05f;
    d.outputGainTarget = 0.8f;
    d.expSlope = 1.0f;
    d.expThresholdDb = d.expKneeBottomDb = d.expKneeTopDb = -30.0f;
    d.expRangeDbTarget = -30.0f;
    d.gateOpenThresholdDb = -12.0f;
    d.gateCloseThresholdDb = -18.0f;
    d.expAttackCoef = 0.5f;
    d.expReleaseCoef = 0.1f;
    d.holdSamples = 5;
    d.peakDecay = 0.9f;
    d.detFilterB0 = 0.9f;
    d.detFilterB1 = -0.9f;
    d.detFilterA1 = 0.8f;
    d.levelB0 = 0.2f;
    d.levelA1 = 0.8f;
    d.keySource = 1;
    d.inputMeterGain = -0.7f;  // metered as |x * gain|, so still a magnitude
    for (int c = 0; c < s.Channels(); ++c) d.channelGroup[c] = (c * 3) % groups;
    s.KeyIndex() = s.Channels();
}

GuardedStrip* MakeBusy(int n, int g, int count, uint32_t seed, bool unaligned = false) {
    GuardedStrip* s = new GuardedStrip(n, count, 1, unaligned);
    Busy(*s, g, seed);
    return s;
}

TEST(DriverContract, EmptyArrayTouchesNothing) {
    for (const Format& f : kFormats) {
        SCOPED_TRACE(f.name);
        // begin == end at a guard page: reading *begin would crash.
        GuardedArena arena;
        SChannelStrip_Alg_Context** none = arena.Make<SChannelStrip_Alg_Context*>(0);
        f.entry(none, none);

        // begin == end in front of a real context: that context stays as is.
        GuardedStrip s(f.n, 16, 1);
        Busy(s, f.g, 7);
        const auto before = s.Mutable();
        SChannelStrip_Alg_Context* array[1] = {s.Context()};
        s.Seal();
        f.entry(array, array);
        s.Unseal();
        EXPECT_EQ(before, s.Mutable());
    }
}

TEST(DriverContract, CountBelowOneSkipsOnlyThatContext) {
    for (const Format& f : kFormats) {
        for (int32_t count : {0, -1, std::numeric_limits<int32_t>::min()}) {
            SCOPED_TRACE(testing::Message() << f.name << " count " << count);
            GuardedStrip a(f.n, 16, 1), b(f.n, 16, 1), c(f.n, 32, 1);
            GuardedStrip aTwin(f.n, 16, 1), cTwin(f.n, 32, 1);
            Busy(a, f.g, 1), Busy(aTwin, f.g, 1), Busy(b, f.g, 2), Busy(c, f.g, 3), Busy(cTwin, f.g, 3);
            b.SampleCount() = count;
            const auto aBefore = a.Mutable(), bBefore = b.Mutable();
            // A skipped context may read its header, the count and the key
            // index; any other access crashes.
            b.RevokeAllButHeader();
            GuardedStrip::CallAll(f.entry, {&a, &b, &c});
            aTwin.Call(f.entry);
            cTwin.Call(f.entry);
            EXPECT_EQ(bBefore, b.Mutable()) << "skipped context changed (glide, states, meters or outputs)";
            EXPECT_EQ(aTwin.Mutable(), a.Mutable()) << "neighbour before the skipped context";
            EXPECT_EQ(cTwin.Mutable(), c.Mutable()) << "neighbour after the skipped context";
            EXPECT_NE(aBefore, a.Mutable()) << "neighbour not processed";
        }
    }
}

TEST(DriverContract, WholeBlocksGlideStepsAndMeterPasses) {
    // Targets 1 from smoothed 0 at rate 0.5: k glide steps leave 1 - 0.5^k,
    // exactly. Record 0's rate is the only one read.
    struct Case {
        int32_t count;
        int blocks;
    };
    for (Case t : {Case{1, 1}, Case{16, 1}, Case{17, 2}, Case{20, 2}, Case{32, 2}, Case{33, 3}}) {
        SCOPED_TRACE(testing::Message() << "count " << t.count);
        const int buffer = 16 * t.blocks;
        GuardedStrip s(2, buffer);  // buffer exactly as long as the blocks run
        s.SampleCount() = t.count;
        for (int i = 0; i < EQ_kCoefCount; ++i) s.EqTarget().coefs[i] = 1.0f;  // ranges stay empty
        s.DynState()[0].dezipRate = 0.5f;
        s.DynState()[1].dezipRate = 0.125f;
        // Quiet everywhere except the last sample of the last block.
        s.FillInputs([&](int c, int i) { return i == buffer - 1 ? (c ? -0.75f : 0.5f) : 0.0625f * (c + 1); });
        s.Call(AlgEntry_16_Stem_Stereo);

        const double want = 1.0 - std::ldexp(1.0, -4 * t.blocks);
        for (int i = 0; i < EQ_kCoefCount; ++i) {
            ASSERT_EQ(static_cast<float>(want), s.EqCoefs().coefs[i]) << "slot " << i;
            ASSERT_EQ(want, s.EqCoefs().accum[i]) << "slot " << i;
        }
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < buffer; ++i) ASSERT_EQ(s.In(c)[i] * kUnity, s.Out(c)[i]) << c << "/" << i;
        // The last block was metered.
        EXPECT_EQ(0.5f, s.InputPeaks()[0]);
        EXPECT_EQ(0.75f, s.InputPeaks()[1]);
        EXPECT_EQ(0.5f * kUnity, s.OutputPeaks()[0]);
        EXPECT_EQ(0.75f * kUnity, s.OutputPeaks()[1]);
    }

    // One block only: the second half of a 32-sample buffer stays unwritten.
    GuardedStrip s(1, 32);
    s.SampleCount() = 16;
    s.FillInputs([](int, int i) { return i < 16 ? 0.25f : 1.0f; });
    std::fill(s.Out(0), s.Out(0) + 32, -3.0f);
    s.Call(AlgEntry_16_Stem_Mono);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(0.25f * kUnity, s.Out(0)[i]);
    for (int i = 16; i < 32; ++i) EXPECT_EQ(-3.0f, s.Out(0)[i]);
    EXPECT_EQ(0.25f, s.InputPeaks()[0]);
}

TEST(DriverContract, KeySelection) {
    // keySource 1 and keyListen 1: every output is the filtered key. The
    // detector filter halves; the EQ before the dynamics doubles, which the
    // raw key must not see but a channel's own programme does.
    auto setUp = [](GuardedStrip& s, int32_t key) {
        s.FillInputs([](int c, int i) { return 0.03125f * static_cast<float>((i * 5 + c * 11) % 29 - 14); });
        s.Dyn().keySource = 1;
        s.Dyn().keyListen = 1;
        s.Dyn().detFilterB0 = 0.5f;
        const float gain2[EQ_kCoefCount] = {2.0f};
        std::memcpy(s.EqTarget().coefs, gain2, sizeof gain2);
        s.SnapEq(gain2);
        s.EqTarget().sectionEnd[0] = 1;
        s.KeyIndex() = key;
    };
    for (const Format& f : kFormats) {
        for (int32_t key = 0; key <= f.n; ++key) {
            SCOPED_TRACE(testing::Message() << f.name << " key " << key);
            GuardedStrip s(f.n, 48, 1);
            setUp(s, key);
            s.Call(f.entry);
            for (int c = 0; c < f.n; ++c)
                for (int i = 0; i < 48; ++i) {
                    const float want = key == 0 ? s.In(c)[i] : 0.5f * s.In(key)[i];
                    ASSERT_EQ(want, s.Out(c)[i]) << "channel " << c << " sample " << i;
                }
        }
    }
    // Stereo with key 1 takes its own second channel; keySource 2 ignores a
    // present key.
    GuardedStrip s(2, 16);
    setUp(s, 1);
    s.Call(AlgEntry_16_Stem_Stereo);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(0.5f * s.In(1)[i], s.Out(0)[i]);
    GuardedStrip own(2, 16, 1);
    setUp(own, 2);
    own.Dyn().keySource = 2;
    own.Call(AlgEntry_16_Stem_Stereo);
    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < 16; ++i) EXPECT_EQ(own.In(c)[i], own.Out(c)[i]) << c << "/" << i;
}

TEST(DriverContract, SharedCountAndStateAcrossCalls) {
    for (const Format& f : kFormats) {
        SCOPED_TRACE(f.name);
        // Two contexts reading one count integer are both processed for it.
        std::unique_ptr<GuardedStrip> a(MakeBusy(f.n, f.g, 48, 11)), b(MakeBusy(f.n, f.g, 48, 12));
        std::unique_ptr<GuardedStrip> aTwin(MakeBusy(f.n, f.g, 48, 11)), bTwin(MakeBusy(f.n, f.g, 48, 12));
        b->SampleCount() = -1;
        b->ShareCountOf(*a);
        GuardedStrip::CallAll(f.entry, {a.get(), b.get()});
        aTwin->Call(f.entry);
        bTwin->Call(f.entry);
        EXPECT_EQ(aTwin->Mutable(), a->Mutable());
        EXPECT_EQ(bTwin->Mutable(), b->Mutable());

        // One call of 64 samples equals four calls of 16, bit for bit.
        std::unique_ptr<GuardedStrip> whole(MakeBusy(f.n, f.g, 64, 13)), part(MakeBusy(f.n, f.g, 16, 13));
        whole->Call(f.entry);
        for (int j = 0; j < 4; ++j) {
            for (int c = 0; c <= f.n; ++c) std::memcpy(part->In(c), whole->In(c) + 16 * j, 16 * sizeof(float));
            part->Call(f.entry);
            for (int c = 0; c < f.n; ++c)
                ASSERT_EQ(0, std::memcmp(whole->Out(c) + 16 * j, part->Out(c), 16 * sizeof(float)))
                    << "call " << j << " channel " << c;
        }
        EXPECT_EQ(whole->Mutable(false), part->Mutable(false));
    }
}

TEST(DriverContract, FormatsShareOrSplitOnlyAsTheirCountsSay) {
    auto run = [](AlgEntry_Fn entry, int n, int g, bool unaligned = false) {
        std::unique_ptr<GuardedStrip> s(MakeBusy(n, g, 80, 21, unaligned));
        s->Call(entry);
        return s->Mutable();
    };
    // 6.0 and 5.1: two symbols, one behaviour, all four slots in use.
    EXPECT_NE(reinterpret_cast<void*>(AlgEntry_16_Stem_6_0), reinterpret_cast<void*>(AlgEntry_16_Stem_5_1));
    EXPECT_EQ(run(AlgEntry_16_Stem_5_1, 6, 4), run(AlgEntry_16_Stem_6_0, 6, 4));
    // Quad/LCRS and 6.1/7.0 agree while the groups fit the smaller format.
    EXPECT_EQ(run(AlgEntry_16_Stem_Quad, 4, 2), run(AlgEntry_16_Stem_LCRS, 4, 2));
    EXPECT_EQ(run(AlgEntry_16_Stem_7_0, 7, 4), run(AlgEntry_16_Stem_6_1, 7, 4));
    // Only natural float alignment is assumed: unaligned buffers, same bits.
    for (const Format& f : kFormats) {
        SCOPED_TRACE(f.name);
        std::unique_ptr<GuardedStrip> a(MakeBusy(f.n, f.g, 80, 21)), u(MakeBusy(f.n, f.g, 80, 21, true));
        ASSERT_EQ(12u, reinterpret_cast<uintptr_t>(u->In(0)) % 16);
        a->Call(f.entry);
        u->Call(f.entry);
        EXPECT_EQ(a->Mutable(), u->Mutable());
    }

    // An 8-channel context through the Stereo entry: two channels and the
    // stereo private layout (peaks at 0 and 2, dynamics meters at 4).
    std::unique_ptr<GuardedStrip> wide(MakeBusy(8, 1, 32, 31)), stereo(MakeBusy(2, 1, 32, 31));
    for (int c = 0; c < 2; ++c) std::memcpy(stereo->In(c), wide->In(c), 32 * sizeof(float));
    std::memcpy(stereo->In(2), wide->In(8), 32 * sizeof(float));  // the same key
    stereo->KeyIndex() = 2;
    wide->KeyIndex() = 8;
    const auto wideBefore = wide->Mutable();
    wide->Call(AlgEntry_16_Stem_Stereo);
    stereo->Call(AlgEntry_16_Stem_Stereo);
    for (int c = 0; c < 2; ++c) EXPECT_EQ(0, std::memcmp(stereo->Out(c), wide->Out(c), 32 * sizeof(float)));
    for (int c = 2; c < 8; ++c)
        for (int i = 0; i < 32; ++i) ASSERT_EQ(0.0f, wide->Out(c)[i]) << "channel " << c << " written";
    EXPECT_EQ(0, std::memcmp(stereo->Private(), wide->Private(), 10 * sizeof(float)));
    for (int i = 10; i < 28; ++i) EXPECT_EQ(0.0f, wide->Private()[i]) << "private float " << i;
    EXPECT_EQ(0, std::memcmp(stereo->DynState(), wide->DynState(), 2 * sizeof(Dyn_SState)));
    EXPECT_EQ(0, std::memcmp(stereo->EqState(), wide->EqState(), 2 * sizeof(EQ_SState)));
    // Records of channels 2..7 lead the byte image and stay as they were.
    EXPECT_EQ(0, std::memcmp(wideBefore.data() + 2 * sizeof(Dyn_SState), wide->DynState() + 2,
                             6 * sizeof(Dyn_SState)));
}

TEST(DriverContract, BypassAndMeters) {
    for (const Format& f : kFormats) {
        SCOPED_TRACE(f.name);
        // Bypass 1 (or 2) copies the input over the output; everything
        // upstream still advances exactly as in a processed twin.
        std::unique_ptr<GuardedStrip> on(MakeBusy(f.n, f.g, 48, 41)), on2(MakeBusy(f.n, f.g, 48, 41));
        std::unique_ptr<GuardedStrip> off(MakeBusy(f.n, f.g, 48, 41)), neg(MakeBusy(f.n, f.g, 48, 41));
        on->Dyn().bypass = 1;
        on2->Dyn().bypass = 2;
        neg->Dyn().bypass = -5;
        for (GuardedStrip* s : {on.get(), on2.get(), off.get(), neg.get()}) s->Call(f.entry);
        EXPECT_EQ(on->Mutable(), on2->Mutable());
        EXPECT_EQ(off->Mutable(), neg->Mutable());
        const int n = f.n;
        EXPECT_EQ(0, std::memcmp(on->DynState(), off->DynState(), n * sizeof(Dyn_SState)));
        EXPECT_EQ(0, std::memcmp(on->EqState(), off->EqState(), n * sizeof(EQ_SState)));
        EXPECT_EQ(0, std::memcmp(&on->EqCoefs(), &off->EqCoefs(), sizeof(EQ_SDezipCoefs)));
        EXPECT_EQ(0, std::memcmp(on->DynRun(), off->DynRun(), (4 + n) * sizeof(float)));
        bool processed = false;
        for (int c = 0; c < n; ++c) {
            float inPeak = 0.0f, rawPeak = 0.0f, offPeak = 0.0f;
            for (int i = 0; i < 48; ++i) {
                ASSERT_EQ(Bits(on->In(c)[i]), Bits(on->Out(c)[i])) << c << "/" << i;
                processed |= off->Out(c)[i] != off->In(c)[i];
                inPeak = std::max(inPeak, std::fabs(on->In(c)[i] * -0.7f));
                rawPeak = std::max(rawPeak, std::fabs(on->In(c)[i]));
                offPeak = std::max(offPeak, std::fabs(off->Out(c)[i]));
            }
            EXPECT_EQ(inPeak, on->InputPeaks()[c]);
            EXPECT_EQ(inPeak, off->InputPeaks()[c]);
            EXPECT_EQ(rawPeak, on->OutputPeaks()[c]);
            EXPECT_EQ(offPeak, off->OutputPeaks()[c]);
        }
        EXPECT_TRUE(processed) << "bypass 0 left the input untouched";
    }

    // Meters only rise: held values above the block stay; inputMeterGain 0
    // never raises inputPeaks; a NaN is copied by the bypass but metered by
    // neither meter.
    GuardedStrip s(3, 32);
    s.FillInputs([](int c, int i) { return (i % 2 ? -0.125f : 0.0625f) * static_cast<float>(c + 1); });
    // Last in their blocks, so a meter that took them would keep them.
    s.In(0)[15] = std::numeric_limits<float>::quiet_NaN();
    s.In(2)[31] = -std::numeric_limits<float>::quiet_NaN();
    s.Dyn().bypass = 1;
    s.Dyn().inputMeterGain = 0.0f;
    s.InputPeaks()[1] = 0.01f;
    s.OutputPeaks()[1] = 0.5f;  // above the block's 0.25
    for (int c = 0; c < 3; ++c) s.DynRun()[4 + c] = 3.0f;
    s.Call(AlgEntry_16_Stem_LCR);
    EXPECT_EQ(Bits(s.In(0)[15]), Bits(s.Out(0)[15]));
    EXPECT_EQ(Bits(s.In(2)[31]), Bits(s.Out(2)[31]));
    EXPECT_EQ(0.0f, s.InputPeaks()[0]);
    EXPECT_EQ(0.01f, s.InputPeaks()[1]);
    EXPECT_EQ(0.0f, s.InputPeaks()[2]);
    EXPECT_EQ(0.125f, s.OutputPeaks()[0]);
    EXPECT_EQ(0.5f, s.OutputPeaks()[1]);
    EXPECT_EQ(0.375f, s.OutputPeaks()[2]);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(3.0f, s.DynRun()[4 + c]) << "gain meter " << c << " fell";

    // A quieter second call leaves the first call's peaks in place.
    s.Dyn().bypass = 0;
    s.Dyn().inputMeterGain = 2.0f;
    s.FillInputs([](int, int) { return 0.03125f; });
    s.Call(AlgEntry_16_Stem_LCR);
    EXPECT_EQ(0.0625f, s.InputPeaks()[0]);
    EXPECT_EQ(0.125f, s.OutputPeaks()[0]);
    EXPECT_EQ(0.5f, s.OutputPeaks()[1]);
    EXPECT_EQ(0.375f, s.OutputPeaks()[2]);
}

// The harness itself: one float past any block is fatal, and so is a count
// the buffers were not sized for.
TEST(GuardedMemoryDeathTest, OverrunsCrash) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            GuardedStrip s(2, 16);
            volatile float x = s.In(1)[16];
            (void)x;
        },
        "");
    EXPECT_DEATH(
        {
            GuardedStrip s(5, 16);
            s.Private()[3 * 5 + 4] = 1.0f;
        },
        "");
    EXPECT_DEATH(
        {
            GuardedStrip s(1, 16);
            s.Seal();
            s.Dyn().bypass = 1;
        },
        "");
    EXPECT_DEATH(
        {
            GuardedStrip s(6, 16);
            s.SampleCount() = 17;  // runs 32 samples on 16-sample buffers
            s.Call(AlgEntry_16_Stem_5_1);
        },
        "");
    EXPECT_DEATH(
        {
            GuardedStrip s(2, 16);
            s.KeyIndex() = 2;  // no inputs[2]: the pointer array ends at 2
            s.Call(AlgEntry_16_Stem_Stereo);
        },
        "");
}

}  // namespace
