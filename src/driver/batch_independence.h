// Whether instances of one call may run side by side: none of them may write
// memory that another reads or writes, or the result would depend on the
// order. Every byte an instance touches in a call is listed as a range: the
// blocks it writes (output buffers up to the rounded-up sample count, the
// state blocks, the private block) and everything it reads (input and key
// buffers, coefficient blocks, the two integers, the context and its pointer
// arrays, its cell of the call's array).
#pragma once

#include <stdint.h>

#include "stemstrip.h"

namespace stemstrip {

struct BatchMember {
    SChannelStrip_Alg_Context* const* cell;  // its place in the call's array
    SChannelStrip_Alg_Context* ctx;
    const float* key;
    int32_t keyIndex;
    int64_t blocks;  // 16-sample blocks of this call
};

// Addresses as signed 64-bit lanes, four to a vector: user-space addresses
// stay far below 2^63, so signed comparisons order them.
typedef int64_t AddressLanes __attribute__((vector_size(32)));
inline constexpr int kAddressLanes = 4;

// Every range an instance touches in a call, its writes first: kCount
// ranges, padded with empty ones to whole vectors. A range that is not
// touched (no key) is empty and overlaps nothing.
template <int N>
struct TouchedRanges {
    static constexpr int kWrites = N + 4;
    static constexpr int kCount = kWrites + N + 11;
    static constexpr int kVectors = (kCount + kAddressLanes - 1) / kAddressLanes;
    union {
        int64_t begin[kVectors * kAddressLanes];
        AddressLanes beginLanes[kVectors];
    };
    union {
        int64_t end[kVectors * kAddressLanes];
        AddressLanes endLanes[kVectors];
    };
};

template <int N>
inline void ListTouched(const BatchMember& m, TouchedRanges<N>& r) {
    const SChannelStrip_Alg_Context& ctx = *m.ctx;
    const uint64_t bufferBytes = static_cast<uint64_t>(m.blocks) * 16 * sizeof(float);
    int n = 0;
    auto add = [&](const void* p, uint64_t bytes) {
        r.begin[n] = bytes != 0 ? static_cast<int64_t>(reinterpret_cast<uintptr_t>(p)) : 0;
        r.end[n] = r.begin[n] + static_cast<int64_t>(bytes);
        ++n;
    };
    for (int c = 0; c < N; ++c) add(ctx.outputs[c], bufferBytes);
    add(ctx.dynState, N * sizeof(Dyn_SState));
    add(ctx.eqCoefs, sizeof(EQ_SDezipCoefs));
    add(ctx.eqState, N * sizeof(EQ_SState));
    add(*ctx.privateState, (3 * N + 4) * sizeof(float));
    for (int c = 0; c < N; ++c) add(ctx.inputs[c], bufferBytes);
    add(m.key, m.key != nullptr ? bufferBytes : 0);
    add(ctx.inputs + m.keyIndex, m.keyIndex != 0 ? sizeof(float*) : 0);
    add(m.cell, sizeof *m.cell);
    add(m.ctx, sizeof ctx);
    add(ctx.inputs, N * sizeof(float*));
    add(ctx.outputs, N * sizeof(float*));
    add(ctx.sideChainIndex, sizeof(int32_t));
    add(ctx.sampleCount, sizeof(int32_t));
    add(ctx.privateState, sizeof(float*));
    add(ctx.dynCoefs, sizeof(Dyn_SCoefsBlock));
    add(ctx.eqTarget, sizeof(EQ_SCoefs));
    while (n < TouchedRanges<N>::kVectors * kAddressLanes) add(nullptr, 0);
}

template <typename T>
inline auto Overlap(T aBegin, T aEnd, T bBegin, T bEnd) {
    return (aBegin < bEnd) & (bBegin < aEnd);
}

// Whether an instance may run its sub-blocks in another order than the named
// one: one instance per lane (each stage of a sub-block still before the
// next, but through vectors that load before they store), or stage after
// stage over a whole block. Both agree with the named order unless an
// output buffer partly overlaps another audio buffer of the instance (an
// input, the key or another output); buffers that coincide, as in place,
// are fine.
template <int N>
inline bool OwnAudioIsSeparate(const SChannelStrip_Alg_Context* ctx, const float* key, int64_t blocks) {
    const uint64_t bufferBytes = static_cast<uint64_t>(blocks) * 16 * sizeof(float);
    uintptr_t audio[2 * N + 1];
    for (int c = 0; c < N; ++c) audio[c] = reinterpret_cast<uintptr_t>(ctx->outputs[c]);
    for (int c = 0; c < N; ++c) audio[N + c] = reinterpret_cast<uintptr_t>(ctx->inputs[c]);
    audio[2 * N] = reinterpret_cast<uintptr_t>(key != nullptr ? key : ctx->inputs[0]);
    bool clash = false;
    for (int w = 0; w < N; ++w) {
        for (int a = 0; a < 2 * N + 1; ++a) {
            clash |= Overlap(audio[w], audio[w] + bufferBytes, audio[a], audio[a] + bufferBytes) &
                     (audio[w] != audio[a]);
        }
    }
    return !clash;
}

// True when no member writes a byte that another member touches: every
// write range of each member against every range of the others, without
// branches, so the compiler runs the comparisons four or eight at a time.
template <int N, int MaxMembers>
inline bool MembersAreIndependent(const BatchMember* members, int count) {
    using Ranges = TouchedRanges<N>;
    Ranges touched[MaxMembers];
    for (int i = 0; i < count; ++i) ListTouched<N>(members[i], touched[i]);
    AddressLanes clash{};
    for (int i = 0; i < count; ++i) {
        for (int j = 0; j < count; ++j) {
            if (j == i) continue;
            for (int w = 0; w < Ranges::kWrites; ++w) {
                const AddressLanes begin = AddressLanes{} + touched[i].begin[w];
                const AddressLanes end = AddressLanes{} + touched[i].end[w];
                for (int v = 0; v < Ranges::kVectors; ++v) {
                    clash |= Overlap(begin, end, touched[j].beginLanes[v], touched[j].endLanes[v]);
                }
            }
        }
    }
    int64_t any = 0;
    for (int l = 0; l < kAddressLanes; ++l) any |= clash[l];
    return any == 0;
}

}  // namespace stemstrip
