#include "cli_fixtures.hpp"

#include <cmath>
#include <cstring>
#include <numbers>
#include <random>


namespace cli_test {

Audio TestSignal(int channels, int64_t frames, int sampleRate, unsigned seed) {
    Audio a{sampleRate, channels, std::vector<float>(static_cast<size_t>(frames * channels))};
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> noise(-1.0, 1.0);
    for (int64_t i = 0; i < frames; ++i) {
        const double t = static_cast<double>(i) / sampleRate;
        const double section = i < frames / 2 ? 1.0 : 0.03;
        for (int c = 0; c < channels; ++c) {
            const double tone = std::sin(2.0 * std::numbers::pi * (110.0 * (c + 1)) * t);
            const double level = 0.9 / (1.0 + 0.4 * c);
            a.samples[i * channels + c] = static_cast<float>(section * level * (0.8 * tone + 0.2 * noise(random)));
        }
    }
    return a;
}

stemstrip::Settings TestSettings(const std::vector<int>& groups) {
    using namespace stemstrip;
    Settings s;
    s.bands[0] = {true, BandType::HighPass2, Placement::PreDynamics, 60.0, 0.0, 0.707};
    s.bands[1] = {true, BandType::Bell, Placement::PostDynamics, 2500.0, 4.0, 1.4};
    s.compressor = {-24.0, 4.0, 6.0, 3.0, 80.0, 60.0, 2.0};
    s.expander.thresholdDb = -50.0;
    s.expander.ratio = 2.0;
    s.expander.rangeDb = 20.0;
    s.detector.mode = DetectorMode::Average;
    s.detector.averageMs = 5.0;
    if (!groups.empty()) {
        std::array<int, 8> slots{};
        std::copy(groups.begin(), groups.end(), slots.begin());
        s.channelGroups = slots;
    }
    return s;
}

std::string TestPresetJson(const std::vector<int>& groups) {
    std::string json = R"({
  "description": "test settings",
  "bands": [
    { "enabled": true, "type": "HighPass2", "frequencyHz": 60, "q": 0.707 },
    { "enabled": true, "type": "Bell", "placement": "PostDynamics", "frequencyHz": 2500, "gainDb": 4, "q": 1.4 }
  ],
  "compressor": { "thresholdDb": -24, "ratio": 4, "kneeDb": 6, "attackMs": 3, "releaseMs": 80, "makeupDb": 2 },
  "expander": { "thresholdDb": -50, "ratio": 2, "rangeDb": 20 },
  "detector": { "mode": "Average", "averageMs": 5 })";
    if (!groups.empty()) {
        json += ",\n  \"channelGroups\": [";
        for (size_t i = 0; i < groups.size(); ++i) json += (i ? ", " : "") + std::to_string(groups[i]);
        json += "]";
    }
    return json + "\n}\n";
}

ProgramRun RunCli(std::vector<std::string> args, const RunOptions& options) {
    args.insert(args.begin(), STEMSTRIP_CLI_PATH);
    return Run(args, options);
}

}  // namespace cli_test
