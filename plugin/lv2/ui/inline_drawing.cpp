#include "inline_drawing.hpp"

#include <algorithm>

#include "eq_plot.hpp"

namespace stemstrip::lv2 {

void DrawInlineDisplay(cairo_t* cr, int width, int height, const EqCurves& curves, double reductionDb) {
    const double bar = InlineBarWidth(width);
    const Rect graph{0, 0, width - bar - 1, static_cast<double>(height)};
    SetColour(cr, palette::kGraph);
    cairo_paint(cr);
    DrawEqGrid(cr, graph, kInlineRangeDb, 6, 1);
    PlotResponse(cr, graph, curves.frequencies, curves.total, kInlineRangeDb);
    SetColour(cr, palette::kTotal);
    cairo_set_line_width(cr, 1.5);
    cairo_stroke(cr);
    const double depth = std::clamp(reductionDb / kInlineReductionRangeDb, 0.0, 1.0) * height;
    SetColour(cr, palette::kReduction);
    cairo_rectangle(cr, width - bar, 0, bar, depth);
    cairo_fill(cr);
}

}  // namespace stemstrip::lv2
