#include "meter_exchange.hpp"

#include <cmath>

namespace stemstrip::runtime {
namespace {

// Indices in the core's dynamics meter array.
constexpr int kCompReduction = 2, kExpReduction = 3, kFirstChannelGain = 4;

float ToDb(float linear) {
    return linear > 0.0f ? std::fmax(20.0f * std::log10(linear), kMeterFloorDb) : kMeterFloorDb;
}

}  // namespace

void MeterExchange::raise(std::atomic<float>& held, float value) {
    float old = held.load(std::memory_order_relaxed);
    while (value > old && !held.compare_exchange_weak(old, value, std::memory_order_relaxed)) {
    }
}

void MeterExchange::foldAndClear(CoreStrip& core, std::int64_t samples) {
    const float* in = core.inputPeaks();
    const float* out = core.outputPeaks();
    const float* dyn = core.dynamicsRun();
    for (int c = 0; c < channels_; ++c) {
        raise(inputPeak_[c], in[c]);
        raise(outputPeak_[c], out[c]);
        raise(channelGain_[c], dyn[kFirstChannelGain + c]);
    }
    raise(compReduction_, dyn[kCompReduction]);
    raise(expReduction_, dyn[kExpReduction]);
    samples_.fetch_add(samples, std::memory_order_relaxed);
    stateResets_.fetch_add(core.takeStateResets(), std::memory_order_relaxed);
    float* block = core.inputPeaks();
    for (int i = 0; i < core.privateFloats(); ++i) block[i] = 0.0f;
}

void MeterExchange::countNonFinite(const NonFiniteScan& scan, std::int64_t position) {
    for (size_t i = 0; i < nonFinite_.size(); ++i) nonFinite_[i].fetch_add(scan.perInput[i], std::memory_order_relaxed);
    const std::int64_t first = position + scan.first;
    std::int64_t old = firstNonFinite_.load(std::memory_order_relaxed);
    while (first < old && !firstNonFinite_.compare_exchange_weak(old, first, std::memory_order_relaxed)) {
    }
}

MeterSnapshot MeterExchange::read() {
    MeterSnapshot s;
    s.channels = channels_;
    for (int c = 0; c < channels_; ++c) {
        s.inputPeakDb[c] = ToDb(take(inputPeak_[c]));
        s.outputPeakDb[c] = ToDb(take(outputPeak_[c]));
        s.channelGainDb[c] = ToDb(take(channelGain_[c]));
    }
    s.compReductionDb = 0.0f - ToDb(1.0f - take(compReduction_));
    s.expReductionDb = 0.0f - ToDb(1.0f - take(expReduction_));
    s.samples = samples_.exchange(0, std::memory_order_relaxed);
    for (int c = 0; c < channels_; ++c) s.nonFiniteSamples[c] = nonFinite_[c].exchange(0, std::memory_order_relaxed);
    s.nonFiniteKeySamples = nonFinite_[8].exchange(0, std::memory_order_relaxed);
    const std::int64_t first = firstNonFinite_.exchange(kNone, std::memory_order_relaxed);
    s.firstNonFiniteSample = first == kNone ? -1 : first;
    s.stateResets = stateResets_.exchange(0, std::memory_order_relaxed);
    s.missingKeyCalls = missingKeyCalls_.exchange(0, std::memory_order_relaxed);
    return s;
}

}  // namespace stemstrip::runtime

