// The processing path of a host's audio thread, for the real-time proofs:
// every format through the core's entries (new coefficient blocks taken
// from a lock-free handoff between calls) and through the SDK's
// Instance::process (its own settings handoff and meter snapshot, every
// other format inside its flush-to-zero scope), while a control thread
// keeps changing settings and reading meters.
//
// Everything the audio side touches is allocated before it starts; the
// audio side itself runs inside whatever bracket the test wraps around
// RunAudio() (strict seccomp, RealtimeSanitizer) and only writes results to
// preallocated memory.
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "core_bank.h"
#include "stemstrip/design.hpp"
#include "stemstrip/instance.hpp"
#include "triple_buffer.hpp"

namespace robustness {

class RealtimeWorkload {
public:
    static constexpr int kRounds = 6;     // each after a fresh settings change
    static constexpr int kSamples = 256;  // per call

    RealtimeWorkload();

    // Control thread: changes every format's settings kRounds times (core
    // handoff and Instance::setSettings), reading meters until the audio
    // side is done.
    void RunControl();
    // Audio thread: kRounds rounds over every format, each waiting (by
    // spinning, no system call) for its settings change first.
    void RunAudio();
    // Releases RunControl when the audio side cannot run at all.
    void Abandon() { abandoned_.store(true); }

    int RoundsCompleted() const { return roundsDone_.load(); }
    int SettingsTaken() const { return setsTaken_; }
    // Every meter value and output sample of both paths is finite.
    bool AllFinite() const;

private:
    struct Format {
        stemstrip::Format format;
        std::unique_ptr<CoreBank> bank;
        std::unique_ptr<stemstrip::runtime::TripleBuffer<stemstrip::CoefficientSet>> handoff;
        std::unique_ptr<stemstrip::Instance> instance;
        std::vector<std::vector<float>> in, out;
        std::vector<const float*> inPtrs;
        std::vector<float*> outPtrs;
    };
    std::vector<Format> formats_;
    std::atomic<int> published_{0}, roundsDone_{0};
    std::atomic<bool> abandoned_{false};
    int setsTaken_ = 0;
};

}  // namespace robustness
