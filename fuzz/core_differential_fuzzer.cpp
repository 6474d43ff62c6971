// Differential fuzzing of the core: each input is a host scenario run for
// several consecutive calls by the model, by the core's entries compiled into
// this binary under the sanitizers (on the scenario's own buffers, whose
// canaries must come back untouched), and by the shipped shared library
// (path in STEMSTRIP_LIBRARY; every block before a guard page, read-only
// blocks read-only). All three must agree bit for bit, NaN payloads aside. The seeds in corpus/core were written from the
// differential tests' scenario generator.
#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "finding.h"
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

// Reading stops silently at the end of the input: each field read after it
// keeps its value.
struct Reader {
    const uint8_t* data;
    size_t size, pos = 0;
    template <class T>
    void Raw(T& v) {
        if (size - pos < sizeof(T)) return void(pos = size);
        std::memcpy(&v, data + pos, sizeof(T));
        pos += sizeof(T);
    }
    // A small count or index in [lo, hi] from one byte; lo if none is left.
    int Small(int lo, int hi) {
        uint8_t b = 0;
        Raw(b);
        return lo + b % (hi - lo + 1);
    }
};

void Fold(int32_t& v, uint32_t modulus) { v = static_cast<int32_t>(static_cast<uint32_t>(v) % modulus); }

// Sizes every buffer of `in` for its current sample count, canaries after it;
// outputs hold stale host content, which the library overwrites over the
// whole rounded length.
void SizeBuffers(scenario::Scenario& s, scenario::Instance& in) {
    const int32_t count = s.counts[in.countSlot];
    const size_t samples = count < 1 ? 16 : static_cast<size_t>(count + 15) / 16 * 16;
    for (auto* pointers : {&in.in, &in.out})
        for (const scenario::Channel& p : *pointers) {
            std::vector<float>& b = s.buffers[p.buffer];
            b.resize(samples + scenario::kCanaryFloats, pointers == &in.in ? 0.0f : -7.5f);
            for (size_t i = samples; i < b.size(); ++i) b[i] = 1000.25f + static_cast<float>(i);
        }
}

// Shape and initial state of the scenario; returns how many calls follow.
int VisitSetup(Reader& ar, scenario::Scenario& s) {
    s.format = ar.Small(0, model::kFormatCount - 1);
    const int calls = ar.Small(1, kMaxCalls);
    const int instances = ar.Small(0, kMaxInstances), slots = ar.Small(1, std::max(1, instances));
    s.counts.resize(slots), s.keyIndices.resize(slots), s.dynCoefs.resize(slots), s.eqTargets.resize(slots);
    s.instances.resize(instances);
    const int n = model::kFormats[s.format].channels;
    for (scenario::Instance& in : s.instances) {
        in.formatChannels = n;
        in.extraInputs = ar.Small(1, 2);
        in.inPlace = ar.Small(0, 1) != 0;
        for (int* slot : {&in.countSlot, &in.keySlot, &in.dynCoefSlot, &in.eqTargetSlot}) *slot = ar.Small(0, slots - 1);
        scenario::AddBuffers(s, in);
        // One record past each writable block, compared afterwards: a write
        // there shows even where no guard page sits.
        in.dynState.resize(n + 1), in.eqCoefs.resize(2), in.eqState.resize(n + 1);
        in.priv.resize(3 * n + 4 + scenario::kCanaryFloats);
        for (int c = 0; c < n; ++c) ar.Raw(in.dynState[c]);
        ar.Raw(in.eqCoefs[0]);
        for (int c = 0; c < n; ++c) ar.Raw(in.eqState[c]);
        for (int j = 0; j < 3 * n + 4; ++j) ar.Raw(in.priv[j]);
    }
    const int rotation = ar.Small(0, kMaxInstances - 1);  // the call order: a rotation of the instances
    for (int i = 0; i < instances; ++i) s.order.push_back((i + rotation) % instances);
    return calls;
}

// The host's writes before one call: sample counts, key indices and
// coefficient blocks of every slot, meter clearing and audio of every instance.
void VisitCall(Reader& ar, scenario::Scenario& s) {
    const model::Format& f = model::kFormats[s.format];
    for (size_t slot = 0; slot < s.counts.size(); ++slot) {
        int32_t& count = s.counts[slot];
        ar.Raw(count);
        if (count >= 1) count = 1 + (count - 1) % kMaxSamples;
        ar.Raw(s.keyIndices[slot]);
        Fold(s.keyIndices[slot], f.channels + 1);  // N: the first extra input
        ar.Raw(s.dynCoefs[slot]);
        for (int c = 0; c < f.channels; ++c) Fold(s.dynCoefs[slot].channelGroup[c], f.groups);
        ar.Raw(s.eqTargets[slot]);
        for (int32_t* range : {s.eqTargets[slot].sectionBegin, s.eqTargets[slot].sectionEnd})
            Fold(range[0], EQ_kMaxSections + 1), Fold(range[1], EQ_kMaxSections + 1);
    }
    for (scenario::Instance& in : s.instances) {
        ar.Raw(in.dynState[0].dezipRate);
        if (ar.Small(0, 1)) std::fill_n(in.priv.begin(), 3 * f.channels + 4, 0.0f);  // the host clears its meters
        SizeBuffers(s, in);
        for (const scenario::Channel& p : in.in)
            for (size_t i = 0; i + scenario::kCanaryFloats < s.buffers[p.buffer].size(); ++i) ar.Raw(s.buffers[p.buffer][i]);
    }
    s.Relink();
}

struct SharedLibrary {
    AlgEntry_Fn entries[model::kFormatCount];
    SharedLibrary() {
        const char* path = std::getenv("STEMSTRIP_LIBRARY");
        void* handle = path ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
        if (!handle) Finding(path ? std::string("dlopen: ") + dlerror() : "STEMSTRIP_LIBRARY not set: give the path of the shipped libstemstrip.so");
        for (int f = 0; f < model::kFormatCount; ++f) {
            const std::string name = std::string("AlgEntry_16_Stem_") + model::kFormats[f].name;
            entries[f] = reinterpret_cast<AlgEntry_Fn>(dlsym(handle, name.c_str()));
            if (!entries[f]) Finding("dlsym: " + name);
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const SharedLibrary shipped;
    Reader reader{data, size};
    scenario::Scenario model;
    for (int call = 0, calls = VisitSetup(reader, model); call < calls; ++call) {
        // All three start each call from the model's state, which the
        // previous comparison showed equal to theirs.
        VisitCall(reader, model);
        scenario::Scenario instrumented = model, library = model;
        model::Entry(model.format, model.Begin(), model.End());
        stemstrip_test::kEntries[model.format](instrumented.Begin(), instrumented.End());
        stemstrip_test::CallOnGuardedCopy(shipped.entries[model.format], library);
        for (const auto& [who, result] : {std::pair{"instrumented entry", &instrumented}, std::pair{"shared library", &library}})
            if (const std::string diff = scenario::Compare(model, *result); !diff.empty())
                Finding(std::string(who) + " differs from the model at call " + std::to_string(call) + ": " + diff);
    }
    return 0;
}
