// Differential tests: every exported entry against the independent scalar
// model, bit for bit, on randomised host scenarios; and the model itself
// anchored to hand-worked numbers so that the oracle is not taken on trust.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "model/scenario.h"
#include "model/strip_model.h"
#include "stemstrip.h"

namespace {

const AlgEntry_Fn kEntries[model::kFormatCount] = {
    AlgEntry_16_Stem_Mono, AlgEntry_16_Stem_Stereo, AlgEntry_16_Stem_LCR, AlgEntry_16_Stem_Quad,
    AlgEntry_16_Stem_LCRS, AlgEntry_16_Stem_5_0,    AlgEntry_16_Stem_5_1, AlgEntry_16_Stem_6_0,
    AlgEntry_16_Stem_6_1,  AlgEntry_16_Stem_7_0,    AlgEntry_16_Stem_7_1,
};

// Scenarios per format and calls per scenario: the whole suite stays well
// under the time budget of a Release build on a small machine.
constexpr int kScenariosPerFormat = 3000;
constexpr int kMaxCallsPerScenario = 4;

class EntryVsModel : public ::testing::TestWithParam<int> {};

TEST_P(EntryVsModel, MatchesBitForBitOverConsecutiveCalls) {
    const int format = GetParam();
    const uint64_t seed = 0x5EED0000u + static_cast<uint64_t>(format);
    scenario::Generator gen(seed);
    std::uniform_int_distribution<int> callCount(1, kMaxCallsPerScenario);
    // A third of the scenarios stay realistic throughout; the rest mix in
    // arbitrary bit patterns.
    const scenario::Options realistic{0.0, 0.0, 0.2};
    const scenario::Options hostile{};

    int compared = 0;
    for (int n = 0; n < kScenariosPerFormat; ++n) {
        const scenario::Options& opt = n % 3 == 0 ? realistic : hostile;
        scenario::Scenario expected = gen.Make(format, opt);
        const int calls = callCount(gen.Rng());
        for (int call = 0; call < calls; ++call) {
            scenario::Scenario actual = expected;
            const std::string before = scenario::Describe(expected);
            model::Entry(format, expected.Begin(), expected.End());
            kEntries[format](actual.Begin(), actual.End());
            const std::string diff = scenario::Compare(expected, actual);
            ASSERT_TRUE(diff.empty()) << "seed " << seed << ", scenario " << n << ", call " << call
                                      << "\n" << before << "\nfirst difference (model vs library): " << diff;
            ++compared;
            gen.Evolve(expected, opt);
        }
    }
    EXPECT_GT(compared, kScenariosPerFormat);
}

INSTANTIATE_TEST_SUITE_P(AllFormats, EntryVsModel, ::testing::Range(0, model::kFormatCount),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return std::string("Stem_") + model::kFormats[info.param].name;
                         });

// 6.0 and 5.1 are distinct symbols with one behaviour.
TEST(Entries, SixZeroAndFiveOneAreIdentical) {
    scenario::Generator gen(77);
    for (int n = 0; n < 200; ++n) {
        scenario::Scenario a = gen.Make(6);
        scenario::Scenario b = a;
        AlgEntry_16_Stem_5_1(a.Begin(), a.End());
        AlgEntry_16_Stem_6_0(b.Begin(), b.End());
        ASSERT_EQ(scenario::Compare(a, b), "") << scenario::Describe(a);
    }
}

