// Saves the X screen as a binary PPM and prints where pixels of one colour
// are: "COUNT X Y", their number and the centre of their bounding box.
//   x11_screenshot OUT.ppm R G B   (0..255; each within 8 of the pixel's)
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    Display* d = argc == 5 ? XOpenDisplay(nullptr) : nullptr;
    FILE* out = d ? std::fopen(argv[1], "wb") : nullptr;
    if (!out) return std::fprintf(stderr, "usage: x11_screenshot OUT.ppm R G B, with DISPLAY set\n"), 2;
    XWindowAttributes a;
    XGetWindowAttributes(d, DefaultRootWindow(d), &a);
    XImage* image = XGetImage(d, DefaultRootWindow(d), 0, 0, a.width, a.height, AllPlanes, ZPixmap);
    std::fprintf(out, "P6 %d %d 255\n", a.width, a.height);
    const int want[] = {atoi(argv[2]), atoi(argv[3]), atoi(argv[4])};
    int count = 0, x0 = INT_MAX, y0 = INT_MAX, x1 = -1, y1 = -1;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x) {
            const unsigned long p = XGetPixel(image, x, y);  // 24-bit TrueColor: 0xRRGGBB
            const unsigned char rgb[] = {static_cast<unsigned char>(p >> 16), static_cast<unsigned char>(p >> 8), static_cast<unsigned char>(p)};
            std::fwrite(rgb, 1, 3, out);
            if (std::abs(rgb[0] - want[0]) > 8 || std::abs(rgb[1] - want[1]) > 8 || std::abs(rgb[2] - want[2]) > 8) continue;
            ++count, x0 = std::min(x0, x), y0 = std::min(y0, y), x1 = std::max(x1, x), y1 = std::max(y1, y);
        }
    std::printf("%d %d %d\n", count, (x0 + x1) / 2, (y0 + y1) / 2);
    return std::fclose(out) == 0 ? 0 : 1;
}
