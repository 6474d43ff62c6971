// The re-entrancy contract: calls on different threads whose contexts share
// no writable block give exactly the results of serial processing, whether
// the threads own whole instance sets or split one call's contexts that
// share coefficient blocks, sample counts and key indices. Under the tsan
// preset the core linked here is an instrumented copy, so any shared write
// is also reported as a race; so is any unordered access in the SDK's
// settings handoff and meter exchange between a control and an audio thread.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "model/scenario.h"
#include "model/strip_model.h"
#include "realtime_workload.h"
#include "stemstrip.h"
#include "core_strip.hpp"

namespace {

constexpr int kThreads = 4;
constexpr int kCalls = 3;

void CallRepeatedly(scenario::Scenario& s, SChannelStrip_Alg_Context* const* begin, const void* end) {
    for (int call = 0; call < kCalls; ++call) stemstrip::runtime::EntryFor(static_cast<stemstrip::Format>(s.format))(begin, end);
}

TEST(Concurrency, ThreadsOwningDisjointInstanceSetsMatchSerial) {
    scenario::Generator gen(0xC0C0);
    std::vector<scenario::Scenario> serial;
    for (int i = 0; i < 8 * kThreads; ++i) serial.push_back(gen.Make(i % model::kFormatCount));
    std::vector<scenario::Scenario> parallel = serial;

    for (scenario::Scenario& s : serial) CallRepeatedly(s, s.Begin(), s.End());
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&parallel, t] {
            for (size_t i = t; i < parallel.size(); i += kThreads)
                CallRepeatedly(parallel[i], parallel[i].Begin(), parallel[i].End());
        });
    for (std::thread& t : threads) t.join();

    for (size_t i = 0; i < serial.size(); ++i)
        EXPECT_EQ(scenario::Compare(serial[i], parallel[i]), "") << "scenario " << i;
}

TEST(Concurrency, ContextsSharingOnlyReadOnlyBlocksSplitAcrossThreadsMatchSerial) {
    scenario::Generator gen(0x5A4E);
    const scenario::Options allShared{.inPlace = 0.0, .sharedBlocks = 1.0};
    int splitCalls = 0;
    for (int n = 0; n < 40; ++n) {
        scenario::Scenario serial = gen.Make(n % model::kFormatCount, allShared);
        if (serial.instances.size() < 2) continue;
        scenario::Scenario parallel = serial;
        CallRepeatedly(serial, serial.Begin(), serial.End());

        // Each thread gets its own array of context pointers, one context each.
        std::vector<std::thread> threads;
        for (SChannelStrip_Alg_Context* const& ctx : parallel.order)
            threads.emplace_back([&parallel, &ctx] { CallRepeatedly(parallel, &ctx, &ctx + 1); });
        for (std::thread& t : threads) t.join();
        ++splitCalls;

        ASSERT_EQ(scenario::Compare(serial, parallel), "") << "scenario " << n;
    }
    EXPECT_GT(splitCalls, 10);
}

TEST(Concurrency, ControlThreadChangesSettingsAndReadsMetersWhileAudioProcesses) {
    robustness::RealtimeWorkload work;
    std::thread control([&] { work.RunControl(); });
    std::thread audio([&] { work.RunAudio(); });
    audio.join();
    control.join();
    EXPECT_EQ(work.RoundsCompleted(), robustness::RealtimeWorkload::kRounds);
    EXPECT_GT(work.SettingsTaken(), 0);
    EXPECT_TRUE(work.AllFinite());
}

}  // namespace
