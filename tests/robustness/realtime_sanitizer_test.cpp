// The audio path under RealtimeSanitizer: inside the real-time bracket any
// allocation, lock, sleep, file or socket call aborts the test with a report
// naming the call.
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "realtime_workload.h"

extern "C" void __rtsan_realtime_enter();
extern "C" void __rtsan_realtime_exit();

namespace {

template <class Body>
void RunRealtime(Body body) {
    __rtsan_realtime_enter();
    body();
    __rtsan_realtime_exit();
}

TEST(RealtimeSanitizer, AllEntriesAndInstanceProcessWhileSettingsChange) {
    EXPECT_EQ(robustness::RunRealtimeWorkload([](auto body) { return robustness::OnAThread([&] { RunRealtime(body); }); }), "");
}

// The bracket is real: an allocation inside it is reported.
TEST(RealtimeSanitizerDeathTest, AnAllocationInsideIsReported) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(RunRealtime([] {
                     void* volatile p = std::malloc(64);
                     std::free(p);
                 }),
                 "malloc");
}

}  // namespace
