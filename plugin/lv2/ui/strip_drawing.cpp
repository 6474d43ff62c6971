// StripView's pictures: the EQ graph, the transfer graph, the meters and
// the panel.
#include <cmath>
#include <cstdio>

#include "eq_plot.hpp"
#include "stemstrip/meters.hpp"
#include "strip_view.hpp"
#include "value_text.hpp"

namespace stemstrip::lv2 {
namespace {

void Fill(cairo_t* cr, const Rect& r, palette::Rgb c) {
    SetColour(cr, c);
    cairo_rectangle(cr, r.x, r.y, r.w, r.h);
    cairo_fill(cr);
}

void Text(cairo_t* cr, double x, double y, const std::string& text, palette::Rgb c) {
    SetColour(cr, c);
    cairo_move_to(cr, x, y);
    cairo_show_text(cr, text.c_str());
}

void Handle(cairo_t* cr, double x, double y, double radius, palette::Rgb c, bool filled) {
    cairo_new_sub_path(cr);
    cairo_arc(cr, x, y, radius, 0, 2 * M_PI);
    SetColour(cr, c, filled ? 1 : 0.5);
    if (filled) cairo_fill_preserve(cr);
    SetColour(cr, filled ? palette::kText : c);
    cairo_stroke(cr);
}

std::string Label(const char* format, double v) {
    char text[32];
    std::snprintf(text, sizeof text, format, v);
    return text;
}

}  // namespace

void StripView::draw(cairo_t* cr) {
    cairo_save(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 11 * scale_);
    Fill(cr, {0, 0, width_, height_}, palette::kBackground);
    designed();
    drawEq(cr);
    drawTransfer(cr);
    drawMeters(cr);
    drawPanel(cr);
    cairo_restore(cr);
}

void StripView::drawEq(cairo_t* cr) {
    const double s = scale_;
    Fill(cr, eq_, palette::kGraph);
    DrawEqGrid(cr, eq_, kEqRangeDb, 6, 1 * s);
    for (double hz : {100.0, 1000.0, 10000.0})
        Text(cr, FrequencyToX(eq_, hz) + 3 * s, eq_.y + eq_.h - 4 * s, hz < 1000 ? "100 Hz" : Label("%.0fk", hz / 1000), palette::kDim);
    for (double db = -kEqRangeDb + 6; db < kEqRangeDb; db += 6)
        Text(cr, eq_.x - 26 * s, ValueToY(eq_, db, -kEqRangeDb, kEqRangeDb) + 4 * s, Label("%+.0f", db), palette::kDim);
    Text(cr, eq_.x, eq_.y - 5 * s, "EQ", palette::kText);

    cairo_save(cr);
    cairo_rectangle(cr, eq_.x, eq_.y, eq_.w, eq_.h);
    cairo_clip(cr);
    const double zeroY = ValueToY(eq_, 0, -kEqRangeDb, kEqRangeDb);
    for (int b = 0; b < kMaxBands; ++b) {
        if (curves_->bands[b].empty()) continue;
        PlotResponse(cr, eq_, curves_->frequencies, curves_->bands[b], kEqRangeDb);
        cairo_line_to(cr, eq_.x + eq_.w, zeroY);
        cairo_line_to(cr, eq_.x, zeroY);
        cairo_close_path(cr);
        SetColour(cr, palette::kBands[b], b == selectedBand_ ? 0.30 : 0.15);
        cairo_fill(cr);
    }
    const double dashes[] = {5 * s, 4 * s};
    cairo_set_dash(cr, dashes, 2, 0);
    cairo_set_line_width(cr, 1.5 * s);
    for (auto [stage, colour] : {std::pair{&curves_->pre, palette::kPre}, std::pair{&curves_->post, palette::kPost}}) {
        PlotResponse(cr, eq_, curves_->frequencies, *stage, kEqRangeDb);
        SetColour(cr, colour, 0.8);
        cairo_stroke(cr);
    }
    cairo_set_dash(cr, nullptr, 0, 0);
    cairo_set_line_width(cr, 2.5 * s);
    PlotResponse(cr, eq_, curves_->frequencies, curves_->total, kEqRangeDb);
    SetColour(cr, palette::kTotal);
    cairo_stroke(cr);

    cairo_set_line_width(cr, 1.5 * s);
    for (int b = 0; b < kMaxBands; ++b) {
        const double x = FrequencyToX(eq_, value(control("freq", b))), y = bandHandleY(b);
        Handle(cr, x, y, 8 * s, palette::kBands[b], value(control("enable", b)) > 0);
        Text(cr, x - 3 * s, y + 4 * s, std::to_string(b + 1), palette::kBackground);
    }
    cairo_restore(cr);
    const auto legend = {std::pair{"before dynamics", palette::kPre}, std::pair{"after dynamics", palette::kPost},
                         std::pair{"total", palette::kTotal}};
    double x = eq_.x + 40 * s;
    for (auto [name, colour] : legend) {
        Text(cr, x, eq_.y - 5 * s, name, colour);
        x += 110 * s;
    }
    const int b = selectedBand_;
    Text(cr, eq_.x, eq_.y + eq_.h + 13 * s,
         "Band " + std::to_string(b + 1) + ": " + ValueText(ports_[control("freq", b)], value(control("freq", b))) + "  " +
             ValueText(ports_[control("gain", b)], value(control("gain", b))) + "  Q " +
             ValueText(ports_[control("q", b)], value(control("q", b))),
         palette::kBands[b]);
}

void StripView::drawTransfer(cairo_t* cr) {
    const double s = scale_, lo = kLowestLevelDb, hi = kHighestLevelDb;
    const Rect& r = transfer_;
    Fill(cr, r, palette::kGraph);
    cairo_set_line_width(cr, 1 * s);
    SetColour(cr, palette::kGrid);
    for (double db = lo + 20; db < hi; db += 20) {
        cairo_move_to(cr, ValueToX(r, db, lo, hi), r.y);
        cairo_line_to(cr, ValueToX(r, db, lo, hi), r.y + r.h);
        cairo_move_to(cr, r.x, ValueToY(r, db, lo, hi));
        cairo_line_to(cr, r.x + r.w, ValueToY(r, db, lo, hi));
    }
    cairo_stroke(cr);
    SetColour(cr, palette::kDim);
    cairo_move_to(cr, r.x, r.y + r.h);
    cairo_line_to(cr, r.x + r.w, r.y);
    cairo_stroke(cr);
    Text(cr, r.x, r.y - 5 * s, "Dynamics: output vs input level (dB)", palette::kText);
    for (double db = lo + 20; db < hi; db += 20) {
        Text(cr, ValueToX(r, db, lo, hi) + 2 * s, r.y + r.h - 4 * s, Label("%.0f", db), palette::kDim);
        Text(cr, r.x + 2 * s, ValueToY(r, db, lo, hi) - 3 * s, Label("%.0f", db), palette::kDim);
    }

    std::vector<double> levels;
    for (int i = 0; i <= 200; ++i) levels.push_back(lo + (hi - lo) * i / 200);
    const std::vector<StaticGain> gains = StaticGainCurve(designed_->coefficients.dyn, levels);
    cairo_save(cr);
    cairo_rectangle(cr, r.x, r.y, r.w, r.h);
    cairo_clip(cr);
    for (size_t i = 0; i < levels.size(); ++i)
        (i == 0 ? cairo_move_to : cairo_line_to)(cr, ValueToX(r, levels[i], lo, hi),
                                                  ValueToY(r, std::max(levels[i] + gains[i].totalDb, lo - 1), lo, hi));
    SetColour(cr, palette::kTotal);
    cairo_set_line_width(cr, 2.5 * s);
    cairo_stroke(cr);
    cairo_set_line_width(cr, 1.5 * s);
    const std::pair<Target, const char*> handles[] = {
        {Target::CompThreshold, "C"}, {Target::ExpThreshold, "E"}, {Target::GateThreshold, "G"}};
    for (auto [t, letter] : handles) {
        if (t == Target::GateThreshold && value(control("gate")) == 0) continue;
        const int c = thresholdControl(t);
        const double x = ValueToX(r, std::clamp<double>(value(c), lo, hi), lo, hi), y = thresholdY(c);
        Handle(cr, x, y, 8 * s, t == Target::CompThreshold ? palette::kReduction : palette::kPre, true);
        Text(cr, x - 3.5 * s, y + 4 * s, letter, palette::kBackground);
    }
    cairo_restore(cr);
    Text(cr, r.x, r.y + r.h + 13 * s,
         "comp " + ValueText(ports_[control("comp_threshold")], value(control("comp_threshold"))) + "  exp " +
             ValueText(ports_[control("exp_threshold")], value(control("exp_threshold"))),
         palette::kDim);
}

// Bars for each channel's input and output peak (green, red above 0 dBFS)
// and for both gain reductions, which hang from the top.
void StripView::drawMeters(cairo_t* cr) {
    const double s = scale_, barW = 9 * s;
    const Rect& a = meterArea_;
    const int channels = layout_.channels();
    Text(cr, a.x, a.y - 5 * s, "In Out GR", palette::kText);
    for (size_t i = 0; i < meters_.size(); ++i) {
        const bool reduction = static_cast<int>(i) >= 2 * channels;
        const double x = a.x + i * 12 * s + (static_cast<int>(i) >= channels ? 4 * s : 0) + (reduction ? 4 * s : 0);
        const Rect bar{x, a.y, barW, a.h};
        Fill(cr, bar, palette::kGraph);
        const MeterBallistics& m = meters_[i];
        if (reduction) {
            const double depth = std::min(m.shown(), kReductionRangeDb) / kReductionRangeDb * a.h;
            Fill(cr, {x, a.y, barW, depth}, palette::kReduction);
            Fill(cr, {x, a.y + std::min(m.held(), kReductionRangeDb) / kReductionRangeDb * a.h, barW, 1.5 * s}, palette::kText);
            continue;
        }
        const auto y = [&](double db) { return ValueToY(bar, std::clamp(db, kMeterBottomDb, kMeterTopDb), kMeterBottomDb, kMeterTopDb); };
        Fill(cr, {x, y(m.shown()), barW, a.y + a.h - y(m.shown())}, m.shown() > 0 ? palette::kHot : palette::kLevel);
        Fill(cr, {x, y(m.held()), barW, 1.5 * s}, m.held() > 0 ? palette::kHot : palette::kText);
    }
    SetColour(cr, palette::kDim);
    for (double db : {0.0, -20.0, -40.0}) {
        const double y = ValueToY(a, db, kMeterBottomDb, kMeterTopDb);
        Text(cr, a.x - 22 * s, y + 4 * s, Label("%.0f", db), palette::kDim);
    }
}

void StripView::drawPanel(cairo_t* cr) {
    const double s = scale_;
    for (const Cell& cell : cells_) {
        const ControlPort& p = ports_[cell.control];
        const Rect& r = cell.rect;
        Fill(cr, r, palette::kGraph);
        const double n = std::clamp((value(cell.control) - p.min) / (p.max - p.min), 0.0f, 1.0f);
        Fill(cr, {r.x, r.y + r.h - 2 * s, r.w * n, 2 * s}, p.band >= 0 ? palette::kBands[p.band] : palette::kDim);
        cairo_set_font_size(cr, 9.5 * s);
        Text(cr, r.x + 4 * s, r.y + 11 * s, ShortName(p), palette::kDim);
        cairo_set_font_size(cr, 11 * s);
        Text(cr, r.x + 4 * s, r.y + 24 * s, ValueText(p, value(cell.control)),
             value(cell.control) == p.defaultValue ? palette::kText : palette::kTotal);
    }
}

}  // namespace stemstrip::lv2
