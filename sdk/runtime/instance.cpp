#include "stemstrip/instance.hpp"

#include <atomic>
#include <mutex>
#include <optional>

#include "argument_checks.hpp"
#include "block_adapter.hpp"
#include "core_strip.hpp"
#include "finite_guard.hpp"
#include "meter_exchange.hpp"
#include "stemstrip/denormals.hpp"
#include "triple_buffer.hpp"

namespace stemstrip {
namespace {

CoefficientSet CheckedDesign(Format f, const Settings& s, double sampleRate, const InstanceOptions& options) {
    runtime::CheckFormat(f);
    runtime::CheckSampleRate(sampleRate);
    runtime::CheckBufferLength("options.stagingSamples", options.stagingSamples);
    return Design(s, f, sampleRate);
}

}  // namespace

struct Instance::Impl {
    Impl(Format f, const Settings& s, double rate, const InstanceOptions& o)
        : format(f),
          sampleRate(rate),
          options(o),
          running(CheckedDesign(f, s, rate, o)),
          core(f),
          adapter(ChannelCount(f), o.alignedBlocks, o.stagingSamples),
          accepted(s),
          mailbox(running),
          meters(ChannelCount(f)) {
        core.start(running);
    }

    void process(const float* const* inputs, float* const* outputs, int n, const float* key);

    const Format format;
    const double sampleRate;
    const InstanceOptions options;

    // Audio thread only.
    CoefficientSet running;  // what the core's targets hold
    runtime::CoreStrip core;
    runtime::BlockAdapter adapter;
    std::int64_t samplesIn = 0;  // input samples taken since construction

    // Control side: writers are serialised by the mutex; the audio thread
    // never takes it.
    mutable std::mutex controlMutex;
    Settings accepted;
    runtime::TripleBuffer<CoefficientSet> mailbox;

    std::atomic<bool> resetRequested{false};
    runtime::MeterExchange meters;
};

void Instance::Impl::process(const float* const* inputs, float* const* outputs, int n, const float* key) {
    // Checked before anything is written: a rejected call leaves the
    // instance as it was.
    runtime::CheckProcessCall(inputs, outputs, core.channels(), n, options.alignedBlocks);
    if (const CoefficientSet* newest = mailbox.takeNewest()) {
        running = *newest;
        core.retarget(running);
    }
    if (resetRequested.exchange(false, std::memory_order_acquire)) {
        core.start(running);
        adapter.reset();
    }
    // A control thread may turn the key on before the host passes one: the
    // core then detects from the programme, as with no key.
    if (running.dyn.keySource == 1 && !key && n > 0) meters.countMissingKey();
    const runtime::NonFiniteScan scan = runtime::ScanNonFinite(inputs, core.channels(), key, n);
    if (scan.count > 0) meters.countNonFinite(scan, samplesIn);
    samplesIn += n;

    std::optional<DenormalScope> flush;
    if (options.flushDenormals) flush.emplace();
    const int processed = adapter.process(core, inputs, outputs, key, n, scan.count == 0);
    meters.foldAndClear(core, processed);
}

Instance::Instance(Format format, const Settings& settings, double sampleRate, InstanceOptions options)
    : impl_(std::make_unique<Impl>(format, settings, sampleRate, options)) {}

Instance::~Instance() = default;

void Instance::setSettings(const Settings& settings) {
    const CoefficientSet set = Design(settings, impl_->format, impl_->sampleRate);
    std::lock_guard lock(impl_->controlMutex);
    impl_->mailbox.publish(set);
    impl_->accepted = settings;
}

Settings Instance::settings() const {
    std::lock_guard lock(impl_->controlMutex);
    return impl_->accepted;
}

void Instance::reset() { impl_->resetRequested.store(true, std::memory_order_release); }

void Instance::process(const float* const* inputs, float* const* outputs, int n, const float* key) {
    impl_->process(inputs, outputs, n, key);
}

MeterSnapshot Instance::readMeters() { return impl_->meters.read(); }
int Instance::latency() const { return impl_->adapter.latency(); }
Format Instance::format() const { return impl_->format; }
int Instance::channels() const { return impl_->core.channels(); }
double Instance::sampleRate() const { return impl_->sampleRate; }

}  // namespace stemstrip
