// `stemstrip demo`, `stemstrip presets` and `stemstrip preset show`: what they
// write and print, checked against the files themselves.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <sstream>

#include "cli_fixtures.hpp"

namespace cli_test {
namespace {

double PeakDb(const Audio& a, int channel) {
    float peak = 0.0f;
    for (int64_t i = 0; i < a.frames(); ++i) peak = std::max(peak, std::abs(a.at(i, channel)));
    return 20.0 * std::log10(peak);
}

// The per channel "LABEL  -6.4 dBFS  -3.9 dBFS" lines of the summary that
// starts at `from`, in order.
std::vector<std::pair<double, double>> SummaryPeaks(const std::string& out, size_t from) {
    std::istringstream lines(out.substr(out.find("peak out", from)));
    std::string line;
    std::getline(lines, line);
    std::vector<std::pair<double, double>> peaks;
    char label[16];
    double in = 0.0, outDb = 0.0;
    while (std::getline(lines, line) && std::sscanf(line.c_str(), " %15s %lf dBFS %lf dBFS", label, &in, &outDb) == 3)
        peaks.emplace_back(in, outDb);
    return peaks;
}

double SummaryValue(const std::string& out, size_t from, const std::string& key) {
    return std::stod(out.substr(out.find(key, from) + key.size()));
}

TEST(Demo, WritesAudibleFilesAndReportsAndPrintsTheirPeaks) {
    ScratchDir dir("demo");
    const CliRun run = RunCli({"demo", dir / "out"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");

    struct Piece {
        std::string name;
        uint32_t mask;
        const char* format;
    };
    std::vector<std::string> expectedFiles{"out"};
    for (const Piece& p : {Piece{"dialogue", 0x4, "mono"}, Piece{"drums-voice", 0x3, "stereo"}, Piece{"film-5.1", 0x60F, "5.1"}})
        for (const char* suffix : {"-in.wav", "-out.wav", "-report.html"}) expectedFiles.push_back("out/" + p.name + suffix);
    EXPECT_EQ(dir.Listing(), expectedFiles);

    for (const Piece& p : {Piece{"drums-voice", 0x3, "stereo"}, Piece{"film-5.1", 0x60F, "5.1"}, Piece{"dialogue", 0x4, "mono"}}) {
        SCOPED_TRACE(p.name);
        const ParsedWav in = ParseWav(ReadBytes(dir / ("out/" + p.name + "-in.wav")));
        const ParsedWav out = ParseWav(ReadBytes(dir / ("out/" + p.name + "-out.wav")));
        EXPECT_EQ(in.channelMask, p.mask);
        EXPECT_EQ(out.channelMask, p.mask);
        EXPECT_EQ(out.audio.frames(), 12 * 48000);
        EXPECT_NE(FirstDifference(in.audio, out.audio), "");

        const size_t at = run.out.find(p.name + "-in.wav -> ");
        ASSERT_NE(at, std::string::npos) << run.out;
        EXPECT_NE(run.out.find(std::string(p.format) + ", 48000 Hz, 12.00 s", at), std::string::npos);
        const auto peaks = SummaryPeaks(run.out, at);
        ASSERT_EQ(static_cast<int>(peaks.size()), in.channels);
        for (int c = 0; c < in.channels; ++c) {
            // Printed to 0.1 dB; the file order is the strip order for these layouts.
            EXPECT_NEAR(peaks[c].first, PeakDb(in.audio, c), 0.06) << "channel " << c;
            EXPECT_NEAR(peaks[c].second, PeakDb(out.audio, c), 0.06) << "channel " << c;
            EXPECT_LT(peaks[c].second, 0.0) << "the demo's output must not clip";
            EXPECT_GT(peaks[c].second, -40.0) << "the demo's output must be audible";
        }
        EXPECT_GT(SummaryValue(run.out, at, "for 12.00 s of audio ("), 1.0) << "real-time factor";
        EXPECT_NE(run.out.find("report: " + (dir / ("out/" + p.name + "-report.html")), at), std::string::npos);
    }
    // The drum bus compresses, the dialogue preset gates the pauses.
    EXPECT_GT(SummaryValue(run.out, run.out.find("drums-voice-in"), "compressor gain reduction: max"), 2.0);
    EXPECT_GT(SummaryValue(run.out, run.out.find("dialogue-in"), "expander gain reduction:   max"), 10.0);
}

TEST(Presets, ListedPresetsShowAsFilesThatRenderLikeTheirNames) {
    const CliRun list = RunCli({"presets"});
    ASSERT_EQ(list.exitCode, 0) << list.err;
    ScratchDir dir("presets");
    const Audio input = TestSignal(6, 20000, 48000, 13u);
    WriteBytes(dir / "in.wav", WavBytes(input, 0x60F));
    for (const char* name : {"vocal", "drum-bus", "dialogue-gate", "film-stem-5.1", "limiter"}) {
        SCOPED_TRACE(name);
        const size_t line = list.out.find(std::string(name) + " ");
        ASSERT_NE(line, std::string::npos) << list.out;
        EXPECT_GT(list.out.find('\n', line) - line, 30u) << "a description follows the name";

        const CliRun show = RunCli({"preset", "show", name});
        ASSERT_EQ(show.exitCode, 0) << show.err;
        for (const char* field : {"\"description\"", "\"bands\"", "\"compressor\"", "\"thresholdDb\"", "\"expander\"",
                                  "\"detector\"", "\"channelGroups\"", "\"smoothingMs\""})
            EXPECT_NE(show.out.find(field), std::string::npos) << field;
        WriteBytes(dir / "shown.json", show.out);
        ASSERT_EQ(RunCli({"render", dir / "in.wav", dir / "by-name.wav", "--preset", name}).exitCode, 0);
        ASSERT_EQ(RunCli({"render", dir / "in.wav", dir / "by-file.wav", "--preset", dir / "shown.json"}).exitCode, 0);
        EXPECT_EQ(ReadBytes(dir / "by-name.wav"), ReadBytes(dir / "by-file.wav"));
    }
    EXPECT_NE(RunCli({"preset", "show", "nonesuch"}).exitCode, 0);
}

TEST(Presets, LimiterHoldsPeaksNearMinusOneDbfs) {
    ScratchDir dir("limiter");
    Audio loud = TestSignal(2, 48000, 48000, 17u);
    for (float& x : loud.samples) x *= 2.5f;  // peaks up to about +7 dBFS
    WriteBytes(dir / "in.wav", WavBytes(loud, 0x3));
    const CliRun run = RunCli({"render", dir / "in.wav", dir / "out.wav", "--preset", "limiter"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const Audio out = ParseWav(ReadBytes(dir / "out.wav")).audio;
    for (int c = 0; c < 2; ++c) {
        EXPECT_GT(PeakDb(loud, c), 3.0);
        EXPECT_LT(PeakDb(out, c), -0.9);
        EXPECT_GT(PeakDb(out, c), -2.0);
    }
}

}  // namespace
}  // namespace cli_test
