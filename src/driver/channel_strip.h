// The block driver: walks the instances of one call in order, cuts each into
// whole 16-sample blocks and those into 4-sample sub-blocks, and runs the
// stages in their fixed order: glide, EQ before dynamics, dynamics, EQ after
// dynamics; then per block the refresh and the output meters. Runs of
// independent mono or stereo instances go side by side in vector lanes.
#pragma once

#include "../dynamics/channel_side.h"
#include "../eq/eq_dezip.h"
#include "../eq/eq_sections.h"
#include "../eq/eq_wavefront.h"
#include "../output/output_meters.h"
#include "instance_batch.h"
#include "stemstrip.h"

namespace stemstrip {

inline constexpr int kBlock = 16;

// What one instance's call reads once, before its first block.
struct InstanceCall {
    SChannelStrip_Alg_Context* ctx;
    const float* key;
    int32_t sampleCount;
    float rate;
    bool gliding;  // the smoothed EQ set still moves this call
    float* inputPeaks;
    float* outputPeaks;
    float* dynamicsRunState;
};

// The block loop of one instance from the block at firstBlockStart while
// below the sample count (at least one block): `block(blockStart)`, then the
// glide refresh and the output stage.
template <int N, int BlockSize, typename Block>
[[gnu::always_inline]] inline void RunBlocks(const InstanceCall& call, int32_t firstBlockStart, Block block) {
    SChannelStrip_Alg_Context* ctx = call.ctx;
    int32_t blockStart = firstBlockStart;
    do {
        block(blockStart);
        if (call.gliding) EQ_DezipRefresh(ctx->eqCoefs);
        OutputMeters_AlgorithmProcessFunction<N, BlockSize>(ctx->inputs, ctx->outputs, call.inputPeaks,
                                                             call.outputPeaks, ctx->dynCoefs, blockStart);
        blockStart = static_cast<int32_t>(static_cast<uint32_t>(blockStart) + BlockSize);  // wraps like the hardware, never UB
    } while (blockStart < call.sampleCount);
}

// The sub-blocks of a block in order, each after its glide step.
template <int BlockSize, typename SubBlock>
[[gnu::always_inline]] inline void ForEachSubBlock(const InstanceCall& call, SubBlock subBlock) {
    for (int sub = 0; sub < BlockSize; sub += kSubBlock) {
        if (call.gliding) EQ_DezipStep(call.ctx->eqCoefs, call.ctx->eqTarget, call.rate);
        subBlock(sub);
    }
}

// Whether the two EQ stages share a section (ranges may overlap): a shared
// section's memories must see the sub-blocks in the named order.
inline bool EQ_StagesShareASection(const EQ_SCoefs* target) {
    const int begin0 = target->sectionBegin[0], end0 = target->sectionEnd[0];
    const int begin1 = target->sectionBegin[1], end1 = target->sectionEnd[1];
    return begin0 < end0 && begin1 < end1 && begin0 < end1 && begin1 < end0;
}

// The stages one after another through the output buffers, as they are
// named: any channel count, any buffer layout. A settled instance whose EQ
// stages share no section and whose audio buffers do not partly overlap
// runs them stage after stage over the whole block, which leaves the
// processor more independent work in flight: each EQ stage with its sections
// side by side, the dynamics of a single group over the whole block.
template <int N, int BlockSize, int Groups>
void RunStages(const InstanceCall& call, int32_t firstBlockStart) {
    SChannelStrip_Alg_Context* ctx = call.ctx;
    const EQ_SDezipCoefs* eqCoefs = ctx->eqCoefs;
    const EQ_SCoefs* eqTarget = ctx->eqTarget;
    float* const* outputs = ctx->outputs;
    const int64_t blocks = (static_cast<int64_t>(call.sampleCount) + BlockSize - 1) / BlockSize;
    const bool stageMajor =
        !call.gliding && !EQ_StagesShareASection(eqTarget) && OwnAudioIsSeparate<N>(ctx, call.key, blocks);
    EQ_LaneState<N> eqLanes;
    EQ_LoadLanes(eqLanes, ctx->eqState);
    EQ_Wavefront<N> eqBefore, eqAfter;
    const bool wavefront =
        kSectionLanes && stageMajor &&
        EQ_WavefrontLoad(eqBefore, eqCoefs, ctx->eqState, eqTarget->sectionBegin[0], eqTarget->sectionEnd[0]) &&
        EQ_WavefrontLoad(eqAfter, eqCoefs, ctx->eqState, eqTarget->sectionBegin[1], eqTarget->sectionEnd[1]);
    Dynamics_Lanes<ChannelLanes<N>> dynamicsLanes;
    Dynamics_LoadInstance<N>(dynamicsLanes, ctx, call.dynamicsRunState);
    RunBlocks<N, BlockSize>(call, firstBlockStart, [&](int32_t blockStart) {
        const auto before = [&](int sub) {
            EQ_ProcessLanes<N>(eqCoefs, eqLanes, ctx->inputs, outputs, sub, eqTarget->sectionBegin[0],
                               eqTarget->sectionEnd[0], blockStart);
        };
        const auto dynamics = [&](int sub) {
            Dynamics_AlgorithmProcessFunction<N, Groups>(dynamicsLanes, *ctx->dynCoefs, outputs, outputs, call.key,
                                                         blockStart + sub);
        };
        const auto after = [&](int sub) {
            EQ_ProcessLanes<N>(eqCoefs, eqLanes, outputs, outputs, sub, eqTarget->sectionBegin[1],
                               eqTarget->sectionEnd[1], blockStart);
        };
        if (stageMajor) {
            if (wavefront) {
                EQ_WavefrontRun<N, BlockSize>(eqBefore, ctx->inputs, outputs, blockStart);
            } else {
                for (int sub = 0; sub < BlockSize; sub += kSubBlock) before(sub);
            }
            if constexpr (Groups == 1) {
                Dynamics_AlgorithmProcessFunction<N, Groups, BlockSize>(dynamicsLanes, *ctx->dynCoefs, outputs,
                                                                        outputs, call.key, blockStart);
            } else {
                for (int sub = 0; sub < BlockSize; sub += kSubBlock) dynamics(sub);
            }
            if (wavefront) {
                EQ_WavefrontRun<N, BlockSize>(eqAfter, outputs, outputs, blockStart);
            } else {
                for (int sub = 0; sub < BlockSize; sub += kSubBlock) after(sub);
            }
        } else {
            ForEachSubBlock<BlockSize>(call, [&](int sub) {
                before(sub);
                dynamics(sub);
                after(sub);
            });
        }
    });
    EQ_StoreLanes(eqLanes, ctx->eqState);
    if (wavefront) {
        EQ_WavefrontStore(eqBefore, ctx->eqState);
        EQ_WavefrontStore(eqAfter, ctx->eqState);
    }
    Dynamics_StoreInstance<N>(dynamicsLanes, ctx, call.dynamicsRunState);
}

// Three or more channels, each in a lane of one vector: a sub-block stays in
// registers from the EQ before the dynamics to the EQ after them. The
// outputs are written after the first EQ only when the key is read (it may
// be one of them); the dynamics read what that EQ wrote, as they would from
// the buffers unless two output buffers of one instance overlap.
template <int N, int BlockSize, int Groups>
void RunChannelLanes(const InstanceCall& call, int32_t firstBlockStart) {
    constexpr int W = kLanes<N>;
    SChannelStrip_Alg_Context* ctx = call.ctx;
    const EQ_SDezipCoefs* eqCoefs = ctx->eqCoefs;
    const EQ_SCoefs* eqTarget = ctx->eqTarget;
    const Dyn_SCoefsBlock& k = *ctx->dynCoefs;
    float* const* outputs = ctx->outputs;
    const bool keyRead = k.keySource == 1 && call.key != nullptr;
    EQ_LaneState<N> eqLanes;
    EQ_LoadLanes(eqLanes, ctx->eqState);
    Dynamics_Lanes<ChannelLanes<N>> dynamics;
    Dynamics_LoadInstance<N>(dynamics, ctx, call.dynamicsRunState);
    RunBlocks<N, BlockSize>(call, firstBlockStart, [&](int32_t blockStart) {
        ForEachSubBlock<BlockSize>(call, [&](int sub) {
            const int at = blockStart + sub;
            Lanes<W> x[kSubBlock];
            GatherSubBlock<W, N>(x, ctx->inputs, at);
            EQ_RunSections(eqCoefs->coefs, eqLanes.z1[0], eqLanes.z2[0], x, eqTarget->sectionBegin[0],
                           eqTarget->sectionEnd[0]);
            if (keyRead) ScatterSubBlock<W, N>(x, outputs, at);
            Lanes<W> source[1][kSubBlock], sideChain[1][kSubBlock], gain[1][kSubBlock];
            for (int i = 0; i < kSubBlock; ++i) source[0][i] = keyRead ? Splat<W>(call.key[at + i]) : x[i];
            Dynamics_SubBlock<N>(dynamics, k, source, sideChain, gain);
            for (int i = 0; i < kSubBlock; ++i) x[i] = ApplyGain(k.keyListen != 0, sideChain[0][i], x[i], gain[0][i]);
            EQ_RunSections(eqCoefs->coefs, eqLanes.z1[0], eqLanes.z2[0], x, eqTarget->sectionBegin[1],
                           eqTarget->sectionEnd[1]);
            ScatterSubBlock<W, N>(x, outputs, at);
        });
    });
    EQ_StoreLanes(eqLanes, ctx->eqState);
    Dynamics_StoreInstance<N>(dynamics, ctx, call.dynamicsRunState);
}

// One instance alone, from the block at firstBlockStart to its sample count.
template <int N, int BlockSize, int Groups>
void ProcessInstance(SChannelStrip_Alg_Context* ctx, int32_t firstBlockStart) {
    const int32_t keyIndex = *ctx->sideChainIndex;
    const float* key = keyIndex != 0 ? ctx->inputs[keyIndex] : nullptr;
    const int32_t sampleCount = *ctx->sampleCount;
    if (sampleCount < 1) return;

    const float rate = ctx->dynState[0].dezipRate;
    float* privateBlock = *ctx->privateState;
    const InstanceCall call{ctx,          key,          sampleCount,      rate,
                            !EQ_DezipIsSettled(ctx->eqCoefs, ctx->eqTarget, rate),
                            privateBlock, privateBlock + N, privateBlock + 2 * N};
    if constexpr (kChannelsInLanes<N>) {
        RunChannelLanes<N, BlockSize, Groups>(call, firstBlockStart);
    } else {
        RunStages<N, BlockSize, Groups>(call, firstBlockStart);
    }
}

// Tries to start a batch at `cell`: returns how many instances it processed,
// 0 when too few could join (the caller then runs `cell` alone).
template <int N, int BlockSize, int Groups>
int ProcessBatch(SChannelStrip_Alg_Context* const* cell, const void* end) {
    constexpr int W = kBatchLanes<N, Groups>;
    const auto last = static_cast<SChannelStrip_Alg_Context* const*>(end);
    if (last - cell < kMinBatch<N>) return 0;  // too few left: spare the admission tests
    BatchMember members[W];
    int count = 0;
    while (count < W && cell + count != last && AdmitToBatch<N>(cell + count, members[count])) ++count;
    if (count < kMinBatch<N>) return 0;

    if (!MembersAreIndependent<N, W>(members, count)) {
        for (int i = 0; i < count; ++i) ProcessInstance<N, BlockSize, Groups>(members[i].ctx, 0);
        return count;
    }
    int64_t common = members[0].blocks;
    for (int i = 1; i < count; ++i) common = members[i].blocks < common ? members[i].blocks : common;
    ProcessBlocksInLanes<N, BlockSize, W>(members, count, common);
    for (int i = 0; i < count; ++i) {
        if (members[i].blocks > common) {
            ProcessInstance<N, BlockSize, Groups>(members[i].ctx, static_cast<int32_t>(common * BlockSize));
        }
    }
    return count;
}

template <int In, int Out, int BlockSize, int Groups>
[[gnu::noinline]] void ChannelStrip_AlgorithmProcessFunction(SChannelStrip_Alg_Context* const* begin,
                                                             const void* end) {
    static_assert(In == Out, "the strip never changes the channel count");
    static_assert(BlockSize == kBlock, "blocks are four sub-blocks");
    constexpr int N = In;
    for (SChannelStrip_Alg_Context* const* it = begin; it != end;) {
        if constexpr (kBatchLanes<N, Groups> > 1) {
            const int batched = ProcessBatch<N, BlockSize, Groups>(it, end);
            if (batched > 0) {
                it += batched;
                continue;
            }
        }
        ProcessInstance<N, BlockSize, Groups>(*it, 0);
        ++it;
    }
}

}  // namespace stemstrip