// The comparison must see a single flipped bit anywhere it looks, and must
// not fail on NaN payloads, which nothing pins down.
TEST(ScenarioCompare, FindsSingleBitDifferencesByName) {
    scenario::Generator gen(5);
    scenario::Scenario a;
    do a = gen.Make(3, {0.0, 0.0, 0.0}); while (a.instances.empty() || a.instances[0].inPlace);
    auto flip = [](float& v) { v = model::FromBits(model::Bits(v) ^ 1u); };

    std::vector<std::pair<std::string, scenario::Scenario>> cases;
    auto with = [&](const char* expect, auto fn) {
        scenario::Scenario b = a;
        fn(b.instances[0]);
        cases.emplace_back(expect, std::move(b));
    };
    with("output ch 2", [&](scenario::Instance& in) { flip(in.outBufs[2][5]); });
    with("canary", [&](scenario::Instance& in) { flip(in.priv[3 * 4 + 4 + 1]); });
    with("output ch 0", [&](scenario::Instance& in) { flip(in.outBufs[0].back()); });
    with("accum[7]", [&](scenario::Instance& in) {
        in.eqCoefs[0].accum[7] = std::nextafter(in.eqCoefs[0].accum[7], 1e9);
    });
    with("eqState[1].z2", [&](scenario::Instance& in) { flip(in.eqState[1].z2[3]); });
    with("holdCounter", [&](scenario::Instance& in) { in.dynState[2].holdCounter ^= 1; });
    with("outputPeaks[1]", [&](scenario::Instance& in) { flip(in.priv[4 + 1]); });
    for (auto& [expect, b] : cases) {
        const std::string diff = scenario::Compare(a, b);
        EXPECT_NE(diff.find(expect), std::string::npos) << "expected '" << expect << "' in: " << diff;
    }

    scenario::Scenario b = a;
    a.instances[0].dynState[0].levelZ1 = model::FromBits(0x7FC00001u);
    b.instances[0].dynState[0].levelZ1 = model::FromBits(0xFFC12345u);
    EXPECT_EQ(scenario::Compare(a, b), "");
    b.instances[0].dynState[0].levelZ2 = -0.0f;
    a.instances[0].dynState[0].levelZ2 = 0.0f;
    EXPECT_NE(scenario::Compare(a, b).find("levelZ2"), std::string::npos);
}

// ---------------------------------------------------------------------------
// The oracle against numbers worked out by hand.

TEST(ModelAnchors, DecibelConversions) {
    EXPECT_EQ(model::Bits(model::AmpToDb(1.0f)), model::Bits(0.0f));
    EXPECT_EQ(model::AmpToDb(2.0f), 6.0206003f);
    EXPECT_EQ(model::AmpToDb(0.5f), -6.0206003f);
    for (float silent : {0.0f, -0.0f, -1.0f, -INFINITY, NAN, -NAN})
        EXPECT_EQ(model::AmpToDb(silent), -140.0f) << silent;
    // 9 high mantissa bits all set: interpolates towards log2(2) = 1.
    const float justBelow2 = model::FromBits(0x3FFFFFFFu);
    EXPECT_NEAR(model::AmpToDb(justBelow2), 6.0206003f, 1e-5f);
    EXPECT_LT(model::AmpToDb(justBelow2), 6.0206003f);
    EXPECT_NEAR(model::AmpToDb(INFINITY), 128 * 6.0206003f, 1e-3f);

    // 0 dB carries half a step of the fine table: 2^(2^-19) = 1 + 11 ulp.
    EXPECT_EQ(model::Bits(model::DbToAmp(0.0f)), 0x3F80000Bu);
    const float half = model::DbToAmp(-6.0206003f);
    EXPECT_EQ((model::Bits(half) >> 23) & 0xFF, 126u);
    EXPECT_NEAR(half, 0.5f, 1e-5f);
    EXPECT_NEAR(model::DbToAmp(-140.0f) / 1e-7f, 1.0f, 1e-3f);
    for (float db = -120.0f; db <= 24.0f; db += 0.37f)  // the tables realise 10^(g/20)
        EXPECT_NEAR(model::DbToAmp(db) / std::pow(10.0f, db / 20.0f), 1.0f, 1e-5f) << db;
    for (float a = 1e-6f; a < 100.0f; a *= 1.37f)
        EXPECT_NEAR(model::AmpToDb(a), 20.0f * std::log10(a), 2e-4f) << a;

    EXPECT_EQ(model::Log2LUT()[0], 0.0f);
    EXPECT_EQ(model::Log2LUT()[512], 1.0f);
    EXPECT_EQ(model::Log2LUT()[256], 0.5849625f);  // log2(1.5)
    EXPECT_EQ(model::PowTableH()[0], 1.0f);
    EXPECT_EQ(model::PowTableH()[256], 1.4142135f);  // sqrt(2)
    EXPECT_EQ(model::PowTableH()[511], 1.9972942f);
    EXPECT_EQ(model::PowTableL()[0], 1.0000013f);
    EXPECT_EQ(model::PowTableL()[511], 1.0013534f);

    EXPECT_EQ(model::TruncToInt32(NAN), INT32_MIN);
    EXPECT_EQ(model::TruncToInt32(2147483648.0f), INT32_MIN);
    EXPECT_EQ(model::TruncToInt32(-2147483648.0f), INT32_MIN);
    EXPECT_EQ(model::TruncToInt32(-2.9f), -2);
    EXPECT_EQ(model::TruncToInt32(2147483520.0f), 2147483520);
}

