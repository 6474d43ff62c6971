#include "staged_output.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

#include "cli_error.hpp"

namespace stemstrip::cli {
namespace fs = std::filesystem;

StagedOutput::StagedOutput(std::string destination) : destination_(std::move(destination)) {
    const fs::path dest(destination_);
    if (fs::is_directory(dest)) throw CliError(destination_ + ": is a directory, not an output file name");
    fs::path dir = dest.parent_path();
    if (dir.empty()) dir = ".";
    std::string pattern = (dir / ("." + dest.filename().string() + ".partial-XXXXXX")).string();
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    fd_ = mkstemp(name.data());
    if (fd_ < 0) throw CliError(destination_ + ": cannot write there (" + std::strerror(errno) + ")");
    temporary_ = name.data();
    // mkstemp creates the file private to its owner; give it the mode any new file would get.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd_, 0666 & ~mask);
}

StagedOutput::~StagedOutput() {
    if (committed_) return;
    if (fd_ >= 0) close(fd_);
    std::remove(temporary_.c_str());
}

void StagedOutput::Write(std::string_view text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t n = write(fd_, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) throw CliError(destination_ + ": cannot write (" + std::strerror(errno) + ")");
        done += static_cast<size_t>(n);
    }
}

void StagedOutput::Commit() {
    const bool synced = fsync(fd_) == 0;
    close(fd_);
    fd_ = -1;
    if (!synced || std::rename(temporary_.c_str(), destination_.c_str()) != 0)
        throw CliError(destination_ + ": cannot finish writing (" + std::strerror(errno) + ")");
    committed_ = true;
}

}  // namespace stemstrip::cli
