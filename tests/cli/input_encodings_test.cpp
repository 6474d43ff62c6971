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

// Every encoding renders like the SDK on the samples as decoded. With
// --keep-format an integer one comes back in the input's encoding (WAV as
// extensible WAV), at most one integer step from the float render or
// clipped, and the summary says how many clipped; with the strip bypassed
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
        const ProgramRun run = RunCli({"render", in, dir / "out.wav", "--preset", dir / "preset.json"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(ExtensibleFloatMask(dir / "out.wav"), 0x3u);
        const Audio expected = SdkRender(stemstrip::Format::Stereo, TestSettings(), ReadAudio(in), {0, 1});
        EXPECT_EQ(FirstDifference(expected, ReadWav(dir / "out.wav")), "");

        const int subtype = format & SF_FORMAT_SUBMASK;
        if (subtype != SF_FORMAT_PCM_16 && subtype != SF_FORMAT_PCM_24) continue;
        const double lsb = subtype == SF_FORMAT_PCM_16 ? 0x1p-15 : 0x1p-23;
        const ProgramRun keptRun = RunCli({"render", in, kept, "--preset", dir / "preset.json", "--keep-format"});
        ASSERT_EQ(keptRun.exitCode, 0) << keptRun.err;
        // The makeup takes the full-scale samples beyond it: the summary counts those the integers clip.
        const auto beyond =
            std::count_if(expected.samples.begin(), expected.samples.end(), [](float x) { return std::abs(x) > 1.0f; });
        ASSERT_GT(beyond, 0);
        EXPECT_NE(keptRun.out.find("warning: " + std::to_string(beyond) + " output samples beyond full scale were clipped"),
                  std::string::npos) << keptRun.out;
        EXPECT_EQ(run.out.find("warning"), std::string::npos) << "a clean file, and float holds the peaks";
        int keptFormat = 0;
        const std::vector<float> written = ReadAudio(kept, &keptFormat).samples;
        EXPECT_EQ(keptFormat, (format & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAV ? SF_FORMAT_WAVEX | subtype : format);
        ASSERT_EQ(written.size(), expected.samples.size());
        for (size_t i = 0; i < written.size(); ++i)
            ASSERT_LE(std::abs(std::clamp(expected.samples[i], -1.0f, 1.0f) - static_cast<double>(written[i])), lsb)
                << "sample " << i;
        ASSERT_EQ(RunCli({"render", in, kept, "--set", "bypass=true", "--keep-format"}).exitCode, 0);
        // 16 and 24-bit integers decode to floats exactly: the same floats are the same integers.
        EXPECT_EQ(FirstDifference(ReadAudio(in), ReadAudio(kept)), "") << "bypassed";
    }
}

}  // namespace
}  // namespace cli_test
