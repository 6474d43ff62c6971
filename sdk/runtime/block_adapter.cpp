#include "block_adapter.hpp"

#include <algorithm>
#include <cstring>

#include "finite_guard.hpp"

namespace stemstrip::runtime {
namespace {

void Copy(float* to, const float* from, int count) { std::memmove(to, from, sizeof(float) * count); }

bool Overlap(const float* a, const float* b, int n) { return a && b && a < b + n && b < a + n; }

}  // namespace

BlockAdapter::BlockAdapter(int channels, bool aligned, int stagingSamples)
    : channels_(channels),
      aligned_(aligned),
      staging_(stagingSamples),
      stagedInStore_(static_cast<size_t>(channels + 1) * stagingSamples),
      queueStore_(aligned ? 0 : static_cast<size_t>(channels) * (stagingSamples + kCoreBlock)),
      stagedIn_(channels + 1),
      stagedInWritable_(channels + 1),
      queue_(channels) {
    for (int c = 0; c <= channels; ++c) stagedIn_[c] = stagedInWritable_[c] = &stagedInStore_[c * stagingSamples];
    if (!aligned)
        for (int c = 0; c < channels; ++c) queue_[c] = &queueStore_[c * (stagingSamples + kCoreBlock)];
    reset();
}

void BlockAdapter::reset() {
    std::fill(queueStore_.begin(), queueStore_.end(), 0.0f);
    pendingIn_ = 0;
    queuedOut_ = aligned_ ? 0 : kFifoLatency;  // the delay starts as silence
}

int BlockAdapter::process(CoreStrip& core, const float* const* inputs, float* const* outputs, const float* key,
                          int n, bool inputsFinite) {
    return aligned_ ? processAligned(core, inputs, outputs, key, n, inputsFinite)
                    : processFifo(core, inputs, outputs, key, n);
}

bool BlockAdapter::outputsOverlapInputs(const float* const* inputs, float* const* outputs, const float* key,
                                        int n) const {
    for (int o = 0; o < channels_; ++o) {
        if (Overlap(outputs[o], key, n)) return true;
        for (int i = 0; i < channels_; ++i)
            if (Overlap(outputs[o], inputs[i], n)) return true;
    }
    return false;
}

// Copies host samples [from, from + count) of every channel (and the key)
// into the staging buffers at position `at`, non-finite ones as 0.
void BlockAdapter::stage(const float* const* inputs, const float* key, int from, int count, int at) {
    for (int c = 0; c < channels_; ++c) CopyFinite(stagedInWritable_[c] + at, inputs[c] + from, count);
    if (key) CopyFinite(stagedInWritable_[channels_] + at, key + from, count);
}

int BlockAdapter::processAligned(CoreStrip& core, const float* const* inputs, float* const* outputs,
                                 const float* key, int n, bool inputsFinite) {
    if (n == 0) return 0;
    if (inputsFinite && !outputsOverlapInputs(inputs, outputs, key, n)) {
        core.run(inputs, outputs, key, n);
        return n;
    }
    float* chunkOut[Dyn_kMaxChannels];
    for (int done = 0; done < n;) {
        const int count = std::min(staging_, n - done);
        stage(inputs, key, done, count, 0);
        for (int c = 0; c < channels_; ++c) chunkOut[c] = outputs[c] + done;
        core.run(stagedIn_.data(), chunkOut, key ? stagedIn_[channels_] : nullptr, count);
        done += count;
    }
    return n;
}

// Invariant between calls: queuedOut_ + pendingIn_ == kFifoLatency, so every
// sample that comes in lets exactly one processed sample (or one sample of
// the initial silence) go out.
int BlockAdapter::processFifo(CoreStrip& core, const float* const* inputs, float* const* outputs,
                              const float* key, int n) {
    float* queueTail[Dyn_kMaxChannels];
    int processed = 0;
    for (int done = 0; done < n;) {
        const int take = std::min(staging_ - pendingIn_, n - done);
        stage(inputs, key, done, take, pendingIn_);
        pendingIn_ += take;

        const int whole = pendingIn_ / kCoreBlock * kCoreBlock;
        if (whole > 0) {
            for (int c = 0; c < channels_; ++c) queueTail[c] = queue_[c] + queuedOut_;
            core.run(stagedIn_.data(), queueTail, key ? stagedIn_[channels_] : nullptr, whole);
            queuedOut_ += whole;
            pendingIn_ -= whole;
            for (int c = 0; c <= channels_; ++c) Copy(stagedInWritable_[c], stagedIn_[c] + whole, pendingIn_);
            processed += whole;
        }

        queuedOut_ -= take;
        for (int c = 0; c < channels_; ++c) {
            Copy(outputs[c] + done, queue_[c], take);
            Copy(queue_[c], queue_[c] + take, queuedOut_);
        }
        done += take;
    }
    return processed;
}

}  // namespace stemstrip::runtime
