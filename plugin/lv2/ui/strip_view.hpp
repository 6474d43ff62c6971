// The plugin's interface without a window: it holds the port values a host
// reports, lays itself out in any size and scale, draws onto any cairo_t
// and turns pointer gestures into port writes. The window system around it
// (x11_ui.cpp) only forwards events, so a test can draw it offscreen.
#pragma once

#include <cairo.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "graph_axes.hpp"
#include "meter_ballistics.hpp"
#include "port_layout.hpp"
#include "strip_curves.hpp"

namespace stemstrip::lv2 {

class StripView {
public:
    using PortWriter = std::function<void(uint32_t port, float value)>;

    // Axes: the EQ graph spans +-kEqRangeDb, the transfer graph's levels
    // kLowestLevelDb to kHighestLevelDb on both axes, meters kMeterRangeDb.
    static constexpr double kEqRangeDb = 24, kLowestLevelDb = -80, kHighestLevelDb = 20;
    static constexpr double kMeterBottomDb = -60, kMeterTopDb = 6, kReductionRangeDb = 30;
    // Logical size at scale 1.
    static constexpr double kDefaultWidth = 960, kDefaultHeight = 560;

    StripView(const Plugin& plugin, double sampleRate, PortWriter write);

    // A value the host reports (controls and meters alike).
    void portEvent(uint32_t port, float value);
    // Meter ballistics; true while a meter moves.
    bool tick(double seconds);

    void setSize(double width, double height, double scale);
    void draw(cairo_t* cr);

    // Pointer gestures in pixels; each returns true when the picture changed.
    bool press(double x, double y, bool doubleClick);
    bool drag(double x, double y);
    bool release();
    bool wheel(double x, double y, int steps);

    Rect eqRect() const { return eq_; }
    Rect transferRect() const { return transfer_; }

private:
    enum class Target { None, Band, CompThreshold, ExpThreshold, GateThreshold, Panel };
    struct Cell {
        int control;
        Rect rect;
    };
    struct Gesture {
        Target target = Target::None;
        int index = -1;  // band, or control of a panel cell
        double x0 = 0, y0 = 0;
        float start = 0;  // panel: value at the press
        bool moved = false, doubleClick = false;
    };

    int control(const char* symbol, int band = -1) const;
    float value(int control) const { return values_[control]; }
    void set(int control, float v);
    void layOut();
    const DesignedControls& designed();
    double bandHandleY(int band) const;
    std::optional<int> bandAt(double x, double y) const;
    Target thresholdAt(double x, double y);
    int thresholdControl(Target t) const;
    double thresholdY(int control);

    void drawEq(cairo_t* cr);
    void drawTransfer(cairo_t* cr);
    void drawMeters(cairo_t* cr);
    void drawPanel(cairo_t* cr);

    const Plugin& plugin_;
    const std::vector<ControlPort>& ports_;
    PortLayout layout_;
    double sampleRate_;
    PortWriter write_;
    std::vector<float> values_;
    std::vector<MeterBallistics> meters_;  // peaks in, peaks out, compressor, expander
    std::optional<DesignedControls> designed_;
    std::optional<EqCurves> curves_;
    double width_ = kDefaultWidth, height_ = kDefaultHeight, scale_ = 1;
    Rect eq_, transfer_, meterArea_;
    std::vector<Cell> cells_;
    int selectedBand_ = 0;
    Gesture gesture_;
};

}  // namespace stemstrip::lv2
