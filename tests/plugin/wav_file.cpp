#include "wav_file.hpp"

#include <sndfile.h>

#include <stdexcept>

namespace stemstrip::lv2test {

void WriteWav(const std::string& path, const Audio& audio) {
    SF_INFO info{};
    info.channels = audio.channels;
    info.samplerate = audio.sampleRate;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) throw std::runtime_error("cannot write '" + path + "': " + sf_strerror(nullptr));
    const sf_count_t written = sf_writef_float(f, audio.samples.data(), audio.frames());
    sf_close(f);
    if (written != audio.frames()) throw std::runtime_error("short write to '" + path + "'");
}

Audio ReadWav(const std::string& path) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f) throw std::runtime_error("cannot read '" + path + "': " + sf_strerror(nullptr));
    Audio a{info.channels, info.samplerate, std::vector<float>(static_cast<size_t>(info.frames * info.channels))};
    const sf_count_t read = sf_readf_float(f, a.samples.data(), info.frames);
    sf_close(f);
    if (read != info.frames) throw std::runtime_error("short read from '" + path + "'");
    return a;
}

}  // namespace stemstrip::lv2test
