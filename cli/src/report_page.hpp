// The --report page: one self-contained HTML file (uPlot, styles, script and
// data inlined) with the level/gain-reduction trace, the EQ magnitude
// responses and the dynamics' static transfer curve.
#pragma once

#include <string>

#include "render_loop.hpp"
#include "stemstrip/settings.hpp"

namespace stemstrip::cli {

struct ReportFacts {
    std::string title;     // e.g. "in.wav -> out.wav (vocal)"
    std::string summary;   // the printed summary, shown as text
    Format format;
    double sampleRate;
    Settings settings;
    const LevelTrace& trace;
    float maxReductionDb;  // deepest gain reduction, to scale its axis
};

std::string BuildReportPage(const ReportFacts& facts);

}  // namespace stemstrip::cli
