// The block driver: walks the instances of one call in order, cuts each into
// whole 16-sample blocks and those into 4-sample sub-blocks, and runs the
// stages in their fixed order: glide, EQ before dynamics, dynamics, EQ after
// dynamics; then per block the refresh and the output meters. Runs of
// independent mono or stereo instances go side by side in vector lanes.
#pragma once

#include "../dynamics/channel_processing.h"
#include "../eq/eq_dezip.h"
#include "../eq/eq_sections.h"
#include "../output/output_meters.h"
#include "instance_batch.h"
#include "stemstrip.h"

namespace stemstrip {

inline constexpr int kBlock = 16;

// One instance alone, from the block at firstBlockStart to its sample count.
template <int N, int BlockSize, int Groups>
void ProcessInstance(SChannelStrip_Alg_Context* ctx, int32_t firstBlockStart) {
    const int32_t keyIndex = *ctx->sideChainIndex;
    const float* key = keyIndex != 0 ? ctx->inputs[keyIndex] : nullptr;
    const int32_t sampleCount = *ctx->sampleCount;
    if (sampleCount < 1) return;

    const float rate = ctx->dynState[0].dezipRate;
    EQ_SDezipCoefs* eqCoefs = ctx->eqCoefs;
    const EQ_SCoefs* eqTarget = ctx->eqTarget;
    EQ_SState* eqState = ctx->eqState;
    const float* const* inputs = ctx->inputs;
    float* const* outputs = ctx->outputs;
    float* privateBlock = *ctx->privateState;
    float* inputPeaks = privateBlock;
    float* outputPeaks = privateBlock + N;
    float* dynamicsRunState = privateBlock + 2 * N;

    const bool gliding = !EQ_DezipIsSettled(eqCoefs, eqTarget, rate);
    EQ_LaneState<N> eqLanes;
    EQ_LoadLanes(eqLanes, eqState);
    int32_t blockStart = firstBlockStart;
    do {
        for (int sub = 0; sub < BlockSize; sub += kSubBlock) {
            if (gliding) EQ_DezipStep(eqCoefs, eqTarget, rate);
            EQ_ProcessLanes<N>(eqCoefs, eqLanes, inputs, outputs, sub, eqTarget->sectionBegin[0],
                               eqTarget->sectionEnd[0], blockStart);
            Dynamics_AlgorithmProcessFunction<N, Groups>(ctx, outputs, outputs, key, sub, dynamicsRunState,
                                                         blockStart);
            EQ_ProcessLanes<N>(eqCoefs, eqLanes, outputs, outputs, sub, eqTarget->sectionBegin[1],
                               eqTarget->sectionEnd[1], blockStart);
        }
        if (gliding) EQ_DezipRefresh(eqCoefs);
        OutputMeters_AlgorithmProcessFunction<N, BlockSize>(inputs, outputs, inputPeaks, outputPeaks,
                                                             ctx->dynCoefs, blockStart);
        blockStart = static_cast<int32_t>(static_cast<uint32_t>(blockStart) + BlockSize);  // wraps like the hardware, never UB
    } while (blockStart < sampleCount);
    EQ_StoreLanes(eqLanes, eqState);
}

// Tries to start a batch at `cell`: returns how many instances it processed,
// 0 when too few could join (the caller then runs `cell` alone).
template <int N, int BlockSize, int Groups>
int ProcessBatch(SChannelStrip_Alg_Context* const* cell, const void* end) {
    constexpr int W = kBatchLanes<N, Groups>;
    BatchMember members[W];
    int count = 0;
    while (count < W && cell + count != end && AdmitToBatch<N>(cell + count, members[count])) ++count;
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
