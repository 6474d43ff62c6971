#include "meter_summary.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace stemstrip::cli {
namespace {

std::string Printf(const char* format, auto... args) {
    char line[256];
    std::snprintf(line, sizeof line, format, args...);
    return line;
}

}  // namespace

std::string FormatPeak(float db) {
    return db <= kMeterFloorDb ? std::string("silent") : Printf("%+.1f dBFS", static_cast<double>(db));
}

namespace {

// Input peaks are measured after the non-finite samples were replaced: a
// channel that held any says so instead of showing a level.
std::string InputPeak(const MeterSnapshot& m, size_t c) {
    return m.nonFiniteSamples[c] > 0 ? std::string("NaN/inf") : FormatPeak(m.inputPeakDb[c]);
}

std::string Warnings(const SummaryFacts& f) {
    const MeterSnapshot& m = f.totals;
    std::int64_t bad = m.nonFiniteKeySamples;
    for (std::int64_t count : m.nonFiniteSamples) bad += count;
    std::string s;
    if (bad > 0) {
        const auto first = static_cast<long long>(m.firstNonFiniteSample);
        const char* key = m.nonFiniteKeySamples == bad ? " (in the key)" : m.nonFiniteKeySamples > 0 ? " (some in the key)" : "";
        s += Printf("  warning: %lld NaN or infinite input %s processed as 0%s; the first at %.3f s (sample %lld)\n",
                    static_cast<long long>(bad), bad == 1 ? "sample was" : "samples were", key,
                    static_cast<double>(first) / f.sampleRate, first);
    }
    if (f.clippedSamples > 0)
        s += Printf("  warning: %lld output samples beyond full scale were clipped by the integer encoding "
                    "(--keep-format); leave it off for 32-bit float\n",
                    static_cast<long long>(f.clippedSamples));
    if (m.stateResets > 0)
        s += Printf("  warning: the strip's state overflowed %lld times and was restarted; those calls' non-finite output samples were set to 0\n",
                    static_cast<long long>(m.stateResets));
    return s;
}

}  // namespace

std::string FormatSummary(const SummaryFacts& f) {
    std::string s = f.input + " -> " + f.output + "\n";
    s += Printf("  %s, %d Hz, %.2f s, preset %s\n", std::string(FormatName(f.format)).c_str(), f.sampleRate,
                f.audioSeconds, f.presetLabel.c_str());
    if (!f.note.empty()) s += "  note: " + f.note + "\n";
    s += Warnings(f);
    s += Printf("  %-8s %14s %14s\n", "channel", "peak in", "peak out");
    for (size_t c = 0; c < f.channelLabels.size(); ++c)
        s += Printf("  %-8s %14s %14s\n", f.channelLabels[c].c_str(), InputPeak(f.totals, c).c_str(),
                    FormatPeak(f.totals.outputPeakDb[c]).c_str());
    s += Printf("  compressor gain reduction: max %.1f dB\n", static_cast<double>(f.totals.compReductionDb));
    s += Printf("  expander gain reduction:   max %.1f dB\n", static_cast<double>(f.totals.expReductionDb));
    const double factor = f.wallSeconds > 0.0 ? f.audioSeconds / f.wallSeconds : 0.0;
    s += Printf("  time: %.3f s for %.2f s of audio (%.0fx real time)\n", f.wallSeconds, f.audioSeconds, factor);
    return s;
}

void AccumulateMeters(MeterSnapshot& totals, const MeterSnapshot& m) {
    for (int c = 0; c < m.channels; ++c) {
        totals.inputPeakDb[c] = std::max(totals.inputPeakDb[c], m.inputPeakDb[c]);
        totals.outputPeakDb[c] = std::max(totals.outputPeakDb[c], m.outputPeakDb[c]);
        totals.channelGainDb[c] = std::max(totals.channelGainDb[c], m.channelGainDb[c]);
    }
    totals.compReductionDb = std::max(totals.compReductionDb, m.compReductionDb);
    totals.expReductionDb = std::max(totals.expReductionDb, m.expReductionDb);
    totals.samples += m.samples;
    for (int c = 0; c < m.channels; ++c) totals.nonFiniteSamples[c] += m.nonFiniteSamples[c];
    totals.nonFiniteKeySamples += m.nonFiniteKeySamples;
    if (totals.firstNonFiniteSample < 0) totals.firstNonFiniteSample = m.firstNonFiniteSample;
    totals.stateResets += m.stateResets;
    totals.missingKeyCalls += m.missingKeyCalls;
}

}  // namespace stemstrip::cli
