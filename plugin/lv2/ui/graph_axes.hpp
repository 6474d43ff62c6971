// Where values sit in a graph's rectangle: frequency on a log axis, levels
// and gains on linear ones, and back for the pointer.
#pragma once

#include <algorithm>
#include <cmath>

#include "strip_curves.hpp"

namespace stemstrip::lv2 {

struct Rect {
    double x = 0, y = 0, w = 0, h = 0;
    bool contains(double px, double py) const { return px >= x && px < x + w && py >= y && py < y + h; }
};

inline double FrequencyToX(const Rect& r, double hz) {
    return r.x + r.w * std::log(hz / kLowestHz) / std::log(kHighestHz / kLowestHz);
}
inline double XToFrequency(const Rect& r, double x) {
    return kLowestHz * std::pow(kHighestHz / kLowestHz, std::clamp((x - r.x) / r.w, 0.0, 1.0));
}
// `top` at the rectangle's top edge, `bottom` at its bottom edge.
inline double ValueToY(const Rect& r, double v, double bottom, double top) {
    return r.y + r.h * (top - v) / (top - bottom);
}
inline double YToValue(const Rect& r, double y, double bottom, double top) {
    return top - (y - r.y) / r.h * (top - bottom);
}
inline double ValueToX(const Rect& r, double v, double left, double right) {
    return r.x + r.w * (v - left) / (right - left);
}
inline double XToValue(const Rect& r, double x, double left, double right) {
    return left + (x - r.x) / r.w * (right - left);
}

}  // namespace stemstrip::lv2
