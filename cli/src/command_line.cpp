#include "command_line.hpp"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>

#include "cli_error.hpp"
#include "demo_command.hpp"
#include "interruption.hpp"
#include "presets.hpp"
#include "render_command.hpp"

namespace stemstrip::cli {
namespace {

constexpr const char* kSetHelp =
    "Override one settings field, repeatable, applied in order after --preset: PATH=VALUE.\n"
    "PATH names the field as in the preset JSON: dots between objects, [i] for array\n"
    "entries counted from 0 (bands[0]..bands[7], channelGroups[0]..).\n"
    "VALUE: a number (3, -1.5, inf), true/false (1/0, on/off), an enum name, or for\n"
    "channelGroups a list (0,0,1 or [0,0,1]) or default; one field per --set.\n"
    "Examples: bands[2].gainDb=3  bands[2].enabled=true  bands[0].type=HighShelf\n"
    "          compressor.ratio=inf  expander.gate=true  channelGroups=[0,0,1,2,3,3]";

constexpr const char* kRenderFooter =
    "\nFormats: the channel count and the WAV channel mask decide (4 channels: quad or lcrs;\n"
    "6: 5.1 or 6.0; 7: 6.1 or 7.0); files without a mask get quad, 5.1 and 6.1.\n"
    "Output: 32-bit float in the container OUT's extension names (.wav, .aiff; .flac needs\n"
    "--keep-format), aligned with the input sample for sample despite the strip's latency.\n"
    "Presets: see `stemstrip presets`; a preset file is JSON of the settings, fields named as\n"
    "in `stemstrip preset show vocal` (units in the names: Db, Ms, Hz; \"inf\" for infinity).";

void AddRender(CLI::App& app, RenderRequest& r) {
    CLI::App* render = app.add_subcommand("render", "Process an audio file through the channel strip");
    render->footer(kRenderFooter);
    render->add_option("IN", r.input, "Input audio file: WAV, FLAC or AIFF, 1 to 8 channels")->required();
    render->add_option("OUT", r.output, "Output audio file (written whole or not at all; never the input)")->required();
    render->add_option("--preset", r.preset, "Preset file (JSON) or built-in preset name");
    render->add_option("--set", r.overrides, kSetHelp)->allow_extra_args(false);
    render->add_option("--key", r.key,
                       "Side-chain key file (same sample rate and length; channels are averaged); "
                       "turns detector.externalKey on");
    render->add_option("--format", r.format, "Stem format instead of the detected one: mono, stereo, lcr, quad, lcrs, "
                                             "5.0, 5.1, 6.0, 6.1, 7.0, 7.1");
    render->add_option("--block", r.blockSize,
                       "Host chunk size in samples (default 512); the output does not depend on it. "
                       "Chunks are also cut at the report's 10 ms meter points");
    render->add_option("--report", r.report, "Write an HTML report with level, EQ and transfer-curve plots");
    render->add_flag("--keep-format", r.keepFormat, "Write the input's sample encoding instead of 32-bit float");
    render->add_flag("--flush-denormals", r.flushDenormals, "Process with denormal numbers flushed to zero");
    render->callback([&r] { std::cout << RunRender(r); });
}

void AddDemo(CLI::App& app, std::string& directory, bool stderrIsTerminal) {
    CLI::App* demo = app.add_subcommand(
        "demo", "Synthesise a stereo drums-and-voice mix, a 5.1 film stem and a mono dialogue track, render them through built-in presets "
                "and write inputs, outputs and HTML reports to DIR");
    demo->add_option("DIR", directory, "Directory to write to (default ./stemstrip-demo)");
    demo->callback([&directory, stderrIsTerminal] { std::cout << RunDemo(directory, stderrIsTerminal); });
}

void AddPresets(CLI::App& app, std::string& shown) {
    app.add_subcommand("presets", "List the built-in presets")->callback([] {
        for (const BuiltinPreset& p : BuiltinPresets()) std::printf("%-16s %s\n", p.name.c_str(), p.description.c_str());
    });
    CLI::App* preset = app.add_subcommand("preset", "Work with one built-in preset");
    preset->require_subcommand(1);
    CLI::App* show = preset->add_subcommand("show", "Print a built-in preset as JSON with every field, to start a preset file from");
    show->add_option("NAME", shown, "Built-in preset name")->required();
    show->callback([&shown] { std::cout << ShowPreset(shown); });
}

int Run(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
        return 0;
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        std::cerr << "stemstrip: " << e.what() << " (see stemstrip --help)\n";
        return 2;
    } catch (const CliError& e) {
        std::cerr << "stemstrip: " << e.what() << "\n";
        return 1;
    } catch (const std::exception& e) {
        std::cerr << "stemstrip: " << e.what() << "\n";
        return 1;
    }
}

}  // namespace

int RunCommandLine(int argc, char** argv) {
    CLI::App app("stemstrip: a channel strip (EQ, compressor, expander/gate, meters) for audio files, mono to 7.1",
                 "stemstrip");
    app.require_subcommand(1);
    app.set_help_all_flag("--help-all", "Print this help and every subcommand's options, then exit");
    app.set_version_flag("--version", "stemstrip " STEMSTRIP_VERSION);
    const bool stderrIsTerminal = isatty(STDERR_FILENO) == 1;
    RenderRequest render;
    render.stderrIsTerminal = stderrIsTerminal;
    std::string demoDirectory = "stemstrip-demo";
    std::string shownPreset;
    AddRender(app, render);
    AddDemo(app, demoDirectory, stderrIsTerminal);
    AddPresets(app, shownPreset);
    if (argc < 2) {  // a first try: show what there is to do
        std::cerr << app.help();
        return 2;
    }
    CatchInterruptions();
    const int rc = Run(app, argc, argv);
    // Outputs are staged, so an interrupted render has left nothing behind.
    if (const int signal = InterruptingSignal()) return 128 + signal;
    return rc;
}

}  // namespace stemstrip::cli
