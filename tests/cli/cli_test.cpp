// `stemstrip render` end to end: the real program run on files the test
// writes, its output read back without the program's own code. Every stem
// format through the program, the channel mask it writes read back from the
// file's bytes, and its samples compared bit for bit with an SDK Instance fed
// the same samples; the containers and sample encodings other than float WAV,
// written with libsndfile (the encoders are not under test); and every way a
// render can fail, which leaves the directory exactly as it was.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <random>

#include "audio_files.hpp"
#include "programs.hpp"
#include "sdk_render.hpp"
#include "stemstrip/design.hpp"

namespace {

using namespace stemstrip;
using namespace stemstrip_test;

constexpr int64_t kFrames = 30011;  // neither a multiple of 16 nor of any --block used
constexpr int kRate = 48000;

// `stemstrip render` run with `args`.
ProgramRun Render(std::vector<std::string> args, const RunOptions& options = {}) {
    args.insert(args.begin(), {STEMSTRIP_CLI_PATH, "render"});
    return Run(args, options);
}

// Every channel different (frequency, level, noise) with a loud first half and
// a quiet second half, so EQ, compressor, expander and linking all act.
Audio TestSignal(int channels, int64_t frames, int sampleRate, unsigned seed) {
    Audio a{sampleRate, channels, std::vector<float>(static_cast<size_t>(frames * channels))};
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> noise(-1.0, 1.0);
    for (int64_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c) {
            const double tone = std::sin(2.0 * std::numbers::pi * (110.0 * (c + 1)) * i / sampleRate);
            const double level = (i < frames / 2 ? 1.0 : 0.03) * 0.9 / (1.0 + 0.4 * c);
            a.at(i, c) = static_cast<float>(level * (0.8 * tone + 0.2 * noise(random)));
        }
    return a;
}

// The test's own settings (pre and post EQ, compressor, expander, averaging
// detector) with `groups` as channelGroups when given, and the same settings
// spelled as a preset file: two independent spellings of one intent.
Settings TestSettings(const std::vector<int>& groups = {}) {
    Settings s{.compressor = {-24.0, 4.0, 6.0, 3.0, 80.0, 60.0, 2.0},
               .expander = {.thresholdDb = -50.0, .ratio = 2.0, .rangeDb = 20.0},
               .detector = {.mode = DetectorMode::Average, .averageMs = 5.0}};
    s.bands[0] = {true, BandType::HighPass2, Placement::PreDynamics, 60.0, 0.0, 0.707};
    s.bands[1] = {true, BandType::Bell, Placement::PostDynamics, 2500.0, 4.0, 1.4};
    if (!groups.empty()) std::copy(groups.begin(), groups.end(), s.channelGroups.emplace().begin());
    return s;
}

std::string TestPresetJson(const std::vector<int>& groups = {}) {
    std::string json = R"({
  "description": "test settings",
  "bands": [
    { "enabled": true, "type": "HighPass2", "frequencyHz": 60, "q": 0.707 },
    { "enabled": true, "type": "Bell", "placement": "PostDynamics", "frequencyHz": 2500, "gainDb": 4, "q": 1.4 }
  ],
  "compressor": { "thresholdDb": -24, "ratio": 4, "kneeDb": 6, "attackMs": 3, "releaseMs": 80, "makeupDb": 2 },
  "expander": { "thresholdDb": -50, "ratio": 2, "rangeDb": 20 },
  "detector": { "mode": "Average", "averageMs": 5 })";
    for (size_t i = 0; i < groups.size(); ++i) json += (i ? ", " : ", \"channelGroups\": [") + std::to_string(groups[i]);
    return json + (groups.empty() ? "}\n" : "]}\n");
}

// Without a mask, a file gets the usual layout of its channel count, with a
// note where that is a guess between stem formats.
enum class Unmasked { Other, Usual, UsualNoted };

struct LayoutCase {
    Format format;
    uint32_t fileMask;           // what the input declares
    std::vector<int> stripOrder; // file channel of each strip channel, for that mask
    const char* name;            // as the summary prints it
    Unmasked unmasked = Unmasked::Other;
    const char* forced = nullptr;  // --format
    uint32_t outMask = 0;          // the mask written, when not the file's; noted unless forced
};

