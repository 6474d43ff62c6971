// The newest control values, from the audio thread to the designer thread.
// A sequence lock: the one writer never waits; a reader that overlapped a
// write sees the sequence move and drops what it read (the writer's wake-up
// follows every post, so the reader gets another go).
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

namespace stemstrip::lv2 {

class ControlMailbox {
public:
    explicit ControlMailbox(size_t count) : values_(count) {}

    // One writer at a time; wait-free.
    void post(std::span<const float> values) {
        const uint32_t s = sequence_.load(std::memory_order_relaxed);
        sequence_.store(s + 1, std::memory_order_relaxed);  // odd: a write is under way
        std::atomic_thread_fence(std::memory_order_release);
        for (size_t i = 0; i < values_.size(); ++i) values_[i].store(values[i], std::memory_order_relaxed);
        sequence_.store(s + 2, std::memory_order_release);
    }

    // False when a write overlapped the read; `into` then holds garbage.
    bool read(std::span<float> into) const {
        const uint32_t before = sequence_.load(std::memory_order_acquire);
        if (before & 1) return false;
        for (size_t i = 0; i < values_.size(); ++i) into[i] = values_[i].load(std::memory_order_relaxed);
        std::atomic_thread_fence(std::memory_order_acquire);
        return sequence_.load(std::memory_order_relaxed) == before;
    }

private:
    std::vector<std::atomic<float>> values_;
    std::atomic<uint32_t> sequence_{0};
};

}  // namespace stemstrip::lv2
