// Differential fuzzing of the core: each input is a host scenario (see
// fuzz_case.h) run for several consecutive calls by the model, by the
// core's entries compiled into this binary under the sanitizers (every
// block its own heap allocation), and by the shipped shared library (path
// in STEMSTRIP_LIBRARY; every block before a guard page, read-only blocks
// read-only). All three must agree bit for bit, NaN payloads aside.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_case.h"
#include "support/entries.h"
#include "support/guarded_call.h"

namespace {

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
    fuzzcase::Reader reader(data, size);
    scenario::Scenario model;
    int calls = 1;
    fuzzcase::VisitSetup(reader, model, calls);
    for (int call = 0; call < calls; ++call) {
        // All three start each call from the model's state, which the
        // previous comparison showed equal to theirs.
        fuzzcase::VisitCall(reader, model);
        const scenario::Scenario before = model;
        scenario::Scenario instrumented = model, library = model;
        model::Entry(model.format, model.Begin(), model.End());
        stemstrip_test::CallOnHeapCopy(stemstrip_test::kEntries[model.format], instrumented);
        stemstrip_test::CallOnGuardedCopy(shipped.entries[model.format], library);
        const std::pair<const char*, const scenario::Scenario*> results[] = {{"instrumented entry", &instrumented},
                                                                               {"shared library", &library}};
        for (const auto& [who, result] : results)
            if (const std::string diff = scenario::Compare(model, *result); !diff.empty())
                Fail(std::string(who) + " differs from the model at call " + std::to_string(call) + "\n" +
                     scenario::Describe(before) + "\nfirst difference (model vs " + who + "): " + diff);
    }
    return 0;
}
