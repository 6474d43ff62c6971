#include "demo_command.hpp"

#include <sndfile.h>

#include <filesystem>

#include "audio_file.hpp"
#include "channel_layout.hpp"
#include "cli_error.hpp"
#include "demo_signal.hpp"
#include "render_command.hpp"

namespace stemstrip::cli {
namespace {

constexpr int kRate = 48000;
constexpr double kSeconds = 12.0;

struct DemoPiece {
    const char* name;
    Format format;
    Planar (*synthesise)(int, double);
    const char* preset;
};

constexpr DemoPiece kPieces[] = {
    {"drums-voice", Format::Stereo, SynthesiseDrumsAndVoice, "drum-bus"},
    {"film-5.1", Format::Surround5_1, SynthesiseFilmStem, "film-stem-5.1"},
    {"dialogue", Format::Mono, SynthesiseDialogue, "dialogue-gate"},
};

void WriteInput(const std::string& path, const Planar& channels, Format format) {
    const int n = static_cast<int>(channels.size());
    const int64_t frames = static_cast<int64_t>(channels[0].size());
    StagedOutput staged(path);
    AudioWriter writer(staged, path, {kRate, n, frames, SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, CanonicalMask(format)});
    std::vector<float> interleaved(static_cast<size_t>(frames) * n);
    for (int64_t i = 0; i < frames; ++i)
        for (int c = 0; c < n; ++c) interleaved[static_cast<size_t>(i) * n + c] = channels[c][i];
    writer.Write(interleaved);
    writer.Close();
    staged.Commit();
}

}  // namespace

std::string RunDemo(const std::string& directory, bool stderrIsTerminal) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::create_directories(directory, ec);
    if (ec) throw CliError(directory + ": cannot create the demo directory (" + ec.message() + ")");
    std::string summaries;
    for (const DemoPiece& piece : kPieces) {
        const std::string base = (fs::path(directory) / piece.name).string();
        RenderRequest request;
        request.input = base + "-in.wav";
        request.output = base + "-out.wav";
        request.report = base + "-report.html";
        request.preset = piece.preset;
        request.stderrIsTerminal = stderrIsTerminal;
        WriteInput(request.input, piece.synthesise(kRate, kSeconds), piece.format);
        summaries += RunRender(request) + "\n";
    }
    return summaries;
}

}  // namespace stemstrip::cli
