#include "meter_summary.hpp"

#include <algorithm>
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

std::string FormatSummary(const SummaryFacts& f) {
    std::string s = f.input + " -> " + f.output + "\n";
    s += Printf("  %s, %d Hz, %.2f s, preset %s\n", std::string(FormatName(f.format)).c_str(), f.sampleRate,
                f.audioSeconds, f.presetLabel.c_str());
    if (!f.note.empty()) s += "  note: " + f.note + "\n";
    s += Printf("  %-8s %14s %14s\n", "channel", "peak in", "peak out");
    for (size_t c = 0; c < f.channelLabels.size(); ++c)
        s += Printf("  %-8s %14s %14s\n", f.channelLabels[c].c_str(), FormatPeak(f.totals.inputPeakDb[c]).c_str(),
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
}

}  // namespace stemstrip::cli
