// The progress bar appears on a terminal for long files only (never in a
// pipe: the round trip checks stderr stays empty).
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli_fixtures.hpp"

namespace cli_test {
namespace {

// Runs the program with stdout and stderr on a pseudo-terminal; returns what
// the terminal showed.
std::string RunOnTerminal(const std::vector<std::string>& args) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        std::vector<std::string> argv{STEMSTRIP_CLI_PATH};
        argv.insert(argv.end(), args.begin(), args.end());
        ExecProgram(argv);
    }
    std::string shown;
    char buffer[4096];
    for (ssize_t n; (n = read(terminal, buffer, sizeof buffer)) > 0;) shown.append(buffer, static_cast<size_t>(n));
    close(terminal);
    waitpid(child, nullptr, 0);
    return shown;
}

TEST(ProgressBar, ShownOnATerminalForLongFilesOnly) {
    ScratchDir dir("progress");
    WriteBytes(dir / "long.wav", WavBytes(TestSignal(1, 8 * 8000, 8000, 1u), 0x4));   // 8 s
    WriteBytes(dir / "short.wav", WavBytes(TestSignal(1, 2 * 8000, 8000, 1u), 0x4));  // 2 s

    const std::string longRun = RunOnTerminal({"render", dir / "long.wav", dir / "out.wav"});
    EXPECT_NE(longRun.find("rendering ["), std::string::npos) << longRun;
    EXPECT_NE(longRun.find("100%"), std::string::npos) << longRun;
    EXPECT_NE(longRun.find("real time"), std::string::npos) << longRun;

    const std::string shortRun = RunOnTerminal({"render", dir / "short.wav", dir / "out.wav"});
    EXPECT_EQ(shortRun.find("rendering ["), std::string::npos) << shortRun;
    EXPECT_NE(shortRun.find("real time"), std::string::npos) << shortRun;
}

}  // namespace
}  // namespace cli_test
