// Differential fuzzing of the core: each input is a host scenario run for
// several consecutive calls by the model, by the core's entries compiled into
// this binary under the sanitizers (on the scenario's own buffers, whose
// canaries must come back untouched), and by the shipped shared library (path in STEMSTRIP_LIBRARY; every block before
// a guard page, read-only blocks read-only). All three must agree bit for
// bit, NaN payloads aside. The seeds in corpus/core were written from the
// differential tests' scenario generator.
#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "model/scenario.h"
#include "model/strip_model.h"
#include "support/entries.h"
#include "support/guarded_call.h"

namespace {

// The input's byte format: a host scenario (format, instances, every block
// they point at), then the host's changes before each call.
//
// Every float field is taken bit for bit from the input; only what a host
// must keep valid is folded into range: stage ranges within 0..8, channel
// groups within the format's slots, key indices naming a supplied buffer,
// slot references, and positive sample counts up to kMaxSamples (zero and
// negative counts pass unchanged). Folding leaves a valid value unchanged; an
// input that runs out leaves the remaining fields as they were.

constexpr int kMaxInstances = 4, kMaxCalls = 4;
constexpr int32_t kMaxSamples = 512;

// Raw() moves one field's bytes; reading stops silently at the end of the input.
struct Reader {
    const uint8_t* data;
    size_t size, pos = 0;
    template <class T>
    void Raw(T& v) {
        if (size - pos < sizeof(T)) return void(pos = size);
        std::memcpy(&v, data + pos, sizeof(T));
        pos += sizeof(T);
    }
};

// A small count or index in [lo, hi], one byte.
void Small(Reader& ar, int& v, int lo, int hi) {
    uint8_t b = static_cast<uint8_t>(v - lo);
    ar.Raw(b);
    v = lo + b % (hi - lo + 1);
}

int32_t Fold(int32_t v, uint32_t modulus) { return static_cast<int32_t>(static_cast<uint32_t>(v) % modulus); }

// Sizes every buffer of `in` for its current sample count; outputs hold stale
// host content, which the library overwrites over the whole rounded length.
void SizeBuffers(scenario::Scenario& s, scenario::Instance& in) {
    const int32_t count = s.counts[in.countSlot];
    const size_t samples = count < 1 ? 16 : static_cast<size_t>(count + 15) / 16 * 16;
    auto size = [&](std::vector<float>& b, float stale) {
        b.resize(samples + scenario::kCanaryFloats, stale);
        for (size_t i = samples; i < b.size(); ++i) b[i] = 1000.25f + static_cast<float>(i);
    };
    in.inBufs.resize(in.formatChannels + in.extraInputs);
    for (auto& b : in.inBufs) size(b, 0.0f);
    in.outBufs.resize(in.inPlace ? 0 : in.formatChannels);
    for (auto& b : in.outBufs) size(b, -7.5f);
}

// Shape and initial state of the scenario, and how many calls follow.
void VisitSetup(Reader& ar, scenario::Scenario& s, int& calls) {
    Small(ar, s.format, 0, model::kFormatCount - 1);
    Small(ar, calls, 1, kMaxCalls);
    int instances = static_cast<int>(s.instances.size()), slots = std::max<int>(1, static_cast<int>(s.counts.size()));
    Small(ar, instances, 0, kMaxInstances);
    Small(ar, slots, 1, std::max(1, instances));
    s.counts.resize(slots), s.keyIndices.resize(slots), s.dynCoefs.resize(slots), s.eqTargets.resize(slots);
    s.instances.resize(instances);
    const int n = model::kFormats[s.format].channels;
    for (scenario::Instance& in : s.instances) {
        int inPlace = in.inPlace;
        in.formatChannels = n;
        Small(ar, in.extraInputs, 1, 2);
        Small(ar, inPlace, 0, 1);
        in.inPlace = inPlace != 0;
        for (int* slot : {&in.countSlot, &in.keySlot, &in.dynCoefSlot, &in.eqTargetSlot}) Small(ar, *slot, 0, slots - 1);
        // One record past each writable block, compared afterwards: a write
        // there shows even where no guard page sits.
        in.dynState.resize(n + 1), in.eqCoefs.resize(2), in.eqState.resize(n + 1);
        in.priv.resize(3 * n + 4 + scenario::kCanaryFloats);
        for (int c = 0; c < n; ++c) ar.Raw(in.dynState[c]);
        ar.Raw(in.eqCoefs[0]);
        for (int c = 0; c < n; ++c) ar.Raw(in.eqState[c]);
        for (int j = 0; j < 3 * n + 4; ++j) ar.Raw(in.priv[j]);
    }
    int rotation = 0;  // the call order: a rotation of the instances
    Small(ar, rotation, 0, kMaxInstances - 1);
    s.order.clear();
    for (int i = 0; i < instances; ++i) s.order.push_back(&s.instances[(i + rotation) % instances].ctx);
}

// The host's writes before one call: sample counts, key indices and
// coefficient blocks of every slot, meter clearing and audio of every instance.
void VisitCall(Reader& ar, scenario::Scenario& s) {
    const int n = model::kFormats[s.format].channels;
    for (size_t slot = 0; slot < s.counts.size(); ++slot) {
        ar.Raw(s.counts[slot]);
        if (s.counts[slot] >= 1) s.counts[slot] = 1 + (s.counts[slot] - 1) % kMaxSamples;
        ar.Raw(s.keyIndices[slot]);
        s.keyIndices[slot] = Fold(s.keyIndices[slot], static_cast<uint32_t>(n + 1));  // N: the first extra input
        Dyn_SCoefsBlock& k = s.dynCoefs[slot];
        ar.Raw(k);
        for (int c = 0; c < n; ++c) k.channelGroup[c] = Fold(k.channelGroup[c], model::kFormats[s.format].groups);
        EQ_SCoefs& t = s.eqTargets[slot];
        ar.Raw(t);
        for (int st = 0; st < 2; ++st)
            t.sectionBegin[st] = Fold(t.sectionBegin[st], EQ_kMaxSections + 1), t.sectionEnd[st] = Fold(t.sectionEnd[st], EQ_kMaxSections + 1);
    }
    for (scenario::Instance& in : s.instances) {
        int clearMeters = 0;
        ar.Raw(in.dynState[0].dezipRate);
        Small(ar, clearMeters, 0, 1);
        if (clearMeters) std::fill_n(in.priv.begin(), 3 * n + 4, 0.0f);
        SizeBuffers(s, in);
        for (auto& buffer : in.inBufs)
            for (size_t i = 0; i + scenario::kCanaryFloats < buffer.size(); ++i) ar.Raw(buffer[i]);
    }
    s.Relink();
}

[[noreturn]] void Fail(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::abort();
}

struct SharedLibrary {
    AlgEntry_Fn entries[model::kFormatCount];
    SharedLibrary() {
        const char* path = std::getenv("STEMSTRIP_LIBRARY");
        if (!path) Fail("STEMSTRIP_LIBRARY not set: give the path of the shipped libstemstrip.so");
        void* handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (!handle) Fail(std::string("dlopen: ") + dlerror());
        for (int f = 0; f < model::kFormatCount; ++f) {
            const std::string name = std::string("AlgEntry_16_Stem_") + model::kFormats[f].name;
            entries[f] = reinterpret_cast<AlgEntry_Fn>(dlsym(handle, name.c_str()));
            if (!entries[f]) Fail("dlsym: " + name);
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const SharedLibrary shipped;
    Reader reader{data, size};
    scenario::Scenario model;
    int calls = 1;
    VisitSetup(reader, model, calls);
    for (int call = 0; call < calls; ++call) {
        // All three start each call from the model's state, which the
        // previous comparison showed equal to theirs.
        VisitCall(reader, model);
        scenario::Scenario instrumented = model, library = model;
        model::Entry(model.format, model.Begin(), model.End());
        stemstrip_test::kEntries[model.format](instrumented.Begin(), instrumented.End());
        stemstrip_test::CallOnGuardedCopy(shipped.entries[model.format], library);
        const std::pair<const char*, const scenario::Scenario*> results[] = {{"instrumented entry", &instrumented},
                                                                               {"shared library", &library}};
        for (const auto& [who, result] : results)
            if (const std::string diff = scenario::Compare(model, *result); !diff.empty())
                Fail(std::string(who) + " differs from the model at call " + std::to_string(call) + "\n" +
                     "first difference (model vs " + who + "): " + diff);
    }
    return 0;
}
