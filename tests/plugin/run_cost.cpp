// Prints what run() costs per frame on a steady signal and on the silence
// after it, when decaying filter and envelope tails would turn denormal.
// The plugin flushes them (its DenormalScope); the same strip through the
// SDK without the flush is shown alongside for comparison.
//   plugin_run_cost [seconds-of-silence]
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "direct_host.hpp"
#include "settings_from_controls.hpp"
#include "stemstrip/instance.hpp"

namespace {

using namespace stemstrip;
using Clock = std::chrono::steady_clock;

constexpr double kRate = 48000;

// EQ tails that reach the denormal range a few seconds into the silence
// (the slowest, the 40 Hz bell, falls about 180 dB a second), and dynamics
// that move throughout.
const std::vector<std::pair<std::string, float>> kControls = {
    {"band1_enable", 1},     {"band1_freq", 40},   {"band1_gain", 12},    {"band1_q", 6},
    {"band2_enable", 1},     {"band2_freq", 1000}, {"band2_gain", -6},    {"band2_q", 2},
    {"band3_enable", 1},     {"band3_type", 4},    {"band3_freq", 30},    {"band4_enable", 1},
    {"band4_freq", 200},     {"band4_gain", 6},    {"band4_q", 8},        {"band4_place", 1},
    {"comp_threshold", -30}, {"comp_ratio", 4},    {"comp_release", 300}, {"exp_threshold", -60},
    {"exp_ratio", 2},        {"exp_release", 300}, {"det_mode", 1},       {"det_average", 100},
};

constexpr long kWindow = static_cast<long>(kRate / 4);
constexpr int kRepeats = 3;

struct Cost {
    double steady;         // ns per frame while the signal plays (median window)
    double silence;        // ns per frame over the silence after it (mean)
    double silenceSlowest; // ns per frame in its slowest quarter second
};

// Nanoseconds per frame of each quarter second: `signal` seconds of low
// sine on every channel, then `silence` seconds of zeros.
std::vector<double> WindowCosts(int channels, int block, double signal, double silence,
                                const std::function<void(float* const*, int)>& process) {
    std::vector<std::vector<float>> buffers(channels, std::vector<float>(block));
    std::vector<float*> ptrs;
    for (auto& b : buffers) ptrs.push_back(b.data());
    const long signalFrames = static_cast<long>(signal * kRate), total = signalFrames + static_cast<long>(silence * kRate);
    std::vector<double> windows((total + kWindow - 1) / kWindow, 0.0);
    for (long at = 0; at < total; at += block) {
        for (int c = 0; c < channels; ++c)
            for (int i = 0; i < block; ++i) {
                const long t = at + i;
                buffers[c][i] = t < signalFrames ? static_cast<float>(0.5 * std::sin(2 * M_PI * 40 * t / kRate + c)) : 0.0f;
            }
        const auto start = Clock::now();
        process(ptrs.data(), block);
        windows[at / kWindow] += std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kWindow;
    }
    return windows;
}

// Each window's fastest of kRepeats fresh runs: what the stream itself
// costs, with the other processes of a shared machine filtered out.
Cost Measure(const std::function<std::vector<double>()>& oneRun, double signal) {
    std::vector<double> best = oneRun();
    for (int r = 1; r < kRepeats; ++r) {
        const std::vector<double> again = oneRun();
        for (size_t w = 0; w < best.size(); ++w) best[w] = std::min(best[w], again[w]);
    }
    const size_t firstSilent = static_cast<size_t>(signal * kRate / kWindow);
    std::vector<double> steady(best.begin() + 2, best.begin() + firstSilent);  // after a half-second warm-up
    std::nth_element(steady.begin(), steady.begin() + steady.size() / 2, steady.end());
    const std::vector<double> quiet(best.begin() + firstSilent, best.end() - 1);  // the last may be partial
    double sum = 0;
    for (double q : quiet) sum += q;
    return {steady[steady.size() / 2], sum / quiet.size(), *std::max_element(quiet.begin(), quiet.end())};
}

std::vector<float> ControlValues() {
    std::vector<float> values;
    for (const lv2::ControlPort& c : lv2::ControlPorts()) values.push_back(c.defaultValue);
    for (const auto& [symbol, v] : kControls)
        for (size_t i = 0; i < values.size(); ++i)
            if (lv2::ControlPorts()[i].symbol == symbol) values[i] = v;
    return values;
}

Cost PluginCost(const std::string& format, int block, double signal, double silence) {
    lv2test::DirectHost host(format, kRate, block);
    const std::vector<float> values = ControlValues();
    for (size_t i = 0; i < values.size(); ++i) host.control(lv2::ControlPorts()[i].symbol) = values[i];
    return Measure([&] {
        host.activate();  // starts clean
        return WindowCosts(host.channels(), block, signal, silence, [&](float* const* io, int n) {
            for (int c = 0; c < host.channels(); ++c) std::copy(io[c], io[c] + n, host.input(c));
            host.run(n);
        });
    }, signal);
}

Cost SdkCostWithoutFlush(Format f, int block, double signal, double silence) {
    return Measure([&] {
        Instance strip(f, lv2::SettingsFromControls(ControlValues(), kRate), kRate);  // flushDenormals off
        return WindowCosts(strip.channels(), block, signal, silence,
                           [&](float* const* io, int n) { strip.process(io, io, n); });
    }, signal);
}

}  // namespace

int main(int argc, char** argv) {
    const double silence = argc > 1 ? std::atof(argv[1]) : 15.0;
    if (!(silence > 1)) {
        std::fprintf(stderr, "plugin_run_cost: silence seconds = '%s' must be a number above 1\n", argv[1]);
        return 2;
    }
    constexpr double kSignal = 3.0;
    std::printf("ns per frame (all channels): %.0f s of signal, then %.0f s of silence\n", kSignal, silence);
    std::printf("%-7s %5s | %-29s | %-29s\n", "", "", "plugin (flush-to-zero scope)", "SDK instance, no flush");
    std::printf("%-7s %5s | %9s %9s %9s | %9s %9s %9s\n", "format", "block", "steady", "silence", "slowest", "steady",
                "silence", "slowest");
    for (const auto& [name, format] : {std::pair{"stereo", Format::Stereo}, std::pair{"7.1", Format::Surround7_1}}) {
        for (int block : {1, 256}) {
            const Cost p = PluginCost(name, block, kSignal, silence);
            const Cost s = SdkCostWithoutFlush(format, block, kSignal, silence);
            std::printf("%-7s %5d | %9.1f %9.1f %9.1f | %9.1f %9.1f %9.1f\n", name, block, p.steady, p.silence,
                        p.silenceSlowest, s.steady, s.silence, s.silenceSlowest);
            std::fflush(stdout);
        }
    }
    return 0;
}
