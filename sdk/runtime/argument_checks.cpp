#include "argument_checks.hpp"

#include <string>

namespace stemstrip::runtime {
namespace {

std::string FormatNames() {
    std::string names;
    for (int i = 0; i < kFormatCount; ++i) {
        if (i) names += ", ";
        names += FormatName(static_cast<Format>(i));
    }
    return names;
}

}  // namespace

void CheckFormat(Format f) {
    const int value = static_cast<int>(f);
    if (value < 0 || value >= kFormatCount)
        ThrowUsage("format = ", value, " is not a stem format: valid are 0..", kFormatCount - 1, " (", FormatNames(), ")");
}

void CheckSampleRate(double sampleRate) {
    if (!(sampleRate >= kMinSampleRate && sampleRate <= kMaxSampleRate))
        ThrowUsage("sampleRate = ", sampleRate, " Hz is out of range: must be ", kMinSampleRate, "..", kMaxSampleRate, " Hz");
}

void CheckBufferLength(const char* name, int samples) {
    if (samples < 16 || samples > kMaxBufferLength || samples % 16 != 0)
        ThrowUsage(name, " = ", samples, " is out of range: must be a multiple of 16 in 16..", kMaxBufferLength);
}

Format FormatFromName(const char* name) {
    if (!name) ThrowUsage("format name is null: valid names are ", FormatNames());
    const std::optional<Format> f = ParseFormat(name);
    if (!f) ThrowUsage("format name = '", name, "' is unknown: valid names are ", FormatNames());
    return *f;
}

void CheckIndex(const char* name, int value, int count) {
    if (value < 0 || value >= count) ThrowUsage(name, " = ", value, " is out of range: 0..", count - 1);
}

void CheckMemberCount(int count) {
    if (count < 1) ThrowUsage("count = ", count, " is out of range: a batch needs at least 1 member");
}

void CheckNoExternalKey(const Settings& s) {
    if (s.detector.externalKey)
        ThrowUsage("settings.detector.externalKey = true is not available in a Batch: its members have no key input");
}

void CheckBatchBlock(int n, int capacity) {
    if (n < 0 || n > capacity || n % 16 != 0)
        ThrowUsage("n = ", n, " is out of range: a multiple of 16 in 0..", capacity);
}

void CheckProcessCall(const float* const* inputs, float* const* outputs, int channels, int n, bool alignedBlocks) {
    if (n < 0) ThrowUsage("n = ", n, " is negative: the sample count must be >= 0");
    if (alignedBlocks && n % 16 != 0)
        ThrowUsage("n = ", n, " is not a multiple of 16, which this instance was promised (alignedBlocks); "
                        "create it without that promise to process any length");
    if (n == 0) return;
    if (!inputs) ThrowUsage("inputs is null: expected ", channels, " channel pointers");
    if (!outputs) ThrowUsage("outputs is null: expected ", channels, " channel pointers");
    for (int c = 0; c < channels; ++c) {
        if (!inputs[c]) ThrowUsage("inputs[", c, "] is null: channels 0..", channels - 1, " all need a buffer of n = ", n, " samples");
        if (!outputs[c]) ThrowUsage("outputs[", c, "] is null: channels 0..", channels - 1, " all need a buffer of n = ", n, " samples");
    }
}

}  // namespace stemstrip::runtime
