// The one "PATH=VALUE" settings parser (stemstrip/settings_assignments.hpp)
// behind both the C API's stemstrip_sdk_set and the command line's --set:
// every field and every accepted spelling, and every kind of error naming
// the path and the value. How each surface passes these on (last error, the
// "--set ...:" prefix, all-or-nothing) is tested with that surface.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "stemstrip/settings_assignments.hpp"
#include "stemstrip/settings_fields.hpp"

using namespace stemstrip;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// Every field as "path=value", one a line, in the order of settings_fields.hpp.
class Dump {
public:
    explicit Dump(std::string where = "") : where_(std::move(where)) {}
    void operator()(const char* name, double v) {
        char text[40];
        std::snprintf(text, sizeof text, "%.17g", v);
        Line(name, text);
    }
    void operator()(const char* name, bool v) { Line(name, v ? "true" : "false"); }
    template <class E>
        requires std::is_enum_v<E>
    void operator()(const char* name, E v) {
        Line(name, std::string(EnumNames<E>::names[static_cast<size_t>(v)]));
    }
    void operator()(const char* name, const std::optional<std::array<int, 8>>& groups) {
        std::string list;
        for (int slot : groups.value_or(std::array<int, 8>{})) list += (list.empty() ? "" : ",") + std::to_string(slot);
        Line(name, groups ? list : "default");
    }
    void operator()(const char* name, const std::array<EqBand, kMaxBands>& bands) {
        for (size_t i = 0; i < bands.size(); ++i) {
            Dump inner(Path(name) + "[" + std::to_string(i) + "]");
            VisitBand(bands[i], inner);
            text += inner.text;
        }
    }
    template <class F>
    void Object(const char* name, F&& fill) {
        Dump inner(Path(name));
        fill(inner);
        text += inner.text;
    }
    std::string text;

private:
    std::string Path(const char* name) const { return where_.empty() ? name : where_ + "." + name; }
    void Line(const char* name, const std::string& value) { text += Path(name) + "=" + value + "\n"; }
    std::string where_;
};

std::string DumpOf(const Settings& s) {
    Dump d;
    VisitSettings(s, d);
    return d.text;
}

std::string ErrorOf(std::string_view text) {
    try {
        ApplyAssignments(Settings{}, text);
    } catch (const UsageError& e) {
        return e.what();
    }
    return "(accepted)";
}

// Settings with every field away from its default.
Settings Unusual() {
    Settings s;
    for (int i = 0; i < kMaxBands; ++i)
        s.bands[i] = {.enabled = i % 2 == 0,
                      .type = static_cast<BandType>(i + 1),
                      .placement = Placement::PostDynamics,
                      .frequencyHz = 100.0 * (i + 1) + 0.125,
                      .gainDb = -3.5 + i,
                      .q = 0.1 * (i + 2)};
    s.compressor = {-18.25, kInf, 6.0, 1.5, 250.0, 24.0, 3.0};
    s.expander = {-50.0, 2.0, 3.0, 40.0, true, -45.0, 4.0, 12.0, 0.5, 80.0};
    s.detector = {DetectorMode::Average, 20.0, 30.0, SideChainFilter::BandPass, 2500.0, 1.25, true, true};
    s.channelGroups = std::array<int, 8>{0, 0, 1, 2, 3, 3, 4, 4};
    s.inputMeterTrimDb = -6.0;
    s.bypass = true;
    s.smoothingMs = 5.0;
    return s;
}

}  // namespace

TEST(SettingsAssignments, EveryFieldTakesItsValueFromText) {
    const Settings want = Unusual();
    const std::string text = DumpOf(want);
    EXPECT_NE(text, DumpOf(Settings{}));
    EXPECT_EQ(DumpOf(ApplyAssignments(Settings{}, text)), text);
    // The paths are the documented ones, not just the dump's own.
    const Settings s = ApplyAssignments(Settings{}, "compressor.ratio=4; expander.holdMs=7; detector.filter=LowPass;"
                                                    "bands[7].placement=PostDynamics; inputMeterTrimDb=-2; smoothingMs=1");
    EXPECT_EQ(s.compressor.ratio, 4.0);
    EXPECT_EQ(s.expander.holdMs, 7.0);
    EXPECT_EQ(s.detector.filter, SideChainFilter::LowPass);
    EXPECT_EQ(s.bands[7].placement, Placement::PostDynamics);
    EXPECT_EQ(s.inputMeterTrimDb, -2.0);
    EXPECT_EQ(s.smoothingMs, 1.0);
}