// Masks as WAVE_FORMAT_EXTENSIBLE defines them: FL 0x1, FR 0x2, FC 0x4, LFE 0x8,
// BL 0x10, BR 0x20, BC 0x100, SL 0x200, SR 0x400; channels stored in ascending
// bit order. The strip wants side pairs before back pairs and Cs last.
const std::vector<LayoutCase> kLayouts = {
    {Format::Mono, 0x4, {0}, "mono", Unmasked::Usual},
    {Format::Stereo, 0x3, {0, 1}, "stereo", Unmasked::Usual},
    {Format::LCR, 0x7, {0, 1, 2}, "lcr", Unmasked::Usual},
    {Format::Quad, 0x33, {0, 1, 2, 3}, "quad", Unmasked::UsualNoted},
    {Format::Quad, 0x603, {0, 1, 2, 3}, "quad"},
    {Format::LCRS, 0x107, {0, 1, 2, 3}, "lcrs"},
    {Format::Surround5_0, 0x607, {0, 1, 2, 3, 4}, "5.0", Unmasked::Usual},
    {Format::Surround5_1, 0x60F, {0, 1, 2, 3, 4, 5}, "5.1", Unmasked::UsualNoted},
    {Format::Surround5_1, 0x3F, {0, 1, 2, 3, 4, 5}, "5.1"},
    {Format::Surround6_0, 0x707, {0, 1, 2, 4, 5, 3}, "6.0"},
    {Format::Surround6_1, 0x70F, {0, 1, 2, 3, 5, 6, 4}, "6.1", Unmasked::UsualNoted},
    {Format::Surround7_0, 0x637, {0, 1, 2, 5, 6, 3, 4}, "7.0"},
    {Format::Surround7_1, 0x63F, {0, 1, 2, 3, 6, 7, 4, 5}, "7.1", Unmasked::Usual},
    // --format reads a quad file as L R C S and labels it so, or keeps the
    // file's layout when it is one of the format's.
    {Format::LCRS, 0x33, {0, 1, 2, 3}, "lcrs", Unmasked::Other, "lcrs", 0x107},
    {Format::Quad, 0x603, {0, 1, 2, 3}, "quad", Unmasked::Other, "quad"},
    // L R C LFE is no stem layout of four channels: quad, with a note.
    {Format::Quad, 0xF, {0, 1, 2, 3}, "quad", Unmasked::Other, nullptr, 0x33},
};

// Every layout with its mask, and the count's usual layouts without one:
// libsndfile writes its own default masks for the channel counts unless the
// program records the layout before the first sample (8 channels would get
// 0xFF instead of 7.1's 0x63F). Without a mask the file is rendered at
// default settings, the null test: the input comes back bit for bit.
TEST(RenderRoundTrip, EveryFormatKeepsItsMaskAndMatchesTheSdkBitForBit) {
    for (const LayoutCase& c : kLayouts)
        for (const bool masked : {true, false}) {
            if (!masked && c.unmasked == Unmasked::Other) continue;
            SCOPED_TRACE(testing::Message() << c.name << " mask 0x" << std::hex << c.fileMask << (masked ? "" : " left out"));
            ScratchDir dir("every-format");
            const int channels = ChannelCount(c.format);
            Audio input = TestSignal(channels, kFrames, kRate, 7u + channels);
            // A NaN and an infinity render as zeros would, and the summary says where the first one was.
            Audio dirty = input;
            dirty.at(2400, channels - 1) = NAN;
            dirty.at(2409, 0) = -INFINITY;
            input.at(2400, channels - 1) = input.at(2409, 0) = 0.0f;
            WriteWav(dir / "in.wav", dirty, masked ? std::optional(c.fileMask) : std::nullopt);
            // The last strip channel on a detector of its own, every other one linked in
            // group 0: a channel put in the wrong strip slot then gets another gain.
            std::vector<int> groups(channels, 0);
            if (GroupSlots(c.format) > 1) groups.back() = 1;
            WriteBytes(dir / "preset.json", TestPresetJson(groups));

            std::vector<std::string> args{"in.wav", "out.wav"};
            if (masked) args.insert(args.end(), {"--preset", "preset.json", "--block", "100"});
            if (c.forced) args.insert(args.end(), {"--format", c.forced});
            const ProgramRun run = Render(args, {.directory = dir.path()});
            ASSERT_EQ(run.exitCode, 0) << run.err;
            EXPECT_EQ(run.err, "");  // no progress bar without a terminal
            EXPECT_NE(run.out.find(std::string(c.name) + ", 48000 Hz"), std::string::npos) << run.out;
            EXPECT_EQ(run.out.find("note:") != std::string::npos,
                      masked ? c.outMask != 0 && !c.forced : c.unmasked == Unmasked::UsualNoted) << run.out;
            EXPECT_NE(run.out.find("warning: 2 NaN or infinite input samples were processed as 0; the first at "
                                     "0.050 s (sample 2400)"), std::string::npos) << run.out;
            EXPECT_NE(run.out.find("NaN/inf"), std::string::npos) << "the channel's input peak hides it";
            // A new file's permissions (as preset.json got them), not the staging file's 0600.
            EXPECT_EQ(std::filesystem::status(dir / "out.wav").permissions(),
                      std::filesystem::status(dir / "preset.json").permissions());
            EXPECT_EQ(ExtensibleFloatMask(dir / "out.wav"), c.outMask ? c.outMask : c.fileMask);
            const Audio expected = masked ? SdkRender(c.format, TestSettings(groups), input, c.stripOrder) : input;
            EXPECT_EQ(FirstDifference(expected, ReadWav(dir / "out.wav")), "");
        }
}

