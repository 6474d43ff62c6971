// The plugin in the tests' lilv host: run() on the audio thread allocates
// nothing, takes no lock, leaves the caller's floating-point mode as it was,
// applies controls designed off the audio thread and reports meters, latency
// and the inline display. Allocation and locking are caught by interposing
// the C library's functions in this executable: the plugin's calls resolve
// to them first. Also the control values as hosts write them.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <xmmintrin.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>
#include <tuple>

#include "control_mailbox.hpp"
#include "inline_display_extension.h"
#include "lilv_host.hpp"
#include "settings_from_controls.hpp"

static thread_local bool tInRun = false;
static thread_local int tAllocations = 0, tLocks = 0;

// Not under AddressSanitizer, whose allocator is then the one in use
// (uninstrumented libraries would free through these what ASan's
// interceptors allocated). The asan preset leaves the RealtimeRun tests
// out, like the other tests that load the plugin into lilv.
#ifndef __SANITIZE_ADDRESS__
// C++ allocates through malloc; freeing on the audio thread counts too (an
// old design released there, say).
extern "C" void* __libc_malloc(size_t);
extern "C" void __libc_free(void*);
extern "C" void* malloc(size_t n) {
    tAllocations += tInRun;
    return __libc_malloc(n);
}
extern "C" void free(void* p) {
    tAllocations += tInRun && p;
    __libc_free(p);
}
#endif
extern "C" int pthread_mutex_lock(pthread_mutex_t* m) {
    static auto real = reinterpret_cast<int (*)(pthread_mutex_t*)>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    tLocks += tInRun;
    return real(m);
}

