// The re-entrancy contract: calls on different threads whose contexts share
// no writable block give exactly the results of serial processing, also
// when they share coefficient blocks, sample counts and key indices. Under the tsan
// preset the core linked here is an instrumented copy, so any shared write
// is also reported as a race; so is any unordered access in the SDK's
// settings handoff and meter exchange between a control and an audio thread.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "model/scenario.h"
#include "model/strip_model.h"
#include "workloads.h"
#include "stemstrip.h"
#include "core_strip.hpp"

namespace {

// Three calls: the later ones start from the states the first one left.
void CallRepeatedly(scenario::Scenario& s, SChannelStrip_Alg_Context* const* begin, const void* end) {
    for (int call = 0; call < 3; ++call) stemstrip::runtime::EntryFor(static_cast<stemstrip::Format>(s.format))(begin, end);
}

// Every scenario's contexts split in two halves, each called on its own
// thread; every other scenario shares all the read-only blocks it can
// (coefficients, sample counts, key indices) across the halves.
TEST(Concurrency, ContextsSplitAcrossThreadsMatchSerial) {
    scenario::Generator gen(0x5A4E);
    for (int n = 0; n < 40; ++n) {
        const scenario::Options options{.sharedBlocks = n % 2 ? 1.0 : 0.2, .minInstances = 2};
        scenario::Scenario serial = gen.Make(n % model::kFormatCount, options), parallel = serial;
        CallRepeatedly(serial, serial.Begin(), serial.End());

        SChannelStrip_Alg_Context* const* half = parallel.Begin() + parallel.order.size() / 2;
        std::thread first([&] { CallRepeatedly(parallel, parallel.Begin(), half); });
        CallRepeatedly(parallel, half, parallel.End());
        first.join();
        ASSERT_EQ(scenario::Compare(serial, parallel), "") << "scenario " << n;
    }
}

TEST(Concurrency, ControlThreadChangesSettingsAndReadsMetersWhileAudioProcesses) {
    EXPECT_EQ(robustness::RunRealtimeWorkload(), "");
}

}  // namespace
