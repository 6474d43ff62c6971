// The LV2 UI: an X11 window embedded in the host's, drawn with Cairo by
// StripView. Everything here is plumbing: host features in, X events to the
// view's gestures, the view's writes to the host's write function. The host
// drives it through the idle interface, so no thread of our own runs.
// The view first: Xlib defines macros (None, Bool) that clash with C++ names.
#include "strip_view.hpp"

#include <X11/Xlib.h>
#include <X11/Xresource.h>
#include <X11/Xutil.h>
#include <cairo-xlib.h>
#include <lv2/options/options.h>
#include <lv2/parameters/parameters.h>
#include <lv2/ui/ui.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>


namespace stemstrip::lv2 {
namespace {

constexpr const char* kUiUri = "urn:stemstrip:lv2:ui";
constexpr double kDoubleClickSeconds = 0.4;

using Clock = std::chrono::steady_clock;

struct HostFeatures {
    Window parent = 0;
    const LV2UI_Resize* resize = nullptr;
    double scale = 0;  // 0: none offered
    double sampleRate = 48000;
};

HostFeatures ReadFeatures(const LV2_Feature* const* features) {
    HostFeatures h;
    const LV2_URID_Map* map = nullptr;
    const LV2_Options_Option* options = nullptr;
    for (int i = 0; features && features[i]; ++i) {
        const char* uri = features[i]->URI;
        void* data = features[i]->data;
        if (!std::strcmp(uri, LV2_UI__parent)) h.parent = reinterpret_cast<Window>(data);
        else if (!std::strcmp(uri, LV2_UI__resize)) h.resize = static_cast<const LV2UI_Resize*>(data);
        else if (!std::strcmp(uri, LV2_URID__map)) map = static_cast<const LV2_URID_Map*>(data);
        else if (!std::strcmp(uri, LV2_OPTIONS__options)) options = static_cast<const LV2_Options_Option*>(data);
    }
    if (!map || !options) return h;
    const LV2_URID scale = map->map(map->handle, LV2_UI__scaleFactor),
                     rate = map->map(map->handle, LV2_PARAMETERS__sampleRate),
                     floatType = map->map(map->handle, "http://lv2plug.in/ns/ext/atom#Float");
    for (const LV2_Options_Option* o = options; o->key; ++o) {
        if (o->type != floatType || o->size != sizeof(float)) continue;
        const float v = *static_cast<const float*>(o->value);
        if (o->key == scale && v > 0) h.scale = v;
        if (o->key == rate && v > 0) h.sampleRate = v;
    }
    return h;
}

// Without a host scale factor: the desktop's Xft.dpi, else the screen's own.
double DisplayScale(Display* d) {
    double dpi = 0;
    if (const char* resources = XResourceManagerString(d)) {
        XrmInitialize();
        XrmDatabase db = XrmGetStringDatabase(resources);
        char* type = nullptr;
        XrmValue v;
        if (XrmGetResource(db, "Xft.dpi", "Xft.Dpi", &type, &v) && v.addr) dpi = std::atof(v.addr);
        XrmDestroyDatabase(db);
    }
    const int screen = DefaultScreen(d);
    if (dpi <= 0 && DisplayWidthMM(d, screen) > 0) dpi = DisplayWidth(d, screen) * 25.4 / DisplayWidthMM(d, screen);
    return dpi > 0 ? std::clamp(std::round(dpi / 96 * 4) / 4, 1.0, 4.0) : 1.0;
}

const Plugin* PluginByUri(const char* uri) {
    for (const Plugin& p : Plugins())
        if (PluginUri(p) == uri) return &p;
    return nullptr;
}

class X11Ui {
public:
    X11Ui(Display* d, const Plugin& plugin, const HostFeatures& host, LV2UI_Write_Function write,
          LV2UI_Controller controller)
        : display_(d),
          view_(plugin, host.sampleRate, [write, controller](uint32_t port, float v) { write(controller, port, sizeof v, 0, &v); }),
          scale_(host.scale > 0 ? host.scale : DisplayScale(d)) {
        width_ = static_cast<int>(StripView::kDefaultWidth * scale_);
        height_ = static_cast<int>(StripView::kDefaultHeight * scale_);
        const int screen = DefaultScreen(d);
        window_ = XCreateSimpleWindow(d, host.parent ? host.parent : RootWindow(d, screen), 0, 0, width_, height_, 0,
                                      BlackPixel(d, screen), BlackPixel(d, screen));
        XSelectInput(d, window_, ExposureMask | StructureNotifyMask | ButtonPressMask | ButtonReleaseMask |
                                     PointerMotionMask);
        XSizeHints hints{};
        hints.flags = PMinSize | PBaseSize;
        hints.min_width = static_cast<int>(480 * scale_), hints.min_height = static_cast<int>(360 * scale_);
        hints.base_width = width_, hints.base_height = height_;
        XSetWMNormalHints(d, window_, &hints);
        XStoreName(d, window_, "stemstrip");
        surface_ = cairo_xlib_surface_create(d, window_, DefaultVisual(d, screen), width_, height_);
        view_.setSize(width_, height_, scale_);
        XMapRaised(d, window_);
        XFlush(d);
        if (host.resize) host.resize->ui_resize(host.resize->handle, width_, height_);
    }
    ~X11Ui() {
        cairo_surface_destroy(surface_);
        XDestroyWindow(display_, window_);
        XCloseDisplay(display_);
    }

