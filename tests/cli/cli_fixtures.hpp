// The command-line tests' fixtures: the test's signals, the settings it
// writes as preset files, and the real program run with its arguments.
#pragma once

#include <cmath>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "stemstrip/settings.hpp"
#include "audio_files.hpp"
#include "programs.hpp"
#include "sdk_render.hpp"

namespace cli_test {

using namespace stemstrip_test;

constexpr int64_t kFrames = 30011;  // neither a multiple of 16 nor of any --block used

// The stemstrip program run with `args`.
inline ProgramRun RunCli(std::vector<std::string> args, const RunOptions& options = {}) {
    args.insert(args.begin(), STEMSTRIP_CLI_PATH);
    return Run(args, options);
}

// Every channel different (frequency, level, noise) with a loud first half and
// a quiet second half, so EQ, compressor, expander and linking all act.
inline Audio TestSignal(int channels, int64_t frames, int sampleRate, unsigned seed) {
    Audio a{sampleRate, channels, std::vector<float>(static_cast<size_t>(frames * channels))};
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> noise(-1.0, 1.0);
    for (int64_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c) {
            const double tone = std::sin(2.0 * std::numbers::pi * (110.0 * (c + 1)) * i / sampleRate);
            const double level = (i < frames / 2 ? 1.0 : 0.03) * 0.9 / (1.0 + 0.4 * c);
            a.at(i, c) = static_cast<float>(level * (0.8 * tone + 0.2 * noise(random)));
        }
    return a;
}

// The test's own settings (pre and post EQ, compressor, expander, averaging
// detector) with `groups` as channelGroups when given, and the same settings
// spelled as a preset file: two independent spellings of one intent.
inline stemstrip::Settings TestSettings(const std::vector<int>& groups = {}) {
    using namespace stemstrip;
    Settings s{.compressor = {-24.0, 4.0, 6.0, 3.0, 80.0, 60.0, 2.0},
               .expander = {.thresholdDb = -50.0, .ratio = 2.0, .rangeDb = 20.0},
               .detector = {.mode = DetectorMode::Average, .averageMs = 5.0}};
    s.bands[0] = {true, BandType::HighPass2, Placement::PreDynamics, 60.0, 0.0, 0.707};
    s.bands[1] = {true, BandType::Bell, Placement::PostDynamics, 2500.0, 4.0, 1.4};
    if (!groups.empty()) std::copy(groups.begin(), groups.end(), s.channelGroups.emplace().begin());
    return s;
}

inline std::string TestPresetJson(const std::vector<int>& groups = {}) {
    std::string json = R"({
  "description": "test settings",
  "bands": [
    { "enabled": true, "type": "HighPass2", "frequencyHz": 60, "q": 0.707 },
    { "enabled": true, "type": "Bell", "placement": "PostDynamics", "frequencyHz": 2500, "gainDb": 4, "q": 1.4 }
  ],
  "compressor": { "thresholdDb": -24, "ratio": 4, "kneeDb": 6, "attackMs": 3, "releaseMs": 80, "makeupDb": 2 },
  "expander": { "thresholdDb": -50, "ratio": 2, "rangeDb": 20 },
  "detector": { "mode": "Average", "averageMs": 5 })";
    for (size_t i = 0; i < groups.size(); ++i) json += (i ? ", " : ", \"channelGroups\": [") + std::to_string(groups[i]);
    return json + (groups.empty() ? "}\n" : "]}\n");
}

}  // namespace cli_test
