// run() on the audio thread: no allocation, no lock, the caller's
// floating-point mode left as it was, controls taking effect off the audio
// thread, and meters and latency reported. Allocation and locking are
// caught by interposing the C library's functions in this executable: the
// plugin's calls resolve to them first.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <xmmintrin.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "direct_host.hpp"

extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void __libc_free(void*);

namespace {
thread_local bool tInRun = false;
thread_local int tAllocations = 0, tLocks = 0;
}  // namespace

extern "C" void* malloc(size_t n) {
    tAllocations += tInRun;
    return __libc_malloc(n);
}
extern "C" void* calloc(size_t n, size_t size) {
    tAllocations += tInRun;
    return __libc_calloc(n, size);
}
extern "C" void* realloc(void* p, size_t n) {
    tAllocations += tInRun;
    return __libc_realloc(p, n);
}
extern "C" void free(void* p) {
    tAllocations += tInRun && p;
    __libc_free(p);
}
extern "C" int pthread_mutex_lock(pthread_mutex_t* m) {
    static auto real = reinterpret_cast<int (*)(pthread_mutex_t*)>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    tLocks += tInRun;
    return real(m);
}

namespace stemstrip::lv2test {
namespace {

constexpr double kRate = 48000;
constexpr int kMaxBlock = 4096;

// Runs one block with the audio-thread checks on.
struct RunStats {
    int allocations = 0, locks = 0, modeChanges = 0;
};

// MXCSR above its six sticky exception flags: masks, rounding, FTZ, DAZ.
unsigned FpMode() { return _mm_getcsr() & ~0x3Fu; }

void CheckedRun(DirectHost& host, int n, RunStats& stats) {
    const unsigned modeBefore = FpMode();
    tAllocations = tLocks = 0;
    tInRun = true;
    host.run(n);
    tInRun = false;
    stats.allocations += tAllocations;
    stats.locks += tLocks;
    stats.modeChanges += FpMode() != modeBefore;
}

void FillSine(DirectHost& host, int n, long& phase, double amplitude, double hz) {
    for (int i = 0; i < n; ++i, ++phase)
        for (int p = 0; p < host.channels(); ++p)
            host.input(p)[i] = static_cast<float>(amplitude * std::sin(2 * M_PI * hz * phase / kRate));
}

TEST(RealtimeRun, NoAllocationLockOrModeChangeWhateverTheBlockOrControls) {
    for (const lv2::Plugin& plugin : lv2::Plugins()) {
        const std::string uri = lv2::PluginUri(plugin);
        SCOPED_TRACE(uri);
        DirectHost host(uri, kRate, kMaxBlock);
        host.activate();
        RunStats stats;
        long phase = 0;
        int round = 0;
        for (int block : {1, 7, 16, 333, 512, 4096, 1}) {
            for (int i = 0; i < 20; ++i, ++round) {
                // Controls move every few blocks, so designs are requested mid-stream.
                if (round % 3 == 0) {
                    host.control("band1_enable") = 1;
                    host.control("band1_gain") = static_cast<float>(round % 24 - 12);
                    host.control("comp_threshold") = static_cast<float>(-(round % 40));
                    host.control("comp_ratio") = round % 2 ? 4.0f : 1000.0f;  // out of range is clamped, not designed
                    if (plugin.sideChain) host.control("key_source") = static_cast<float>(round % 2);
                }
                FillSine(host, block, phase, 0.5, 440);
                CheckedRun(host, block, stats);
            }
        }
        EXPECT_EQ(stats.allocations, 0) << "allocations in run()";
        EXPECT_EQ(stats.locks, 0) << "mutex locks in run()";
        EXPECT_EQ(stats.modeChanges, 0) << "run() left the caller's MXCSR changed";
    }
}

TEST(RealtimeRun, RatesTheStripCannotRunAtAreRefusedAtInstantiation) {
    EXPECT_THROW(DirectHost("urn:stemstrip:lv2:stereo", 4000, 16), std::runtime_error);
    EXPECT_THROW(DirectHost("urn:stemstrip:lv2:stereo", 1e6, 16), std::runtime_error);
    EXPECT_NO_THROW(DirectHost("urn:stemstrip:lv2:stereo", 8000, 16));
}

TEST(RealtimeRun, ControlChangesReachTheAudioAndMetersReportLevels) {
    DirectHost host("urn:stemstrip:lv2:stereo", kRate, 256);
    host.control("smoothing") = 0;
    host.activate();
    EXPECT_EQ(host.latency(), 15.0f) << "reported from activate() on, for hosts that ask before running";
    RunStats stats;
    long phase = 0;
    const double amplitude = 0.1;  // -20 dBFS
    for (int i = 0; i < 40; ++i) {
        FillSine(host, 256, phase, amplitude, 1000);
        CheckedRun(host, 256, stats);
    }
    // A 1 kHz sine sampled at 48 kHz hits its crest within 0.0002 dB.
    EXPECT_NEAR(host.peakInDb(0), -20.0, 0.01);
    EXPECT_NEAR(host.peakOutDb(1), -20.0, 0.01);

    // +12 dB of bell right on the tone: the designer thread picks it up
    // while the audio thread keeps running.
    host.control("band1_enable") = 1;
    host.control("band1_freq") = 1000;
    host.control("band1_gain") = 12;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    float peak = host.peakOutDb(0);
    while (peak < -8.05f && std::chrono::steady_clock::now() < deadline) {
        FillSine(host, 256, phase, amplitude, 1000);
        CheckedRun(host, 256, stats);
        peak = host.peakOutDb(0);
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    for (int i = 0; i < 40; ++i) {  // settled: one more meter window at the new gain
        FillSine(host, 256, phase, amplitude, 1000);
        CheckedRun(host, 256, stats);
    }
    EXPECT_NEAR(host.peakOutDb(0), -8.0, 0.05);
    EXPECT_NEAR(host.peakInDb(0), -20.0, 0.01) << "the input meter is before the EQ";
    EXPECT_EQ(stats.allocations + stats.locks, 0);
}

}  // namespace
}  // namespace stemstrip::lv2test
