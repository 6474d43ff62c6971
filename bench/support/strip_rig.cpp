#include "strip_rig.h"

#include <algorithm>

namespace bench {

StripRig::StripRig(const StemFormat& format, int instances, int maxCallSamples, const StripPreset& preset)
    : format_(format), preset_(preset), maxCallSamples_(maxCallSamples), sampleCount_(maxCallSamples) {
    const int n = format.channels;
    for (int i = 0; i < instances; ++i) {
        auto inst = std::make_unique<Instance>();
        inst->state.dyn.resize(n);
        inst->state.eq.resize(n);
        inst->state.meters.resize(3 * n + 4);
        inst->inputs.assign(n, nullptr);
        inst->outputs.assign(n, std::vector<float>(maxCallSamples));
        for (auto& o : inst->outputs) inst->outputPtrs.push_back(o.data());
        inst->meterBlock = inst->state.meters.data();
        inst->context = {inst->inputs.data(),   inst->outputPtrs.data(), &keyIndex_,
                         &sampleCount_,     &preset_.dyn,            inst->state.dyn.data(),
                         &preset_.eq,       &inst->state.eqCoefs,    inst->state.eq.data(),
                         &inst->meterBlock};
        contexts_.push_back(&inst->context);
        instances_.push_back(std::move(inst));
    }
    Reset();
}

void StripRig::Reset() {
    for (auto& inst : instances_) {
        State& s = inst->state;
        for (int k = 0; k < EQ_kCoefCount; ++k) {
            s.eqCoefs.coefs[k] = preset_.eq.coefs[k];
            s.eqCoefs.accum[k] = preset_.eq.coefs[k];
        }
        std::fill(s.eq.begin(), s.eq.end(), EQ_SState{});
        for (Dyn_SState& d : s.dyn) {
            d = Dyn_SState{};
            d.outputGain = preset_.dyn.outputGainTarget;
            d.compFloorDb = preset_.dyn.compFloorDbTarget;
            d.expRangeDb = preset_.dyn.expRangeDbTarget;
            d.dezipRate = preset_.dezipRate;
        }
        std::fill(s.meters.begin(), s.meters.end(), 0.0f);
    }
}

void StripRig::SetCallSamples(int samples) { sampleCount_ = std::min(samples, maxCallSamples_); }

std::vector<StripRig::State> StripRig::Save() const {
    std::vector<State> saved;
    for (const auto& inst : instances_) saved.push_back(inst->state);
    return saved;
}

void StripRig::Restore(const std::vector<State>& saved) {
    // Element-wise so the blocks the contexts point at stay where they are.
    for (size_t i = 0; i < instances_.size(); ++i) {
        State& s = instances_[i]->state;
        std::copy(saved[i].dyn.begin(), saved[i].dyn.end(), s.dyn.begin());
        s.eqCoefs = saved[i].eqCoefs;
        std::copy(saved[i].eq.begin(), saved[i].eq.end(), s.eq.begin());
        std::copy(saved[i].meters.begin(), saved[i].meters.end(), s.meters.begin());
    }
}

}  // namespace bench
