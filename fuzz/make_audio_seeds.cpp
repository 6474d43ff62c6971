// Writes the seed corpus of the audio-file fuzzer: tiny files of every
// container and encoding the reader accepts (with and without a channel
// map), and a few it must refuse. Usage: make_audio_seeds <directory>
#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

struct Seed {
    const char* name;
    int format;
    int channels;
    std::vector<int> channelMap;  // empty: none written
};

constexpr int kFrames = 24;

bool Write(const std::string& path, const Seed& seed) {
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = seed.channels;
    info.format = seed.format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) return false;
    if (!seed.channelMap.empty())
        sf_command(file, SFC_SET_CHANNEL_MAP_INFO, const_cast<int*>(seed.channelMap.data()),
                   static_cast<int>(seed.channelMap.size() * sizeof(int)));
    std::vector<float> samples(static_cast<size_t>(kFrames * seed.channels));
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = 0.9f * std::sin(0.7f * static_cast<float>(i));
    const bool written = sf_writef_float(file, samples.data(), kFrames) == kFrames;
    return sf_close(file) == 0 && written;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus directory>\n", argv[0]);
        return 2;
    }
    const std::vector<int> surround51 = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT,     SF_CHANNEL_MAP_CENTER,
                                         SF_CHANNEL_MAP_LFE,  SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_RIGHT};
    const Seed seeds[] = {
        {"mono_pcm16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, {}},
        {"stereo_float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, {}},
        {"surround51_pcm24.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 6, surround51},
        {"quad_pcm32.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_32, 4, {}},
        {"stereo_pcm24.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 2, {}},
        {"lcr_pcm16.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 3, {}},
        {"mono_float.aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 1, {}},
        {"refused_pcm8.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 1, {}},
        {"refused_double.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, {}},
        {"refused_container.au", SF_FORMAT_AU | SF_FORMAT_PCM_16, 1, {}},
    };
    for (const Seed& seed : seeds) {
        const std::string path = std::string(argv[1]) + "/" + seed.name;
        if (!Write(path, seed)) {
            std::fprintf(stderr, "%s: %s\n", path.c_str(), sf_strerror(nullptr));
            return 1;
        }
    }
    std::printf("%zu seeds\n", std::size(seeds));
    return 0;
}
