#include "guarded_call.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <type_traits>
#include <vector>

namespace stemstrip_test {
namespace {

[[noreturn]] void Die(const char* what) {
    std::perror(what);
    std::abort();
}

// Blocks that end at a PROT_NONE page (one leads too): touching one float past
// a block raises SIGSEGV. A block gets only its type's alignment, as that is
// all the library may assume.
struct GuardedArena {
    struct Mapping {
        char* base;
        size_t length;
        char* block;
    };
    std::vector<Mapping> maps;
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));

    ~GuardedArena() {
        for (const Mapping& m : maps) munmap(m.base, m.length);
    }
    void* Bytes(size_t bytes) {
        const size_t data = (bytes + page - 1) / page * page;
        char* base = static_cast<char*>(mmap(nullptr, data + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (base == MAP_FAILED || (data && mprotect(base + page, data, PROT_READ | PROT_WRITE) != 0)) Die("mmap");
        return maps.emplace_back(Mapping{base, data + 2 * page, base + page + data - bytes}).block;
    }
    void Protect(const void* block, int prot) {
        for (const Mapping& m : maps)
            if (m.block == block) {
                if (m.length > 2 * page && mprotect(m.base + page, m.length - 2 * page, prot) != 0) Die("mprotect");
                return;
            }
        Die("not a block of this arena");
    }
};

template <class T>
T* Place(GuardedArena& arena, const T* source, size_t count) {
    return std::uninitialized_copy_n(source, count, static_cast<T*>(arena.Bytes(count * sizeof(T)))) - count;
}

size_t Samples(const std::vector<float>& buffer) { return buffer.size() - scenario::kCanaryFloats; }

}  // namespace

void CallOnGuardedCopy(AlgEntry_Fn entry, scenario::Scenario& s) {
    GuardedArena arena;
    std::vector<const void*> readOnly;
    auto shared = [&](const auto& values) {
        std::vector<const std::remove_reference_t<decltype(values[0])>*> placed;
        for (const auto& v : values) readOnly.push_back(placed.emplace_back(Place(arena, &v, 1)));
        return placed;
    };
    const auto counts = shared(s.counts), keys = shared(s.keyIndices);
    const auto dynCoefs = shared(s.dynCoefs);
    const auto eqTargets = shared(s.eqTargets);

    struct Placed {
        std::vector<float*> in, out;
        SChannelStrip_Alg_Context* ctx;
    };
    std::vector<Placed> placed(s.instances.size());
    for (size_t i = 0; i < s.instances.size(); ++i) {
        const scenario::Instance& src = s.instances[i];
        Placed& g = placed[i];
        const int n = src.formatChannels;
        for (const auto& b : src.inBufs) g.in.push_back(Place(arena, b.data(), Samples(b)));
        if (!src.inPlace) readOnly.insert(readOnly.end(), g.in.begin(), g.in.end());
        for (int c = 0; c < n; ++c)
            g.out.push_back(src.inPlace ? g.in[c] : Place(arena, src.outBufs[c].data(), Samples(src.outBufs[c])));
        float* priv = Place(arena, src.priv.data(), 3 * n + 4);
        const SChannelStrip_Alg_Context ctx{Place(arena, const_cast<const float* const*>(g.in.data()), g.in.size()),
                                            Place(arena, g.out.data(), g.out.size()), keys[src.keySlot], counts[src.countSlot],
                                            dynCoefs[src.dynCoefSlot], Place(arena, src.dynState.data(), n),
                                            eqTargets[src.eqTargetSlot], Place(arena, src.eqCoefs.data(), 1),
                                            Place(arena, src.eqState.data(), n), Place(arena, &priv, 1)};
        g.ctx = Place(arena, &ctx, 1);
        readOnly.insert(readOnly.end(), {ctx.inputs, ctx.outputs, ctx.privateState, g.ctx});
    }
    std::vector<SChannelStrip_Alg_Context*> order;
    for (const SChannelStrip_Alg_Context* p : s.order) order.push_back(placed[s.IndexOf(p)].ctx);
    SChannelStrip_Alg_Context* const* begin = Place(arena, order.data(), order.size());
    readOnly.push_back(begin);
    for (const void* block : readOnly) arena.Protect(block, PROT_READ);

    // Of a skipped instance only the context, its two integers and the input
    // pointers and buffers stay readable (and coefficient slots a processed
    // instance shares).
    std::vector<bool> slotRead(s.dynCoefs.size() + s.eqTargets.size());
    for (const scenario::Instance& src : s.instances)
        if (s.counts[src.countSlot] >= 1) slotRead[src.dynCoefSlot] = slotRead[s.dynCoefs.size() + src.eqTargetSlot] = true;
    for (size_t i = 0; i < s.instances.size(); ++i) {
        const scenario::Instance& src = s.instances[i];
        const SChannelStrip_Alg_Context* c = placed[i].ctx;
        if (s.counts[src.countSlot] >= 1) continue;
        for (const void* block : {static_cast<const void*>(c->outputs), static_cast<const void*>(c->privateState),
                                  static_cast<const void*>(c->dynState), static_cast<const void*>(c->eqCoefs),
                                  static_cast<const void*>(c->eqState), static_cast<const void*>(*c->privateState)})
            arena.Protect(block, PROT_NONE);
        for (int ch = 0; ch < src.formatChannels && !src.inPlace; ++ch) arena.Protect(placed[i].out[ch], PROT_NONE);
        if (!slotRead[src.dynCoefSlot]) arena.Protect(c->dynCoefs, PROT_NONE);
        if (!slotRead[s.dynCoefs.size() + src.eqTargetSlot]) arena.Protect(c->eqTarget, PROT_NONE);
    }
    entry(begin, begin + order.size());

    for (size_t i = 0; i < s.instances.size(); ++i) {
        scenario::Instance& dst = s.instances[i];
        const Placed& g = placed[i];
        const int n = dst.formatChannels;
        if (s.counts[dst.countSlot] < 1) continue;  // revoked, so untouched
        for (int c = 0; c < n; ++c) {
            std::vector<float>& b = dst.inPlace ? dst.inBufs[c] : dst.outBufs[c];
            std::copy_n(g.out[c], Samples(b), b.begin());
        }
        std::copy_n(g.ctx->dynState, n, dst.dynState.begin());
        dst.eqCoefs[0] = *g.ctx->eqCoefs;
        std::copy_n(g.ctx->eqState, n, dst.eqState.begin());
        std::copy_n(*g.ctx->privateState, 3 * n + 4, dst.priv.begin());
    }
}

}  // namespace stemstrip_test
