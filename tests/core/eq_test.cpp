#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <vector>

#include "eq/eq_dezip.h"
#include "eq/eq_sections.h"

namespace stemstrip {
namespace {

EQ_SDezipCoefs SmoothedAt(float value) {
    EQ_SDezipCoefs s{};
    for (int i = 0; i < EQ_kCoefCount; ++i) s.coefs[i] = value, s.accum[i] = value;
    return s;
}

EQ_SCoefs TargetsAt(float value) {
    EQ_SCoefs t{};
    for (float& c : t.coefs) c = value;
    return t;
}

TEST(EqGlide, WorkedStepsRateZeroAndStoppingRule) {
    EQ_SDezipCoefs s = SmoothedAt(0.0f);
    const EQ_SCoefs t = TargetsAt(1.0f);
    for (float expect : {0.5f, 0.75f, 0.875f, 0.9375f}) {
        EQ_DezipStep(&s, &t, 0.5f);
        for (int i = 0; i < EQ_kCoefCount; ++i) ASSERT_EQ(s.coefs[i], expect);
    }
    EQ_DezipRefresh(&s);
    EXPECT_EQ(s.coefs[7], 0.9375f);

    EQ_SDezipCoefs frozen = SmoothedAt(0.25f);
    for (int n = 0; n < 10; ++n) EQ_DezipStep(&frozen, &t, 0.0f);
    const EQ_SDezipCoefs start = SmoothedAt(0.25f);
    EXPECT_EQ(std::memcmp(&frozen, &start, sizeof frozen), 0) << "rate 0 moved the glide";

    // A float copy equal to its target stops the glide even though the
    // accumulator is still a fraction of an ulp away.
    EQ_SDezipCoefs near = SmoothedAt(1.0f);
    near.accum[3] = 1.0 + 1e-9;
    EQ_DezipStep(&near, &t, 0.9f);
    EQ_DezipRefresh(&near);
    EXPECT_EQ(near.accum[3], 1.0 + 1e-9);
    EXPECT_EQ(near.coefs[3], 1.0f);

    // Steps too small to move the float copy still accumulate in double.
    EQ_SDezipCoefs slow = SmoothedAt(0.0f);
    const EQ_SCoefs tiny = TargetsAt(1e-3f);
    EQ_DezipStep(&slow, &tiny, 1e-6f);
    EXPECT_EQ(slow.accum[0], double(1e-3f * 1e-6f));
    EXPECT_EQ(slow.coefs[0], float(slow.accum[0]));
}

// Independent cascade written as the textbook per-sample recursion,
// y = b0 x + z1, z1 = a1 y + b1 x + z2, z2 = a2 y + b2 x, with the same fusing.
float Section(float x, const float* q, float& z1, float& z2) {
    const float y = std::fma(x, q[0], z1);
    const float inner = std::fma(x, q[1], z2);
    z1 = std::fma(y, q[3], inner);
    z2 = std::fma(y, q[4], x * q[2]);
    return y;
}

TEST(EqSections, ImpulseThroughOneSection) {
    EQ_SDezipCoefs c = SmoothedAt(0.0f);
    const float q[5] = {0.5f, 0.25f, 0.125f, 0.5f, 0.0f};
    std::memcpy(c.coefs, q, sizeof q);
    EQ_SState st{};
    float buf[4] = {1, 0, 0, 0};
    float* io[1] = {buf};
    EQ_AlgorithmProcessFunction<1>(&c, &st, io, io, 0, 0, 1, 0);
    EXPECT_EQ(buf[0], 0.5f);
    EXPECT_EQ(buf[1], 0.5f);
    EXPECT_EQ(buf[2], 0.375f);
    EXPECT_EQ(buf[3], 0.1875f);
    EXPECT_EQ(st.z1[0], 0.09375f);
    EXPECT_EQ(st.z2[0], 0.0f);

    // Identity section from a non-zero state: old z1 lands on sample 0, old
    // z2 on sample 1, and the state is empty afterwards.
    EQ_SDezipCoefs unit = SmoothedAt(0.0f);
    unit.coefs[0] = 1.0f;
    EQ_SState held{};
    held.z1[0] = 3.0f;
    held.z2[0] = 5.0f;
    float x[4] = {1, 2, 4, 8};
    float* px[1] = {x};
    EQ_AlgorithmProcessFunction<1>(&unit, &held, px, px, 0, 0, 1, 0);
    EXPECT_EQ(x[0], 4.0f);
    EXPECT_EQ(x[1], 7.0f);
    EXPECT_EQ(x[2], 4.0f);
    EXPECT_EQ(held.z1[0], 0.0f);
    EXPECT_EQ(held.z2[0], 0.0f);
}

struct Bank {
    static constexpr int N = 3, kLen = 32;
    std::vector<std::vector<float>> in, out;
    std::vector<EQ_SState> state;
    EQ_SDezipCoefs coefs{};
    Bank(std::mt19937& rng) : in(N, std::vector<float>(kLen)), out(N, std::vector<float>(kLen, -7.0f)), state(N) {
        std::uniform_real_distribution<float> u(-1.0f, 1.0f);
        for (auto& ch : in) for (float& v : ch) v = u(rng);
        for (auto& s : state) {
            for (float& z : s.z1) z = u(rng);
            for (float& z : s.z2) z = u(rng);
            s.spare = 42.0f;
        }
        for (int k = 0; k < EQ_kMaxSections; ++k) {
            float* q = coefs.coefs + 5 * k;  // stable: poles inside the unit circle
            q[0] = 0.6f + 0.05f * k, q[1] = -0.3f, q[2] = 0.2f, q[3] = 0.5f * u(rng), q[4] = -0.3f;
        }
    }
    // In place, the caller has copied the input into out beforehand.
    void Run(bool inPlace, int at, int begin, int end) {
        const float* src[N];
        float* dst[N];
        for (int c = 0; c < N; ++c) {
            src[c] = inPlace ? out[c].data() : in[c].data();
            dst[c] = out[c].data();
        }
        EQ_AlgorithmProcessFunction<N>(&coefs, state.data(), src, dst, at % 16, begin, end, at - at % 16);
    }
};

TEST(EqSections, MatchesPerSampleCascadeInAndOutOfPlace) {
    std::mt19937 rng(7);
    Bank separate(rng);
    Bank inPlace = separate;
    Bank model = separate;
    inPlace.out = inPlace.in;
    for (int at = 0; at < Bank::kLen; at += 4) {
        separate.Run(false, at, 2, 7);
        inPlace.Run(true, at, 2, 7);
        for (int c = 0; c < Bank::N; ++c) {
            for (int j = at; j < at + 4; ++j) {
                float x = model.in[c][j];
                for (int k = 2; k < 7; ++k) x = Section(x, model.coefs.coefs + 5 * k, model.state[c].z1[k], model.state[c].z2[k]);
                model.out[c][j] = x;
            }
        }
    }
    for (int c = 0; c < Bank::N; ++c) {
        for (int j = 0; j < Bank::kLen; ++j) {
            ASSERT_EQ(FloatBits(separate.out[c][j]), FloatBits(model.out[c][j])) << c << "," << j;
            ASSERT_EQ(FloatBits(inPlace.out[c][j]), FloatBits(model.out[c][j])) << c << "," << j;
        }
    }
    EXPECT_EQ(std::memcmp(separate.state.data(), model.state.data(), sizeof(EQ_SState) * Bank::N), 0);
    EXPECT_EQ(std::memcmp(inPlace.state.data(), model.state.data(), sizeof(EQ_SState) * Bank::N), 0);
    EXPECT_EQ(separate.state[1].spare, 42.0f);
}

TEST(EqSections, EmptyOrInvertedRangeCopiesAndFreezes) {
    std::mt19937 rng(11);
    for (auto [begin, end] : {std::pair{3, 3}, std::pair{6, 2}, std::pair{-4, -9}, std::pair{8, 0}}) {
        Bank b(rng);
        const auto before = b.state;
        b.Run(false, 20, begin, end);
        for (int c = 0; c < Bank::N; ++c) {
            for (int j = 0; j < Bank::kLen; ++j) {
                const bool touched = j >= 20 && j < 24;
                EXPECT_EQ(b.out[c][j], touched ? b.in[c][j] : -7.0f) << begin << ".." << end;
            }
        }
        EXPECT_EQ(std::memcmp(before.data(), b.state.data(), sizeof(EQ_SState) * Bank::N), 0);
    }
}

TEST(EqSections, SectionsOutsideTheRangeKeepTheirStateAndChannelsAreIndependent) {
    std::mt19937 rng(5);
    Bank b(rng);
    const auto before = b.state;
    b.Run(false, 0, 0, 3);
    for (int c = 0; c < Bank::N; ++c) {
        for (int k = 3; k < EQ_kMaxSections; ++k) {
            EXPECT_EQ(b.state[c].z1[k], before[c].z1[k]);
            EXPECT_EQ(b.state[c].z2[k], before[c].z2[k]);
        }
    }
    // Channel 1 fed channel 0's signal and state gives channel 0's result.
    Bank twins(rng);
    twins.in[1] = twins.in[0];
    twins.state[1] = twins.state[0];
    twins.Run(false, 8, 0, 8);
    EXPECT_EQ(twins.out[0], twins.out[1]);
    EXPECT_EQ(std::memcmp(&twins.state[0], &twins.state[1], sizeof(EQ_SState)), 0);
}

}  // namespace
}  // namespace stemstrip
