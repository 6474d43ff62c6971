// Designs new settings off the audio thread. Designing allocates (the
// designer validates every field and builds its messages as it goes), so
// run() only posts the control values and wakes this thread; the thread
// designs them and hands the coefficients to the instance, whose lock-free
// mailbox delivers them at the start of a later process() call. A plugin
// thread rather than the host's worker: simple file hosts offer no worker.
#pragma once

#include <semaphore.h>

#include <atomic>
#include <mutex>
#include <span>
#include <thread>

#include "control_mailbox.hpp"
#include "plugin_formats.hpp"
#include "stemstrip/instance.hpp"

namespace stemstrip::lv2 {

class SettingsDesigner {
public:
    SettingsDesigner(Instance& strip, const Plugin& plugin, size_t controlCount);
    ~SettingsDesigner();
    SettingsDesigner(const SettingsDesigner&) = delete;
    SettingsDesigner& operator=(const SettingsDesigner&) = delete;

    // Audio thread: wait-free, allocation-free.
    void request(std::span<const float> controls);
    // Audio thread, before the first block of an activation only: hands the
    // values over and waits until the strip has them. Allocation- and
    // lock-free, but it blocks for one design.
    void requestAndWait(std::span<const float> controls);
    // Not concurrent with request(): designs these values now, and the
    // strip's next process() starts clean at them.
    void restartAt(std::span<const float> controls);

private:
    void loop();
    void designPosted();  // with designMutex_ held

    Instance& strip_;
    const Plugin& plugin_;
    ControlMailbox mailbox_;
    std::vector<float> scratch_;  // designer side only
    std::mutex designMutex_;      // never taken by the audio thread
    sem_t wake_, designed_;
    std::atomic<bool> waiting_{false};  // the audio thread waits on designed_
    std::atomic<bool> stopping_{false};
    std::thread thread_;  // last: starts once everything it uses exists
};

}  // namespace stemstrip::lv2
