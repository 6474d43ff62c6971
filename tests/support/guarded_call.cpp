#include "guarded_call.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace stemstrip_test {
namespace {

constexpr int kRead = PROT_READ, kWrite = PROT_READ | PROT_WRITE;

// Blocks that end at a PROT_NONE page (one leads too): touching one float past
// a block raises SIGSEGV. A block gets only its type's alignment, as that is
// all the library may assume.
struct GuardedArena {
    std::vector<std::pair<char*, size_t>> maps;
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));

    ~GuardedArena() {
        for (auto [base, length] : maps) munmap(base, length);
    }
    // A copy of `count` values, left with protection `prot` for the call.
    template <class T>
    T* Place(const T* source, size_t count, int prot) {
        const size_t bytes = count * sizeof(T), data = (bytes + page - 1) / page * page;
        char* base = static_cast<char*>(mmap(nullptr, data + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (base == MAP_FAILED || (data && mprotect(base + page, data, kWrite) != 0)) Die("mmap");
        maps.emplace_back(base, data + 2 * page);
        T* block = reinterpret_cast<T*>(base + page + data - bytes);
        std::uninitialized_copy_n(source, count, block);
        if (data && prot != kWrite && mprotect(base + page, data, prot) != 0) Die("mprotect");
        return block;
    }
    [[noreturn]] static void Die(const char* what) {
        std::perror(what);
        std::abort();
    }
};

}  // namespace

void CallOnGuardedCopy(AlgEntry_Fn entry, scenario::Scenario& s) {
    GuardedArena arena;
    auto skipped = [&](const scenario::Instance& in) { return s.counts[in.countSlot] < 1; };
    // A coefficient slot only skipped instances name must not be read at all.
    std::vector<int> dynProt(s.dynCoefs.size(), PROT_NONE), eqProt(s.eqTargets.size(), PROT_NONE);
    for (const scenario::Instance& in : s.instances)
        if (!skipped(in)) dynProt[in.dynCoefSlot] = eqProt[in.eqTargetSlot] = kRead;
    auto shared = [&](const auto& values, const std::vector<int>& prot) {
        std::vector<const std::remove_reference_t<decltype(values[0])>*> placed;
        for (size_t i = 0; i < values.size(); ++i) placed.push_back(arena.Place(&values[i], 1, prot[i]));
        return placed;
    };
    const auto counts = shared(s.counts, std::vector<int>(s.counts.size(), kRead));
    const auto keys = shared(s.keyIndices, std::vector<int>(s.keyIndices.size(), kRead));
    const auto dynCoefs = shared(s.dynCoefs, dynProt);
    const auto eqTargets = shared(s.eqTargets, eqProt);

    // Blocks the entry may write, copied back into the scenario after the call.
    std::vector<std::tuple<void*, const void*, size_t>> results;
    auto writable = [&](auto* data, size_t count, int prot) {
        auto* placed = arena.Place(data, count, prot);
        if (prot == kWrite) results.emplace_back(data, placed, count * sizeof *data);
        return placed;
    };
    auto buffer = [&](const scenario::Channel& p, int prot) {  // the valid samples, without canaries
        std::vector<float>& b = s.buffers[p.buffer];
        return writable(b.data(), b.size() - scenario::kCanaryFloats, prot);
    };
    std::vector<SChannelStrip_Alg_Context*> contexts;
    for (scenario::Instance& src : s.instances) {
        const int n = src.formatChannels;
        // Of a skipped instance only the context, its two integers and the
        // input pointers and buffers stay readable.
        const int write = skipped(src) ? PROT_NONE : kWrite, read = skipped(src) ? PROT_NONE : kRead;
        std::vector<float*> in, out;
        for (const scenario::Channel& p : src.in) in.push_back(buffer(p, src.inPlace ? kWrite : kRead));
        for (int c = 0; c < n; ++c) out.push_back(src.inPlace ? in[c] : buffer(src.out[c], write));
        float* priv = writable(src.priv.data(), 3 * n + 4, write);
        const SChannelStrip_Alg_Context ctx{arena.Place<const float*>(in.data(), in.size(), kRead),
                                            arena.Place(out.data(), out.size(), read), keys[src.keySlot],
                                            counts[src.countSlot], dynCoefs[src.dynCoefSlot],
                                            writable(src.dynState.data(), n, write), eqTargets[src.eqTargetSlot],
                                            writable(src.eqCoefs.data(), 1, write), writable(src.eqState.data(), n, write),
                                            arena.Place(&priv, 1, read)};
        contexts.push_back(arena.Place(&ctx, 1, kRead));
    }
    std::vector<SChannelStrip_Alg_Context*> order;
    for (int i : s.order) order.push_back(contexts[i]);
    SChannelStrip_Alg_Context* const* begin = arena.Place(order.data(), order.size(), kRead);
    entry(begin, begin + order.size());
    for (auto [to, from, bytes] : results) std::memcpy(to, from, bytes);
}

}  // namespace stemstrip_test
