// Containers and sample encodings other than float WAV: written here with
// libsndfile (the encoders are not under test), rendered by the program, and
// compared with the SDK's processing of the samples as decoded.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <tuple>

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

TEST(InputEncodings, KeepFormatWritesTheInputsEncodingInTheOutputsContainer) {
    struct Case {
        const char* in;
        int inFormat;
        const char* out;
        int outFormat;
        double lsb;
    };
    for (const Case& c : {Case{"in24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, "out.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 0x1p-23},
                          Case{"in16.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, "out.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 0x1p-15},
                          Case{"in24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, "out.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 0x1p-23}}) {
        SCOPED_TRACE(std::string(c.in) + " -> " + c.out);
        ScratchDir dir("keep-format");
        WriteWithSndfile(dir / c.in, c.inFormat, TestSignal(1, kFrames, 48000, 41u));
        const Audio decoded = ReadWithSndfile(dir / c.in).audio;
        WriteBytes(dir / "preset.json", TestPresetJson());
        const CliRun run = RunCli({"render", dir / c.in, dir / c.out, "--preset", dir / "preset.json", "--keep-format"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const SndFile written = ReadWithSndfile(dir / c.out);
        EXPECT_EQ(written.info.format, c.outFormat);
        const Audio expected = SdkRender(stemstrip::Format::Mono, TestSettings(), decoded, {0});
        ASSERT_EQ(written.audio.samples.size(), expected.samples.size());
        double worst = 0.0;
        for (size_t i = 0; i < expected.samples.size(); ++i)
            worst = std::max(worst, std::abs(static_cast<double>(expected.samples[i]) - written.audio.samples[i]));
        EXPECT_LE(worst, c.lsb) << "more than one step of the integer encoding away";
    }
}

// With the strip bypassed, --keep-format must give back the very integers it
// read: the float round trip may not shift a single step.
TEST(InputEncodings, KeepFormatOfABypassedStripReturnsTheInputsIntegers) {
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_WAV | SF_FORMAT_PCM_24,
                             SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_24}) {
        SCOPED_TRACE(format);
        ScratchDir dir("keep-format-bypass");
        const std::string ext = (format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC   ? ".flac"
                                : (format & SF_FORMAT_TYPEMASK) == SF_FORMAT_AIFF ? ".aiff"
                                                                                  : ".wav";
        Audio full = TestSignal(2, kFrames, 48000, 43u);
        full.samples[0] = -1.0f;  // both ends of the integer range
        full.samples[1] = 1.0f;
        WriteWithSndfile(dir / ("in" + ext), format, full);
        const CliRun run = RunCli({"render", dir / ("in" + ext), dir / ("out" + ext), "--set", "bypass=true", "--keep-format"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        auto integers = [](const std::string& path) {
            SF_INFO info{};
            SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
            std::vector<int> samples(static_cast<size_t>(info.frames * info.channels));
            if (f != nullptr) sf_read_int(f, samples.data(), static_cast<sf_count_t>(samples.size()));
            sf_close(f);
            return samples;
        };
        const std::vector<int> in = integers(dir / ("in" + ext)), out = integers(dir / ("out" + ext));
        ASSERT_EQ(in.size(), out.size());
        EXPECT_TRUE(in == out);
    }
}

// libsndfile reads a file whose data was cut short as the shorter file; the
// program compares with what the header declares and refuses it.
TEST(InputEncodings, CutShortAiffAndIntegerWavAreRefusedNamingBothLengths) {
    ScratchDir dir("cut-short");
    for (const auto& [format, name, bytesPerFrame] : {std::tuple{SF_FORMAT_AIFF | SF_FORMAT_PCM_24, "in.aiff", 6},
                                                      std::tuple{SF_FORMAT_WAV | SF_FORMAT_PCM_16, "in.wav", 4}}) {
        WriteWithSndfile(dir / name, format, TestSignal(2, kFrames, 48000, 5u));
        const std::string whole = ReadBytes(dir / name);
        WriteBytes(dir / name, whole.substr(0, whole.size() - 100 * bytesPerFrame));
        const CliRun run = RunCli({"render", dir / name, dir / "out.wav"});
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_NE(run.err.find("declares 9001 frames, the file holds 8901"), std::string::npos) << run.err;
        EXPECT_FALSE(std::filesystem::exists(dir / "out.wav"));
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