// The key file drives the detector averaged over its channels, a frame
// whose mix is infinite taken as 0; --set overrides apply on top of the preset, in order.
TEST(RenderRoundTrip, KeyFileAndOverridesOnTopOfThePreset) {
    ScratchDir dir("key");
    const Audio input = TestSignal(2, kFrames, kRate, 21u);
    Audio key = TestSignal(2, kFrames, kRate, 22u);
    key.at(2403, 1) = INFINITY;
    WriteWav(dir / "in.wav", input, 0x3);
    WriteWav(dir / "key.wav", key);
    WriteBytes(dir / "preset.json", TestPresetJson());
    const ProgramRun run = Render({"in.wav", "out.wav", "--preset", "preset.json", "--key", "key.wav", "--set",
                                   "compressor.ratio=2", "--set", "compressor.ratio=inf", "--set", "bands[1].gainDb=-6",
                                   "--set", "bands[2].enabled=true", "--set", "bands[2].type=LowShelf", "--set",
                                   "expander.gate=true"}, {.directory = dir.path()});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("warning: 1 NaN or infinite input sample was processed as 0 (in the key)"), std::string::npos)
        << run.out;
    const Audio out = ReadWav(dir / "out.wav");
    Settings s = TestSettings();
    s.compressor.ratio = std::numeric_limits<double>::infinity();
    s.bands[1].gainDb = -6.0;
    s.bands[2] = {.enabled = true, .type = BandType::LowShelf};
    s.expander.gate = true;
    std::vector<float> mixed;
    for (int64_t i = 0; i < key.frames(); ++i) mixed.push_back((key.at(i, 0) + key.at(i, 1)) / 2.0f);
    mixed[2403] = 0.0f;  // that frame's mix is infinite
    EXPECT_EQ(FirstDifference(SdkRender(Format::Stereo, s, input, {0, 1}, mixed), out), "");
    // Keyed from the loud-then-quiet key rather than the programme: another result.
    EXPECT_NE(FirstDifference(SdkRender(Format::Stereo, s, input, {0, 1}), out), "");
}

