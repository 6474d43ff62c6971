// The picture for hosts with an inline display: the whole EQ's response and
// the gain reduction. run() publishes what changed with atomic stores and
// asks the host for a redraw; the host's GUI thread renders into an image
// this object owns, so all the designing and drawing stays off the audio
// thread.
#pragma once

#include <cairo.h>

#include <atomic>
#include <memory>
#include <span>

#include "inline_display_extension.h"
#include "plugin_formats.hpp"

namespace stemstrip::lv2 {

class InlineDisplay {
public:
    // `host` may be null: then nothing asks for redraws.
    InlineDisplay(const Plugin& plugin, double sampleRate, const LV2_Inline_Display* host);
    ~InlineDisplay();
    InlineDisplay(const InlineDisplay&) = delete;
    InlineDisplay& operator=(const InlineDisplay&) = delete;

    // Audio thread: wait-free, allocation-free.
    void publishControls(std::span<const float> controls);
    void publishReduction(float reductionDb);

    // Host GUI thread.
    LV2_Inline_Display_Image_Surface* render(uint32_t width, uint32_t maxHeight);

private:
    void queueDraw() const;

    const Plugin& plugin_;
    double sampleRate_;
    const LV2_Inline_Display* host_;
    size_t controlCount_;
    std::unique_ptr<std::atomic<float>[]> controls_;
    std::atomic<float> reductionDb_{0};
    float drawnReductionDb_ = 0;  // audio thread: the reduction last asked to be drawn
    cairo_surface_t* surface_ = nullptr;
    LV2_Inline_Display_Image_Surface image_{};
};

}  // namespace stemstrip::lv2
