// The one "PATH=VALUE" settings parser behind the C API's stemstrip_sdk_set
// and the command line's --set: paths, spellings, and errors that name the
// path and the value.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "stemstrip/settings_assignments.hpp"

using namespace stemstrip;

TEST(SettingsAssignments, PathsAndSpellingsTakeTheirValuesInOrder) {
    // Separators are ';' and newlines, with spaces and empty statements anywhere.
    const Settings s = ApplyAssignments(Settings{}, " ;compressor.ratio=2;\n\ncompressor.ratio=4 ;; bands[7].placement=PostDynamics;"
                                                    " inputMeterTrimDb = -2\nsmoothingMs=1\n");
    EXPECT_EQ(s.compressor.ratio, 4.0) << "the last assignment wins";
    EXPECT_EQ(s.bands[7].placement, Placement::PostDynamics);
    EXPECT_EQ(s.inputMeterTrimDb, -2.0);
    EXPECT_EQ(s.smoothingMs, 1.0);
    const auto one = [](std::string_view text) { return ApplyAssignment(Settings{}, text); };
    for (const char* on : {"true", "1", "on", "\"true\""}) EXPECT_TRUE(one(std::string("bypass=") + on).bypass) << on;
    for (const auto& [text, value] : {std::pair{"1e3", 1000.0}, {"+3", 3.0}, {"-inf", -INFINITY}, {"\"inf\"", INFINITY}})
        EXPECT_EQ(one(std::string("compressor.ratio=") + text).compressor.ratio, value) << text;
    EXPECT_EQ(ApplyAssignments(Settings{}, "channelGroups=[0, 0, 1, 2]; channelGroups[2]=5").channelGroups, (std::array<int, 8>{0, 0, 5, 2}));
    EXPECT_FALSE(ApplyAssignments(Settings{}, "channelGroups=0,1\nchannelGroups=default").channelGroups);
}

// Each kind of error names the path and the value, and what would be valid.
TEST(SettingsAssignments, ErrorsNameThePathAndTheValue) {
    using ::testing::HasSubstr, ::testing::ThrowsMessage;
    const std::pair<const char*, const char*> cases[] = {
        {"compressor.ratio", "'compressor.ratio' is not an assignment"},
        {"bands[x].q=1", "bad index in 'bands[x].q'"},
        {"bands[8].q=1", "bands[8].q: index 8 is out of range: 0..7"},
        {"channelGroups[1]=2", "channelGroups[1]: channelGroups is not set"},
        {"compressor.ratio=nan", "compressor.ratio = 'nan' is not a number"},
        {"compressor.ratio=4 dB", "compressor.ratio = '4 dB' is not a number"},
        {"expander.gate=yes", "expander.gate = 'yes' is not a boolean"},
        {"detector.mode=loud", "detector.mode = 'loud' is unknown: valid are Peak, Average"},
        {"channelGroups=0,1,2,3,4,0,1,2,3", "has more than 8 entries"},
        {"channelGroups=0,1.5", "channelGroups[1] = '1.5' is not an integer"},
        {"compressor.ratio=x; detector.mode=y", "compressor.ratio = 'x'"},
    };
    for (const auto& [text, mention] : cases)
        EXPECT_THAT([&] { ApplyAssignments(Settings{}, text); }, ThrowsMessage<UsageError>(HasSubstr(mention))) << "for " << text;
}
