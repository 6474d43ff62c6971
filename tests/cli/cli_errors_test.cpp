// Every way a render can fail: the program exits non-zero with one line that
// names the file or field at fault, and leaves the directory exactly as it
// was (no output, no temporary file, the input untouched).
#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>

#include "cli_fixtures.hpp"

namespace cli_test {
namespace {


struct ErrorCase {
    std::vector<std::string> args;  // after "render", run in the scratch directory
    std::vector<std::string> mentions;
    int exitCode = 1;
    int64_t maxFileBytes = 0;  // a full disk part way through
};

TEST(CliErrors, BadInputsSettingsAndOutputsAndWritesThatFailHalfway) {
    ScratchDir dir("errors");
    // in.wav (stereo, 48 kHz), keys of the wrong rate and length, a directory,
    // a symbolic link to the input, a few broken presets and an earlier output.
    WriteWav(dir / "in.wav", TestSignal(2, kFrames, 48000, 1u), 0x3);
    WriteWav(dir / "short.wav", TestSignal(2, 1000, 48000, 5u), 0x3);
    WriteWav(dir / "nine.wav", TestSignal(9, 100, 48000, 2u));
    WriteWav(dir / "key44.wav", TestSignal(1, kFrames, 44100, 3u));
    WriteWav(dir / "keyshort.wav", TestSignal(1, kFrames - 1, 48000, 4u));
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
    const std::vector<ErrorCase> cases = {
        // Inputs and keys.
        {{"missing.wav", "out.wav"}, {"missing.wav", "no such file"}},
        {{"notaudio.wav", "out.wav"}, {"notaudio.wav", "cannot read as audio"}},
        {{"sub", "out.wav"}, {"sub", "is a directory"}},
        {{"nine.wav", "out.wav"}, {"nine.wav", "9 channels", "1 to 8"}},
        {{"in.wav", "out.wav", "--key", "key44.wav"}, {"key44.wav", "sample rate 44100 Hz", "48000"}},
        {{"in.wav", "out.wav", "--key", "keyshort.wav"}, {"keyshort.wav", "30010", "30011"}},
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
        {{"in.wav", "in.wav"}, {"in.wav", "refusing to overwrite"}},
        {{"in.wav", "sub/../in.wav"}, {"in.wav", "refusing to overwrite"}},
        {{"in.wav", "link.wav"}, {"link.wav", "refusing to overwrite"}},
        {{"in.wav", "out.wav", "--key", "keyshort.wav", "--report", "keyshort.wav"}, {"keyshort.wav", "refusing to overwrite"}},
        {{"in.wav", "out.wav", "--report", "out.wav"}, {"out.wav", "different files"}},
        {{"in.wav", "out.mp3"}, {"out.mp3", ".mp3"}},
        {{"in.wav", "out.flac"}, {"out.flac", "32-bit float", "--keep-format"}},
        // A write that fails halfway: the output (240 kB) exceeds a 64 kB file
        // size limit part way, so does the report (the plotting library alone
        // is 50 kB) of an 8 kB one; an earlier output stays as it was.
        {{"in.wav", "out.wav"}, {"out.wav"}, 1, 64 * 1024},
        {{"short.wav", "out.wav", "--report", "report.html"}, {"report.html"}, 1, 40 * 1024},
        {{"in.wav", "old.wav"}, {"old.wav"}, 1, 64 * 1024},
        {{"in.wav", "old.wav", "--preset", "wrong-type.json"}, {"compressor.ratio"}},
    };
    for (const ErrorCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        const std::vector<std::string> before = dir.Listing(true);
        std::vector<std::string> args{"render"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const ProgramRun run = RunCli(args, {.maxFileBytes = c.maxFileBytes, .directory = dir.path()});
        EXPECT_EQ(run.exitCode, c.exitCode);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("stemstrip: ", 0), 0u) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        for (const std::string& m : c.mentions) EXPECT_NE(run.err.find(m), std::string::npos) << "no '" << m << "' in: " << run.err;
        EXPECT_EQ(dir.Listing(true), before);
    }
}

// A terminating signal part way through a render (the terminal closing,
// Ctrl-C, kill) removes the staged output and exits with 128 + the signal.
TEST(CliErrors, TerminatingSignalsLeaveNothingAndExitWith128PlusTheSignal) {
    ScratchDir dir("errors-signals");
    WriteWav(dir / "long.wav", TestSignal(2, 10 * 48000, 48000, 9u), 0x3);  // seconds at --block 1
    const std::vector<std::string> before = dir.Listing();
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGQUIT}) {
        SCOPED_TRACE(strsignal(signal));
        // Signalled once the output is being written, a chunk of one sample at a time.
        auto signalOnceWriting = [&](pid_t child) {
            for (int waited = 0; dir.Listing().size() == before.size() && waited < 10000; ++waited) usleep(1000);
            kill(child, signal);
        };
        const ProgramRun run = RunCli({"render", "long.wav", "out.wav", "--block", "1", "--report", "report.html"},
                                      {.whileRunning = signalOnceWriting, .directory = dir.path()});
        EXPECT_EQ(run.exitCode, 128 + signal) << "-1: killed instead of cleaning up";
        EXPECT_EQ(dir.Listing(), before);
    }
}

}  // namespace
}  // namespace cli_test
