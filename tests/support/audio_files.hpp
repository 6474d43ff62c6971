// WAV files byte by byte, written and parsed here without libsndfile, so the
// channel masks and samples the program reads and writes are checked against
// the file format itself rather than against the library the program uses.
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

// WAVE_FORMAT_EXTENSIBLE with `mask` when given, else plain WAVE_FORMAT_IEEE_FLOAT.
std::string WavBytes(const Audio& audio, std::optional<uint32_t> mask);

struct ParsedWav {
    uint16_t formatTag = 0;     // 3 float, 1 PCM, 0xFFFE extensible
    uint16_t subFormat = 0;     // extensible only: the GUID's leading 16 bits
    int channels = 0;
    int sampleRate = 0;
    int bitsPerSample = 0;
    std::optional<uint32_t> channelMask;
    Audio audio;           // filled when the samples are 32-bit float
};

// Throws std::runtime_error if the bytes are not a WAV file.
ParsedWav ParseWav(const std::string& bytes);

std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::string& bytes);

// A 32-bit float WAV file (extensible with a mask), written and read by the
// code above, not by the code under test.
void WriteWav(const std::string& path, const Audio& audio, std::optional<uint32_t> mask = std::nullopt);
Audio ReadWav(const std::string& path);

// "" when both hold the same samples bit for bit (actual delayed by
// `shift` frames, whose first `shift` frames are not compared), else the
// first difference.
std::string FirstDifference(const Audio& expected, const Audio& actual, int64_t shift = 0);

}  // namespace stemstrip_test
