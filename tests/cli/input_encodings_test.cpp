// Containers and sample encodings other than float WAV: written here with
// libsndfile (the encoders are not under test), rendered by the program, and
// compared with the SDK's processing of the samples as decoded.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>

#include "cli_fixtures.hpp"

namespace cli_test {
namespace {

void WriteWithSndfile(const std::string& path, int format, const Audio& a) {
    SF_INFO info{.samplerate = a.sampleRate, .channels = a.channels, .format = format};
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr) << sf_strerror(nullptr);
    sf_command(f, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    ASSERT_EQ(sf_writef_float(f, a.samples.data(), a.frames()), a.frames());
    sf_close(f);
}

// The samples as floats (and the file's format), or as the integers stored.
template <class T = float>
std::vector<T> ReadWithSndfile(const std::string& path, int* format = nullptr) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    std::vector<T> samples(static_cast<size_t>(info.frames * info.channels));
    if (format) *format = info.format;
    if constexpr (std::is_same_v<T, float>) sf_readf_float(f, samples.data(), info.frames);
    else sf_readf_int(f, samples.data(), info.frames);
    sf_close(f);
    return samples;
}

// Every encoding renders like the SDK on the samples as decoded. With
// --keep-format an integer one comes back in the input's encoding (WAV as
// extensible WAV), at most one integer step from the float render or
// clipped, and the summary says how many clipped; with the strip bypassed
// it gives back the very integers it read, both ends of the range included.
TEST(InputEncodings, EveryContainerAndEncodingRendersLikeTheDecodedSamples) {
    const struct {
        const char* file;
        int format;
    } cases[] = {{"pcm16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},   {"pcm24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
                 {"pcm32.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32},   {"pcm16.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
                 {"pcm24.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24}, {"pcm16.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
                 {"pcm24.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24}, {"float.aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        ScratchDir dir("encodings");
        const std::string in = dir / c.file, kept = dir / (std::string("kept") + c.file);
        Audio signal = TestSignal(2, 9001, 44100, 31u);
        signal.samples[0] = -1.0f;
        signal.samples[1] = 1.0f;
        WriteWithSndfile(in, c.format, signal);
        const Audio decoded{44100, 2, ReadWithSndfile(in)};
        WriteBytes(dir / "preset.json", TestPresetJson());
        const CliRun run = RunCli({"render", in, dir / "out.wav", "--preset", dir / "preset.json"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const ParsedWav out = ParseWav(ReadBytes(dir / "out.wav"));
        EXPECT_EQ(out.channelMask, 0x3u);
        const Audio expected = SdkRender(stemstrip::Format::Stereo, TestSettings(), decoded, {0, 1});
        EXPECT_EQ(FirstDifference(expected, out.audio), "");

        const int subtype = c.format & SF_FORMAT_SUBMASK;
        if (subtype != SF_FORMAT_PCM_16 && subtype != SF_FORMAT_PCM_24) continue;
        const double lsb = subtype == SF_FORMAT_PCM_16 ? 0x1p-15 : 0x1p-23;
        const CliRun keptRun = RunCli({"render", in, kept, "--preset", dir / "preset.json", "--keep-format"});
        ASSERT_EQ(keptRun.exitCode, 0) << keptRun.err;
        // The makeup takes the full-scale samples beyond it: the summary counts those the integers clip.
        const auto beyond =
            std::count_if(expected.samples.begin(), expected.samples.end(), [](float x) { return std::abs(x) > 1.0f; });
        ASSERT_GT(beyond, 0);
        EXPECT_NE(keptRun.out.find("warning: " + std::to_string(beyond) + " output samples beyond full scale were clipped"),
                  std::string::npos) << keptRun.out;
        EXPECT_EQ(run.out.find("clipped"), std::string::npos) << "float holds them";
        int format = 0;
        const std::vector<float> written = ReadWithSndfile(kept, &format);
        EXPECT_EQ(format, (c.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAV ? SF_FORMAT_WAVEX | subtype : c.format);
        ASSERT_EQ(written.size(), expected.samples.size());
        for (size_t i = 0; i < written.size(); ++i)
            ASSERT_LE(std::abs(std::clamp(expected.samples[i], -1.0f, 1.0f) - static_cast<double>(written[i])), lsb)
                << "sample " << i;
        ASSERT_EQ(RunCli({"render", in, kept, "--set", "bypass=true", "--keep-format"}).exitCode, 0);
        EXPECT_TRUE(ReadWithSndfile<int>(in) == ReadWithSndfile<int>(kept)) << "bypassed";
    }
}

}  // namespace
}  // namespace cli_test
