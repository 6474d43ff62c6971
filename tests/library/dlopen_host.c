/* A minimal C11 host: loads the library by path with dlopen (it is not linked
 * against it), builds one valid context per stem format from the public
 * header alone and checks each entry end to end. Usage: dlopen_host <lib>. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "stemstrip.h"

enum { kSamples = 40, kBuffer = 48 }; /* 40 samples run as three whole blocks */

static struct Instance {
    float in[Dyn_kMaxChannels][kBuffer], out[Dyn_kMaxChannels][kBuffer];
    const float* inPtr[Dyn_kMaxChannels];
    float* outPtr[Dyn_kMaxChannels];
    int32_t key, count;
    Dyn_SCoefsBlock dyn;
    Dyn_SState dynState[Dyn_kMaxChannels];
    EQ_SCoefs eqTarget;
    EQ_SDezipCoefs eqCoefs;
    EQ_SState eqState[Dyn_kMaxChannels];
    float priv[3 * Dyn_kMaxChannels + 4];
    float* privPtr;
    SChannelStrip_Alg_Context ctx;
} s;

/* Zeroed states, an identity section (b0 = 1) before the dynamics and none
 * after, and dynamics at 0 dB everywhere with unity output gain. */
static void Build(int n) {
    memset(&s, 0, sizeof s);
    for (int c = 0; c < n; ++c) {
        for (int i = 0; i < kBuffer; ++i) {
            s.in[c][i] = (float)((i * 7 + c * 3) % 17 - 8) / 16.0f; /* distinct, sign-changing, exact */
            s.out[c][i] = -99.0f;
        }
        s.inPtr[c] = s.in[c];
        s.outPtr[c] = s.out[c];
        s.dynState[c].outputGain = 1.0f;
    }
    s.count = kSamples;
    s.dyn.outputGainTarget = s.dyn.detFilterB0 = s.dyn.levelB0 = 1.0f;
    s.dyn.gateOpenThresholdDb = s.dyn.gateCloseThresholdDb = -1000.0f;
    s.eqTarget.coefs[0] = s.eqCoefs.coefs[0] = 1.0f;
    s.eqCoefs.accum[0] = 1.0;
    s.eqTarget.sectionEnd[0] = 1;
    s.privPtr = s.priv;
    s.ctx = (SChannelStrip_Alg_Context){s.inPtr, s.outPtr, &s.key, &s.count, &s.dyn, s.dynState,
                                        &s.eqTarget, &s.eqCoefs, s.eqState, &s.privPtr};
}

int main(int argc, char** argv) {
    static const char* const names[] = {"Mono", "Stereo", "LCR", "Quad", "LCRS", "5_0", "5_1", "6_0", "6_1", "7_0", "7_1"};
    static const int channels[] = {1, 2, 3, 4, 4, 5, 6, 6, 7, 7, 8};
    const float gain = 1.0000013f * 1.0000013f; /* each 0 dB gain carries the fine table's half-step bias */
    void* lib = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    int failures = 0;
    if (!lib) return fprintf(stderr, "usage: %s <libstemstrip.so> (%s)\n", argv[0], argc == 2 ? dlerror() : "no path"), 1;
    for (int f = 0; f < 11; ++f) {
        char name[64];
        AlgEntry_Fn entry;
        snprintf(name, sizeof name, "AlgEntry_16_Stem_%s", names[f]);
        *(void**)&entry = dlsym(lib, name);
        if (!entry) {
            fprintf(stderr, "%s not found: %s\n", name, dlerror()), ++failures;
            continue;
        }
        Build(channels[f]);
        SChannelStrip_Alg_Context* array[1] = {&s.ctx};
        entry(array, array + 1);
        for (int c = 0; c < Dyn_kMaxChannels; ++c)
            for (int i = 0; i < kBuffer; ++i) {
                const float want = c < channels[f] ? s.in[c][i] * gain : 0.0f; /* beyond N: untouched */
                if (s.out[c][i] != want)
                    fprintf(stderr, "%s ch %d sample %d: out %.9g, want %.9g\n", name, c, i, s.out[c][i], want), ++failures;
            }
    }
    dlclose(lib);
    if (failures) return fprintf(stderr, "%d failed checks\n", failures), 1;
    return puts("all eleven entries loaded by dlopen and checked"), 0;
}
