// Running real programs from a test (the stemstrip CLI, LV2 hosts), and the
// scratch directories their files go to.
#pragma once

#include <cstdint>
#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace stemstrip_test {

struct ProgramRun {
    int exitCode = -1;  // -1: killed by a signal
    std::string out, err;
};

struct RunOptions {
    int64_t maxFileBytes = 0;  // RLIMIT_FSIZE for the child; 0 = none
    std::vector<std::pair<std::string, std::string>> environment;  // set in the child
    std::function<void(pid_t child)> whileRunning;  // called once the child has started
    std::string directory;  // the child's working directory; "": this one
};

// Runs argv (argv[0] is the program's path) and collects what it printed.
ProgramRun Run(const std::vector<std::string>& argv, const RunOptions& options = {});

class ScratchDir {
public:
    explicit ScratchDir(const std::string& name);
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    std::string operator/(const std::string& file) const { return (path_ / file).string(); }
    const std::filesystem::path& path() const { return path_; }
    // Every entry, hidden ones too, sorted; with `bytes`, each regular file's
    // bytes after its name.
    std::vector<std::string> Listing(bool bytes = false) const;

private:
    std::filesystem::path path_;
};

}  // namespace stemstrip_test
