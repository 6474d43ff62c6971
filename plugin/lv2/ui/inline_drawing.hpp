// The picture a host shows in its mixer strip: the whole EQ's response over
// a grid, and the gain reduction as a bar hanging from the top at the right.
#pragma once

#include <cairo.h>

#include "strip_curves.hpp"

namespace stemstrip::lv2 {

inline constexpr double kInlineRangeDb = 18, kInlineReductionRangeDb = 24;

// Width of the reduction bar for a picture `width` pixels wide; the graph
// has the rest.
inline double InlineBarWidth(int width) { return width < 60 ? 4 : 8; }

void DrawInlineDisplay(cairo_t* cr, int width, int height, const EqCurves& curves, double reductionDb);

}  // namespace stemstrip::lv2
