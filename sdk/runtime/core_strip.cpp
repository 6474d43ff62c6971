#include "core_strip.hpp"

#include <cstring>

#include "finite_guard.hpp"

namespace stemstrip::runtime {

AlgEntry_Fn EntryFor(Format f) {
    static constexpr AlgEntry_Fn kEntries[kFormatCount] = {
        AlgEntry_16_Stem_Mono, AlgEntry_16_Stem_Stereo, AlgEntry_16_Stem_LCR, AlgEntry_16_Stem_Quad,
        AlgEntry_16_Stem_LCRS, AlgEntry_16_Stem_5_0,    AlgEntry_16_Stem_5_1, AlgEntry_16_Stem_6_0,
        AlgEntry_16_Stem_6_1,  AlgEntry_16_Stem_7_0,    AlgEntry_16_Stem_7_1};
    return kEntries[static_cast<int>(f)];
}

CoreStrip::CoreStrip(Format f) : entry_(EntryFor(f)), channels_(ChannelCount(f)), blocks_(std::make_unique<Blocks>()) {
    Blocks& b = *blocks_;
    b.privatePointer = b.privateBlock;
    b.context = SChannelStrip_Alg_Context{b.inputs,   b.outputs,  &b.keyIndex,  &b.sampleCount, &b.dyn,
                                          b.dynState, &b.eqTarget, &b.eqCoefs, b.eqState,      &b.privatePointer};
}

void CoreStrip::start(const CoefficientSet& set) {
    std::memset(blocks_->privateBlock, 0, sizeof blocks_->privateBlock);
    retarget(set);
    restart();
}

void CoreStrip::restart() {
    Blocks& b = *blocks_;
    std::memset(b.dynState, 0, sizeof b.dynState);
    std::memset(b.eqState, 0, sizeof b.eqState);
    for (int i = 0; i < EQ_kCoefCount; ++i) {
        b.eqCoefs.coefs[i] = b.eqTarget.coefs[i];
        b.eqCoefs.accum[i] = b.eqTarget.coefs[i];
    }
    for (Dyn_SState& s : b.dynState) {
        s.outputGain = b.dyn.outputGainTarget;
        s.compFloorDb = b.dyn.compFloorDbTarget;
        s.expRangeDb = b.dyn.expRangeDbTarget;
        s.gateOpen = 1;
        s.dezipRate = dezipRate_;
    }
}

void CoreStrip::retarget(const CoefficientSet& set) {
    Blocks& b = *blocks_;
    b.eqTarget = set.eq;
    b.dyn = set.dyn;
    // The core reads record 0 only; the rate goes in every record so that no
    // record ever holds a stale one.
    dezipRate_ = set.dezipRate;
    for (Dyn_SState& s : b.dynState) s.dezipRate = set.dezipRate;
}

void CoreStrip::bind(const float* const* inputs, float* const* outputs, const float* key, int n) {
    Blocks& b = *blocks_;
    for (int c = 0; c < channels_; ++c) {
        b.inputs[c] = inputs[c];
        b.outputs[c] = outputs[c];
    }
    b.inputs[channels_] = key;
    b.keyIndex = key ? channels_ : 0;
    b.sampleCount = n;
}

void CoreStrip::run(const float* const* inputs, float* const* outputs, const float* key, int n) {
    bind(inputs, outputs, key, n);
    SChannelStrip_Alg_Context* ctx = context();
    entry_(&ctx, &ctx + 1);
    recoverIfNonFinite();
}

bool CoreStrip::stateIsFinite() const {
    const Blocks& b = *blocks_;
    bool finite = true;
    for (int c = 0; c < channels_; ++c) {
        for (int k = 0; k < EQ_kMaxSections; ++k) finite &= !NonFinite(b.eqState[c].z1[k]) & !NonFinite(b.eqState[c].z2[k]);
        const Dyn_SState& s = b.dynState[c];
        for (float v : {s.compGainDb, s.expGainDb, s.detFilterZ1, s.detFilterZ2, s.levelZ1, s.levelZ2, s.peakEnvelope,
                        s.levelOut, s.outputGain, s.compFloorDb, s.expRangeDb})
            finite &= !NonFinite(v);
    }
    return finite;
}

void CoreStrip::recoverIfNonFinite() {
    if (stateIsFinite()) return;
    restart();
    ++stateResets_;
    Blocks& b = *blocks_;
    const int written = (b.sampleCount + 15) / 16 * 16;
    for (int c = 0; c < channels_; ++c)
        for (int i = 0; i < written; ++i)
            if (NonFinite(b.outputs[c][i])) b.outputs[c][i] = 0.0f;
}

}  // namespace stemstrip::runtime
