// An output file that appears whole or not at all: everything is written to a
// hidden temporary file next to the destination (same directory, so the final
// rename cannot cross file systems) and renamed over it only on Commit().
// Destroying an uncommitted StagedOutput removes the temporary file.
#pragma once

#include <string>
#include <string_view>

namespace stemstrip::cli {

class StagedOutput {
public:
    explicit StagedOutput(std::string destination);   // throws CliError if the directory is not writable
    ~StagedOutput();
    StagedOutput(const StagedOutput&) = delete;
    StagedOutput& operator=(const StagedOutput&) = delete;

    int fd() const { return fd_; }                    // open for writing; closed here, not by the writer
    void Write(std::string_view text);                // appends; throws CliError on failure
    const std::string& temporaryPath() const { return temporary_; }
    void Commit();                                    // fsync, close, rename; throws CliError on failure

private:
    std::string destination_;
    std::string temporary_;
    int fd_ = -1;
    bool committed_ = false;
};

}  // namespace stemstrip::cli
