#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "dynamics/db_conversion.h"

namespace stemstrip {
namespace {

uint32_t Bits(float f) { return FloatBits(f); }

// Distance in units of the last place between two finite floats of one sign.
int64_t UlpDistance(float a, float b) { return std::llabs(int64_t(Bits(a)) - int64_t(Bits(b))); }

// The float nearest to an extended-precision value, checked against both
// neighbours so a double rounding through long double cannot pass unnoticed.
float NearestFloat(long double exact) {
    const float f = static_cast<float>(exact);
    const long double err = std::fabs(static_cast<long double>(f) - exact);
    EXPECT_LE(err, std::fabs(static_cast<long double>(std::nextafter(f, INFINITY)) - exact));
    EXPECT_LE(err, std::fabs(static_cast<long double>(std::nextafter(f, -INFINITY)) - exact));
    return f;
}

TEST(LookupTables, EntriesMatchTheirDefinitions) {
    for (int i = 0; i <= 512; ++i) {
        const float exact = NearestFloat(std::log2(1.0L + i / 512.0L));
        EXPECT_LE(UlpDistance(gmLog2LUT[i], exact), 2) << "log2 entry " << i;
    }
    EXPECT_EQ(gmLog2LUT[0], 0.0f);
    EXPECT_EQ(gmLog2LUT[512], 1.0f);
    for (int i = 0; i < 512; ++i) {
        EXPECT_EQ(Bits(gmPowTableH[i]), Bits(NearestFloat(std::exp2(i / 512.0L)))) << "coarse " << i;
        EXPECT_EQ(Bits(gmPowTableL[i]), Bits(NearestFloat(std::exp2((i + 0.5L) / 262144.0L)))) << "fine " << i;
    }
    EXPECT_EQ(gmPowTableH[511], 1.9972942f);
    EXPECT_EQ(gmPowTableL[0], 1.0000013f);
    EXPECT_EQ(gmPowTableL[511], 1.0013534f);
}

TEST(LookupTables, AmpToDbWorkedValuesAndSilence) {
    EXPECT_EQ(Bits(AmpToDb(1.0f)), Bits(0.0f));
    EXPECT_EQ(AmpToDb(2.0f), 6.0206003f);
    EXPECT_EQ(AmpToDb(0.5f), -6.0206003f);
    for (float silent : {0.0f, -0.0f, -1.0f, -INFINITY, NAN}) EXPECT_EQ(AmpToDb(silent), -140.0f) << silent;

    // All nine index bits set: interpolation between entries 511 and 512.
    const float top = BitsFloat(0x3F800000u | (0x1FFu << 14) | 0x2000u);  // half-way fraction
    const float base = gmLog2LUT[511];
    const float expect = std::fma(gmLog2LUT[512] - base, 8192.0f * 0x1p-14f, base) * 6.0206003f;
    EXPECT_EQ(AmpToDb(top), expect);

    // Across the range the interpolated result stays close to 20*log10.
    for (float a = 1e-6f; a < 1e6f; a *= 1.37f) EXPECT_NEAR(AmpToDb(a), 20.0 * std::log10(a), 2e-4) << a;
}

TEST(LookupTables, DbToAmpKeepsItsHalfStepBiasAndIsAccurate) {
    EXPECT_EQ(Bits(DbToAmp(0.0f)), 0x3F80000Bu);
    const float half = DbToAmp(-6.0206003f);
    EXPECT_EQ((Bits(half) >> 23) & 0xFF, 126u);
    EXPECT_NEAR(half, 0.5f, 1e-6f);
    EXPECT_NEAR(DbToAmp(-140.0f), 1.0e-7f, 1e-12f);
    for (float db = -120.0f; db <= 120.0f; db += 0.37f) {
        const double exact = std::pow(10.0, db / 20.0);
        // The float sum in the first step keeps the exponent argument to 64-128 units of 2^-23.
        EXPECT_NEAR(DbToAmp(db) / exact, 1.0, 1e-5) << db;
    }
}

}  // namespace
}  // namespace stemstrip
