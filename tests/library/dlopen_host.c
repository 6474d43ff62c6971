/* A minimal C11 host: loads the library by path with dlopen (it is not linked
 * against it), so the header's layout checks must hold for a C compiler and
 * every entry must resolve and take a context built from the header alone.
 * The contexts are skipped ones (count 0), of which only the context, its two
 * integers and the inputs may be read: every other block is NULL. What the
 * entries compute is proven bit for bit by the differential tests, which run
 * the same shared library. Usage: dlopen_host <lib>. */
#include <dlfcn.h>
#include <stdio.h>

#include "stemstrip.h"

int main(int argc, char** argv) {
    static const char* const names[] = {"Mono", "Stereo", "LCR", "Quad", "LCRS", "5_0", "5_1", "6_0", "6_1", "7_0", "7_1"};
    void* lib = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    static float buffer[16];
    const float* inputs[Dyn_kMaxChannels + 1];
    int32_t key = 1, count = 0;
    SChannelStrip_Alg_Context ctx = {inputs, NULL, &key, &count, NULL, NULL, NULL, NULL, NULL, NULL};
    SChannelStrip_Alg_Context* array[1] = {&ctx};
    if (!lib) return fprintf(stderr, "usage: %s <libstemstrip.so> (%s)\n", argv[0], argc == 2 ? dlerror() : "no path"), 1;
    for (int c = 0; c <= Dyn_kMaxChannels; ++c) inputs[c] = buffer;
    for (int f = 0; f < 11; ++f) {
        char name[64];
        AlgEntry_Fn entry;
        snprintf(name, sizeof name, "AlgEntry_16_Stem_%s", names[f]);
        *(void**)&entry = dlsym(lib, name);
        if (!entry) return fprintf(stderr, "%s not found: %s\n", name, dlerror()), 1;
        entry(array, array + 1);
        entry(array, array); /* nothing to process */
    }
    dlclose(lib);
    return puts("all eleven entries loaded by dlopen and called"), 0;
}
