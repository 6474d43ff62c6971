#include "settings_designer.hpp"

#include <cerrno>

#include "settings_from_controls.hpp"

namespace stemstrip::lv2 {
namespace {

void WaitFor(sem_t& s) {
    while (sem_wait(&s) != 0 && errno == EINTR) {
    }
}

}  // namespace

SettingsDesigner::SettingsDesigner(Instance& strip, const Plugin& plugin, size_t controlCount)
    : strip_(strip), plugin_(plugin), mailbox_(controlCount), scratch_(controlCount), wake_{}, designed_{} {
    sem_init(&wake_, 0, 0);
    sem_init(&designed_, 0, 0);
    thread_ = std::thread([this] { loop(); });
}

SettingsDesigner::~SettingsDesigner() {
    stopping_.store(true, std::memory_order_release);
    sem_post(&wake_);
    thread_.join();
    sem_destroy(&wake_);
    sem_destroy(&designed_);
}

void SettingsDesigner::request(std::span<const float> controls) {
    mailbox_.post(controls);
    sem_post(&wake_);  // an atomic increment; a futex wake only if the thread sleeps
}

void SettingsDesigner::requestAndWait(std::span<const float> controls) {
    mailbox_.post(controls);
    // Raised after the post: a designer that sees it reads these values.
    waiting_.store(true, std::memory_order_release);
    sem_post(&wake_);
    WaitFor(designed_);
}

void SettingsDesigner::restartAt(std::span<const float> controls) {
    mailbox_.post(controls);
    std::lock_guard lock(designMutex_);
    designPosted();
    strip_.reset();
}

void SettingsDesigner::loop() {
    for (;;) {
        WaitFor(wake_);
        while (sem_trywait(&wake_) == 0) {
        }  // posts that piled up while designing: the mailbox holds only the newest
        if (stopping_.load(std::memory_order_acquire)) return;
        const bool someoneWaits = waiting_.exchange(false, std::memory_order_acquire);
        std::lock_guard lock(designMutex_);
        designPosted();
        if (someoneWaits) sem_post(&designed_);
    }
}

void SettingsDesigner::designPosted() {
    if (mailbox_.read(scratch_)) strip_.setSettings(SettingsFromControls(plugin_, scratch_, strip_.sampleRate()));
}

}  // namespace stemstrip::lv2
