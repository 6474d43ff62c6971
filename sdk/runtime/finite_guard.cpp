#include "finite_guard.hpp"

#include <algorithm>

namespace stemstrip::runtime {
namespace {

int CountNonFinite(const float* x, int n) {
    int count = 0;
    for (int i = 0; i < n; ++i) count += NonFinite(x[i]);
    return count;
}

int FirstNonFinite(const float* x, int n) { return static_cast<int>(std::find_if(x, x + n, NonFinite) - x); }

}  // namespace

NonFiniteScan ScanNonFinite(const float* const* channels, int channelCount, const float* key, int n) {
    NonFiniteScan scan;
    scan.first = n;
    auto visit = [&](int input, const float* x) {
        if (const int count = CountNonFinite(x, n)) {
            scan.perInput[input] = count;
            scan.count += count;
            scan.first = std::min(scan.first, FirstNonFinite(x, n));
        }
    };
    for (int c = 0; c < channelCount; ++c) visit(c, channels[c]);
    if (key) visit(8, key);
    return scan;
}

void CopyFinite(float* to, const float* from, int n) {
    for (int i = 0; i < n; ++i) to[i] = NonFinite(from[i]) ? 0.0f : from[i];
}

}  // namespace stemstrip::runtime
