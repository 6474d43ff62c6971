// Saves the X screen as a PNG and prints where pixels of one colour are:
// "COUNT X Y", their number and the centre of their bounding box.
//   x11_screenshot OUT.png R G B   (0..255; each within 8 of the pixel's)
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <cairo.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    Display* d = argc == 5 ? XOpenDisplay(nullptr) : nullptr;
    if (!d) return std::fprintf(stderr, "usage: x11_screenshot OUT.png R G B, with DISPLAY set\n"), 2;
    const Window root = DefaultRootWindow(d);
    XWindowAttributes a;
    XGetWindowAttributes(d, root, &a);
    XImage* image = XGetImage(d, root, 0, 0, a.width, a.height, AllPlanes, ZPixmap);
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, a.width, a.height);
    auto* data = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(s));
    const int stride = cairo_image_surface_get_stride(s) / 4, want[] = {atoi(argv[2]), atoi(argv[3]), atoi(argv[4])};
    int count = 0, x0 = INT_MAX, y0 = INT_MAX, x1 = -1, y1 = -1;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x) {
            const unsigned long p = XGetPixel(image, x, y);  // 24-bit TrueColor: 0xRRGGBB
            data[y * stride + x] = static_cast<uint32_t>(p);
            const int rgb[] = {int(p >> 16 & 255), int(p >> 8 & 255), int(p & 255)};
            if (std::abs(rgb[0] - want[0]) > 8 || std::abs(rgb[1] - want[1]) > 8 || std::abs(rgb[2] - want[2]) > 8) continue;
            ++count, x0 = std::min(x0, x), y0 = std::min(y0, y), x1 = std::max(x1, x), y1 = std::max(y1, y);
        }
    cairo_surface_mark_dirty(s);
    const bool saved = cairo_surface_write_to_png(s, argv[1]) == CAIRO_STATUS_SUCCESS;
    std::printf("%d %d %d\n", count, (x0 + x1) / 2, (y0 + y1) / 2);
    return saved ? 0 : 1;
}
