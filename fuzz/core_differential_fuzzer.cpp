// Differential fuzzing of the core: each input is a host scenario (see
// fuzz_case.h) run for several consecutive calls by the model, by the
// core's entries compiled into this binary under the sanitizers (every
// block its own heap allocation), and by the shipped shared library (path
// in STEMSTRIP_LIBRARY; every block before a guard page, read-only blocks
// read-only). All three must agree bit for bit, NaN payloads aside.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "fuzz_case.h"
#include "model/strip_model.h"
#include "support/entries.h"
#include "support/guarded_call.h"

namespace {

struct SharedLibrary {
    AlgEntry_Fn entries[model::kFormatCount];
    SharedLibrary() {
        const char* path = std::getenv("STEMSTRIP_LIBRARY");
        if (!path) Fail("STEMSTRIP_LIBRARY", "not set: give the path of the shipped libstemstrip.so");
        void* handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (!handle) Fail("dlopen", dlerror());
        for (int f = 0; f < model::kFormatCount; ++f) {
            const std::string name = std::string("AlgEntry_16_Stem_") + model::kFormats[f].name;
            entries[f] = reinterpret_cast<AlgEntry_Fn>(dlsym(handle, name.c_str()));
            if (!entries[f]) Fail("dlsym", name.c_str());
        }
    }
    [[noreturn]] static void Fail(const char* what, const char* detail) {
        std::fprintf(stderr, "%s: %s\n", what, detail);
        std::abort();
    }
};

void Expect(const scenario::Scenario& expected, const scenario::Scenario& actual, const char* who, int call,
            const std::string& before) {
    const std::string diff = scenario::Compare(expected, actual);
    if (diff.empty()) return;
    std::fprintf(stderr, "%s differs from the model at call %d\n%s\nfirst difference (model vs %s): %s\n", who,
                 call, before.c_str(), who, diff.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const SharedLibrary shipped;
    fuzzcase::Reader reader(data, size);
    scenario::Scenario model;
    int calls = 1;
    fuzzcase::VisitSetup(reader, model, calls);
    for (int call = 0; call < calls; ++call) {
        // All three start each call from the model's state, which the
        // previous comparison showed equal to theirs.
        fuzzcase::VisitCall(reader, model);
        scenario::Scenario instrumented = model, library = model;
        const std::string before = scenario::Describe(model);
        model::Entry(model.format, model.Begin(), model.End());
        stemstrip_test::CallOnHeapCopy(stemstrip_test::kEntries[model.format], instrumented);
        stemstrip_test::CallOnGuardedCopy(shipped.entries[model.format], library);
        Expect(model, instrumented, "instrumented entry", call, before);
        Expect(model, library, "shared library", call, before);
    }
    return 0;
}
