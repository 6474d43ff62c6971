#include "guarded_call.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "guarded_memory.h"

namespace stemstrip_test {
namespace {

// Exact-size heap blocks: AddressSanitizer's redzones around each one catch
// what the guard pages would, in code it instruments, at a fraction of the
// cost of a mapping per block. Nothing is made read-only.
class HeapArena {
public:
    template <class T>
    T* Make(size_t count) {
        T* block = static_cast<T*>(blocks_.emplace_back(::operator new(count * sizeof(T))).get());
        std::uninitialized_value_construct_n(block, count);
        return block;
    }
    void Protect(const void*, int) {}

private:
    struct Free {
        void operator()(void* p) const { ::operator delete(p); }
    };
    std::vector<std::unique_ptr<void, Free>> blocks_;
};

template <class Arena, class T>
T* Place(Arena& arena, const T* source, size_t count) {
    T* block = arena.template Make<T>(count);
    std::copy(source, source + count, block);
    return block;
}

size_t Samples(const std::vector<float>& buffer) { return buffer.size() - scenario::kCanaryFloats; }

struct PlacedInstance {
    std::vector<float*> in, out;
    float* const* outPtrs;
    float** privPtr;
    Dyn_SState* dynState;
    EQ_SDezipCoefs* eqCoefs;
    EQ_SState* eqState;
    float* priv;
    SChannelStrip_Alg_Context* ctx;
};

template <class Arena>
void CallOnCopy(AlgEntry_Fn entry, scenario::Scenario& s) {
    constexpr bool kRevokes = std::is_same_v<Arena, GuardedArena>;  // heap blocks stay open: copied back and compared
    Arena arena;
    std::vector<const void*> readOnly;
    auto shared = [&](const auto& values) {
        std::vector<const std::remove_reference_t<decltype(values[0])>*> placed;
        for (const auto& v : values) {
            placed.push_back(Place(arena, &v, 1));
            readOnly.push_back(placed.back());
        }
        return placed;
    };
    const auto counts = shared(s.counts);
    const auto keys = shared(s.keyIndices);
    const auto dynCoefs = shared(s.dynCoefs);
    const auto eqTargets = shared(s.eqTargets);

    std::vector<PlacedInstance> placed(s.instances.size());
    for (size_t i = 0; i < s.instances.size(); ++i) {
        const scenario::Instance& src = s.instances[i];
        PlacedInstance& g = placed[i];
        const int n = src.formatChannels;
        for (const auto& b : src.inBufs) {
            g.in.push_back(Place(arena, b.data(), Samples(b)));
            if (!src.inPlace) readOnly.push_back(g.in.back());
        }
        for (int c = 0; c < n; ++c)
            g.out.push_back(src.inPlace ? g.in[c] : Place(arena, src.outBufs[c].data(), Samples(src.outBufs[c])));
        g.dynState = Place(arena, src.dynState.data(), n);
        g.eqCoefs = Place(arena, src.eqCoefs.data(), 1);
        g.eqState = Place(arena, src.eqState.data(), n);
        g.priv = Place(arena, src.priv.data(), 3 * n + 4);

        const float* const* inPtrs = Place(arena, const_cast<const float* const*>(g.in.data()), g.in.size());
        float* const* outPtrs = Place(arena, g.out.data(), g.out.size());
        float** privPtr = Place(arena, &g.priv, 1);
        g.outPtrs = outPtrs;
        g.privPtr = privPtr;
        const SChannelStrip_Alg_Context ctx{inPtrs, outPtrs, keys[src.keySlot], counts[src.countSlot],
                                            dynCoefs[src.dynCoefSlot], g.dynState, eqTargets[src.eqTargetSlot],
                                            g.eqCoefs, g.eqState, privPtr};
        g.ctx = Place(arena, &ctx, 1);
        readOnly.insert(readOnly.end(), {inPtrs, outPtrs, privPtr, g.ctx});
    }

    std::vector<SChannelStrip_Alg_Context*> order;
    for (const SChannelStrip_Alg_Context* p : s.order)
        for (size_t i = 0; i < s.instances.size(); ++i)
            if (&s.instances[i].ctx == p) order.push_back(placed[i].ctx);
    SChannelStrip_Alg_Context* const* begin = Place(arena, order.data(), order.size());
    readOnly.push_back(begin);

    for (const void* block : readOnly) arena.Protect(block, PROT_READ);
    std::vector<bool> slotRead(s.dynCoefs.size() + s.eqTargets.size());
    for (const scenario::Instance& src : s.instances)
        if (s.counts[src.countSlot] >= 1) slotRead[src.dynCoefSlot] = slotRead[s.dynCoefs.size() + src.eqTargetSlot] = true;
    for (size_t i = 0; i < s.instances.size(); ++i) {
        const scenario::Instance& src = s.instances[i];
        const PlacedInstance& g = placed[i];
        if (s.counts[src.countSlot] >= 1) continue;
        for (const void* block : {static_cast<const void*>(g.outPtrs), static_cast<const void*>(g.privPtr),
                                  static_cast<const void*>(g.dynState), static_cast<const void*>(g.eqCoefs),
                                  static_cast<const void*>(g.eqState), static_cast<const void*>(g.priv)})
            arena.Protect(block, PROT_NONE);
        for (int c = 0; c < src.formatChannels && !src.inPlace; ++c) arena.Protect(g.out[c], PROT_NONE);
        if (!slotRead[src.dynCoefSlot]) arena.Protect(dynCoefs[src.dynCoefSlot], PROT_NONE);
        if (!slotRead[s.dynCoefs.size() + src.eqTargetSlot]) arena.Protect(eqTargets[src.eqTargetSlot], PROT_NONE);
    }
    entry(begin, begin + order.size());

    for (size_t i = 0; i < s.instances.size(); ++i) {
        scenario::Instance& dst = s.instances[i];
        const PlacedInstance& g = placed[i];
        const int n = dst.formatChannels;
        if (kRevokes && s.counts[dst.countSlot] < 1) continue;  // revoked, so untouched
        for (int c = 0; c < n; ++c) {
            std::vector<float>& b = dst.inPlace ? dst.inBufs[c] : dst.outBufs[c];
            std::copy(g.out[c], g.out[c] + Samples(b), b.begin());
        }
        std::copy(g.dynState, g.dynState + n, dst.dynState.begin());
        dst.eqCoefs[0] = *g.eqCoefs;
        std::copy(g.eqState, g.eqState + n, dst.eqState.begin());
        std::copy(g.priv, g.priv + 3 * n + 4, dst.priv.begin());
    }
}

}  // namespace

void CallOnGuardedCopy(AlgEntry_Fn entry, scenario::Scenario& s) { CallOnCopy<GuardedArena>(entry, s); }
void CallOnHeapCopy(AlgEntry_Fn entry, scenario::Scenario& s) { CallOnCopy<HeapArena>(entry, s); }

}  // namespace stemstrip_test
