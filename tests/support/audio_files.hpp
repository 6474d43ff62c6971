// Audio files for the tests, through libsndfile, except for the channel
// masks: those of the inputs are set and those of a program's output read
// in the file's own fmt chunk, so that they are checked against the file
// format rather than against the library the program uses.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace stemstrip_test {

// Interleaved 32-bit float samples.
struct Audio {
    int sampleRate = 48000;
    int channels = 1;
    std::vector<float> samples;
    int64_t frames() const { return static_cast<int64_t>(samples.size()) / channels; }
    float at(int64_t frame, int channel) const { return samples[frame * channels + channel]; }
    float& at(int64_t frame, int channel) { return samples[frame * channels + channel]; }
};

// The channel mask of a WAVE_FORMAT_EXTENSIBLE file with float samples;
// nullopt for any other file.
std::optional<uint32_t> ExtensibleFloatMask(const std::string& path);

std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::string& bytes);

// 32-bit float WAV: WAVE_FORMAT_EXTENSIBLE with `mask` when given, else plain WAVE_FORMAT_IEEE_FLOAT.
void WriteWav(const std::string& path, const Audio& audio, std::optional<uint32_t> mask = std::nullopt);
// Any file libsndfile reads, decoded to float; `format` gets its SF_FORMAT_* code.
Audio ReadAudio(const std::string& path, int* format = nullptr);
// A 32-bit float file's samples; throws std::runtime_error for anything else.
Audio ReadWav(const std::string& path);
// `format` is an SF_FORMAT_* code; samples beyond full scale are clipped.
void WriteAudio(const std::string& path, const Audio& audio, int format);

// "" when both hold the same samples bit for bit (actual delayed by
// `shift` frames, whose first `shift` frames are not compared), else the
// first difference.
std::string FirstDifference(const Audio& expected, const Audio& actual, int64_t shift = 0);

}  // namespace stemstrip_test