TEST(SettingsAssignments, AcceptedSpellings) {
    const auto one = [](std::string_view text) { return ApplyAssignment(Settings{}, text); };
    for (const char* on : {"true", "1", "on", "\"true\""}) EXPECT_TRUE(one(std::string("bypass=") + on).bypass) << on;
    for (const char* off : {"false", "0", "off"}) EXPECT_FALSE(ApplyAssignment(one("bypass=on"), std::string("bypass=") + off).bypass) << off;

    const std::pair<const char*, double> numbers[] = {{"-18", -18.0}, {"2.5", 2.5},   {"1e3", 1000.0}, {"+3", 3.0},
                                                      {".5", 0.5},    {"inf", kInf},  {"+inf", kInf},  {"-inf", -kInf},
                                                      {"\"inf\"", kInf}, {"  4 ", 4.0}};
    for (const auto& [text, value] : numbers)
        EXPECT_EQ(one(std::string("compressor.ratio=") + text).compressor.ratio, value) << text;

    EXPECT_EQ(one("bands[3].type=HighShelf").bands[3].type, BandType::HighShelf);
    EXPECT_EQ(one("bands[3].type=\"LowShelf\"").bands[3].type, BandType::LowShelf);
    EXPECT_EQ(one(" detector.mode = Average ").detector.mode, DetectorMode::Average);

    const std::array<int, 8> groups{0, 0, 1, 2, 0, 0, 0, 0};
    EXPECT_EQ(one("channelGroups=0,0,1,2").channelGroups, groups);
    EXPECT_EQ(one("channelGroups=[0, 0, 1, 2]").channelGroups, groups);
    EXPECT_EQ(one("channelGroups=\"0,0,1,2\"").channelGroups, groups);
    for (const char* reset : {"default", "null"})
        EXPECT_FALSE(ApplyAssignment(one("channelGroups=0,1"), std::string("channelGroups=") + reset).channelGroups) << reset;
    const std::array<int, 8> changed{0, 0, 5, 2, 0, 0, 0, 0};
    EXPECT_EQ(ApplyAssignments(Settings{}, "channelGroups=0,0,1,2; channelGroups[2]=5").channelGroups, changed);

    // ';' or newlines between assignments, empty ones skipped, applied in order.
    const Settings s = ApplyAssignments(Settings{}, " ;compressor.ratio=2;\n\ncompressor.ratio=3 ;; bypass=1\n");
    EXPECT_EQ(s.compressor.ratio, 3.0);
    EXPECT_TRUE(s.bypass);
    EXPECT_EQ(DumpOf(ApplyAssignments(Settings{}, " ; \n")), DumpOf(Settings{}));
    // Ranges are the designer's: the parser takes any number.
    EXPECT_EQ(one("expander.ratio=1000").expander.ratio, 1000.0);
}

