// The interface drawn offscreen, with no X server: the total EQ curve must
// pass through the pixels where the SDK's response of the same settings,
// designed here without the plugin's control mapping, puts it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "palette.hpp"
#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"
#include "strip_view.hpp"

namespace stemstrip::lv2 {
namespace {

TEST(UiDrawing, TotalCurveSitsWhereTheSdkResponsePutsIt) {
    const Plugin& plugin = *std::ranges::find(Plugins(), "urn:stemstrip:lv2:plain:stereo", PluginUri);
    const PortLayout layout(plugin);
    StripView view(plugin, 48000, [](uint32_t, float) {});
    const std::pair<const char*, float> controls[] = {
        {"band2_enable", 1}, {"band2_freq", 300}, {"band2_gain", 9}, {"band2_q", 1.5f},
        {"band6_enable", 1}, {"band6_type", 2},   {"band6_freq", 6000}, {"band6_gain", -6}, {"band6_place", 1}};
    for (auto [symbol, v] : controls)
        view.portEvent(layout.control(std::ranges::find(ControlPortsOf(plugin), symbol, &ControlPort::symbol) - ControlPortsOf(plugin).begin()), v);
    view.portEvent(layout.peakIn(0), -6);
    view.portEvent(layout.compReduction(), 4);
    view.tick(0.01);

    Settings s;
    s.bands[1] = {true, BandType::Bell, Placement::PreDynamics, 300, 9, 1.5};
    s.bands[5] = {true, BandType::HighShelf, Placement::PostDynamics, 6000, -6, 0.70710678};
    const CoefficientSet k = Design(s, Format::Stereo, 48000);
    const std::vector<double> hz{35, 200, 700, 1700, 4000, 16000};
    const std::vector<double> pre = StageMagnitudeDb(k.eq, 0, 48000, hz), post = StageMagnitudeDb(k.eq, 1, 48000, hz);
    for (int scale : {1, 2}) {
        cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 960 * scale, 560 * scale);
        cairo_t* cr = cairo_create(surface);
        view.setSize(960 * scale, 560 * scale, scale);
        view.draw(cr);
        cairo_surface_flush(surface);
        const std::string png = TEST_OUTPUT_DIR "/ui_offscreen_x" + std::to_string(scale) + ".png";
        EXPECT_EQ(cairo_surface_write_to_png(surface, png.c_str()), CAIRO_STATUS_SUCCESS);
        const Rect r = view.eqRect();
        for (size_t i = 0; i < hz.size(); ++i) {
            // Log frequency 20 Hz..20 kHz across, +24..-24 dB down; the curve within a few pixels.
            const int x = static_cast<int>(std::lround(r.x + r.w * std::log10(hz[i] / 20) / 3));
            const double db = pre[i] + post[i], y = r.y + r.h * (24 - db) / 48;
            bool found = false;
            for (int row = int(y) - 2; row <= int(y) + 3; ++row) {
                const unsigned char* px = cairo_image_surface_get_data(surface) + row * cairo_image_surface_get_stride(surface) + 4 * x;
                const palette::Rgb c = palette::kTotal;  // ARGB32 in memory: B G R A
                found |= std::abs(px[2] - c.r * 255) < 30 && std::abs(px[1] - c.g * 255) < 30 && std::abs(px[0] - c.b * 255) < 30;
            }
            EXPECT_TRUE(found) << "scale " << scale << ": no curve at " << hz[i] << " Hz (" << db << " dB), pixel " << x << "," << y << " of " << png;
        }
        cairo_destroy(cr);
        cairo_surface_destroy(surface);
    }
}

}  // namespace
}  // namespace stemstrip::lv2
