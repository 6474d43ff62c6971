// WAV files byte by byte, written and parsed here without libsndfile, so the
// channel masks and samples the program reads and writes are checked against
// the file format itself rather than against the library the program uses.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cli_test {

// Interleaved 32-bit float samples.
struct FloatAudio {
    int sampleRate = 48000;
    int channels = 1;
    std::vector<float> samples;
    int64_t frames() const { return static_cast<int64_t>(samples.size()) / channels; }
    float at(int64_t frame, int channel) const { return samples[frame * channels + channel]; }
};

// WAVE_FORMAT_EXTENSIBLE with `mask` when given, else plain WAVE_FORMAT_IEEE_FLOAT.
std::string WavBytes(const FloatAudio& audio, std::optional<uint32_t> mask);

struct ParsedWav {
    uint16_t formatTag = 0;     // 3 float, 1 PCM, 0xFFFE extensible
    uint16_t subFormat = 0;     // extensible only: the GUID's leading 16 bits
    int channels = 0;
    int sampleRate = 0;
    int bitsPerSample = 0;
    std::optional<uint32_t> channelMask;
    FloatAudio audio;           // filled when the samples are 32-bit float
};

// Throws std::runtime_error if the bytes are not a WAV file.
ParsedWav ParseWav(const std::string& bytes);

}  // namespace cli_test
