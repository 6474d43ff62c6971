#include "render_command.hpp"

#include <chrono>
#include <filesystem>

#include "audio_file.hpp"
#include "channel_layout.hpp"
#include "cli_error.hpp"
#include "meter_summary.hpp"
#include "presets.hpp"
#include "progress_bar.hpp"
#include "render_loop.hpp"
#include "report_page.hpp"
#include "stemstrip/design.hpp"
#include "stemstrip/settings_assignments.hpp"

namespace stemstrip::cli {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxBlock = 1 << 20;

bool SameFile(const std::string& a, const std::string& b) {
    std::error_code ec;
    if (fs::exists(a) && fs::exists(b)) return fs::equivalent(a, b, ec);
    return fs::weakly_canonical(a, ec) == fs::weakly_canonical(b, ec);
}

std::optional<Format> ParseFormatOption(const std::optional<std::string>& name) {
    if (!name) return std::nullopt;
    if (const auto f = ParseFormat(*name)) return f;
    std::string valid;
    for (int i = 0; i < kFormatCount; ++i) valid += (i ? ", " : "") + std::string(FormatName(static_cast<Format>(i)));
    throw CliError("--format " + *name + ": unknown format (valid: " + valid + ")");
}

void CheckPaths(const RenderRequest& r) {
    if (r.blockSize < 1 || r.blockSize > kMaxBlock)
        throw CliError("--block " + std::to_string(r.blockSize) + ": must be 1 to " + std::to_string(kMaxBlock));
    for (const std::optional<std::string>& target : {std::optional(r.output), r.report})
        if (target && fs::is_directory(*target)) throw CliError(*target + ": is a directory, not an output file name");
    std::vector<std::string> readOnly{r.input};
    if (r.key) readOnly.push_back(*r.key);
    for (const std::string& source : readOnly) {
        if (SameFile(source, r.output)) throw CliError(r.output + ": is an input file; refusing to overwrite it");
        if (r.report && SameFile(source, *r.report)) throw CliError(*r.report + ": is an input file; refusing to overwrite it");
    }
    if (r.report && SameFile(*r.report, r.output)) throw CliError(*r.report + ": the report and the output must be different files");
}

void CheckKey(const AudioReader& key, const AudioReader& input) {
    const AudioFormat &k = key.format(), &in = input.format();
    if (k.sampleRate != in.sampleRate)
        throw CliError(key.path() + ": sample rate " + std::to_string(k.sampleRate) + " Hz differs from " + input.path() +
                       "'s " + std::to_string(in.sampleRate) + " Hz");
    if (k.frames != in.frames)
        throw CliError(key.path() + ": " + std::to_string(k.frames) + " samples long, " + input.path() + " has " +
                       std::to_string(in.frames) + "; the key must be exactly as long as the input");
}

std::string PresetLabel(const RenderRequest& r) {
    std::string label = r.preset ? *r.preset : "default";
    if (!r.overrides.empty()) label += " with " + std::to_string(r.overrides.size()) + " --set";
    return label;
}

Settings ResolveSettings(const RenderRequest& r, Format format, double rate, const std::string& label) {
    Settings s = r.preset ? LoadPreset(*r.preset) : Settings{};
    for (const std::string& assignment : r.overrides) {
        try {
            s = ApplyAssignment(s, assignment);
        } catch (const UsageError& e) {
            throw CliError("--set " + assignment + ": " + e.what());
        }
    }
    if (r.key) s.detector.externalKey = true;
    if (s.detector.externalKey && !r.key)
        throw CliError(label + ": detector.externalKey is on but no --key file was given");
    try {
        Validate(s, format, rate);
    } catch (const SettingsError& e) {
        throw CliError("settings (" + label + ") for " + r.input + ": " + e.what());
    }
    return s;
}

}  // namespace

std::string RunRender(const RenderRequest& r) {
    CheckPaths(r);
    const std::optional<Format> forced = ParseFormatOption(r.format);
    AudioReader input(r.input);
    const AudioFormat& in = input.format();
    const DetectedFormat layout = DetectFormat(in.channels, in.channelMask, forced, r.input);
    std::optional<AudioReader> key;
    if (r.key) {
        key.emplace(*r.key);
        CheckKey(*key, input);
    }
    const std::string label = PresetLabel(r);
    const Settings settings = ResolveSettings(r, layout.format, in.sampleRate, label);
    const AudioFormat outFormat{in.sampleRate, in.channels, in.frames,
                                OutputSndfileFormat(r.output, in.sndfileFormat, r.keepFormat), layout.mask};

    InstanceOptions options;
    options.flushDenormals = r.flushDenormals;
    Instance strip(layout.format, settings, in.sampleRate, options);

    StagedOutput stagedAudio(r.output);
    std::optional<StagedOutput> stagedReport;
    if (r.report) stagedReport.emplace(*r.report);
    AudioWriter writer(stagedAudio, r.output, outFormat);

    const double seconds = static_cast<double>(in.frames) / in.sampleRate;
    const auto start = std::chrono::steady_clock::now();
    RenderIo io{input, key ? &*key : nullptr, writer, StripChannelOrder(layout.mask)};
    RenderResult result;
    {
        ProgressBar bar(seconds, r.stderrIsTerminal);
        result = Render(strip, io, r.blockSize, [&](int64_t done, int64_t total) { bar.Update(done, total); });
    }
    writer.Close();
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    const std::string summary =
        FormatSummary({r.input, r.output, label, layout.note, layout.format, in.sampleRate, seconds, wall,
                       StripChannelLabels(layout.mask), result.totals, writer.clippedSamples()});
    if (stagedReport) {
        stagedReport->Write(BuildReportPage({r.input + " -> " + r.output + " (" + label + ")", summary, layout.format,
                                             static_cast<double>(in.sampleRate), settings, result.trace,
                                             std::max(result.totals.compReductionDb, result.totals.expReductionDb)}));
        stagedReport->Commit();
    }
    stagedAudio.Commit();
    return summary + (r.report ? "  report: " + *r.report + "\n" : "");
}

}  // namespace stemstrip::cli
