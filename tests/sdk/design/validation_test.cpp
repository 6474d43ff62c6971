// Every class of bad setting is rejected, by Validate and by Design, with a
// message naming the parameter, the value and the valid range.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(), kInf = std::numeric_limits<double>::infinity();

struct BadCase {
    std::function<void(Settings&, Format&, double&)> spoil;
    std::string expected;  // the message must contain this
};

TEST(Validation, RejectsEachClassOfBadInputNamingIt) {
    const BadCase cases[] = {
        {[](Settings&, Format&, double& fs) { fs = 0.0; }, "sampleRate = 0 is out of range; valid: [8000, 768000]"},
        {[](Settings&, Format&, double& fs) { fs = kNaN; }, "sampleRate = nan"},
        {[](Settings&, Format& f, double&) { f = static_cast<Format>(11); }, "format = 11 is out of range; valid: [0, 10]"},
        {[](Settings& s, Format&, double&) { s.bands[2].enabled = true, s.bands[2].frequencyHz = 30000.0; },
         "bands[2].frequencyHz = 30000 is out of range; valid: [10, 24000)"},
        {[](Settings& s, Format&, double&) { s.bands[0].enabled = true, s.bands[0].frequencyHz = 24000.0; }, "bands[0].frequencyHz = 24000"},
        {[](Settings& s, Format&, double&) { s.bands[7].enabled = true, s.bands[7].frequencyHz = kNaN; }, "bands[7].frequencyHz = nan"},
        {[](Settings& s, Format&, double&) { s.bands[1].enabled = true, s.bands[1].q = 0.0; }, "bands[1].q = 0 is out of range; valid: [0.1, 30]"},
        {[](Settings& s, Format&, double&) { s.bands[4].enabled = true, s.bands[4].type = static_cast<BandType>(42); }, "bands[4].type = 42"},
        {[](Settings& s, Format&, double&) { s.compressor.ratio = 0.5; }, "compressor.ratio = 0.5 is out of range; valid: [1, inf]"},
        {[](Settings& s, Format&, double&) { s.compressor.attackMs = -1.0; }, "compressor.attackMs = -1 is out of range; valid: [0, 10000]"},
        {[](Settings& s, Format&, double&) { s.expander.ratio = kInf; }, "expander.ratio = inf is out of range; valid: [1, 100]"},
        {[](Settings& s, Format&, double&) { s.expander.holdMs = kNaN; }, "expander.holdMs = nan"},
        {[](Settings& s, Format&, double&) { s.detector.mode = static_cast<DetectorMode>(2); }, "detector.mode = 2"},
        {[](Settings& s, Format& f, double&) { f = Format::Surround5_1, s.channelGroups = std::array<int, 8>{0, 0, 1, 2, 4, 3}; },
         "channelGroups[4] (format 5.1) = 4 is out of range; valid: [0, 3]"},
    };
    for (const BadCase& c : cases) {
        Settings s;
        Format f = Format::Stereo;
        double fs = 48000.0;
        c.spoil(s, f, fs);
        for (const bool design : {false, true}) {
            try {
                design ? (void)Design(s, f, fs) : Validate(s, f, fs);
                ADD_FAILURE() << "accepted: " << c.expected;
            } catch (const SettingsError& e) {
                EXPECT_NE(std::string(e.what()).find(c.expected), std::string::npos) << "message: " << e.what();
            }
        }
    }
}

TEST(Validation, AcceptsTheEdgesOfEveryRange) {
    Settings s;
    s.compressor.ratio = kInf;  // limiting
    s.compressor.attackMs = s.expander.holdMs = s.smoothingMs = 0.0;
    s.bands[0] = {true, BandType::HighShelf, Placement::PostDynamics, 10.0, 30.0, 0.1};
    s.bands[1] = {true, BandType::Bell, Placement::PreDynamics, 22049.0, -30.0, 30.0};
    s.expander = {24.0, 100.0, 60.0, 200.0, true, -200.0, 60.0, 10000.0, 10000.0, 10000.0};
    s.channelGroups = std::array<int, 8>{0, 0, 1, 2, 3, 3, 4, 4};
    EXPECT_NO_THROW(Design(s, Format::Surround7_1, 44100.0));
    EXPECT_NO_THROW(Design(s, Format::Surround7_1, 8000.0 * 96));

    // Unused stages are never checked: a preset keeps its disabled bands at any rate.
    Settings unused;
    unused.bands[2] = {false, static_cast<BandType>(42), Placement::PostDynamics, 30000.0, kNaN, 0.0};
    unused.detector.filterHz = 30000.0;
    EXPECT_NO_THROW(Design(unused, Format::Mono, 8000.0));

    // The analysis applies the same band checks.
    const double at[] = {1000.0};
    EqBand wrong = s.bands[1];
    EXPECT_THROW(BandMagnitudeDb(wrong, 32000.0, at), SettingsError);
}

}  // namespace
}  // namespace stemstrip
