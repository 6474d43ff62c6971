#include "progress_bar.hpp"

#include <cstdio>
#include <string>

namespace stemstrip::cli {
namespace {

constexpr double kMinSeconds = 5.0;     // shorter files finish before a bar helps
constexpr int kWidth = 40;
constexpr auto kRedrawEvery = std::chrono::milliseconds(100);

}  // namespace

ProgressBar::ProgressBar(double fileSeconds, bool stderrIsTerminal)
    : enabled_(stderrIsTerminal && fileSeconds > kMinSeconds) {}

ProgressBar::~ProgressBar() {
    if (drawn_) std::fprintf(stderr, "\r%*s\r", kWidth + 16, "");
}

void ProgressBar::Update(int64_t done, int64_t total) {
    if (!enabled_ || total <= 0) return;
    const auto now = std::chrono::steady_clock::now();
    if (drawn_ && done < total && now - lastDraw_ < kRedrawEvery) return;
    lastDraw_ = now;
    drawn_ = true;
    const double fraction = static_cast<double>(done) / static_cast<double>(total);
    const int filled = static_cast<int>(fraction * kWidth);
    std::string bar(static_cast<size_t>(filled), '#');
    bar.resize(kWidth, '.');
    std::fprintf(stderr, "\rrendering [%s] %3d%%", bar.c_str(), static_cast<int>(fraction * 100.0));
    std::fflush(stderr);
}

}  // namespace stemstrip::cli