    Window window() const { return window_; }
    void portEvent(uint32_t port, float v) {
        view_.portEvent(port, v);
        dirty_ = true;
    }

    int idle() {
        while (XPending(display_)) {
            XEvent e;
            XNextEvent(display_, &e);
            handle(e);
        }
        const Clock::time_point now = Clock::now();
        dirty_ |= view_.tick(std::chrono::duration<double>(now - lastTick_).count());
        lastTick_ = now;
        if (dirty_) paint();
        return 0;
    }

private:
    void handle(const XEvent& e) {
        switch (e.type) {
            case Expose: dirty_ = true; break;
            case ConfigureNotify:
                if (e.xconfigure.width != width_ || e.xconfigure.height != height_) {
                    width_ = e.xconfigure.width, height_ = e.xconfigure.height;
                    cairo_xlib_surface_set_size(surface_, width_, height_);
                    view_.setSize(width_, height_, scale_);
                    dirty_ = true;
                }
                break;
            case ButtonPress: {
                const auto& b = e.xbutton;
                if (b.button == Button4 || b.button == Button5) {
                    dirty_ |= view_.wheel(b.x, b.y, b.button == Button4 ? 1 : -1);
                } else if (b.button == Button1) {
                    const bool twice = b.time - lastClick_ < kDoubleClickSeconds * 1000;
                    lastClick_ = twice ? 0 : b.time;
                    dirty_ |= view_.press(b.x, b.y, twice);
                }
                break;
            }
            case MotionNotify: dirty_ |= view_.drag(e.xmotion.x, e.xmotion.y); break;
            case ButtonRelease:
                if (e.xbutton.button == Button1) dirty_ |= view_.release();
                break;
        }
    }

    // Drawn into a group first, so the window never shows half a picture.
    void paint() {
        cairo_t* cr = cairo_create(surface_);
        cairo_push_group(cr);
        view_.draw(cr);
        cairo_pop_group_to_source(cr);
        cairo_paint(cr);
        cairo_destroy(cr);
        cairo_surface_flush(surface_);
        XFlush(display_);
        dirty_ = false;
    }

    Display* display_;
    StripView view_;
    double scale_;
    int width_, height_;
    Window window_;
    cairo_surface_t* surface_;
    bool dirty_ = true;
    Time lastClick_ = 0;
    Clock::time_point lastTick_ = Clock::now();
};

LV2UI_Handle Instantiate(const LV2UI_Descriptor*, const char* pluginUri, const char*, LV2UI_Write_Function write,
                         LV2UI_Controller controller, LV2UI_Widget* widget, const LV2_Feature* const* features) {
    const Plugin* plugin = PluginByUri(pluginUri);
    if (!plugin) {
        std::fprintf(stderr, "%s: no interface for plugin <%s>\n", kUiUri, pluginUri);
        return nullptr;
    }
    Display* d = XOpenDisplay(nullptr);
    if (!d) {
        std::fprintf(stderr, "%s: cannot open the X display '%s'\n", kUiUri, XDisplayName(nullptr));
        return nullptr;
    }
    auto* ui = new X11Ui(d, *plugin, ReadFeatures(features), write, controller);
    *widget = reinterpret_cast<LV2UI_Widget>(ui->window());
    return ui;
}

void Cleanup(LV2UI_Handle h) { delete static_cast<X11Ui*>(h); }

void PortEvent(LV2UI_Handle h, uint32_t port, uint32_t size, uint32_t format, const void* buffer) {
    if (format == 0 && size == sizeof(float)) static_cast<X11Ui*>(h)->portEvent(port, *static_cast<const float*>(buffer));
}

int Idle(LV2UI_Handle h) { return static_cast<X11Ui*>(h)->idle(); }

const void* ExtensionData(const char* uri) {
    static const LV2UI_Idle_Interface idle{Idle};
    return std::strcmp(uri, LV2_UI__idleInterface) == 0 ? &idle : nullptr;
}

const LV2UI_Descriptor kDescriptor{kUiUri, Instantiate, Cleanup, PortEvent, ExtensionData};

}  // namespace
}  // namespace stemstrip::lv2

extern "C" LV2_SYMBOL_EXPORT const LV2UI_Descriptor* lv2ui_descriptor(uint32_t index) {
    return index == 0 ? &stemstrip::lv2::kDescriptor : nullptr;
}
