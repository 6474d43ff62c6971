// Fuzzes the command line's audio-file reader: each input is a file's
// bytes, opened and read to the end as the render command does. The reader
// must either report the file's format and deliver its samples, or throw
// CliError naming the file; any other exception or a crash is a finding.
// The file lives in memory (memfd) and is opened through its /proc path,
// so libsndfile sees an ordinary file without touching the disk.
#include <sndfile.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "audio_file.hpp"
#include "cli_error.hpp"
#include "finding.h"

namespace {

constexpr int64_t kMaxSamplesRead = 1 << 20;  // bounds the time one input may take

// The input as a file: a memfd written afresh each time, opened by its /proc path.
const std::string& Fill(const uint8_t* data, size_t size) {
    static const int fd = memfd_create("audio_file_fuzzer", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(fd);
    if (fd < 0 || ftruncate(fd, 0) != 0 || pwrite(fd, data, size, 0) != static_cast<ssize_t>(size))
        Finding("cannot fill the memory file");
    return path;
}

void ReadToEnd(stemstrip::cli::AudioReader& reader) {
    const stemstrip::cli::AudioFormat& f = reader.format();
    if (f.channels < 1) Finding("opened with " + std::to_string(f.channels) + " channels");
    std::vector<float> block(static_cast<size_t>(f.channels) * 256);
    int64_t total = 0;
    for (int64_t samples = 0; samples < kMaxSamplesRead; samples += static_cast<int64_t>(block.size())) {
        const int64_t got = reader.Read(block);
        if (got < 0 || got > 256) Finding("Read returned " + std::to_string(got) + " frames for 256 asked");
        // Integer samples convert into [-1, 1]; float files carry anything.
        if ((f.sndfileFormat & SF_FORMAT_SUBMASK) != SF_FORMAT_FLOAT)
            for (int64_t i = 0; i < got * f.channels; ++i)
                if (!(std::fabs(block[static_cast<size_t>(i)]) <= 1.0f))
                    Finding("integer sample converted to " + std::to_string(block[static_cast<size_t>(i)]));
        total += got;
        if (got < 256) break;
    }
    if (f.frames >= 0 && total > f.frames)
        Finding("read " + std::to_string(total) + " frames from a file declaring " + std::to_string(f.frames));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& path = Fill(data, size);
    try {
        stemstrip::cli::AudioReader reader(path);
        ReadToEnd(reader);
    } catch (const stemstrip::cli::CliError& e) {
        const std::string message = e.what();
        if (message.rfind(path + ": ", 0) != 0 || message.size() <= path.size() + 2)
            Finding("error does not name the file and say what is wrong: " + message);
    }
    return 0;
}
