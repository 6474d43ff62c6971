// The runtime's own argument checks. Each throws UsageError with a message
// naming the parameter, the value given and the accepted range.
#pragma once

#include <sstream>
#include <string_view>

#include "stemstrip/design.hpp"
#include "stemstrip/usage_error.hpp"

namespace stemstrip::runtime {

// Bad input comes back in messages as text (string_view, C string): a
// runaway one, such as a whole file pasted into an assignment, is cut so the
// message stays readable. The runtime's own text (lists of valid names) is
// std::string and stays whole.
inline constexpr size_t kMaxEcho = 100;
inline void Put(std::ostream& o, std::string_view text) {
    if (text.size() <= kMaxEcho)
        o << text;
    else
        o << text.substr(0, kMaxEcho) << "... (" << text.size() << " characters)";
}
inline void Put(std::ostream& o, const char* text) { Put(o, std::string_view(text)); }
template <class T>
void Put(std::ostream& o, const T& value) {
    o << value;
}

template <class... Parts>
[[noreturn]] void ThrowUsage(const Parts&... parts) {
    std::ostringstream message;
    (Put(message, parts), ...);
    throw UsageError(message.str());
}

inline constexpr double kMinSampleRate = 8000.0, kMaxSampleRate = 768000.0;
inline constexpr int kMaxBufferLength = 1 << 16;

void CheckFormat(Format f);
void CheckSampleRate(double sampleRate);
void CheckBufferLength(const char* name, int samples);  // a multiple of 16 in 16..65536
Format FormatFromName(const char* name);  // null or unknown names throw
// `value` must index one of `count` things called `name`.
void CheckIndex(const char* name, int value, int count);

// Batches: at least one member, no external key (members have no key
// input), and whole blocks that fit the buffers.
void CheckMemberCount(int count);
void CheckNoExternalKey(const Settings& s);
void CheckBatchBlock(int n, int capacity);

// One process() call: n >= 0 (and a multiple of 16 when promised) and no
// null channel buffer.
void CheckProcessCall(const float* const* inputs, float* const* outputs, int channels, int n, bool alignedBlocks);

}  // namespace stemstrip::runtime
