// Reading and writing audio files (WAV, FLAC, AIFF; 16/24/32-bit integer or
// 32-bit float samples) through libsndfile, with WAV channel masks. Samples
// travel interleaved in file channel order; reordering is the caller's job.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "staged_output.hpp"

struct sf_private_tag;

namespace stemstrip::cli {

struct AudioFormat {
    int sampleRate = 0;
    int channels = 0;
    int64_t frames = 0;
    int sndfileFormat = 0;   // SF_FORMAT_* container | encoding
    uint32_t channelMask = 0; // WAVE_FORMAT_EXTENSIBLE speakers; 0 = the file names none
};

class AudioReader {
public:
    // Throws CliError naming the file if it is missing, not audio, or in an
    // unsupported container or sample encoding.
    explicit AudioReader(const std::string& path);
    ~AudioReader();
    AudioReader(const AudioReader&) = delete;
    AudioReader& operator=(const AudioReader&) = delete;

    const AudioFormat& format() const { return format_; }
    const std::string& path() const { return path_; }
    // Reads up to frames.size() / channels frames; returns how many were read.
    int64_t Read(std::span<float> interleaved);

private:
    std::string path_;
    sf_private_tag* file_ = nullptr;
    AudioFormat format_;
};

// The SF_FORMAT_* code to write `path` with: its container from the extension
// (.wav, .flac, .aif/.aiff), 32-bit float samples or, with keepEncoding, the
// input's encoding. Throws CliError for an unknown extension or a container
// that cannot hold the encoding (FLAC has no float samples).
int OutputSndfileFormat(const std::string& path, int inputSndfileFormat, bool keepEncoding);

class AudioWriter {
public:
    // Writes into `staged`'s temporary file; commit it after Close().
    AudioWriter(StagedOutput& staged, const std::string& path, const AudioFormat& format);
    ~AudioWriter();
    AudioWriter(const AudioWriter&) = delete;
    AudioWriter& operator=(const AudioWriter&) = delete;

    void Write(std::span<const float> interleaved);
    void Close();
    // Integer encodings hold [-1, 1): samples beyond were clipped.
    int64_t clippedSamples() const { return clipped_; }

private:
    std::string path_;
    int channels_;
    bool integer_;
    int64_t clipped_ = 0;
    sf_private_tag* file_ = nullptr;
};

}  // namespace stemstrip::cli
