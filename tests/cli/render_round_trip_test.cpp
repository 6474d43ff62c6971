// `stemstrip render` end to end: every stem format through the real program,
// the channel mask it writes read back from the file's bytes, and its samples
// compared bit for bit with an SDK Instance fed the same samples.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include <cmath>

#include "stemstrip/design.hpp"
#include "cli_fixtures.hpp"

namespace cli_test {
namespace {

using stemstrip::Format;

struct LayoutCase {
    Format format;
    uint32_t fileMask;           // what the input declares
    std::vector<int> stripOrder; // file channel of each strip channel, for that mask
    const char* name;            // as the summary prints it
};

// Masks as WAVE_FORMAT_EXTENSIBLE defines them: FL 0x1, FR 0x2, FC 0x4, LFE 0x8,
// BL 0x10, BR 0x20, BC 0x100, SL 0x200, SR 0x400; channels stored in ascending
// bit order. The strip wants side pairs before back pairs and Cs last.
const std::vector<LayoutCase> kLayouts = {
    {Format::Mono, 0x4, {0}, "mono"},
    {Format::Stereo, 0x3, {0, 1}, "stereo"},
    {Format::LCR, 0x7, {0, 1, 2}, "lcr"},
    {Format::Quad, 0x33, {0, 1, 2, 3}, "quad"},
    {Format::Quad, 0x603, {0, 1, 2, 3}, "quad"},
    {Format::LCRS, 0x107, {0, 1, 2, 3}, "lcrs"},
    {Format::Surround5_0, 0x607, {0, 1, 2, 3, 4}, "5.0"},
    {Format::Surround5_1, 0x60F, {0, 1, 2, 3, 4, 5}, "5.1"},
    {Format::Surround5_1, 0x3F, {0, 1, 2, 3, 4, 5}, "5.1"},
    {Format::Surround6_0, 0x707, {0, 1, 2, 4, 5, 3}, "6.0"},
    {Format::Surround6_1, 0x70F, {0, 1, 2, 3, 5, 6, 4}, "6.1"},
    {Format::Surround7_0, 0x637, {0, 1, 2, 5, 6, 3, 4}, "7.0"},
    {Format::Surround7_1, 0x63F, {0, 1, 2, 3, 6, 7, 4, 5}, "7.1"},
};

// The last strip channel on a detector of its own, every other one linked in
// group 0: a channel put in the wrong strip slot then gets another gain.
std::vector<int> LopsidedGroups(Format f) {
    const int n = stemstrip::ChannelCount(f);
    std::vector<int> groups(n, 0);
    if (stemstrip::GroupSlots(f) > 1) groups[n - 1] = 1;
    return groups;
}

constexpr int kRate = 48000;
constexpr int64_t kFrames = 30011;  // neither a multiple of 16 nor of any --block used

struct Rendered {
    CliRun run;
    ParsedWav wav;
};

Rendered Render(const ScratchDir& dir, const std::string& input, const std::vector<std::string>& extra) {
    std::vector<std::string> args{"render", input, dir / "out.wav"};
    args.insert(args.end(), extra.begin(), extra.end());
    Rendered r{RunCli(args), {}};
    if (r.run.exitCode == 0) r.wav = ParseWav(ReadBytes(dir / "out.wav"));
    return r;
}

TEST(RenderRoundTrip, EveryFormatKeepsItsMaskAndMatchesTheSdkBitForBit) {
    for (const LayoutCase& c : kLayouts) {
        SCOPED_TRACE(testing::Message() << c.name << " mask 0x" << std::hex << c.fileMask);
        ScratchDir dir("every-format");
        const int channels = stemstrip::ChannelCount(c.format);
        const Audio input = TestSignal(channels, kFrames, kRate, 7u + channels);
        WriteBytes(dir / "in.wav", WavBytes(input, c.fileMask));
        const std::vector<int> groups = LopsidedGroups(c.format);
        WriteBytes(dir / "preset.json", TestPresetJson(groups));

        const Rendered r = Render(dir, dir / "in.wav", {"--preset", dir / "preset.json", "--block", "100"});
        ASSERT_EQ(r.run.exitCode, 0) << r.run.err;
        EXPECT_EQ(r.run.err, "");  // no progress bar without a terminal
        EXPECT_NE(r.run.out.find(std::string(c.name) + ", 48000 Hz"), std::string::npos) << r.run.out;
        EXPECT_EQ(r.run.out.find("note:"), std::string::npos) << r.run.out;

        const mode_t umaskNow = umask(0);
        umask(umaskNow);
        EXPECT_EQ(std::filesystem::status(dir / "out.wav").permissions(),
                  static_cast<std::filesystem::perms>(0666 & ~umaskNow));  // not the staging file's 0600
        EXPECT_EQ(r.wav.formatTag, 0xFFFE);
        EXPECT_EQ(r.wav.subFormat, 3);
        EXPECT_EQ(r.wav.bitsPerSample, 32);
        EXPECT_EQ(r.wav.sampleRate, kRate);
        ASSERT_TRUE(r.wav.channelMask.has_value());
        EXPECT_EQ(*r.wav.channelMask, c.fileMask);

        const Audio expected = SdkRender(c.format, TestSettings(groups), input, c.stripOrder);
        EXPECT_EQ(FirstDifference(expected, r.wav.audio), "");
    }
}

// libsndfile writes its own default masks for the channel counts unless the
// program records the layout before the first sample; the known traps are 8
// channels (0xFF instead of 7.1's 0x63F) and formats with no mask in the
// input at all. Default settings are the null test: the input comes back
// bit for bit.
TEST(RenderRoundTrip, FilesWithoutAMaskGetTheCountsUsualLayoutAndNullAtDefaults) {
    struct Case {
        int channels;
        uint32_t writtenMask;
        const char* name;
        bool noted;
    };
    for (const Case& c : {Case{1, 0x4, "mono", false}, Case{2, 0x3, "stereo", false}, Case{3, 0x7, "lcr", false},
                          Case{4, 0x33, "quad", true}, Case{5, 0x607, "5.0", false}, Case{6, 0x60F, "5.1", true},
                          Case{7, 0x70F, "6.1", true}, Case{8, 0x63F, "7.1", false}}) {
        SCOPED_TRACE(c.name);
        ScratchDir dir("no-mask");
        const Audio input = TestSignal(c.channels, 4000, kRate, 3u);
        WriteBytes(dir / "in.wav", WavBytes(input, std::nullopt));
        const Rendered r = Render(dir, dir / "in.wav", {});
        ASSERT_EQ(r.run.exitCode, 0) << r.run.err;
        EXPECT_NE(r.run.out.find(std::string(c.name) + ", 48000 Hz"), std::string::npos) << r.run.out;
        EXPECT_EQ(r.run.out.find("note: no channel mask") != std::string::npos, c.noted) << r.run.out;
        ASSERT_TRUE(r.wav.channelMask.has_value());
        EXPECT_EQ(*r.wav.channelMask, c.writtenMask);
        EXPECT_EQ(FirstDifference(input, r.wav.audio), "");
    }
}

TEST(RenderRoundTrip, FormatOptionAndUnknownMasksDecideAmbiguousCounts) {
    ScratchDir dir("format-option");
    const Audio quad = TestSignal(4, kFrames, kRate, 11u);
    WriteBytes(dir / "quad.wav", WavBytes(quad, 0x33));
    WriteBytes(dir / "preset.json", TestPresetJson({0, 0, 1, 2}));

    // --format lcrs reads the quad file as L R C S and labels the output so.
    Rendered r = Render(dir, dir / "quad.wav", {"--preset", dir / "preset.json", "--format", "lcrs"});
    ASSERT_EQ(r.run.exitCode, 0) << r.run.err;
    EXPECT_NE(r.run.out.find("lcrs, 48000 Hz"), std::string::npos) << r.run.out;
    EXPECT_EQ(r.wav.channelMask, 0x107u);
    EXPECT_EQ(FirstDifference(SdkRender(Format::LCRS, TestSettings({0, 0, 1, 2}), quad, {0, 1, 2, 3}), r.wav.audio),
              "");

    // L R C LFE is no stem layout of four channels: quad, with a note.
    // A forced format keeps the layout the file declares when it is one of the format's.
    WriteBytes(dir / "side-quad.wav", WavBytes(quad, 0x603));
    r = Render(dir, dir / "side-quad.wav", {"--format", "quad"});
    ASSERT_EQ(r.run.exitCode, 0) << r.run.err;
    EXPECT_EQ(r.wav.channelMask, 0x603u);

    WriteBytes(dir / "three-one.wav", WavBytes(quad, 0xF));
    r = Render(dir, dir / "three-one.wav", {});
    ASSERT_EQ(r.run.exitCode, 0) << r.run.err;
    EXPECT_NE(r.run.out.find("note: channel mask 0xF"), std::string::npos) << r.run.out;
    EXPECT_EQ(r.wav.channelMask, 0x33u);
}

// The key file drives the detector averaged over its channels; --set
// overrides apply on top of the preset, in order.
TEST(RenderRoundTrip, KeyFileAndOverridesOnTopOfThePreset) {
    ScratchDir dir("key");
    const Audio input = TestSignal(2, kFrames, kRate, 21u);
    const Audio key = TestSignal(2, kFrames, kRate, 22u);
    WriteBytes(dir / "in.wav", WavBytes(input, 0x3));
    WriteBytes(dir / "key.wav", WavBytes(key, std::nullopt));
    WriteBytes(dir / "preset.json", TestPresetJson());
    const Rendered r = Render(dir, dir / "in.wav",
                              {"--preset", dir / "preset.json", "--key", dir / "key.wav", "--set", "compressor.ratio=2",
                               "--set", "compressor.ratio=inf", "--set", "bands[1].gainDb=-6", "--set",
                               "bands[2].enabled=true", "--set", "bands[2].type=LowShelf", "--set", "expander.gate=true"});
    ASSERT_EQ(r.run.exitCode, 0) << r.run.err;
    stemstrip::Settings s = TestSettings();
    s.compressor.ratio = std::numeric_limits<double>::infinity();
    s.bands[1].gainDb = -6.0;
    s.bands[2] = {.enabled = true, .type = stemstrip::BandType::LowShelf};
    s.expander.gate = true;
    std::vector<float> mixed;
    for (int64_t i = 0; i < key.frames(); ++i) mixed.push_back((key.at(i, 0) + key.at(i, 1)) / 2.0f);
    EXPECT_EQ(FirstDifference(SdkRender(Format::Stereo, s, input, {0, 1}, mixed), r.wav.audio), "");
    // Keyed from the loud-then-quiet key rather than the programme: another result.
    EXPECT_NE(FirstDifference(SdkRender(Format::Stereo, s, input, {0, 1}), r.wav.audio), "");
}

// One NaN or infinity in the programme or the key renders exactly like the
// same file with a 0 there, in every format, and the summary says where the
// first one was instead of hiding it behind a level.
TEST(RenderRoundTrip, NonFiniteSamplesRenderAsZerosAndAreReported) {
    for (int format = 0; format < stemstrip::kFormatCount; ++format) {
        const Format f = static_cast<Format>(format);
        SCOPED_TRACE(stemstrip::FormatName(f));
        ScratchDir dir("non-finite");
        const int channels = stemstrip::ChannelCount(f);
        const Audio clean = TestSignal(channels, 4801, kRate, 11u), key = TestSignal(1, 4801, kRate, 12u);
        Audio dirty = clean, zeroed = clean, dirtyKey = key, zeroedKey = key;
        const int64_t at = 4800 / 2;  // 0.050 s
        dirty.samples[at * channels + channels - 1] = NAN;
        dirty.samples[(at + 9) * channels] = -INFINITY;
        zeroed.samples[at * channels + channels - 1] = zeroed.samples[(at + 9) * channels] = 0.0f;
        dirtyKey.samples[at + 3] = INFINITY;
        zeroedKey.samples[at + 3] = 0.0f;
        const std::vector<std::pair<const Audio*, const Audio*>> files = {
            {&dirty, &key}, {&zeroed, &key}, {&clean, &dirtyKey}, {&clean, &zeroedKey}};
        std::vector<Rendered> r;
        for (size_t i = 0; i < files.size(); ++i) {
            WriteBytes(dir / "in.wav", WavBytes(*files[i].first, std::nullopt));
            WriteBytes(dir / "key.wav", WavBytes(*files[i].second, std::nullopt));
            const std::vector<std::string> withKey = {"--format", std::string(stemstrip::FormatName(f)), "--key",
                                                      dir / "key.wav"};
            r.push_back(Render(dir, dir / "in.wav", i < 2 ? std::vector<std::string>(withKey.begin(), withKey.begin() + 2)
                                                          : withKey));
            ASSERT_EQ(r.back().run.exitCode, 0) << r.back().run.err;
        }
        EXPECT_EQ(FirstDifference(r[1].wav.audio, r[0].wav.audio), "") << "programme";
        EXPECT_EQ(FirstDifference(r[3].wav.audio, r[2].wav.audio), "") << "key";
        EXPECT_NE(r[0].run.out.find("warning: 2 NaN or infinite input samples were processed as 0; the first at 0.050 s "
                                    "(sample 2400)"),
                  std::string::npos)
            << r[0].run.out;
        EXPECT_NE(r[0].run.out.find("NaN/inf"), std::string::npos) << "the channel's input peak hides it";
        EXPECT_NE(r[2].run.out.find("warning: 1 NaN or infinite input sample was processed as 0 (in the key)"), std::string::npos)
            << r[2].run.out;
        EXPECT_EQ(r[1].run.out.find("warning"), std::string::npos) << r[1].run.out;
    }
}

}  // namespace
}  // namespace cli_test
