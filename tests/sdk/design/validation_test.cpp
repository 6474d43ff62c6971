// Every class of bad setting is refused before anything is designed, with a
// message naming the parameter, the value and the valid range.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

using namespace stemstrip;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(), kInf = std::numeric_limits<double>::infinity();

// Settings with band i enabled as given.
Settings Band(int i, EqBand band) {
    Settings s;
    s.bands[i] = band;
    s.bands[i].enabled = true;
    return s;
}

// Design runs Validate before anything else, so its refusals are Validate's.
TEST(Validation, RejectsEachClassOfBadInputNamingIt) {
    const struct { Settings s; std::string expected; Format f = Format::Stereo; double fs = 48000.0; } cases[] = {
        {{}, "sampleRate = 0 is out of range; valid: [8000, 768000]", Format::Stereo, 0.0},
        {{}, "sampleRate = nan", Format::Stereo, kNaN},
        {{}, "format = 11 is out of range; valid: [0, 10]", static_cast<Format>(11)},
        {Band(2, {.frequencyHz = 30000.0}), "bands[2].frequencyHz = 30000 is out of range; valid: [10, 24000)"},
        {Band(0, {.frequencyHz = 24000.0}), "bands[0].frequencyHz = 24000"},
        {Band(1, {.q = 0.0}), "bands[1].q = 0 is out of range; valid: [0.1, 30]"},
        {Band(4, {.type = static_cast<BandType>(42)}), "bands[4].type = 42"},
        {{.compressor = {.ratio = 0.5}}, "compressor.ratio = 0.5 is out of range; valid: [1, inf]"},
        {{.compressor = {.attackMs = -1.0}}, "compressor.attackMs = -1 is out of range; valid: [0, 10000]"},
        {{.expander = {.ratio = kInf}}, "expander.ratio = inf is out of range; valid: [1, 100]"},
        {{.expander = {.holdMs = kNaN}}, "expander.holdMs = nan"},
        {{.detector = {.mode = static_cast<DetectorMode>(2)}}, "detector.mode = 2"},
        {{.channelGroups = std::array<int, 8>{0, 0, 1, 2, 4, 3}}, "channelGroups[4] (format 5.1) = 4 is out of range; valid: [0, 3]",
         Format::Surround5_1},
    };
    for (const auto& c : cases)
        EXPECT_THAT([&] { Design(c.s, c.f, c.fs); }, testing::ThrowsMessage<SettingsError>(testing::HasSubstr(c.expected)));
}

TEST(Validation, AcceptsTheEdgesOfEveryRange) {
    Settings s{.compressor = {.ratio = kInf, .attackMs = 0.0},  // limiting
               .expander = {24.0, 100.0, 60.0, 200.0, true, -200.0, 60.0, 10000.0, 10000.0, 10000.0},
               .channelGroups = std::array<int, 8>{0, 0, 1, 2, 3, 3, 4, 4},
               .smoothingMs = 0.0};
    EXPECT_NO_THROW(Design(s, Format::Surround7_1, 8000.0 * 96));  // band edges: the EQ stability test

    // Unused stages are never checked: a preset keeps its disabled bands at any rate.
    Settings unused{.detector = {.filterHz = 30000.0}};
    unused.bands[2] = {false, static_cast<BandType>(42), Placement::PostDynamics, 30000.0, kNaN, 0.0};
    EXPECT_NO_THROW(Design(unused, Format::Mono, 8000.0));

    // The analysis applies the same band checks.
    const double at[] = {1000.0};
    EXPECT_THROW(BandMagnitudeDb({.enabled = true, .frequencyHz = 16000.0}, 32000.0, at), SettingsError);  // Nyquist itself
}

}  // namespace