// Every encoding renders like the SDK on the samples as decoded. With
// --keep-format an integer one comes back in the input's encoding (WAV as
// extensible WAV), the float render clipped and encoded, and the summary
// says how many clipped; with the strip bypassed
// it gives back the very integers it read, both ends of the range included.
TEST(InputEncodings, EveryContainerAndEncodingRendersLikeTheDecodedSamples) {
    const std::pair<const char*, int> cases[] = {
        {"pcm16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},   {"pcm24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
        {"pcm32.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32},   {"pcm16.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
        {"pcm24.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24}, {"pcm16.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
        {"pcm24.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24}, {"float.aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT}};
    for (const auto& [file, format] : cases) {
        SCOPED_TRACE(file);
        ScratchDir dir("encodings");
        const std::string in = dir / file, kept = dir / (std::string("kept") + file);
        Audio signal = TestSignal(2, 9001, 44100, 31u);
        signal.samples[0] = -1.0f;
        signal.samples[1] = 1.0f;
        WriteAudio(in, signal, format);
        WriteBytes(dir / "preset.json", TestPresetJson());
        const ProgramRun run = Render({in, dir / "out.wav", "--preset", dir / "preset.json"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.out.find("warning"), std::string::npos) << "a clean file, and float holds the peaks";
        const Audio expected = SdkRender(Format::Stereo, TestSettings(), ReadAudio(in), {0, 1});
        EXPECT_EQ(FirstDifference(expected, ReadWav(dir / "out.wav")), "");

        const int subtype = format & SF_FORMAT_SUBMASK;
        if (subtype != SF_FORMAT_PCM_16 && subtype != SF_FORMAT_PCM_24) continue;
        const ProgramRun keptRun = Render({in, kept, "--preset", dir / "preset.json", "--keep-format"});
        ASSERT_EQ(keptRun.exitCode, 0) << keptRun.err;
        // The makeup takes the full-scale samples beyond it: the summary counts those the integers clip.
        const auto beyond = std::ranges::count_if(expected.samples, [](float x) { return std::abs(x) > 1.0f; });
        ASSERT_GT(beyond, 0);
        EXPECT_NE(keptRun.out.find("warning: " + std::to_string(beyond) + " output samples beyond full scale were clipped"),
                  std::string::npos) << keptRun.out;
        // The samples are the SDK's render in the input's encoding, clipped,
        // as libsndfile encodes them (the encoder is not under test).
        WriteAudio(dir / "expected", expected, format);
        int keptFormat = 0;
        EXPECT_EQ(FirstDifference(ReadAudio(dir / "expected"), ReadAudio(kept, &keptFormat)), "");
        EXPECT_EQ(keptFormat, (format & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAV ? SF_FORMAT_WAVEX | subtype : format);
        ASSERT_EQ(Render({in, kept, "--set", "bypass=true", "--keep-format"}).exitCode, 0);
        // 16 and 24-bit integers decode to floats exactly: the same floats are the same integers.
        EXPECT_EQ(FirstDifference(ReadAudio(in), ReadAudio(kept)), "") << "bypassed";
    }
}

// Every way a render can fail: the program exits non-zero with one line that
// names the file or field at fault, and leaves the directory exactly as it
// was (no output, no temporary file, the input untouched).
struct ErrorCase {
    std::vector<std::string> args;  // run in the scratch directory
    std::vector<std::string> mentions;
    int exitCode = 1;
    int64_t maxFileBytes = 0;  // a full disk part way through
    int signal = 0;            // sent once the output is being written
};

TEST(CliErrors, BadInputsSettingsAndOutputsAndWritesThatFailHalfway) {
    ScratchDir dir("errors");
    // in.wav (stereo, 48 kHz) and shorter and longer files (the short one also
    // a key too short), keys of the wrong rate and length, a directory, a
    // symbolic link to the input, a few broken presets and an earlier output.
    WriteWav(dir / "in.wav", TestSignal(2, kFrames, 48000, 1u), 0x3);
    WriteWav(dir / "short.wav", TestSignal(2, 1000, 48000, 5u), 0x3);
    WriteWav(dir / "long.wav", TestSignal(2, 10 * 48000, 48000, 9u), 0x3);  // seconds at --block 1
    WriteWav(dir / "nine.wav", TestSignal(9, 100, 48000, 2u));
    WriteWav(dir / "key44.wav", TestSignal(1, kFrames, 44100, 3u));
    WriteWav(dir / "keylong.wav", TestSignal(1, kFrames + 1, 48000, 4u));
    WriteBytes(dir / "notaudio.wav", "this is text, not audio\n");
    WriteBytes(dir / "unknown-field.json", R"({"compressor": {"thresholdDB": -10}})");
    WriteBytes(dir / "wrong-type.json", R"({"compressor": {"ratio": "four"}})");
    WriteBytes(dir / "out-of-range.json", R"({"bands": [{"enabled": true, "frequencyHz": 30000}]})");
    WriteBytes(dir / "needs-key.json", R"({"detector": {"externalKey": true}})");
    WriteBytes(dir / "deep.json", std::string(100000, '[') + std::string(100000, ']'));
    const std::string whole = ReadBytes(dir / "in.wav");
    WriteBytes(dir / "cut.wav", whole.substr(0, whole.size() - 1000 * 2 * sizeof(float)));
    std::filesystem::create_directory(dir.path() / "sub");
    std::filesystem::create_symlink("in.wav", dir.path() / "link.wav");
    WriteBytes(dir / "old.wav", "an earlier render");
    std::vector<ErrorCase> cases = {
        // Inputs and keys.
        {{"missing.wav", "out.wav"}, {"missing.wav", "no such file"}},
        {{"notaudio.wav", "out.wav"}, {"notaudio.wav", "cannot read as audio"}},
        {{"sub", "out.wav"}, {"sub", "is a directory"}},
        {{"nine.wav", "out.wav"}, {"nine.wav", "9 channels", "1 to 8"}},
        {{"in.wav", "out.wav", "--key", "key44.wav"}, {"key44.wav", "sample rate 44100 Hz", "48000"}},
        {{"in.wav", "out.wav", "--key", "short.wav"}, {"short.wav", "1000", "30011"}},
        {{"in.wav", "out.wav", "--key", "keylong.wav"}, {"keylong.wav", "30012", "30011"}},
        {{"in.wav", "out.wav", "--format", "5.1"}, {"--format 5.1", "6 channels", "in.wav has 2"}},
        {{"cut.wav", "out.wav"}, {"cut.wav", "cut short", "declares 30011 frames", "holds 29011"}},
        {{"in.wav", "out.wav", "--block", "0"}, {"--block 0"}},
        {{"in.wav"}, {"OUT"}, 2},
        // Presets and overrides name the field.
        {{"in.wav", "out.wav", "--preset", "unknown-field.json"}, {"unknown-field.json", "compressor.thresholdDB", "unknown field"}},
        {{"in.wav", "out.wav", "--preset", "wrong-type.json"}, {"wrong-type.json", "compressor.ratio", "expected a number", "four"}},
        {{"in.wav", "out.wav", "--preset", "out-of-range.json"}, {"out-of-range.json", "bands[0].frequencyHz", "30000"}},
        {{"in.wav", "out.wav", "--preset", "needs-key.json"}, {"needs-key.json", "externalKey", "--key"}},
        {{"in.wav", "out.wav", "--preset", "no-such-preset"}, {"no-such-preset", "vocal"}},
        {{"in.wav", "out.wav", "--preset", "deep.json"}, {"deep.json", "nested more than 32 levels"}},
        {{"in.wav", "out.wav", "--set", "compressor.thresold=3"},
         {"--set compressor.thresold=3: unknown setting 'compressor.thresold'", "valid in compressor are thresholdDb"}},
        {{"in.wav", "out.wav", "--set", "compressor.ratio=0.5"}, {"with 1 --set", "compressor.ratio = 0.5 is out of range"}},
        // Outputs that cannot be written, and inputs that must not be.
        {{"in.wav", "nodir/out.wav"}, {"nodir/out.wav", "cannot write"}},
        {{"in.wav", "sub"}, {"sub", "is a directory"}},
        {{"in.wav", "sub/../in.wav"}, {"in.wav", "refusing to overwrite"}},
        {{"in.wav", "link.wav"}, {"link.wav", "refusing to overwrite"}},
        {{"in.wav", "out.wav", "--key", "short.wav", "--report", "short.wav"}, {"short.wav", "refusing to overwrite"}},
        {{"in.wav", "out.wav", "--report", "out.wav"}, {"out.wav", "different files"}},
        {{"in.wav", "out.mp3"}, {"out.mp3", ".mp3"}},
        {{"in.wav", "out.flac"}, {"out.flac", "32-bit float", "--keep-format"}},
        // A write that fails halfway: the output (240 kB) exceeds a 64 kB file
        // size limit part way, so does the report (the plotting library alone
        // is 50 kB) of an 8 kB one; an earlier output stays as it was.
        {{"in.wav", "out.wav"}, {"out.wav"}, 1, 64 * 1024},
        {{"short.wav", "out.wav", "--report", "report.html"}, {"report.html"}, 1, 40 * 1024},
        {{"in.wav", "old.wav"}, {"old.wav"}, 1, 64 * 1024},
    };
    // A terminating signal part way through, a chunk of one sample at a time
    // (the terminal closing, Ctrl-C, kill): exit status 128 + the signal.
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGQUIT})
        cases.push_back({{"long.wav", "out.wav", "--block", "1", "--report", "report.html"}, {"interrupted"},
                         128 + signal, 0, signal});
    for (const ErrorCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args) + (c.signal ? strsignal(c.signal) : ""));
        const std::vector<std::string> before = dir.Listing(true);
        RunOptions options{.maxFileBytes = c.maxFileBytes, .directory = dir.path()};
        if (c.signal)
            options.whileRunning = [&](pid_t child) {
                for (int waited = 0; dir.Listing(true).size() == before.size() && waited < 10000; ++waited) usleep(1000);
                kill(child, c.signal);
            };
        const ProgramRun run = Render(c.args, options);
        EXPECT_EQ(run.exitCode, c.exitCode) << "-1: killed instead of cleaning up";
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("stemstrip: ", 0), 0u) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        for (const std::string& m : c.mentions) EXPECT_NE(run.err.find(m), std::string::npos) << "no '" << m << "' in: " << run.err;
        EXPECT_EQ(dir.Listing(true), before);
    }
}

}  // namespace
