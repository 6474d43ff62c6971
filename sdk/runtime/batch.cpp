#include "stemstrip/batch.hpp"

#include <vector>

#include "argument_checks.hpp"
#include "core_strip.hpp"
#include "finite_guard.hpp"
#include "meter_exchange.hpp"

namespace stemstrip {
struct Batch::Impl {
    struct Member {
        Member(Format f, int channels) : core(f), meters(channels) {}
        runtime::CoreStrip core;
        runtime::MeterExchange meters;
        std::vector<const float*> inputs;
        std::vector<float*> outputs;
        std::vector<float*> finiteInputs;          // into `finiteCopies`, for calls with non-finite input
        std::vector<float> finiteCopies;
        std::int64_t samplesIn = 0;
    };

    Format format;
    double sampleRate;
    int channels, capacity;
    std::vector<float> audio;  // every member's inputs, then outputs
    std::vector<std::unique_ptr<Member>> members;
    std::vector<SChannelStrip_Alg_Context*> contexts;

    void checkMember(int member) const { runtime::CheckIndex("member", member, static_cast<int>(members.size())); }
    float* buffer(int member, int channel, bool output) {
        checkMember(member);
        runtime::CheckIndex("channel", channel, channels);
        const size_t index = (static_cast<size_t>(output) * members.size() + member) * channels + channel;
        return &audio[index * capacity];
    }
};

Batch::Batch(Format format, const Settings& settings, double sampleRate, int count, int capacity)
    : impl_(std::make_unique<Impl>()) {
    runtime::CheckFormat(format);
    runtime::CheckSampleRate(sampleRate);
    runtime::CheckMemberCount(count);
    runtime::CheckBufferLength("capacity", capacity);
    runtime::CheckNoExternalKey(settings);
    const CoefficientSet set = Design(settings, format, sampleRate);

    Impl& b = *impl_;
    b.format = format;
    b.sampleRate = sampleRate;
    b.channels = ChannelCount(format);
    b.capacity = capacity;
    b.audio.assign(static_cast<size_t>(2) * count * b.channels * capacity, 0.0f);
    for (int i = 0; i < count; ++i) {
        b.members.push_back(std::make_unique<Impl::Member>(format, b.channels));
        b.members.back()->core.start(set);
    }
    for (int i = 0; i < count; ++i) {
        Impl::Member& m = *b.members[i];
        m.finiteCopies.assign(static_cast<size_t>(b.channels) * capacity, 0.0f);
        for (int c = 0; c < b.channels; ++c) {
            m.inputs.push_back(b.buffer(i, c, false));
            m.outputs.push_back(b.buffer(i, c, true));
            m.finiteInputs.push_back(&m.finiteCopies[static_cast<size_t>(c) * capacity]);
        }
        b.contexts.push_back(m.core.context());
    }
}

Batch::~Batch() = default;

int Batch::size() const { return static_cast<int>(impl_->members.size()); }
int Batch::channels() const { return impl_->channels; }
int Batch::capacity() const { return impl_->capacity; }
float* Batch::input(int member, int channel) { return impl_->buffer(member, channel, false); }
float* Batch::output(int member, int channel) { return impl_->buffer(member, channel, true); }

void Batch::setSettings(int member, const Settings& settings) {
    impl_->checkMember(member);
    runtime::CheckNoExternalKey(settings);
    impl_->members[member]->core.retarget(Design(settings, impl_->format, impl_->sampleRate));
}

void Batch::process(int n) {
    Impl& b = *impl_;
    runtime::CheckBatchBlock(n, b.capacity);
    if (n == 0) return;
    for (auto& m : b.members) {
        // Non-finite samples reach the core as 0, from copies: the member's
        // input buffers stay as the caller filled them.
        const runtime::NonFiniteScan scan = runtime::ScanNonFinite(m->inputs.data(), b.channels, nullptr, n);
        if (scan.count > 0) {
            m->meters.countNonFinite(scan, m->samplesIn);
            for (int c = 0; c < b.channels; ++c)
                runtime::CopyFinite(m->finiteInputs[c], m->inputs[c], n);
        }
        m->samplesIn += n;
        const float* const* inputs = scan.count > 0 ? m->finiteInputs.data() : m->inputs.data();
        m->core.bind(inputs, m->outputs.data(), nullptr, n);
    }
    runtime::EntryFor(b.format)(b.contexts.data(), b.contexts.data() + b.contexts.size());
    for (auto& m : b.members) {
        m->core.recoverIfNonFinite();
        m->meters.foldAndClear(m->core, n);
    }
}

MeterSnapshot Batch::readMeters(int member) {
    impl_->checkMember(member);
    return impl_->members[member]->meters.read();
}

}  // namespace stemstrip
