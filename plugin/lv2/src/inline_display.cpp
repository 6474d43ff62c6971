#include "inline_display.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#include "control_ports.hpp"
#include "inline_drawing.hpp"

namespace stemstrip::lv2 {
namespace {

constexpr int kCurvePoints = 120;
// Smaller changes of the reduction are not worth a redraw.
constexpr float kRedrawStepDb = 0.5f;

}  // namespace

InlineDisplay::InlineDisplay(const Plugin& plugin, double sampleRate, const LV2_Inline_Display* host)
    : plugin_(plugin),
      sampleRate_(sampleRate),
      host_(host),
      controlCount_(ControlPortsOf(plugin).size()),
      controls_(new std::atomic<float>[controlCount_]) {
    for (size_t i = 0; i < controlCount_; ++i) controls_[i] = ControlPortsOf(plugin)[i].defaultValue;
}

InlineDisplay::~InlineDisplay() {
    if (surface_) cairo_surface_destroy(surface_);
}

void InlineDisplay::queueDraw() const {
    if (host_) host_->queue_draw(host_->handle);
}

void InlineDisplay::publishControls(std::span<const float> controls) {
    for (size_t i = 0; i < controlCount_; ++i) controls_[i].store(controls[i], std::memory_order_relaxed);
    queueDraw();
}

void InlineDisplay::publishReduction(float reductionDb) {
    reductionDb_.store(reductionDb, std::memory_order_relaxed);
    if (std::abs(reductionDb - drawnReductionDb_) < kRedrawStepDb) return;
    drawnReductionDb_ = reductionDb;
    queueDraw();
}

LV2_Inline_Display_Image_Surface* InlineDisplay::render(uint32_t width, uint32_t maxHeight) {
    const int w = static_cast<int>(std::max<uint32_t>(width, 16));
    const int h = static_cast<int>(std::clamp<uint32_t>(width / 2, 8, std::max<uint32_t>(maxHeight, 8)));
    if (!surface_ || cairo_image_surface_get_width(surface_) != w || cairo_image_surface_get_height(surface_) != h) {
        if (surface_) cairo_surface_destroy(surface_);
        surface_ = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
    }
    std::vector<float> controls(controlCount_);
    for (size_t i = 0; i < controlCount_; ++i) controls[i] = controls_[i].load(std::memory_order_relaxed);
    cairo_t* cr = cairo_create(surface_);
    DrawInlineDisplay(cr, w, h, ComputeEqCurves(DesignControls(plugin_, controls, sampleRate_), sampleRate_, kCurvePoints),
                      reductionDb_.load(std::memory_order_relaxed));
    cairo_destroy(cr);
    cairo_surface_flush(surface_);
    image_ = {cairo_image_surface_get_data(surface_), w, h, cairo_image_surface_get_stride(surface_)};
    return &image_;
}

}  // namespace stemstrip::lv2
