// Running the real `stemstrip` program from a test, and the scratch
// directories its files go to.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace cli_test {

struct CliRun {
    int exitCode = -1;  // -1: killed by a signal
    std::string out, err;
};

struct RunLimits {
    int64_t maxFileBytes = 0;  // RLIMIT_FSIZE for the child; 0 = none
};

// In a forked child: becomes the program built by this tree, run with `args`.
[[noreturn]] void ExecCli(const std::vector<std::string>& args);

// Runs the program built by this tree with `args`, stdout and stderr captured.
CliRun RunCli(const std::vector<std::string>& args, RunLimits limits = {});

// A fresh directory under the test's working directory, removed afterwards.
class ScratchDir {
public:
    explicit ScratchDir(const std::string& name);
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    std::string operator/(const std::string& file) const { return (path_ / file).string(); }
    const std::filesystem::path& path() const { return path_; }
    std::vector<std::string> Listing() const;  // every entry, hidden ones too, sorted

private:
    std::filesystem::path path_;
};

std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::string& bytes);

}  // namespace cli_test
