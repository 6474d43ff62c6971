#include "audio_files.hpp"

#include <sndfile.h>

#include <bit>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace stemstrip_test {
namespace {

// KSDATAFORMAT_SUBTYPE_IEEE_FLOAT: the float format code, then the fixed tail.
const std::string kFloatGuid("\x03\x00\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71", 16);

uint32_t Get(const std::string& in, size_t at, int bytes) {
    uint32_t value = 0;
    for (int i = 0; i < bytes && at + i < in.size(); ++i)
        value |= static_cast<uint32_t>(static_cast<unsigned char>(in[at + i])) << (8 * i);
    return value;
}

// Where the body of a WAV file's fmt chunk starts: the chunks follow the
// RIFF header, each an id, a size and a body padded to even length.
size_t FmtBody(const std::string& b) {
    if (b.size() < 12 || b.compare(0, 4, "RIFF") != 0 || b.compare(8, 4, "WAVE") != 0) return std::string::npos;
    size_t at = 12;
    while (at + 8 <= b.size() && b.compare(at, 4, "fmt ") != 0) {
        const uint32_t size = Get(b, at + 4, 4);
        at += 8 + size + (size & 1);
    }
    return at + 8 <= b.size() ? at + 8 : std::string::npos;
}

}  // namespace

std::optional<uint32_t> ExtensibleFloatMask(const std::string& path) {
    const std::string b = ReadBytes(path);
    const size_t fmt = FmtBody(b);
    if (fmt == std::string::npos || Get(b, fmt - 4, 4) < 40 || Get(b, fmt, 2) != 0xFFFE /* extensible */ ||
        Get(b, fmt + 14, 2) != 32 || b.compare(fmt + 24, 16, kFloatGuid) != 0)
        return std::nullopt;
    return Get(b, fmt + 20, 4);
}

std::string ReadBytes(const std::string& path) {
    std::stringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

void WriteBytes(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

// libsndfile writes the extensible header with a mask of its own choosing;
// the mask is then set here, byte by byte.
void WriteWav(const std::string& path, const Audio& audio, std::optional<uint32_t> mask) {
    WriteAudio(path, audio, (mask ? SF_FORMAT_WAVEX : SF_FORMAT_WAV) | SF_FORMAT_FLOAT);
    if (!mask) return;
    std::string bytes = ReadBytes(path);
    const size_t at = FmtBody(bytes) + 20;
    for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>((*mask >> (8 * i)) & 0xFF);
    WriteBytes(path, bytes);
}

Audio ReadAudio(const std::string& path, int* format) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (f == nullptr) throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    Audio a{info.samplerate, info.channels, std::vector<float>(static_cast<size_t>(info.frames * info.channels))};
    const sf_count_t read = sf_readf_float(f, a.samples.data(), info.frames);
    sf_close(f);
    if (read != info.frames) throw std::runtime_error(path + ": cut short");
    if (format) *format = info.format;
    return a;
}

Audio ReadWav(const std::string& path) {
    int format = 0;
    Audio a = ReadAudio(path, &format);
    if ((format & SF_FORMAT_SUBMASK) != SF_FORMAT_FLOAT) throw std::runtime_error(path + ": not 32-bit float audio");
    return a;
}

void WriteAudio(const std::string& path, const Audio& a, int format) {
    SF_INFO info{.samplerate = a.sampleRate, .channels = a.channels, .format = format};
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (f == nullptr) throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    sf_command(f, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    const sf_count_t written = sf_writef_float(f, a.samples.data(), a.frames());
    sf_close(f);
    if (written != a.frames()) throw std::runtime_error(path + ": write failed");
}

std::string FirstDifference(const Audio& expected, const Audio& actual, int64_t shift) {
    auto shape = [](const Audio& a) {
        return std::to_string(a.channels) + " x " + std::to_string(a.frames()) + " at " + std::to_string(a.sampleRate) + " Hz";
    };
    if (shape(expected) != shape(actual)) return "shape differs: " + shape(expected) + " expected, " + shape(actual) + " written";
    for (int64_t t = shift; t < actual.frames(); ++t)
        for (int c = 0; c < actual.channels; ++c)
            if (std::bit_cast<uint32_t>(expected.at(t - shift, c)) != std::bit_cast<uint32_t>(actual.at(t, c)))
                return "frame " + std::to_string(t) + " channel " + std::to_string(c) + ": expected " +
                       std::to_string(expected.at(t - shift, c)) + ", written " + std::to_string(actual.at(t, c));
    return "";
}

}  // namespace stemstrip_test
