#include "audio_file.hpp"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <vector>

#include "channel_layout.hpp"
#include "cli_error.hpp"
#include "declared_length.hpp"

namespace stemstrip::cli {
namespace {

using namespace speaker;

// libsndfile's channel ids for the mask bits, in ascending bit order. Writing
// a map only works with these ids (not the FRONT_ variants) and in this order;
// anything else is dropped without an error and the file gets a default mask.
struct SpeakerId {
    uint32_t bit;
    int id;
};
constexpr SpeakerId kWriteIds[] = {
    {kFrontLeft, SF_CHANNEL_MAP_LEFT},       {kFrontRight, SF_CHANNEL_MAP_RIGHT},
    {kFrontCenter, SF_CHANNEL_MAP_CENTER},   {kLowFrequency, SF_CHANNEL_MAP_LFE},
    {kBackLeft, SF_CHANNEL_MAP_REAR_LEFT},   {kBackRight, SF_CHANNEL_MAP_REAR_RIGHT},
    {kBackCenter, SF_CHANNEL_MAP_REAR_CENTER}, {kSideLeft, SF_CHANNEL_MAP_SIDE_LEFT},
    {kSideRight, SF_CHANNEL_MAP_SIDE_RIGHT},
};
// Ids a reader may report for the same speakers.
constexpr SpeakerId kReadAliases[] = {
    {kFrontLeft, SF_CHANNEL_MAP_FRONT_LEFT},
    {kFrontRight, SF_CHANNEL_MAP_FRONT_RIGHT},
    {kFrontCenter, SF_CHANNEL_MAP_FRONT_CENTER},
    {kFrontCenter, SF_CHANNEL_MAP_MONO},
};

uint32_t BitOfId(int id) {
    for (std::span<const SpeakerId> table : {std::span<const SpeakerId>(kWriteIds), std::span<const SpeakerId>(kReadAliases)})
        for (const SpeakerId& s : table)
            if (s.id == id) return s.bit;
    return 0;
}

// The mask a file declares, or 0 if it declares none or speakers stemstrip
// does not know.
uint32_t ReadChannelMask(SNDFILE* file, int channels) {
    std::vector<int> ids(static_cast<size_t>(channels));
    if (sf_command(file, SFC_GET_CHANNEL_MAP_INFO, ids.data(), static_cast<int>(ids.size() * sizeof(int))) != SF_TRUE)
        return 0;
    uint32_t mask = 0;
    for (int id : ids) {
        const uint32_t bit = BitOfId(id);
        if (bit == 0 || (mask & bit)) return 0;
        mask |= bit;
    }
    return mask;
}

bool SupportedContainer(int major) {
    return major == SF_FORMAT_WAV || major == SF_FORMAT_WAVEX || major == SF_FORMAT_FLAC || major == SF_FORMAT_AIFF;
}

bool SupportedEncoding(int subtype) {
    return subtype == SF_FORMAT_PCM_16 || subtype == SF_FORMAT_PCM_24 || subtype == SF_FORMAT_PCM_32 ||
           subtype == SF_FORMAT_FLOAT;
}

}  // namespace

AudioReader::AudioReader(const std::string& path) : path_(path) {
    if (!std::filesystem::exists(path)) throw CliError(path + ": no such file");
    if (std::filesystem::is_directory(path)) throw CliError(path + ": is a directory, not an audio file");
    SF_INFO info{};
    file_ = sf_open(path.c_str(), SFM_READ, &info);
    if (file_ == nullptr) throw CliError(path + ": cannot read as audio (" + sf_strerror(nullptr) + ")");
    format_ = {info.samplerate, info.channels, info.frames, info.format, 0};
    const int major = info.format & SF_FORMAT_TYPEMASK, subtype = info.format & SF_FORMAT_SUBMASK;
    if (!SupportedContainer(major)) {
        sf_close(file_);
        throw CliError(path + ": unsupported file type; stemstrip reads WAV, FLAC and AIFF");
    }
    if (!SupportedEncoding(subtype)) {
        sf_close(file_);
        throw CliError(path + ": unsupported sample encoding; stemstrip reads 16, 24 and 32-bit integer and 32-bit float");
    }
    format_.channelMask = ReadChannelMask(file_, info.channels);
    if (const std::optional<int64_t> declared = DeclaredFrames(path); declared && *declared > info.frames) {
        sf_close(file_);
        throw CliError(path + ": cut short: its header declares " + std::to_string(*declared) + " frames, the file holds " +
                       std::to_string(info.frames));
    }
}

AudioReader::~AudioReader() { sf_close(file_); }

int64_t AudioReader::Read(std::span<float> interleaved) {
    const sf_count_t wanted = static_cast<sf_count_t>(interleaved.size()) / format_.channels;
    const sf_count_t got = sf_readf_float(file_, interleaved.data(), wanted);
    if (got < wanted && sf_error(file_) != SF_ERR_NO_ERROR)
        throw CliError(path_ + ": read error (" + sf_strerror(file_) + ")");
    return got;
}

int OutputSndfileFormat(const std::string& path, int inputSndfileFormat, bool keepEncoding) {
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    int major = 0;
    if (ext == ".wav") major = SF_FORMAT_WAVEX;
    else if (ext == ".flac") major = SF_FORMAT_FLAC;
    else if (ext == ".aif" || ext == ".aiff") major = SF_FORMAT_AIFF;
    else throw CliError(path + ": unknown output type '" + ext + "'; use .wav, .flac or .aiff");
    const int subtype = keepEncoding ? inputSndfileFormat & SF_FORMAT_SUBMASK : SF_FORMAT_FLOAT;
    SF_INFO probe{};
    probe.samplerate = 48000;
    probe.channels = 1;
    probe.format = major | subtype;
    if (!sf_format_check(&probe))
        throw CliError(path + ": a " + ext + " file cannot hold " +
                       (keepEncoding ? "the input's sample encoding" : "32-bit float samples") +
                       "; choose another output type" + (keepEncoding ? "" : " or --keep-format"));
    return major | subtype;
}

AudioWriter::AudioWriter(StagedOutput& staged, const std::string& path, const AudioFormat& format)
    : path_(path), channels_(format.channels), integer_((format.sndfileFormat & SF_FORMAT_SUBMASK) != SF_FORMAT_FLOAT) {
    SF_INFO info{};
    info.samplerate = format.sampleRate;
    info.channels = format.channels;
    info.format = format.sndfileFormat;
    file_ = sf_open_fd(staged.fd(), SFM_WRITE, &info, SF_FALSE);
    if (file_ == nullptr) throw CliError(path + ": cannot write (" + sf_strerror(nullptr) + ")");
    sf_command(file_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // The PEAK chunk carries a time stamp: without it the same render gives the same bytes.
    sf_command(file_, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    if ((format.sndfileFormat & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAVEX) {
        // Must precede the first write: the header with the mask goes out with it.
        std::vector<int> ids;
        for (const SpeakerId& s : kWriteIds)
            if (format.channelMask & s.bit) ids.push_back(s.id);
        if (sf_command(file_, SFC_SET_CHANNEL_MAP_INFO, ids.data(), static_cast<int>(ids.size() * sizeof(int))) != SF_TRUE)
            throw CliError(path + ": cannot record the channel layout");
    }
}

AudioWriter::~AudioWriter() {
    if (file_ != nullptr) sf_close(file_);
}

void AudioWriter::Write(std::span<const float> interleaved) {
    const sf_count_t frames = static_cast<sf_count_t>(interleaved.size()) / channels_;
    if (integer_)
        clipped_ += std::count_if(interleaved.begin(), interleaved.end(), [](float x) { return std::abs(x) > 1.0f; });
    if (sf_writef_float(file_, interleaved.data(), frames) != frames)
        throw CliError(path_ + ": write error (" + sf_strerror(file_) + ")");
}

void AudioWriter::Close() {
    const int rc = sf_close(file_);
    file_ = nullptr;
    if (rc != 0) throw CliError(path_ + ": cannot finish writing (" + sf_error_number(rc) + ")");
}

}  // namespace stemstrip::cli
