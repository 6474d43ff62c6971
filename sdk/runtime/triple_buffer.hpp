// Lock-free handoff of a value from a control thread to the audio thread.
// Three slots: the writer fills its own, then swaps it with the shared middle
// one; the reader swaps its own with the middle one only when a fresh value
// waits there. Neither side waits, locks or allocates; the reader always
// gets the newest complete value. One writer at a time (callers serialise
// writers), one reader.
#pragma once

#include <array>
#include <atomic>

namespace stemstrip::runtime {

template <class T>
class TripleBuffer {
public:
    explicit TripleBuffer(const T& initial) : slots_{initial, initial, initial} {}

    void publish(const T& value) {
        slots_[back_] = value;
        back_ = middle_.exchange(back_ | kFresh, std::memory_order_acq_rel) & kIndex;
    }

    // The newest value published since the last call, or null. The pointer
    // stays valid until the next call.
    const T* takeNewest() {
        if (!(middle_.load(std::memory_order_acquire) & kFresh)) return nullptr;
        front_ = middle_.exchange(front_, std::memory_order_acq_rel) & kIndex;
        return &slots_[front_];
    }

private:
    static constexpr unsigned kIndex = 3, kFresh = 4;
    std::array<T, 3> slots_;
    alignas(64) std::atomic<unsigned> middle_{1};
    unsigned back_ = 0;   // writer's slot
    alignas(64) unsigned front_ = 2;  // reader's slot
};

}  // namespace stemstrip::runtime
