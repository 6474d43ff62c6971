#include "eq_plot.hpp"

#include <algorithm>

namespace stemstrip::lv2 {

void PlotResponse(cairo_t* cr, const Rect& r, const std::vector<double>& frequencies, const std::vector<double>& db,
                  double rangeDb) {
    for (size_t i = 0; i < frequencies.size(); ++i) {
        const double y = ValueToY(r, std::clamp(db[i], -rangeDb, rangeDb), -rangeDb, rangeDb);
        (i == 0 ? cairo_move_to : cairo_line_to)(cr, FrequencyToX(r, frequencies[i]), y);
    }
}

void DrawEqGrid(cairo_t* cr, const Rect& r, double rangeDb, double stepDb, double lineWidth) {
    cairo_set_line_width(cr, lineWidth);
    SetColour(cr, palette::kGrid);
    for (double decade = 100; decade < kHighestHz; decade *= 10) {
        const double x = FrequencyToX(r, decade);
        cairo_move_to(cr, x, r.y);
        cairo_line_to(cr, x, r.y + r.h);
    }
    for (double db = -rangeDb + stepDb; db < rangeDb; db += stepDb) {
        const double y = ValueToY(r, db, -rangeDb, rangeDb);
        cairo_move_to(cr, r.x, y);
        cairo_line_to(cr, r.x + r.w, y);
    }
    cairo_stroke(cr);
    SetColour(cr, palette::kDim);
    cairo_move_to(cr, r.x, ValueToY(r, 0, -rangeDb, rangeDb));
    cairo_line_to(cr, r.x + r.w, ValueToY(r, 0, -rangeDb, rangeDb));
    cairo_stroke(cr);
}

}  // namespace stemstrip::lv2
