// Every class of bad setting is refused before anything is designed, with a
// message naming the parameter, the value and the valid range.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(), kInf = std::numeric_limits<double>::infinity();

// What Design refuses the settings with, or "(accepted)". Design runs
// Validate before anything else, so this is Validate's verdict too.
std::string ErrorOf(const Settings& s, Format f = Format::Stereo, double sampleRate = 48000.0) {
    try {
        Design(s, f, sampleRate);
    } catch (const SettingsError& e) {
        return e.what();
    }
    return "(accepted)";
}

// Settings with band i enabled as given.
Settings Band(int i, EqBand band) {
    Settings s;
    s.bands[i] = band;
    s.bands[i].enabled = true;
    return s;
}

TEST(Validation, RejectsEachClassOfBadInputNamingIt) {
    const std::pair<std::string, std::string> cases[] = {
        {ErrorOf({}, Format::Stereo, 0.0), "sampleRate = 0 is out of range; valid: [8000, 768000]"},
        {ErrorOf({}, Format::Stereo, kNaN), "sampleRate = nan"},
        {ErrorOf({}, static_cast<Format>(11)), "format = 11 is out of range; valid: [0, 10]"},
        {ErrorOf(Band(2, {.frequencyHz = 30000.0})), "bands[2].frequencyHz = 30000 is out of range; valid: [10, 24000)"},
        {ErrorOf(Band(0, {.frequencyHz = 24000.0})), "bands[0].frequencyHz = 24000"},
        {ErrorOf(Band(7, {.frequencyHz = kNaN})), "bands[7].frequencyHz = nan"},
        {ErrorOf(Band(1, {.q = 0.0})), "bands[1].q = 0 is out of range; valid: [0.1, 30]"},
        {ErrorOf(Band(4, {.type = static_cast<BandType>(42)})), "bands[4].type = 42"},
        {ErrorOf({.compressor = {.ratio = 0.5}}), "compressor.ratio = 0.5 is out of range; valid: [1, inf]"},
        {ErrorOf({.compressor = {.attackMs = -1.0}}), "compressor.attackMs = -1 is out of range; valid: [0, 10000]"},
        {ErrorOf({.expander = {.ratio = kInf}}), "expander.ratio = inf is out of range; valid: [1, 100]"},
        {ErrorOf({.expander = {.holdMs = kNaN}}), "expander.holdMs = nan"},
        {ErrorOf({.detector = {.mode = static_cast<DetectorMode>(2)}}), "detector.mode = 2"},
        {ErrorOf({.channelGroups = std::array<int, 8>{0, 0, 1, 2, 4, 3}}, Format::Surround5_1),
         "channelGroups[4] (format 5.1) = 4 is out of range; valid: [0, 3]"},
    };
    for (const auto& [message, expected] : cases)
        EXPECT_NE(message.find(expected), std::string::npos) << "wanted " << expected << ", got " << message;
}

TEST(Validation, AcceptsTheEdgesOfEveryRange) {
    Settings s{.compressor = {.ratio = kInf, .attackMs = 0.0},  // limiting
               .expander = {24.0, 100.0, 60.0, 200.0, true, -200.0, 60.0, 10000.0, 10000.0, 10000.0},
               .channelGroups = std::array<int, 8>{0, 0, 1, 2, 3, 3, 4, 4},
               .smoothingMs = 0.0};
    s.bands[0] = {true, BandType::HighShelf, Placement::PostDynamics, 10.0, 30.0, 0.1};
    s.bands[1] = {true, BandType::Bell, Placement::PreDynamics, 22049.0, -30.0, 30.0};
    EXPECT_EQ(ErrorOf(s, Format::Surround7_1, 44100.0), "(accepted)");
    EXPECT_EQ(ErrorOf(s, Format::Surround7_1, 8000.0 * 96), "(accepted)");

    // Unused stages are never checked: a preset keeps its disabled bands at any rate.
    Settings unused{.detector = {.filterHz = 30000.0}};
    unused.bands[2] = {false, static_cast<BandType>(42), Placement::PostDynamics, 30000.0, kNaN, 0.0};
    EXPECT_EQ(ErrorOf(unused, Format::Mono, 8000.0), "(accepted)");

    // The analysis applies the same band checks.
    const double at[] = {1000.0};
    EXPECT_THROW(BandMagnitudeDb(s.bands[1], 32000.0, at), SettingsError);
}

}  // namespace
}  // namespace stemstrip
