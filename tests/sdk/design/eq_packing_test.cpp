// Where bands land in the section block, and the analysis of a designed block.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "reference_filters.hpp"
#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip {
namespace {

constexpr double kRate = 48000.0;
const std::vector<float> kIdentity{1, 0, 0, 0, 0};

std::vector<float> Section(const EQ_SCoefs& eq, int k) { return {eq.coefs + 5 * k, eq.coefs + 5 * k + 5}; }

std::vector<float> DesignedAlone(const EqBand& band) {
    Settings s;
    s.bands[0] = band;
    return Section(Design(s, Format::Stereo, kRate).eq, 0);
}

TEST(EqPacking, EnabledBandsFillPreThenPostRangesInBandOrder) {
    Settings s;
    s.bands[0] = {true, BandType::Bell, Placement::PreDynamics, 1000.0, 6.0, 2.0};
    s.bands[1] = {false, BandType::LowShelf, Placement::PostDynamics, 200.0, -4.0, 0.7071};
    s.bands[2] = {true, BandType::HighShelf, Placement::PostDynamics, 8000.0, 3.0, 0.7071};
    s.bands[3] = {true, BandType::HighPass2, Placement::PreDynamics, 80.0, 0.0, 0.7071};
    s.bands[5] = {true, BandType::Notch, Placement::PostDynamics, 60.0, 0.0, 10.0};
    const EQ_SCoefs eq = Design(s, Format::Stereo, kRate).eq;

    EXPECT_EQ(std::vector<int>({eq.sectionBegin[0], eq.sectionEnd[0], eq.sectionBegin[1], eq.sectionEnd[1]}),
              std::vector<int>({0, 2, 2, 4}));
    int k = 0;
    for (int band : {0, 3, 2, 5}) EXPECT_EQ(Section(eq, k++), DesignedAlone(s.bands[band])) << "band " << band;
    for (; k < EQ_kMaxSections; ++k) EXPECT_EQ(Section(eq, k), kIdentity);

    // The stage responses are the cascades of their sections, evaluated independently.
    const std::vector<double> freqs{30.0, 80.0, 1000.0, 8000.0, 20000.0};
    for (int stage : {0, 1}) {
        const std::vector<double> got = StageMagnitudeDb(eq, stage, kRate, freqs);
        for (size_t i = 0; i < freqs.size(); ++i)
            EXPECT_NEAR(got[i], test::DigitalMagnitudeDb(eq.coefs + 10 * stage, freqs[i], kRate) +
                                    test::DigitalMagnitudeDb(eq.coefs + 10 * stage + 5, freqs[i], kRate), 1e-9);
    }
    // A bell's own curve peaks at its gain at its frequency, as the analog one does.
    const double centre[] = {1000.0};
    EXPECT_NEAR(BandMagnitudeDb(s.bands[0], kRate, centre)[0], 6.0, 0.01);
}

TEST(EqPacking, DisabledBandsAreExactBypass) {
    Settings plain;
    plain.bands[4] = {true, BandType::Bell, Placement::PostDynamics, 500.0, -3.0, 0.7071};
    Settings withDisabled = plain;
    for (int i : {0, 1, 2, 7})
        withDisabled.bands[i] = {false, BandType::HighShelf, i % 2 ? Placement::PostDynamics : Placement::PreDynamics,
                                 3000.0 + i, 12.0, 3.0};
    const CoefficientSet a = Design(plain, Format::Mono, kRate), b = Design(withDisabled, Format::Mono, kRate);
    EXPECT_EQ(std::memcmp(&a.eq, &b.eq, sizeof a.eq), 0);
    EXPECT_EQ(b.eq.sectionEnd[0] - b.eq.sectionBegin[0], 0);
    EXPECT_EQ(b.eq.sectionEnd[1] - b.eq.sectionBegin[1], 1);
    // A 0 dB bell is the identity too, not poles cancelling zeros.
    EXPECT_EQ(DesignedAlone({true, BandType::Bell, Placement::PreDynamics, 20.0, 0.0, 30.0}), kIdentity);
}

}  // namespace
}  // namespace stemstrip
