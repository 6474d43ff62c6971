#include "cli_process.hpp"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace cli_test {
namespace fs = std::filesystem;

void ExecCli(const std::vector<std::string>& args) {
    std::vector<char*> argv{const_cast<char*>(STEMSTRIP_CLI_PATH)};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(STEMSTRIP_CLI_PATH, argv.data());
    _exit(127);
}

CliRun RunCli(const std::vector<std::string>& args, RunLimits limits) {
    const std::string outPath = fs::temp_directory_path() / ("cli_test_out_" + std::to_string(getpid()));
    const std::string errPath = outPath + ".err";
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        if (limits.maxFileBytes > 0) {
            const rlimit limit{static_cast<rlim_t>(limits.maxFileBytes), static_cast<rlim_t>(limits.maxFileBytes)};
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        ExecCli(args);
    }
    int status = 0;
    waitpid(child, &status, 0);
    CliRun run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = ReadBytes(outPath);
    run.err = ReadBytes(errPath);
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

std::vector<std::string> ScratchDir::Listing() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& e : fs::recursive_directory_iterator(path_))
        names.push_back(e.path().lexically_relative(path_).string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace cli_test