namespace stemstrip::lv2 {
namespace {

constexpr double kRate = 48000;

// Every plugin in the lilv host, which offers the inline display's redraw
// queue. The latency port is right from activate() on, for hosts that ask
// before running. run(), on blocks of any size with designs requested
// mid-stream, allocates nothing, takes no lock and leaves the caller's
// MXCSR as it was. Then a +12 dB bell on a -20 dBFS 1 kHz tone reaches the
// audio, the meters and the inline display, whose image has the requested
// width and the curve a third of the way up from the middle at 1 kHz (on its
// +-18 dB axis) and on the middle line at 40 Hz.
TEST(RealtimeRun, EveryPluginRunsCleanAndShowsItsControls) {
    int requests = 0;
    LV2_Inline_Display queue{&requests, [](void* h) { ++*static_cast<int*>(h); }};
    const LV2_Feature queueFeature{LV2_INLINEDISPLAY__queue_draw, &queue};
    const LV2_Feature* features[] = {&queueFeature, nullptr};
    for (const lv2test::PluginCase& p : lv2test::PluginCases()) {
        SCOPED_TRACE(p.uri);
        lv2test::LilvHost host(p, kRate, 4096, features);
        EXPECT_EQ(host.port("latency"), 15.0f);
        // A block of the tone on every input, the key too, with the audio-thread checks on.
        long phase = 0;
        int modeChanges = 0;
        tAllocations = tLocks = requests = 0;
        const auto run = [&](int n) {
            for (int c = 0; c <= p.channels(); ++c)
                for (int i = 0; i < n; ++i) host.audio[c][i] = static_cast<float>(0.1 * std::sin(2 * M_PI * 1000 * (phase + i) / kRate));
            phase += n;
            const unsigned mode = _mm_getcsr() & ~0x3Fu;  // MXCSR above its sticky flags: masks, rounding, FTZ, DAZ
            tInRun = true;
            lilv_instance_run(host.instance, n);
            tInRun = false;
            modeChanges += (_mm_getcsr() & ~0x3Fu) != mode;
        };
        int round = 0;
        for (int block : {1, 7, 16, 333, 512, 4096, 1})
            for (int i = 0; i < 20; ++i, ++round) {
                if (round % 3 == 0) {  // designs requested mid-stream
                    host.port("band1_enable") = 1;
                    host.port("band1_gain") = static_cast<float>(round % 24 - 12);
                    host.port("comp_threshold") = static_cast<float>(-(round % 40));
                    host.port("comp_ratio") = round % 2 ? 4.0f : 1000.0f;  // out of range is clamped, not designed
                    if (p.sideChain) host.port("key_source") = static_cast<float>(round % 2);
                }
                run(block);
            }

        // The bell right on the tone, the compressor off: the designer thread
        // picks it up while the audio thread keeps running.
        host.port("comp_ratio") = 1;
        host.port("band1_freq") = 1000;
        host.port("band1_gain") = 12;
        float& peakOut = host.port("peak_out" + p.ports[0].suffix);
        for (int wait = 0; peakOut < -8.05f && wait < 25000; ++wait) {  // 5 s at most
            run(256);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        for (int i = 0; i < 40; ++i) run(256);  // settled: one more meter window at the new gain
        // A 1 kHz sine sampled at 48 kHz hits its crest within 0.0002 dB.
        EXPECT_NEAR(peakOut, -8.0, 0.05);
        for (const lv2test::SpeakerPort& s : p.ports) EXPECT_NEAR(host.port("peak_in" + s.suffix), -20.0, 0.01) << "before the EQ";
        EXPECT_EQ(std::make_tuple(tAllocations, tLocks, modeChanges), std::make_tuple(0, 0, 0)) << "allocations, locks, MXCSR changes in run()";

        const auto* display = static_cast<const LV2_Inline_Display_Interface*>(
            lilv_instance_get_extension_data(host.instance, LV2_INLINEDISPLAY__interface));
        ASSERT_TRUE(display);
        const LV2_Inline_Display_Image_Surface& image = *display->render(lilv_instance_get_handle(host.instance), 160, 100);
        ASSERT_EQ(image.width, 160);
        ASSERT_TRUE(image.height > 20 && image.height <= 100) << image.height;
        EXPECT_GT(requests, 0);
        const auto curveRow = [&](double hz) {  // the curve's colour is yellow: red and green high, blue low
            const int x = static_cast<int>((image.width - 9) * std::log10(hz / 20) / 3);
            for (int y = 0; y < image.height; ++y) {
                const unsigned char* px = &image.data[y * image.stride + 4 * x];
                if (px[2] > 200 && px[1] > 150 && px[0] < 100) return y;
            }
            return -1;
        };
        const double middle = image.height / 2.0;
        EXPECT_NEAR(curveRow(1000), middle - middle * 12 / 18, 2.5);
        EXPECT_NEAR(curveRow(40), middle, 2.5);
    }
    // Rates the strip cannot run at are refused at instantiation.
    for (double rate : {4000.0, 1e6}) EXPECT_THROW(lv2test::LilvHost(lv2test::PluginCases()[1], rate, 16, features), std::runtime_error);
}

TEST(Controls, SanitiseMakesAnyHostValueUsable) {
    const Plugin& plugin = *std::ranges::find(Plugins(), "urn:stemstrip:lv2:5.1", PluginUri);
    // Port, host value, rate, what the strip gets.
    const std::tuple<const char*, float, double, float> cases[] = {
        {"comp_threshold", NAN, kRate, 0.0f},  // the default
        {"comp_threshold", -500, kRate, -80.0f},
        {"comp_threshold", INFINITY, kRate, 24.0f},
        {"gate", 0.01f, kRate, 1.0f},  // toggles: above zero is on
        {"gate", -3, kRate, 0.0f},
        {"band1_type", 2.6f, kRate, 3.0f},  // the nearest enumeration entry
        {"band1_freq", 30000, kRate, 20000.0f},  // the port's top, below half the rate
        // Above what the rate allows: the float just below half the rate, the highest the SDK accepts.
        {"band1_freq", 30000, 32000, 15999.999f},
        {"band6_freq", NAN, 8000, 3999.9998f},  // a default above 4 kHz
    };
    for (const auto& [symbol, value, rate, want] : cases) {
        const auto port = std::ranges::find(ControlPortsOf(plugin), symbol, &ControlPort::symbol);
        ASSERT_NE(port, ControlPortsOf(plugin).end()) << symbol;
        EXPECT_EQ(Sanitise(*port, value, rate), want) << symbol << " = " << value << " at " << rate << " Hz";
    }
}

// The mailbox carries whole control sets off the host's thread: a reader
// never takes a half-written set, never an older one, and the newest stays.
TEST(ControlMailbox, ReaderNeverAcceptsATornSet) {
    constexpr long kCount = 97;
    ControlMailbox mailbox(kCount);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (float k = 1; k <= 200000; ++k) mailbox.post(std::vector<float>(kCount, k));  // set k: every value k
        done = true;
    });
    std::vector<float> got(kCount);
    long torn = 0;
    for (float last = 0; !done;) {
        if (!mailbox.read(got)) continue;
        torn += std::ranges::count(got, got[0]) != kCount;
        EXPECT_GE(got[0], last) << "went back in time";
        last = got[0];
    }
    writer.join();
    ASSERT_TRUE(mailbox.read(got));
    EXPECT_EQ(got[0], 200000.0f) << "the newest set is what stays";
    EXPECT_EQ(torn, 0) << "accepted reads that mixed two sets";
}

}  // namespace
}  // namespace stemstrip::lv2
