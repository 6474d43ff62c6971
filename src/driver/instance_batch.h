// Mono and stereo instances leave most vector lanes idle, so consecutive
// instances of one call run side by side, one instance per lane, for the
// blocks they have in common; each then finishes its own remaining blocks
// alone. Every lane does exactly what its instance does alone, and a batch
// is only formed from instances that share no written memory, so the result
// is that of array order.
#pragma once

#include "../dynamics/channel_side.h"
#include "../dynamics/dyn_coef_lanes.h"
#include "../eq/eq_dezip.h"
#include "../eq/eq_instance_lanes.h"
#include "../output/output_meters.h"
#include "batch_independence.h"

namespace stemstrip {

// Instances per batch: one per lane of a full vector, for the formats with a
// single group; one (no batching) elsewhere and in the one-lane build.
template <int N, int G>
inline constexpr int kBatchLanes = N <= 2 && G == 1 ? kLanes<8> : 1;

// Fewer instances than this run faster one after another: measured per
// sample and channel, 256-sample calls (16-sample calls in brackets), mono
// alone 23.6 (26.0), two in lanes 27.4 (36.8), three 18.3 (25.5); stereo
// alone 12.2 (13.3), three in lanes 12.0 (16.1), four 9.1 (12.6).
template <int N>
inline constexpr int kMinBatch = N == 1 ? 3 : 4;

// An instance joins a batch when it will be processed (count above 0), its
// EQ glide is settled (coefficients hold for the call), its channels form the
// one group, and its audio buffers meet the batch's ordering. The key index,
// key pointer and count are read as a lone instance reads them.
template <int N>
inline bool AdmitToBatch(SChannelStrip_Alg_Context* const* cell, BatchMember& m) {
    SChannelStrip_Alg_Context* ctx = *cell;
    const int32_t keyIndex = *ctx->sideChainIndex;
    const float* key = keyIndex != 0 ? ctx->inputs[keyIndex] : nullptr;
    const int32_t sampleCount = *ctx->sampleCount;
    if (sampleCount < 1) return false;
    for (int c = 0; c < N; ++c) {
        if (ctx->dynCoefs->channelGroup[c] != 0) return false;
    }
    if (!EQ_DezipIsSettled(ctx->eqCoefs, ctx->eqTarget, ctx->dynState[0].dezipRate)) return false;
    m = {cell, ctx, key, keyIndex, (static_cast<int64_t>(sampleCount) + 15) / 16};
    return OwnAudioIsSeparate<N>(ctx, key, m.blocks);
}

// Everything the lanes carry from block to block, loaded from the members'
// records at the start and stored back at the end. Lanes past the batch
// repeat its first member: they compute exactly what that lane computes and
// write the same values to the same places, and are never stored back.
template <int N, int W>
struct StripLanes {
    using V = Lanes<W>;
    const float* inputs[N][W];
    float* outputs[N][W];
    const float* detectorSource[N][W];
    EQ_InstanceLanes<W> eq;
    V eqZ1[N][EQ_kMaxSections], eqZ2[N][EQ_kMaxSections];
    DynCoefLanes<V> dyn;
    Dynamics_Lanes<InstanceLanes<N, W>> dynamics;
    V inputPeaks[N], outputPeaks[N];
    bool anyBypassed;
};

template <int N, int W>
inline void LoadStripLane(StripLanes<N, W>& s, int l, const BatchMember& m) {
    const SChannelStrip_Alg_Context& ctx = *m.ctx;
    const Dyn_SCoefsBlock& k = *ctx.dynCoefs;
    const float* privateBlock = *ctx.privateState;
    const bool useKey = k.keySource == 1 && m.key != nullptr;
    EQ_LoadInstanceLane(s.eq, l, ctx.eqCoefs, ctx.eqTarget);
    LoadDynCoefLane(s.dyn, l, k);
    for (int c = 0; c < N; ++c) {
        s.inputs[c][l] = ctx.inputs[c];
        s.outputs[c][l] = ctx.outputs[c];
        s.detectorSource[c][l] = useKey ? m.key : ctx.outputs[c];
        for (int section = 0; section < EQ_kMaxSections; ++section) {
            s.eqZ1[c][section][l] = ctx.eqState[c].z1[section];
            s.eqZ2[c][section][l] = ctx.eqState[c].z2[section];
        }
        s.inputPeaks[c][l] = privateBlock[c];
        s.outputPeaks[c][l] = privateBlock[N + c];
    }
}

template <int N, int W>
inline void StoreStripLane(const StripLanes<N, W>& s, int l, const BatchMember& m) {
    const SChannelStrip_Alg_Context& ctx = *m.ctx;
    float* privateBlock = *ctx.privateState;
    for (int c = 0; c < N; ++c) {
        for (int section = 0; section < EQ_kMaxSections; ++section) {
            ctx.eqState[c].z1[section] = s.eqZ1[c][section][l];
            ctx.eqState[c].z2[section] = s.eqZ2[c][section][l];
        }
        privateBlock[c] = s.inputPeaks[c][l];
        privateBlock[N + c] = s.outputPeaks[c][l];
    }
}

// One sub-block of every lane: pre-EQ, dynamics, post-EQ, through memory in
// the order a lone instance uses, so in-place buffers and a key that is one of
// the instance's own channels read what they would alone.
template <int N, int W>
inline void ProcessSubBlockInLanes(StripLanes<N, W>& s, int at) {
    using V = Lanes<W>;
    V x[N][kSubBlock];
    for (int c = 0; c < N; ++c) GatherSubBlock<W>(x[c], s.inputs[c], at);
    for (int c = 0; c < N; ++c) EQ_RunInstanceLanes(s.eq, 0, x[c], s.eqZ1[c], s.eqZ2[c]);
    for (int c = 0; c < N; ++c) ScatterSubBlock<W>(x[c], s.outputs[c], at);

    V source[N][kSubBlock], sideChain[N][kSubBlock], gain[N][kSubBlock];
    for (int c = 0; c < N; ++c) GatherSubBlock<W>(source[c], s.detectorSource[c], at);
    Dynamics_SubBlock<N>(s.dynamics, s.dyn, source, sideChain, gain);
    const IntLanes<V> listen = s.dyn.keyListen != 0;
    for (int c = 0; c < N; ++c) {
        V y[kSubBlock];
        GatherSubBlock<W>(y, s.outputs[c], at);
        for (int i = 0; i < kSubBlock; ++i) y[i] = ApplyGain(listen, sideChain[c][i], y[i], gain[c][i]);
        ScatterSubBlock<W>(y, s.outputs[c], at);
    }

    for (int c = 0; c < N; ++c) GatherSubBlock<W>(x[c], s.outputs[c], at);
    for (int c = 0; c < N; ++c) EQ_RunInstanceLanes(s.eq, 1, x[c], s.eqZ1[c], s.eqZ2[c]);
    for (int c = 0; c < N; ++c) ScatterSubBlock<W>(x[c], s.outputs[c], at);
}

// The first `blocks` blocks of every member, side by side.
template <int N, int BlockSize, int W>
[[gnu::noinline]] void ProcessBlocksInLanes(const BatchMember* members, int count, int64_t blocks) {
    StripLanes<N, W> s;
    SChannelStrip_Alg_Context* contexts[W];
    float* runStates[W];
    for (int l = 0; l < W; ++l) {
        const BatchMember& m = members[l < count ? l : 0];
        LoadStripLane(s, l, m);
        contexts[l] = m.ctx;
        runStates[l] = *m.ctx->privateState + 2 * N;
    }
    Dynamics_Load<N>(s.dynamics, contexts, runStates);
    EQ_FinishInstanceLanes(s.eq);
    const IntLanes<Lanes<W>> bypassed = s.dyn.bypass >= 1;
    s.anyBypassed = false;
    for (int l = 0; l < W; ++l) s.anyBypassed |= bypassed[l] != 0;

    for (int64_t block = 0; block < blocks; ++block) {
        const int blockStart = static_cast<int>(block * BlockSize);
        for (int sub = 0; sub < BlockSize; sub += kSubBlock) ProcessSubBlockInLanes(s, blockStart + sub);
        for (int c = 0; c < N; ++c) {
            OutputMeters_InstanceLanes<W, BlockSize>(s.inputs[c], s.outputs[c], s.inputPeaks[c], s.outputPeaks[c],
                                                     s.dyn.inputMeterGain, bypassed, s.anyBypassed, blockStart);
        }
    }
    for (int l = 0; l < count; ++l) StoreStripLane(s, l, members[l]);
    Dynamics_Store<N>(s.dynamics, contexts, runStates, count);
}

}  // namespace stemstrip
