// Colours of the interface and the inline display (red, green, blue).
#pragma once

namespace stemstrip::lv2::palette {

struct Rgb {
    double r, g, b;
};

inline constexpr Rgb kBackground{0.11, 0.12, 0.14}, kGraph{0.07, 0.08, 0.09}, kGrid{0.24, 0.26, 0.30},
    kText{0.80, 0.82, 0.86}, kDim{0.50, 0.52, 0.56};
// The whole EQ, and its stages before and after the dynamics.
inline constexpr Rgb kTotal{0.98, 0.78, 0.20}, kPre{0.30, 0.80, 0.95}, kPost{0.90, 0.45, 0.85};
inline constexpr Rgb kBands[] = {{0.95, 0.35, 0.35}, {0.95, 0.60, 0.25}, {0.80, 0.85, 0.30}, {0.40, 0.85, 0.40},
                                 {0.30, 0.80, 0.75}, {0.35, 0.55, 0.95}, {0.60, 0.45, 0.95}, {0.90, 0.40, 0.70}};
inline constexpr Rgb kLevel{0.35, 0.85, 0.45}, kHot{0.95, 0.30, 0.25}, kReduction{0.95, 0.65, 0.20};

}  // namespace stemstrip::lv2::palette