TEST(ModelAnchors, EqualiserSectionAndGlide) {
    // Impulse through b0 = 0.5, b1 = 0.25, b2 = 0.125, a1 = 0.5, a2 = 0.
    EQ_SDezipCoefs coefs{};
    coefs.coefs[5] = 0.5f; coefs.coefs[6] = 0.25f; coefs.coefs[7] = 0.125f; coefs.coefs[8] = 0.5f;
    EQ_SState state{};
    float in[4] = {1, 0, 0, 0}, out[4] = {9, 9, 9, 9};
    const float* ins[1] = {in};
    float* outs[1] = {out};
    model::EQ_Process(1, &coefs, &state, ins, outs, 0, 1, 2, 0);
    EXPECT_EQ(std::vector<float>(out, out + 4), (std::vector<float>{0.5f, 0.5f, 0.375f, 0.1875f}));
    EXPECT_EQ(state.z1[1], 0.09375f);
    EXPECT_EQ(state.z2[1], 0.0f);

    // Empty and inverted ranges copy, states untouched.
    const EQ_SState frozen = state;
    float in2[4] = {-0.0f, NAN, 3, -4};
    const float* ins2[1] = {in2};
    for (auto [b, e] : {std::pair{1, 1}, std::pair{5, 2}, std::pair{-3, -7}}) {
        model::EQ_Process(1, &coefs, &state, ins2, outs, 0, b, e, 0);
        for (int j = 0; j < 4; ++j) EXPECT_EQ(model::Bits(out[j]), model::Bits(in2[j]));
        EXPECT_EQ(std::memcmp(&state, &frozen, sizeof state), 0);
    }

    // Glide at rate 0.5 from 0 towards 1; rate 0 never moves.
    EQ_SCoefs target{};
    EQ_SDezipCoefs smooth{};
    target.coefs[0] = 1.0f;
    const float expected[4] = {0.5f, 0.75f, 0.875f, 0.9375f};
    for (float e : expected) {
        model::EQ_DezipStep(smooth, target, 0.5f);
        EXPECT_EQ(smooth.coefs[0], e);
        EXPECT_EQ(smooth.accum[0], static_cast<double>(e));
    }
    const EQ_SDezipCoefs still = smooth;
    model::EQ_DezipStep(smooth, target, 0.0f);
    model::EQ_DezipRefresh(smooth);
    EXPECT_EQ(std::memcmp(&smooth, &still, sizeof smooth), 0);
}

TEST(ModelAnchors, GainComputerHoldAndUnityBias) {
    // Curves that give 0 dB everywhere, a gate that never closes, floor far down.
    Dyn_SCoefsBlock K{};
    K.compKneeTopDb = K.compKneeBottomDb = 1000.0f;
    K.expKneeTopDb = K.expKneeBottomDb = -1000.0f;
    K.gateOpenThresholdDb = K.gateCloseThresholdDb = -1000.0f;
    K.compFloorDbTarget = K.expRangeDbTarget = -200.0f;
    K.outputGainTarget = 0.5f;
    K.compAttackCoef = K.compReleaseCoef = 1.0f;
    K.expAttackCoef = 1.0f;
    K.expReleaseCoef = 0.5f;
    K.holdSamples = 3;
    SChannelStrip_Alg_Context ctx{};
    ctx.dynCoefs = &K;
    Dyn_SState S{};
    S.compFloorDb = S.expRangeDb = -200.0f;
    S.outputGain = 0.5f;
    S.expGainDb = -8.0f;  // first sample rises to 0 dB and reloads the hold
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
