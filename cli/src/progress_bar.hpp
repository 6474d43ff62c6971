// A one-line progress bar on stderr, shown only when stderr is a terminal and
// the file is long enough for the wait to be noticeable.
#pragma once

#include <chrono>
#include <cstdint>

namespace stemstrip::cli {

class ProgressBar {
public:
    ProgressBar(double fileSeconds, bool stderrIsTerminal);
    ~ProgressBar();  // clears the line
    void Update(int64_t done, int64_t total);

private:
    bool enabled_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point lastDraw_{};
};

}  // namespace stemstrip::cli
