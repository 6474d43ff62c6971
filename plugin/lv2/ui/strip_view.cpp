#include "strip_view.hpp"

#include <cmath>
#include <string>

#include "settings_from_controls.hpp"
#include "stemstrip/meters.hpp"

namespace stemstrip::lv2 {
namespace {

constexpr int kCurvePoints = 400;
constexpr double kHandleRadius = 8, kPanelDragSpan = 160;  // logical pixels

bool HasGain(BandType t) { return t == BandType::Bell || t == BandType::LowShelf || t == BandType::HighShelf; }

// A port's range as 0..1, logarithmic where the port is.
double Normalised(const ControlPort& p, float v) {
    if (p.hint == Hint::Logarithmic) return std::log(v / p.min) / std::log(p.max / p.min);
    return (v - p.min) / (p.max - p.min);
}
float FromNormalised(const ControlPort& p, double n) {
    n = std::clamp(n, 0.0, 1.0);
    if (p.hint == Hint::Logarithmic) return static_cast<float>(p.min * std::pow(double(p.max) / p.min, n));
    return static_cast<float>(p.min + n * (p.max - p.min));
}

}  // namespace

StripView::StripView(const Plugin& plugin, double sampleRate, PortWriter write)
    : plugin_(plugin), ports_(ControlPortsOf(plugin)), layout_(plugin), sampleRate_(sampleRate), write_(std::move(write)) {
    for (const ControlPort& p : ports_) values_.push_back(p.defaultValue);
    for (int i = 0; i < 2 * layout_.channels(); ++i) meters_.emplace_back(kMeterFloorDb);
    meters_.emplace_back(0.0);
    meters_.emplace_back(0.0);
    layOut();
}

int StripView::control(const char* symbol, int band) const {
    const std::string name = band < 0 ? symbol : "band" + std::to_string(band + 1) + "_" + symbol;
    for (size_t i = 0; i < ports_.size(); ++i)
        if (ports_[i].symbol == name) return static_cast<int>(i);
    return -1;
}

void StripView::portEvent(uint32_t port, float v) {
    const int p = static_cast<int>(port);
    if (const int c = layout_.controlAt(p); c >= 0) {
        values_[c] = Sanitise(ports_[c], v, sampleRate_);
        designed_.reset();
    } else if (p >= layout_.peakIn(0) && p < layout_.latency()) {
        meters_[p - layout_.peakIn(0)].set(v);
    }
}

bool StripView::tick(double seconds) {
    bool moved = false;
    for (MeterBallistics& m : meters_) moved |= m.tick(seconds);
    return moved;
}

// Sets a control here and in the host; nothing is written when it stays.
void StripView::set(int c, float v) {
    v = Sanitise(ports_[c], v, sampleRate_);
    if (v == values_[c]) return;
    values_[c] = v;
    designed_.reset();
    write_(static_cast<uint32_t>(layout_.control(c)), v);
}

const DesignedControls& StripView::designed() {
    if (!designed_) {
        designed_ = DesignControls(plugin_, values_, sampleRate_);
        curves_ = ComputeEqCurves(*designed_, sampleRate_, kCurvePoints);
    }
    return *designed_;
}

void StripView::setSize(double width, double height, double scale) {
    width_ = width, height_ = height, scale_ = scale;
    layOut();
}

// The graphs and meters on top, the panel of other controls below: the
// selected band's type, Q and placement, then every control no graph shows.
void StripView::layOut() {
    const double s = scale_, m = 8 * s;
    std::vector<int> panel;
    for (const char* symbol : {"type", "q", "place"}) panel.push_back(control(symbol, selectedBand_));
    for (size_t i = 0; i < ports_.size(); ++i)
        if (ports_[i].band < 0 && ports_[i].symbol != "comp_threshold" && ports_[i].symbol != "exp_threshold" &&
            ports_[i].symbol != "gate_threshold")
            panel.push_back(static_cast<int>(i));
    const double cellW = 118 * s, cellH = 32 * s;
    const int columns = std::max(1, static_cast<int>((width_ - 2 * m) / cellW));
    const int rows = (static_cast<int>(panel.size()) + columns - 1) / columns;
    const double panelTop = std::max(height_ - m - rows * cellH, 140 * s);
    cells_.clear();
    for (size_t i = 0; i < panel.size(); ++i)
        cells_.push_back({panel[i], {m + (i % columns) * cellW, panelTop + (i / columns) * cellH, cellW - 4 * s, cellH - 4 * s}});

    const double top = m + 14 * s, graphH = panelTop - top - m - 14 * s;
    const double meterW = (meters_.size() * 12 + 8) * s;
    const double side = std::min(graphH, 0.3 * width_);
    meterArea_ = {width_ - m - meterW, top, meterW, graphH};
    transfer_ = {meterArea_.x - 30 * s - side, top, side, side};
    eq_ = {m + 28 * s, top, transfer_.x - 2 * m - 28 * s - 28 * s, graphH};
}

double StripView::bandHandleY(int b) const {
    const auto type = static_cast<BandType>(static_cast<int>(value(control("type", b))));
    return ValueToY(eq_, HasGain(type) ? value(control("gain", b)) : 0.0, -kEqRangeDb, kEqRangeDb);
}

std::optional<int> StripView::bandAt(double x, double y) const {
    const double r = (kHandleRadius + 3) * scale_;
    for (int b = kMaxBands - 1; b >= 0; --b)
        if (std::hypot(x - FrequencyToX(eq_, value(control("freq", b))), y - bandHandleY(b)) <= r) return b;
    return std::nullopt;
}

int StripView::thresholdControl(Target t) const {
    return control(t == Target::CompThreshold ? "comp_threshold"
                   : t == Target::ExpThreshold ? "exp_threshold" : "gate_threshold");
}

// A threshold's handle sits on the transfer curve at the threshold.
double StripView::thresholdY(int c) {
    const double level = std::clamp<double>(value(c), kLowestLevelDb, kHighestLevelDb);
    const double gain = StaticGainCurve(designed().coefficients.dyn, std::vector{level})[0].totalDb;
    return ValueToY(transfer_, std::clamp(level + gain, kLowestLevelDb, kHighestLevelDb), kLowestLevelDb, kHighestLevelDb);
}

StripView::Target StripView::thresholdAt(double x, double y) {
    const double r = (kHandleRadius + 3) * scale_;
    for (Target t : {Target::CompThreshold, Target::ExpThreshold, Target::GateThreshold}) {
        if (t == Target::GateThreshold && value(control("gate")) == 0) continue;
        const int c = thresholdControl(t);
        const double level = std::clamp<double>(value(c), kLowestLevelDb, kHighestLevelDb);
        if (std::hypot(x - ValueToX(transfer_, level, kLowestLevelDb, kHighestLevelDb), y - thresholdY(c)) <= r)
            return t;
    }
    return Target::None;
}

bool StripView::press(double x, double y, bool doubleClick) {
    gesture_ = {Target::None, -1, x, y, 0, false, doubleClick};
    if (const auto b = bandAt(x, y)) {
        gesture_.target = Target::Band, gesture_.index = *b;
        if (doubleClick) {
            // The double-click's first click switched the band; a reset leaves it as it was.
            const int enable = control("enable", *b);
            set(enable, value(enable) > 0 ? 0 : 1);
            for (const char* symbol : {"freq", "gain", "q"}) set(control(symbol, *b), ports_[control(symbol, *b)].defaultValue);
        }
        selectedBand_ = *b;
        layOut();
        return true;
    }
    if (const Target t = thresholdAt(x, y); t != Target::None) {
        gesture_.target = t;
        if (doubleClick) set(thresholdControl(t), ports_[thresholdControl(t)].defaultValue);
        return true;
    }
    for (const Cell& cell : cells_) {
        if (!cell.rect.contains(x, y)) continue;
        const ControlPort& p = ports_[cell.control];
        gesture_.target = Target::Panel, gesture_.index = cell.control, gesture_.start = value(cell.control);
        if (doubleClick) set(cell.control, p.defaultValue);
        else if (p.hint == Hint::Toggle) set(cell.control, value(cell.control) > 0 ? 0 : 1);
        else if (p.hint == Hint::Enumeration) set(cell.control, value(cell.control) >= p.max ? p.min : value(cell.control) + 1);
        return true;
    }
    return false;
}

bool StripView::drag(double x, double y) {
    if (gesture_.target == Target::None) return false;
    if (std::hypot(x - gesture_.x0, y - gesture_.y0) > 3 * scale_) gesture_.moved = true;
    if (!gesture_.moved) return false;
    switch (gesture_.target) {
        case Target::Band: {
            const int b = gesture_.index;
            set(control("freq", b), static_cast<float>(XToFrequency(eq_, x)));
            const auto type = static_cast<BandType>(static_cast<int>(value(control("type", b))));
            if (HasGain(type)) set(control("gain", b), static_cast<float>(YToValue(eq_, y, -kEqRangeDb, kEqRangeDb)));
            break;
        }
        case Target::CompThreshold:
        case Target::ExpThreshold:
        case Target::GateThreshold:
            set(thresholdControl(gesture_.target), static_cast<float>(XToValue(transfer_, x, kLowestLevelDb, kHighestLevelDb)));
            break;
        case Target::Panel: {
            const ControlPort& p = ports_[gesture_.index];
            if (p.hint == Hint::Toggle || p.hint == Hint::Enumeration) break;
            const double n = Normalised(p, gesture_.start) + (gesture_.y0 - y) / (kPanelDragSpan * scale_);
            set(gesture_.index, FromNormalised(p, n));
            break;
        }
        case Target::None: break;
    }
    return true;
}

// A click on a band's handle without moving it switches the band.
bool StripView::release() {
    const Gesture g = gesture_;
    gesture_ = {};
    if (g.target != Target::Band || g.moved || g.doubleClick) return false;
    const int enable = control("enable", g.index);
    set(enable, value(enable) > 0 ? 0 : 1);
    return true;
}

// The wheel sets a band's Q, or steps a panel value by a fiftieth of its range.
bool StripView::wheel(double x, double y, int steps) {
    if (const auto b = bandAt(x, y)) {
        const int q = control("q", *b);
        set(q, value(q) * static_cast<float>(std::pow(1.1, steps)));
        return true;
    }
    for (const Cell& cell : cells_) {
        if (!cell.rect.contains(x, y)) continue;
        const ControlPort& p = ports_[cell.control];
        const bool stepped = p.hint == Hint::Toggle || p.hint == Hint::Enumeration;
        set(cell.control, stepped ? value(cell.control) + steps
                                  : FromNormalised(p, Normalised(p, value(cell.control)) + steps / 50.0));
        return true;
    }
    return false;
}

}  // namespace stemstrip::lv2
