// Differential tests: every exported entry against the independent scalar
// model, bit for bit, on randomised host scenarios; and the model itself
// anchored to hand-worked numbers so that the oracle is not taken on trust.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <tuple>
#include <vector>

#include "model/scenario.h"
#include "model/strip_model.h"
#include "stemstrip.h"
#include "support/entries.h"
#include "support/guarded_call.h"

namespace {

using stemstrip_test::kEntries;

// Mixed: a few instances, mostly gliding, every variation of the generator.
// Many: up to 20 instances, mostly independent and settled, so that the
// batched Mono and Stereo paths meet full batches of 8 and remainders.
// Shared: instances that share writable memory, where a call must still be its
// contexts processed one after the other in array order.
enum Kind { kMixed, kMany, kShared };

scenario::Options OptionsFor(Kind kind, int format, bool hostile) {
    if (kind == kMixed) return {};
    const bool shared = kind == kShared;
    return {.inPlace = shared ? 0.15 : 0.1, .sharedBlocks = 0.15, .minInstances = shared ? 2 : 1,
            .maxInstances = shared && format > 1 ? 6 : 20, .distinctSlots = 0.8,
            .settledEq = shared ? 0.7 : hostile ? 0.75 : 0.95, .variety = hostile ? 0.3 : 0.08,
            .skippedCounts = hostile ? 0.15 : 0.03, .audioSpecials = hostile ? 0.1 : 0.0,
            .sharedMemory = shared ? 1.0 : 0.0, .maxSharedLinks = format <= 1 ? 5 : 3};
}

int ScenarioCount(Kind kind, int format) {
    const bool batched = format <= 1;  // Mono and Stereo have the batched path
    return kind == kMixed ? 3000 : kind == kMany ? (batched ? 1500 : 60) : (batched ? 1000 : 500);
}

class EntryVsModel : public ::testing::TestWithParam<std::tuple<int, Kind>> {};

// Consecutive calls of each scenario through the model and the library,
// evolved between calls as a host would. Every 16th scenario without shared
// memory runs on a guarded copy, where any access past a block, any write to
// a read-only block and a skipped context's access beyond its header crash.
TEST_P(EntryVsModel, MatchesBitForBitOverConsecutiveCalls) {
    const auto [format, kind] = GetParam();
    const uint64_t seed = 0x5EED0000u + 16u * kind + static_cast<uint64_t>(format);
    scenario::Generator gen(seed);
    std::uniform_int_distribution<int> callCount(1, kind == kMany ? 6 : 4);
    for (int n = 0; n < ScenarioCount(kind, format); ++n) {
        const scenario::Options opt = OptionsFor(kind, format, n % 2 == 1);
        scenario::Scenario expected = gen.Make(format, opt);
        for (int call = 0, calls = callCount(gen.rng); call < calls; ++call) {
            scenario::Scenario actual = expected;
            model::Entry(format, expected.Begin(), expected.End());
            if (kind != kShared && n % 16 == 0)
                stemstrip_test::CallOnGuardedCopy(kEntries[format], actual);
            else
                kEntries[format](actual.Begin(), actual.End());
            ASSERT_EQ(scenario::Compare(expected, actual), "")
                << "seed " << seed << ", scenario " << n << ", call " << call;
            gen.Evolve(expected, opt);
        }
    }
}

std::string CaseName(const ::testing::TestParamInfo<std::tuple<int, Kind>>& info) {
    static const char* const kKinds[] = {"Mixed", "Many", "Shared"};
    return std::string(kKinds[std::get<1>(info.param)]) + "_" + model::kFormats[std::get<0>(info.param)].name;
}

INSTANTIATE_TEST_SUITE_P(AllFormats, EntryVsModel,
                         ::testing::Combine(::testing::Range(0, model::kFormatCount),
                                            ::testing::Values(kMixed, kMany, kShared)),
                         CaseName);

// Nothing to process: begin == end at a guard page, so reading *begin crashes.
TEST(Entries, EmptyArrayIsNeverRead) {
    scenario::Scenario none;
    for (AlgEntry_Fn entry : kEntries) stemstrip_test::CallOnGuardedCopy(entry, none);
}

// ---------------------------------------------------------------------------
// The oracle against numbers worked out by hand.

TEST(ModelAnchors, DecibelConversions) {
    // Exact octaves; silence, negatives and NaN at the -140 dB floor.
    EXPECT_EQ(model::Bits(model::AmpToDb(1.0f)), model::Bits(0.0f));
    EXPECT_EQ(model::AmpToDb(2.0f), 6.0206003f);
    EXPECT_EQ(model::AmpToDb(0.5f), -6.0206003f);
    for (float silent : {0.0f, -0.0f, -1.0f, -INFINITY, NAN}) EXPECT_EQ(model::AmpToDb(silent), -140.0f) << silent;
    // 0 dB carries half a step of the fine table: 2^(2^-19) = 1 + 11 ulp.
    EXPECT_EQ(model::Bits(model::DbToAmp(0.0f)), 0x3F80000Bu);
    // Otherwise the tables realise 10^(g/20) and 20 log10(a).
    for (float db = -140.0f; db <= 24.0f; db += 0.37f)
        EXPECT_NEAR(model::DbToAmp(db) / std::pow(10.0f, db / 20.0f), 1.0f, 1e-5f) << db;
    for (float a = 1e-6f; a < 100.0f; a *= 1.37f) EXPECT_NEAR(model::AmpToDb(a), 20.0f * std::log10(a), 2e-4f) << a;

    EXPECT_EQ(model::TruncToInt32(NAN), INT32_MIN);
    EXPECT_EQ(model::TruncToInt32(2147483648.0f), INT32_MIN);
    EXPECT_EQ(model::TruncToInt32(-2.9f), -2);
}

TEST(ModelAnchors, EqualiserSectionAndGlide) {
    // Impulse through b0 = 0.5, b1 = 0.25, b2 = 0.125, a1 = 0.5, a2 = 0.
    EQ_SDezipCoefs coefs{};
    coefs.coefs[5] = 0.5f; coefs.coefs[6] = 0.25f; coefs.coefs[7] = 0.125f; coefs.coefs[8] = 0.5f;
    EQ_SState state{};
    float in[4] = {1, 0, 0, 0}, out[4] = {9, 9, 9, 9};
    const float* ins[1] = {in};
    float* outs[1] = {out};
    model::EQ_Process(1, &coefs, &state, ins, outs, 0, 1, 2);
    EXPECT_EQ(std::vector<float>(out, out + 4), (std::vector<float>{0.5f, 0.5f, 0.375f, 0.1875f}));
    EXPECT_EQ(state.z1[1], 0.09375f);
    EXPECT_EQ(state.z2[1], 0.0f);

    // Empty and inverted ranges copy, states untouched.
    const EQ_SState frozen = state;
    float in2[4] = {-0.0f, NAN, 3, -4};
    const float* ins2[1] = {in2};
    for (auto [b, e] : {std::pair{1, 1}, std::pair{5, 2}, std::pair{-3, -7}}) {
        model::EQ_Process(1, &coefs, &state, ins2, outs, 0, b, e);
        for (int j = 0; j < 4; ++j) EXPECT_EQ(model::Bits(out[j]), model::Bits(in2[j]));
        EXPECT_EQ(std::memcmp(&state, &frozen, sizeof state), 0);
    }

    // Glide at rate 0.5 from 0 towards 1.
    EQ_SCoefs target{};
    EQ_SDezipCoefs smooth{};
    target.coefs[0] = 1.0f;
    for (float e : {0.5f, 0.75f, 0.875f, 0.9375f}) {
        model::EQ_DezipStep(smooth, target, 0.5f);
        EXPECT_EQ(smooth.coefs[0], e);
        EXPECT_EQ(smooth.accum[0], static_cast<double>(e));
    }
}

TEST(ModelAnchors, GainComputerHoldAndUnityBias) {
    // Curves that give 0 dB everywhere, a gate that never closes, floor far down.
    Dyn_SCoefsBlock K{.compKneeTopDb = 1000.0f, .compKneeBottomDb = 1000.0f, .compFloorDbTarget = -200.0f,
                      .outputGainTarget = 0.5f, .compAttackCoef = 1.0f, .compReleaseCoef = 1.0f,
                      .gateOpenThresholdDb = -1000.0f, .gateCloseThresholdDb = -1000.0f, .expKneeTopDb = -1000.0f,
                      .expKneeBottomDb = -1000.0f, .expRangeDbTarget = -200.0f, .expAttackCoef = 1.0f,
                      .expReleaseCoef = 0.5f, .holdSamples = 3};
    SChannelStrip_Alg_Context ctx{.dynCoefs = &K};
    // The first sample rises to 0 dB and reloads the hold.
    Dyn_SState S{.expGainDb = -8.0f, .outputGain = 0.5f, .compFloorDb = -200.0f, .expRangeDb = -200.0f};
    float m[6] = {};
    float x[4] = {0.25f, 0.25f, 0.25f, 0.25f};
    model::ProcessAudioGain4(x, &S, &ctx, 0.0f, 4, m);
    const float unity = 1.0000013f * 1.0000013f;
    for (float g : x) EXPECT_EQ(g, 0.5f * unity);
    EXPECT_EQ(S.expGainDb, 0.0f);
    EXPECT_EQ(S.holdCounter, 0);  // reloaded to 3, then three held samples
    EXPECT_EQ(S.gateOpen, 1);
    EXPECT_EQ(m[1], unity);
    EXPECT_EQ(m[4], unity);

    // The gate closes, so the target drops to the -200 dB floor: with a
    // counter of 3 the gain holds for three samples, the fourth goes halfway.
    K.gateOpenThresholdDb = K.gateCloseThresholdDb = 1000.0f;
    S.holdCounter = 3;
    model::ProcessAudioGain4(x, &S, &ctx, 0.0f, 4, m);
    EXPECT_EQ(S.gateOpen, 0);
    EXPECT_EQ(S.holdCounter, 0);  // three held samples, the fourth releases
    EXPECT_EQ(S.expGainDb, -100.0f);
}

}  // namespace
