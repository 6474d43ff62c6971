#include "audio_files.hpp"

#include <fstream>
#include <sstream>

#include <cstring>
#include <stdexcept>

namespace stemstrip_test {
namespace {

constexpr uint16_t kFloatTag = 3, kExtensibleTag = 0xFFFE;
// KSDATAFORMAT_SUBTYPE_IEEE_FLOAT after its leading 16-bit format code.
constexpr unsigned char kGuidTail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                         0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

void Put(std::string& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

uint32_t Get(const std::string& in, size_t at, int bytes) {
    if (at + bytes > in.size()) throw std::runtime_error("WAV: truncated");
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) value |= static_cast<uint32_t>(static_cast<unsigned char>(in[at + i])) << (8 * i);
    return value;
}

}  // namespace

std::string WavBytes(const Audio& a, std::optional<uint32_t> mask) {
    std::string fmt;
    Put(fmt, mask ? kExtensibleTag : kFloatTag, 2);
    Put(fmt, a.channels, 2);
    Put(fmt, a.sampleRate, 4);
    Put(fmt, a.sampleRate * a.channels * 4, 4);
    Put(fmt, a.channels * 4, 2);
    Put(fmt, 32, 2);
    if (mask) {
        Put(fmt, 22, 2);
        Put(fmt, 32, 2);
        Put(fmt, *mask, 4);
        Put(fmt, kFloatTag, 2);
        fmt.append(reinterpret_cast<const char*>(kGuidTail), sizeof kGuidTail);
    }
    std::string data(a.samples.size() * 4, '\0');
    std::memcpy(data.data(), a.samples.data(), data.size());

    std::string wav = "RIFF";
    Put(wav, static_cast<uint32_t>(4 + 8 + fmt.size() + 8 + 4 + 8 + data.size()), 4);
    wav += "WAVEfmt ";
    Put(wav, static_cast<uint32_t>(fmt.size()), 4);
    wav += fmt;
    wav += "fact";
    Put(wav, 4, 4);
    Put(wav, static_cast<uint32_t>(a.frames()), 4);
    wav += "data";
    Put(wav, static_cast<uint32_t>(data.size()), 4);
    return wav + data;
}

ParsedWav ParseWav(const std::string& bytes) {
    if (bytes.size() < 12 || bytes.compare(0, 4, "RIFF") != 0 || bytes.compare(8, 4, "WAVE") != 0)
        throw std::runtime_error("not a RIFF WAVE file");
    ParsedWav wav;
    bool haveFormat = false;
    for (size_t at = 12; at + 8 <= bytes.size();) {
        const std::string id = bytes.substr(at, 4);
        const uint32_t size = Get(bytes, at + 4, 4);
        const size_t body = at + 8;
        if (id == "fmt ") {
            wav.formatTag = static_cast<uint16_t>(Get(bytes, body, 2));
            wav.channels = static_cast<int>(Get(bytes, body + 2, 2));
            wav.sampleRate = static_cast<int>(Get(bytes, body + 4, 4));
            wav.bitsPerSample = static_cast<int>(Get(bytes, body + 14, 2));
            if (wav.formatTag == kExtensibleTag) {
                if (size < 40) throw std::runtime_error("WAV: short extensible fmt chunk");
                wav.channelMask = Get(bytes, body + 20, 4);
                wav.subFormat = static_cast<uint16_t>(Get(bytes, body + 24, 2));
                if (bytes.compare(body + 26, sizeof kGuidTail, reinterpret_cast<const char*>(kGuidTail), sizeof kGuidTail) != 0)
                    throw std::runtime_error("WAV: unknown sub-format GUID");
            }
            haveFormat = true;
        } else if (id == "data") {
            if (!haveFormat) throw std::runtime_error("WAV: data before fmt");
            if (body + size > bytes.size()) throw std::runtime_error("WAV: data chunk runs past the end of the file");
            const bool isFloat = wav.formatTag == kFloatTag || (wav.formatTag == kExtensibleTag && wav.subFormat == kFloatTag);
            wav.audio.sampleRate = wav.sampleRate;
            wav.audio.channels = wav.channels;
            if (isFloat && wav.bitsPerSample == 32) {
                wav.audio.samples.resize(size / 4);
                std::memcpy(wav.audio.samples.data(), bytes.data() + body, wav.audio.samples.size() * 4);
            }
            return wav;
        }
        at = body + size + (size & 1);
    }
    throw std::runtime_error("WAV: no data chunk");
}

std::string ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void WriteBytes(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

void WriteWav(const std::string& path, const Audio& audio, std::optional<uint32_t> mask) {
    WriteBytes(path, WavBytes(audio, mask));
}

Audio ReadWav(const std::string& path) {
    const ParsedWav wav = ParseWav(ReadBytes(path));
    if (wav.bitsPerSample != 32 || wav.audio.samples.size() % wav.channels != 0)
        throw std::runtime_error(path + ": not 32-bit float audio");
    return wav.audio;
}

std::string FirstDifference(const Audio& expected, const Audio& actual, int64_t shift) {
    if (expected.channels != actual.channels || expected.sampleRate != actual.sampleRate ||
        expected.frames() != actual.frames())
        return "shape differs: " + std::to_string(expected.channels) + " x " + std::to_string(expected.frames()) +
               " at " + std::to_string(expected.sampleRate) + " Hz expected, " + std::to_string(actual.channels) +
               " x " + std::to_string(actual.frames()) + " at " + std::to_string(actual.sampleRate) + " Hz written";
    for (int64_t t = shift; t < actual.frames(); ++t)
        for (int c = 0; c < actual.channels; ++c)
            if (std::memcmp(&expected.samples[(t - shift) * expected.channels + c], &actual.samples[t * actual.channels + c],
                            sizeof(float)) != 0)
                return "frame " + std::to_string(t) + " channel " + std::to_string(c) + ": expected " +
                       std::to_string(expected.at(t - shift, c)) + ", written " + std::to_string(actual.at(t, c));
    return "";
}

}  // namespace stemstrip_test
