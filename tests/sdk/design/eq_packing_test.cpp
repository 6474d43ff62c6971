// Where bands land in the section block, and the analysis of a designed block.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "reference_filters.hpp"
#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip {
namespace {

constexpr double kRate = 48000.0;

EqBand Band(BandType type, Placement placement, double hz, double gainDb = 0.0, double q = 0.7071) {
    return {true, type, placement, hz, gainDb, q};
}

std::vector<float> Section(const EQ_SCoefs& eq, int k) { return {eq.coefs + 5 * k, eq.coefs + 5 * k + 5}; }

std::vector<float> DesignedAlone(const EqBand& band) {
    Settings s;
    s.bands[0] = band;
    return Section(Design(s, Format::Stereo, kRate).eq, 0);
}

TEST(EqPacking, EnabledBandsFillPreThenPostRangesInBandOrder) {
    Settings s;
    s.bands[0] = Band(BandType::Bell, Placement::PreDynamics, 1000.0, 6.0, 2.0);
    s.bands[1] = Band(BandType::LowShelf, Placement::PostDynamics, 200.0, -4.0);
    s.bands[1].enabled = false;
    s.bands[2] = Band(BandType::HighShelf, Placement::PostDynamics, 8000.0, 3.0);
    s.bands[3] = Band(BandType::HighPass2, Placement::PreDynamics, 80.0);
    s.bands[5] = Band(BandType::Notch, Placement::PostDynamics, 60.0, 0.0, 10.0);
    const EQ_SCoefs eq = Design(s, Format::Stereo, kRate).eq;

    EXPECT_EQ(eq.sectionBegin[0], 0);
    EXPECT_EQ(eq.sectionEnd[0], 2);
    EXPECT_EQ(eq.sectionBegin[1], 2);
    EXPECT_EQ(eq.sectionEnd[1], 4);
    EXPECT_EQ(Section(eq, 0), DesignedAlone(s.bands[0]));
    EXPECT_EQ(Section(eq, 1), DesignedAlone(s.bands[3]));
    EXPECT_EQ(Section(eq, 2), DesignedAlone(s.bands[2]));
    EXPECT_EQ(Section(eq, 3), DesignedAlone(s.bands[5]));
    for (int k = 4; k < EQ_kMaxSections; ++k) EXPECT_EQ(Section(eq, k), (std::vector<float>{1, 0, 0, 0, 0}));

    // The stage responses are the cascades of their sections, evaluated independently.
    const std::vector<double> freqs{30.0, 80.0, 1000.0, 8000.0, 20000.0};
    const std::vector<double> pre = StageMagnitudeDb(eq, 0, kRate, freqs);
    const std::vector<double> post = StageMagnitudeDb(eq, 1, kRate, freqs);
    for (size_t i = 0; i < freqs.size(); ++i) {
        EXPECT_NEAR(pre[i], test::DigitalMagnitudeDb(eq.coefs, freqs[i], kRate) +
                                test::DigitalMagnitudeDb(eq.coefs + 5, freqs[i], kRate), 1e-9);
        EXPECT_NEAR(post[i], test::DigitalMagnitudeDb(eq.coefs + 10, freqs[i], kRate) +
                                 test::DigitalMagnitudeDb(eq.coefs + 15, freqs[i], kRate), 1e-9);
    }
    // A bell's own curve peaks at its gain at its frequency, as the analog one does.
    const double centre[] = {1000.0};
    EXPECT_NEAR(BandMagnitudeDb(s.bands[0], kRate, centre)[0], 6.0, 0.01);
}

TEST(EqPacking, DisabledBandsAreExactBypass) {
    Settings plain;
    plain.bands[4] = Band(BandType::Bell, Placement::PostDynamics, 500.0, -3.0);
    Settings withDisabled = plain;
    for (int i : {0, 1, 2, 7}) {
        withDisabled.bands[i] = Band(BandType::HighShelf, i % 2 ? Placement::PostDynamics : Placement::PreDynamics,
                                     3000.0 + i, 12.0, 3.0);
        withDisabled.bands[i].enabled = false;
    }
    const CoefficientSet a = Design(plain, Format::Mono, kRate), b = Design(withDisabled, Format::Mono, kRate);
    EXPECT_EQ(std::memcmp(&a.eq, &b.eq, sizeof a.eq), 0);
    EXPECT_EQ(b.eq.sectionEnd[0] - b.eq.sectionBegin[0], 0);
    EXPECT_EQ(b.eq.sectionEnd[1] - b.eq.sectionBegin[1], 1);

    // Nothing enabled: both ranges empty and every section the identity.    // A 0 dB bell or shelf is the identity too, not poles cancelling zeros.
    EXPECT_EQ(DesignedAlone(Band(BandType::Bell, Placement::PreDynamics, 20.0, 0.0, 30.0)),
              (std::vector<float>{1, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace stemstrip