TEST(SettingsAssignments, EveryKindOfErrorNamesThePathAndTheValue) {
    using ::testing::HasSubstr;
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        // not an assignment
        {"compressor.ratio", {"'compressor.ratio' is not an assignment", "PATH=VALUE"}},
        {"=4", {"'=4' is not an assignment"}},
        // unknown paths, with the names valid where the path went wrong
        {"compresor.kneeDb=6",
         {"unknown setting 'compresor.kneeDb'", "valid are bands[0..7].<field>, compressor.<field>, expander.<field>, "
                                                "detector.<field>, channelGroups, inputMeterTrimDb, bypass, smoothingMs"}},
        {"compressor.thresold=3",
         {"unknown setting 'compressor.thresold'",
          "valid in compressor are thresholdDb, ratio, kneeDb, attackMs, releaseMs, maxReductionDb, makeupDb"}},
        {"bands[2].gain=1", {"unknown setting 'bands[2].gain'", "valid in bands[2] are enabled, type, placement, frequencyHz, gainDb, q"}},
        {"bands[2]=1", {"unknown setting 'bands[2]'", "valid in bands[2] are enabled"}},
        {"bands[2]gainDb=1", {"unknown setting 'bands[2]gainDb'"}},
        {"compressor=4", {"unknown setting 'compressor'", "compressor.<field>"}},
        {"compressor.ratio.x=4", {"unknown setting 'compressor.ratio.x'", "valid in compressor are"}},
        {"Bypass=1", {"unknown setting 'Bypass'"}},
        {"channelGroups[0].x=1", {"unknown setting 'channelGroups[0].x'"}},
        // array indices
        {"bands[x].q=1", {"bad index in 'bands[x].q'", "bands[0] .. bands[7]"}},
        {"bands[].q=1", {"bad index in 'bands[].q'"}},
        {"bands[-1].q=1", {"bad index in 'bands[-1].q'"}},
        {"bands[1.0].q=1", {"bad index in 'bands[1.0].q'"}},
        {"bands[2.q=1", {"bad index in 'bands[2.q'"}},
        {"bands[8].q=1", {"bands[8].q: index 8 is out of range: 0..7"}},
        {"channelGroups[8]=1", {"channelGroups[8]: index 8 is out of range: 0..7"}},
        {"channelGroups[1]=2", {"channelGroups[1]: channelGroups is not set", "channelGroups=0,0,1,1"}},
        // numbers
        {"compressor.ratio=abc", {"compressor.ratio = 'abc' is not a number", "such as -18 or 2.5, or inf"}},
        {"compressor.ratio=", {"compressor.ratio = '' is not a number"}},
        {"compressor.ratio=nan", {"compressor.ratio = 'nan' is not a number"}},
        {"compressor.ratio=1e309", {"compressor.ratio = '1e309' is not a number"}},
        {"compressor.ratio=0x10", {"compressor.ratio = '0x10' is not a number"}},
        {"compressor.ratio=2,5", {"compressor.ratio = '2,5' is not a number"}},
        {"compressor.ratio=+-3", {"compressor.ratio = '+-3' is not a number"}},
        {"compressor.ratio=4 dB", {"compressor.ratio = '4 dB' is not a number"}},
        // booleans and enums
        {"expander.gate=yes", {"expander.gate = 'yes' is not a boolean", "expected true or false (or 1/0, on/off)"}},
        {"detector.mode=loud", {"detector.mode = 'loud' is unknown: valid are Peak, Average"}},
        {"bands[0].type=highshelf",
         {"bands[0].type = 'highshelf' is unknown",
          "valid are Bell, LowShelf, HighShelf, HighPass1, HighPass2, LowPass1, LowPass2, BandPass, Notch"}},
        {"bands[0].placement=Post", {"valid are PreDynamics, PostDynamics"}},
        {"detector.filter=Bandpass", {"valid are Off, HighPass, LowPass, BandPass"}},
        // channel groups
        {"channelGroups=", {"channelGroups = '' is empty", "1 to 8 group slots"}},
        {"channelGroups=[]", {"channelGroups = '[]' is empty"}},
        {"channelGroups=0,1,2,3,4,0,1,2,3", {"channelGroups = '0,1,2,3,4,0,1,2,3' has more than 8 entries"}},
        {"channelGroups=0,x", {"channelGroups[1] = 'x' is not an integer"}},
        {"channelGroups=0,1.5", {"channelGroups[1] = '1.5' is not an integer"}},
        {"channelGroups=0,,1", {"channelGroups[1] = '' is not an integer"}},
        {"channelGroups=4294967297", {"channelGroups[0] = '4294967297' is not an integer"}},
        {"channelGroups=0,1; channelGroups[1]=one", {"channelGroups[1] = 'one' is not an integer"}},
        // the first bad assignment is the one named
        {"compressor.ratio=x; detector.mode=y", {"compressor.ratio = 'x'"}},
    };
    for (const auto& [text, mentions] : cases) {
        const std::string error = ErrorOf(text);
        for (const char* m : mentions) EXPECT_THAT(error, HasSubstr(m)) << "for " << text;
    }
}
