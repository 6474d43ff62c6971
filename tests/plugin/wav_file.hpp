// Float WAV files for the host tests: interleaved frames in, the same out.
#pragma once

#include <string>
#include <vector>

namespace stemstrip::lv2test {

struct Audio {
    int channels = 0;
    int sampleRate = 0;
    std::vector<float> samples;  // interleaved

    long frames() const { return channels ? static_cast<long>(samples.size()) / channels : 0; }
    float at(long frame, int channel) const { return samples[frame * channels + channel]; }
    float& at(long frame, int channel) { return samples[frame * channels + channel]; }
};

// 32-bit float WAV, so what a host writes is exactly what the plugin output.
void WriteWav(const std::string& path, const Audio& audio);
// Throws std::runtime_error naming the file when it cannot be read.
Audio ReadWav(const std::string& path);

}  // namespace stemstrip::lv2test
