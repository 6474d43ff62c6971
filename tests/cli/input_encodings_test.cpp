// Containers and sample encodings other than float WAV: written here with
// libsndfile (the encoders are not under test), rendered by the program, and
// compared with the SDK's processing of the samples as decoded.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "cli_fixtures.hpp"

namespace cli_test {
namespace {

struct SndFile {
    SF_INFO info{};
    Audio audio;
};

void WriteWithSndfile(const std::string& path, int format, const Audio& a) {
    SF_INFO info{};
    info.samplerate = a.sampleRate;
    info.channels = a.channels;
    info.format = format;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr) << sf_strerror(nullptr);
    sf_command(f, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    ASSERT_EQ(sf_writef_float(f, a.samples.data(), a.frames()), a.frames());
    sf_close(f);
}

SndFile ReadWithSndfile(const std::string& path) {
    SndFile s;
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &s.info);
    if (f == nullptr) return s;
    s.audio = {s.info.samplerate, s.info.channels, std::vector<float>(static_cast<size_t>(s.info.frames * s.info.channels))};
    sf_readf_float(f, s.audio.samples.data(), s.info.frames);
    sf_close(f);
    return s;
}

constexpr int64_t kFrames = 9001;

TEST(InputEncodings, EveryContainerAndEncodingRendersLikeTheDecodedSamples) {
    struct Case {
        const char* file;
        int format;
    };
    for (const Case& c : {Case{"pcm16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16}, Case{"pcm24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
                          Case{"pcm32.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32}, Case{"pcm16.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
                          Case{"pcm24.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24}, Case{"pcm16.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
                          Case{"pcm24.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24}, Case{"float.aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT}}) {
        SCOPED_TRACE(c.file);
        ScratchDir dir("encodings");
        WriteWithSndfile(dir / c.file, c.format, TestSignal(2, kFrames, 44100, 31u));
        const Audio decoded = ReadWithSndfile(dir / c.file).audio;
        WriteBytes(dir / "preset.json", TestPresetJson());
        const CliRun run = RunCli({"render", dir / c.file, dir / "out.wav", "--preset", dir / "preset.json"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const ParsedWav out = ParseWav(ReadBytes(dir / "out.wav"));
        EXPECT_EQ(out.channelMask, 0x3u);
        EXPECT_EQ(FirstDifference(SdkRender(stemstrip::Format::Stereo, TestSettings(), decoded, {0, 1}), out.audio), "");
    }
}

// --keep-format writes the input's encoding in the output's container, at
// most one integer step from the float render; with the strip bypassed it
// gives back the very integers it read (both ends of the range included).
TEST(InputEncodings, KeepFormatWritesTheInputsEncodingAndBypassKeepsItsIntegers) {
    struct Case {
        const char* in;
        int inFormat;
        const char* out;
        int outFormat;
        double lsb;
    };
    auto integers = [](const std::string& path) {
        SF_INFO info{};
        SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
        std::vector<int> samples(static_cast<size_t>(info.frames * info.channels));
        if (f != nullptr) sf_read_int(f, samples.data(), static_cast<sf_count_t>(samples.size()));
        sf_close(f);
        return samples;
    };
    for (const Case& c : {Case{"in24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, "out.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 0x1p-23},
                          Case{"in16.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, "out.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 0x1p-15},
                          Case{"in24.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, "out.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 0x1p-23},
                          Case{"in16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, "out.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 0x1p-15}}) {
        SCOPED_TRACE(std::string(c.in) + " -> " + c.out);
        ScratchDir dir("keep-format");
        Audio signal = TestSignal(1, kFrames, 48000, 41u);
        WriteWithSndfile(dir / c.in, c.inFormat, signal);
        const Audio decoded = ReadWithSndfile(dir / c.in).audio;
        WriteBytes(dir / "preset.json", TestPresetJson());
        const CliRun run = RunCli({"render", dir / c.in, dir / c.out, "--preset", dir / "preset.json", "--keep-format"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const SndFile written = ReadWithSndfile(dir / c.out);
        EXPECT_EQ(written.info.format, c.outFormat);
        const Audio expected = SdkRender(stemstrip::Format::Mono, TestSettings(), decoded, {0});
        ASSERT_EQ(written.audio.samples.size(), expected.samples.size());
        for (size_t i = 0; i < expected.samples.size(); ++i)
            ASSERT_LE(std::abs(static_cast<double>(expected.samples[i]) - written.audio.samples[i]), c.lsb) << "sample " << i;

        signal.samples[0] = -1.0f;
        signal.samples[1] = 1.0f;
        WriteWithSndfile(dir / c.in, c.inFormat, signal);
        const CliRun bypassed = RunCli({"render", dir / c.in, dir / c.out, "--set", "bypass=true", "--keep-format"});
        ASSERT_EQ(bypassed.exitCode, 0) << bypassed.err;
        EXPECT_TRUE(integers(dir / c.in) == integers(dir / c.out)) << "bypassed";
    }
}

// 12 dB of makeup into 16-bit: the count the summary gives is the number of
// samples the float render puts beyond full scale.
TEST(InputEncodings, KeepFormatSaysHowManySamplesTheIntegerOutputClipped) {
    ScratchDir dir("keep-format-clipping");
    WriteWithSndfile(dir / "in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, TestSignal(2, kFrames, 48000, 44u));
    const std::vector<std::string> loud = {"--set", "compressor.makeupDb=12", "--report", dir / "report.html"};
    std::vector<std::string> asFloat = {"render", dir / "in.wav", dir / "float.wav"}, asInt = asFloat;
    asFloat.insert(asFloat.end(), loud.begin(), loud.end());
    asInt[2] = dir / "int.wav";
    asInt.insert(asInt.end(), loud.begin(), loud.end());
    asInt.push_back("--keep-format");
    const CliRun floatRun = RunCli(asFloat), intRun = RunCli(asInt);
    ASSERT_EQ(intRun.exitCode, 0) << intRun.err;
    const SndFile rendered = ReadWithSndfile(dir / "float.wav");
    const auto beyond = std::count_if(rendered.audio.samples.begin(), rendered.audio.samples.end(),
                                      [](float x) { return std::abs(x) > 1.0f; });
    ASSERT_GT(beyond, 0);
    EXPECT_NE(intRun.out.find("warning: " + std::to_string(beyond) + " output samples beyond full scale were clipped"),
              std::string::npos)
        << intRun.out;
    EXPECT_EQ(floatRun.out.find("clipped"), std::string::npos) << "float holds them";
    EXPECT_NE(intRun.out.find("report: " + dir / "report.html"), std::string::npos) << intRun.out;
}

}  // namespace
}  // namespace cli_test
