// The command-line tests' fixtures: the test's signals, the settings it
// writes as preset files, and the real program run with its arguments.
#pragma once

#include <string>
#include <vector>

#include "stemstrip/settings.hpp"
#include "support/audio_files.hpp"
#include "support/programs.hpp"
#include "support/sdk_render.hpp"

namespace cli_test {

using namespace stemstrip_test;
using CliRun = ProgramRun;

// The stemstrip program run with `args`.
ProgramRun RunCli(std::vector<std::string> args, const RunOptions& options = {});

// Every channel different (frequency, level, noise) with a loud first half and
// a quiet second half, so EQ, compressor, expander and linking all act.
Audio TestSignal(int channels, int64_t frames, int sampleRate, unsigned seed);

// The test's own settings (pre and post EQ, compressor, expander, averaging
// detector) with `groups` as channelGroups when given, and the same settings
// spelled as a preset file.
stemstrip::Settings TestSettings(const std::vector<int>& groups = {});
std::string TestPresetJson(const std::vector<int>& groups = {});

}  // namespace cli_test
