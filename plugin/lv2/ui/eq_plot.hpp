// Cairo paths both pictures share: a response over the frequency axis and
// the grid behind it.
#pragma once

#include <cairo.h>

#include <vector>

#include "graph_axes.hpp"
#include "palette.hpp"

namespace stemstrip::lv2 {

inline void SetColour(cairo_t* cr, palette::Rgb c, double alpha = 1) { cairo_set_source_rgba(cr, c.r, c.g, c.b, alpha); }

// A path through the response at `frequencies`, clipped to +-rangeDb.
void PlotResponse(cairo_t* cr, const Rect& r, const std::vector<double>& frequencies, const std::vector<double>& db,
                  double rangeDb);

// Decade lines and a line every `stepDb`, the 0 dB line brighter.
void DrawEqGrid(cairo_t* cr, const Rect& r, double rangeDb, double stepDb, double lineWidth);

}  // namespace stemstrip::lv2
