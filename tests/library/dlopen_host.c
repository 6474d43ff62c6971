/* A minimal C11 host: loads the library by path with dlopen (it is not linked
 * against it), builds one valid context per stem format from the public
 * header alone and checks each entry end to end. Usage: dlopen_host <lib>. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "stemstrip.h"

enum { kSamples = 40, kBuffer = 48 }; /* 40 samples run as three whole blocks */

static int failures;

#define CHECK(cond, ...)                                  \
    do {                                                  \
        if (!(cond)) {                                    \
            ++failures;                                   \
            fprintf(stderr, "%s:%d: ", __FILE__, __LINE__); \
            fprintf(stderr, __VA_ARGS__);                 \
            fputc('\n', stderr);                          \
        }                                                 \
    } while (0)

struct Instance {
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
};

/* Zeroed states, an identity section (b0 = 1) before the dynamics and none
 * after, and dynamics at 0 dB everywhere with unity output gain. */
static void Build(struct Instance* s, int n) {
    memset(s, 0, sizeof *s);
    for (int c = 0; c < n; ++c) {
        for (int i = 0; i < kBuffer; ++i) {
            /* distinct, sign-changing, exactly representable samples */
            s->in[c][i] = (float)((i * 7 + c * 3) % 17 - 8) / 16.0f;
            s->out[c][i] = -99.0f;
        }
        s->inPtr[c] = s->in[c];
        s->outPtr[c] = s->out[c];
        s->dynState[c].outputGain = 1.0f;
    }
    s->count = kSamples;
    s->dyn.outputGainTarget = 1.0f;
    s->dyn.gateOpenThresholdDb = -1000.0f;
    s->dyn.gateCloseThresholdDb = -1000.0f;
    s->dyn.detFilterB0 = 1.0f;
    s->dyn.levelB0 = 1.0f;
    s->eqTarget.coefs[0] = 1.0f;
    s->eqCoefs.coefs[0] = 1.0f;
    s->eqCoefs.accum[0] = 1.0;
    s->eqTarget.sectionEnd[0] = 1;
    s->privPtr = s->priv;
    s->ctx = (SChannelStrip_Alg_Context){s->inPtr, s->outPtr, &s->key, &s->count, &s->dyn, s->dynState,
                                         &s->eqTarget, &s->eqCoefs, s->eqState, &s->privPtr};
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s <libstemstrip.so>\n", argv[0]);
        return 2;
    }
    void* lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
        fprintf(stderr, "dlopen: %s\n", dlerror());
        return 1;
    }
    static const struct {
        const char* name;
        int channels;
    } formats[] = {{"AlgEntry_16_Stem_Mono", 1}, {"AlgEntry_16_Stem_Stereo", 2}, {"AlgEntry_16_Stem_LCR", 3},
                   {"AlgEntry_16_Stem_Quad", 4}, {"AlgEntry_16_Stem_LCRS", 4},   {"AlgEntry_16_Stem_5_0", 5},
                   {"AlgEntry_16_Stem_5_1", 6},  {"AlgEntry_16_Stem_6_0", 6},    {"AlgEntry_16_Stem_6_1", 7},
                   {"AlgEntry_16_Stem_7_0", 7},  {"AlgEntry_16_Stem_7_1", 8}};
    /* Each of the two 0 dB gains carries the fine table's half-step bias. */
    const float bias = 1.0000013f;
    const float gain = bias * bias;
    static struct Instance inst;

    for (size_t f = 0; f < sizeof formats / sizeof formats[0]; ++f) {
        const char* name = formats[f].name;
        const int n = formats[f].channels;
        AlgEntry_Fn entry;
        *(void**)&entry = dlsym(lib, name);
        CHECK(entry != NULL, "%s not found: %s", name, dlerror());
        if (!entry) continue;

        Build(&inst, n);
        SChannelStrip_Alg_Context* array[1] = {&inst.ctx};
        entry(array, array + 1);

        for (int c = 0; c < n; ++c)
            for (int i = 0; i < kBuffer; ++i)
                CHECK(inst.out[c][i] == inst.in[c][i] * gain, "%s ch %d sample %d: out %.9g, want %.9g", name, c, i,
                      inst.out[c][i], inst.in[c][i] * gain);
        for (int c = n; c < Dyn_kMaxChannels; ++c)
            CHECK(inst.out[c][0] == 0.0f, "%s wrote output channel %d of %d", name, c, n);
    }
    dlclose(lib);
    if (failures) fprintf(stderr, "%d failed checks\n", failures);
    else printf("all eleven entries loaded by dlopen and checked\n");
    return failures ? 1 : 0;
}
