// What a render must produce, computed straight through the SDK: the test's
// signals, the settings it writes as preset files, and an Instance run over
// the whole file at once.
#pragma once

#include <string>
#include <vector>

#include "stemstrip/settings.hpp"
#include "wav_bytes.hpp"

namespace cli_test {

// Every channel different (frequency, level, noise) with a loud first half and
// a quiet second half, so EQ, compressor, expander and linking all act.
FloatAudio TestSignal(int channels, int64_t frames, int sampleRate, unsigned seed);

// The test's own settings (pre and post EQ, compressor, expander, averaging
// detector) with `groups` as channelGroups when given, and the same settings
// spelled as a preset file.
stemstrip::Settings TestSettings(const std::vector<int>& groups = {});
std::string TestPresetJson(const std::vector<int>& groups = {});

// The input through an Instance of `format` in one call, latency removed.
// stripOrder[i] is the file channel that is the strip's channel i; key, when
// not empty, is the side-chain signal (one sample per frame).
FloatAudio ReferenceRender(stemstrip::Format format, const stemstrip::Settings& settings, const FloatAudio& input,
                           const std::vector<int>& stripOrder, const std::vector<float>& key = {});

// Empty when both hold the same bits; otherwise where they first differ.
std::string FirstDifference(const FloatAudio& expected, const FloatAudio& actual);

}  // namespace cli_test
