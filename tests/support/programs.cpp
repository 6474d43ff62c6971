#include "programs.hpp"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "audio_files.hpp"

namespace stemstrip_test {
namespace fs = std::filesystem;

ProgramRun Run(const std::vector<std::string>& argv, const RunOptions& options) {
    const std::string outPath = fs::temp_directory_path() / ("stemstrip_test_out_" + std::to_string(getpid()));
    const std::string errPath = outPath + ".err";
    std::vector<char*> args;  // built before fork: the child only execs
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        const rlimit limit{static_cast<rlim_t>(options.maxFileBytes), static_cast<rlim_t>(options.maxFileBytes)};
        if (options.maxFileBytes > 0) setrlimit(RLIMIT_FSIZE, &limit);
        for (const auto& [name, value] : options.environment) setenv(name.c_str(), value.c_str(), 1);
        if (!options.directory.empty() && chdir(options.directory.c_str()) != 0) _exit(127);
        execv(args[0], args.data());
        _exit(127);
    }
    if (options.whileRunning) options.whileRunning(child);
    int status = 0;
    waitpid(child, &status, 0);
    const ProgramRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadBytes(outPath), ReadBytes(errPath)};
    fs::remove(outPath);
    fs::remove(errPath);
    return run;
}

ScratchDir::ScratchDir(const std::string& name) : path_(fs::current_path() / ("scratch-" + name)) {
    fs::remove_all(path_);
    fs::create_directories(path_);
}

ScratchDir::~ScratchDir() {
    std::error_code ec;
    fs::remove_all(path_, ec);
}

std::vector<std::string> ScratchDir::Listing(bool bytes) const {
    std::vector<fs::path> paths(fs::recursive_directory_iterator(path_), {});
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> listing;
    for (const fs::path& p : paths) {
        listing.push_back(p.lexically_relative(path_).string());
        if (bytes && fs::is_regular_file(p)) listing.push_back(ReadBytes(p));
    }
    return listing;
}

}  // namespace stemstrip_test
