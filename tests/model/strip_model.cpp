// Scalar reference model. Every fused multiply-add is an explicit std::fma;
// every other operation is a separately rounded float operation, so this file
// must be compiled with -ffp-contract=off (and never with -ffast-math).
#include "strip_model.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace model {

const Format kFormats[kFormatCount] = {
    {"Mono", 1, 1}, {"Stereo", 2, 1}, {"LCR", 3, 2}, {"Quad", 4, 2},
    {"LCRS", 4, 3}, {"5_0", 5, 3},    {"5_1", 6, 4}, {"6_0", 6, 4},
    {"6_1", 7, 5},  {"7_0", 7, 4},    {"7_1", 8, 5},
};

// ---------------------------------------------------------------------------
// Numeric helpers

int32_t TruncToInt32(float v) {
    // NaN fails both comparisons; 2^31 itself is already out of range.
    if (!(v >= -2147483648.0f && v < 2147483648.0f)) return INT32_MIN;
    return static_cast<int32_t>(v);
}

// ---------------------------------------------------------------------------
// Tables

namespace {

// Rounds an extended-precision value to float and proves that the result is
// the exactly rounded float of the true value: the long double value (good to
// a few units of its 64-bit mantissa) must lie clearly away from both rounding
// boundaries of the chosen float.
float RoundProven(long double v, const char* table, int index) {
    const float r = static_cast<float>(v);
    const long double lo = (static_cast<long double>(std::nextafter(r, -INFINITY)) + r) / 2;
    const long double hi = (static_cast<long double>(std::nextafter(r, INFINITY)) + r) / 2;
    const long double margin = std::fabs(v) * std::ldexp(1.0L, -56);
    if (!(v - lo > margin && hi - v > margin)) {
        std::fprintf(stderr, "model: cannot prove rounding of %s[%d]\n", table, index);
        std::abort();
    }
    return r;
}

// Built once on first use; each entry is verified to be the exactly rounded
// float of its definition (the program aborts if that cannot be proven).
struct Tables {
    float log2lut[513] = {0.0f}, powH[512] = {1.0f}, powL[512];  // log2(1 + i/512), 2^(i/512), 2^((i + 0.5)/2^18)

    Tables() {  // 1 + i/512 is exact in long double; the exact ends are set apart
        for (int i = 1; i < 512; ++i) log2lut[i] = RoundProven(std::log2(1.0L + i / 512.0L), "log2", i);
        log2lut[512] = 1.0f;
        for (int i = 1; i < 512; ++i) powH[i] = RoundProven(std::exp2(i / 512.0L), "powH", i);
        for (int i = 0; i < 512; ++i) powL[i] = RoundProven(std::exp2((i + 0.5L) / 262144.0L), "powL", i);
    }
};

const Tables& GetTables() {
    static const Tables tables;
    return tables;
}

}  // namespace

// ---------------------------------------------------------------------------
// dB conversions

float AmpToDb(float d) {
    if (!(0.0f < d)) return -140.0f;
    const uint32_t u = Bits(d), i = (u >> 14) & 0x1FFu, f = u & 0x3FFFu;
    const int32_t e = static_cast<int32_t>((u >> 23) & 0xFFu);
    const float* lut = GetTables().log2lut;
    const float base = lut[i] + static_cast<float>(e - 127);
    const float frac = static_cast<float>(f) * 6.1035156e-05f;  // 2^-14
    return std::fma(lut[i + 1] - lut[i], frac, base) * 6.0206003f;
}

float DbToAmp(float g) {
    const uint32_t u = static_cast<uint32_t>(TruncToInt32(std::fma(g, 1393317.625f, 1065353216.0f)));
    const float m = GetTables().powH[(u >> 14) & 0x1FFu] * GetTables().powL[(u >> 5) & 0x1FFu];
    return FromBits((u & 0xFF800000u) | (Bits(m) & 0x007FFFFFu));
}

// ---------------------------------------------------------------------------
// Equaliser

void EQ_DezipStep(EQ_SDezipCoefs& smoothed, const EQ_SCoefs& target, float rate) {
    for (int i = 0; i < EQ_kCoefCount; ++i) {
        const float step = (target.coefs[i] - smoothed.coefs[i]) * rate;  // from the float copy, not accum
        smoothed.accum[i] = smoothed.accum[i] + static_cast<double>(step);
        smoothed.coefs[i] = static_cast<float>(smoothed.accum[i]);
    }
}

void EQ_Process(int channels, const EQ_SDezipCoefs* coefs, EQ_SState* state, const float* const* in,
                float* const* out, int pos, int sectionBegin, int sectionEnd) {
    for (int c = 0; c < channels; ++c) {
        float x[4];
        for (int j = 0; j < 4; ++j) x[j] = in[c][pos + j];
        for (int k = sectionBegin; k < sectionEnd; ++k) {  // none for an empty or inverted range: a copy
            const float* s = &coefs->coefs[5 * k];
            const float b0 = s[0], b1 = s[1], b2 = s[2], a1 = s[3], a2 = s[4];
            float z1 = state[c].z1[k], z2 = state[c].z2[k];
            for (float& xj : x) {
                const float y = std::fma(xj, b0, z1);
                z1 = std::fma(y, a1, std::fma(xj, b1, z2));
                z2 = std::fma(y, a2, xj * b2);
                xj = y;
            }
            state[c].z1[k] = z1, state[c].z2[k] = z2;
        }
        for (int j = 0; j < 4; ++j) out[c][pos + j] = x[j];
    }
}

// ---------------------------------------------------------------------------
// Dynamics gain computer

void ProcessAudioGain4(float* x, Dyn_SState* S, const SChannelStrip_Alg_Context* ctx,
                       float t, int slot, float* m) {
    const Dyn_SCoefsBlock& K = *ctx->dynCoefs;

    // Slowly moving parameters, once per call.
    S->compFloorDb = std::fma(K.compFloorDbTarget - S->compFloorDb, t, S->compFloorDb);
    S->expRangeDb = std::fma(K.expRangeDbTarget - S->expRangeDb, t, S->expRangeDb);
    S->outputGain = std::fma(K.outputGainTarget - S->outputGain, t, S->outputGain);

    // Sample by sample; every stage's state carries over to the next sample.
    const int32_t holdReload = TruncToInt32(static_cast<float>(K.holdSamples));
    float z1 = S->levelZ1, z2 = S->levelZ2, e = S->peakEnvelope, pc = S->compGainDb, p = S->expGainDb;
    int32_t h = S->holdCounter;
    bool open = S->gateOpen > 0;
    for (int k = 0; k < 4; ++k) {
        // Level filter and peak detector (both always run), then the detector's choice in dB.
        const float xk = x[k];
        const float y = std::fma(xk, K.levelB0, z1);
        z1 = std::fma(y, K.levelA1, std::fma(xk, K.levelB1, z2));
        z2 = std::fma(y, K.levelA2, xk * K.levelB2);
        S->levelOut = y;
        e = (xk > e) ? xk : e * K.peakDecay;
        const float d = K.detectorMode < 1 ? e : y, l = AmpToDb(d);

        // Compressor.
        const float ct = l > K.compKneeTopDb      ? (l - K.compThresholdDb) * K.compSlope
                         : l > K.compKneeBottomDb ? std::fma(K.compKneeB, l, K.compKneeA * (l * l)) + K.compKneeC
                                                  : 0.0f;
        pc = std::fma(ct <= pc ? K.compAttackCoef : K.compReleaseCoef, ct - pc, pc);
        if (pc < S->compFloorDb) pc = S->compFloorDb;

        // Expander with gate and hold.
        float curve = 0.0f;
        if (l < K.expKneeBottomDb)
            curve = (l - K.expThresholdDb) * K.expSlope;
        else if (l <= K.expKneeTopDb)  // the last sample's knee sums in another order
            curve = k < 3 ? std::fma(K.expKneeA, l * l, K.expKneeB * l) + K.expKneeC
                          : std::fma(K.expKneeB, l, K.expKneeA * (l * l)) + K.expKneeC;
        open = l >= (open ? K.gateCloseThresholdDb : K.gateOpenThresholdDb);
        const float target = (open && curve >= S->expRangeDb) ? curve : S->expRangeDb;
        if (target > p) {
            p = std::fma(K.expAttackCoef, target - p, p);
            h = holdReload;
        } else if (h != 0) {
            h = static_cast<int32_t>(static_cast<uint32_t>(h) - 1u);  // wraps
        } else {
            p = std::fma(K.expReleaseCoef, target - p, p);
        }

        // Linear gain and meters.
        const float gc = DbToAmp(pc), ge = DbToAmp(p), G = gc * ge;
        x[k] = S->outputGain * G;
        if (G > m[1] || (m[1] == 0.0f && d > m[0])) m[1] = G, m[0] = d;
        if (1.0f - gc > m[2]) m[2] = 1.0f - gc;
        if (1.0f - ge > m[3]) m[3] = 1.0f - ge;
        if (G > m[slot]) m[slot] = G;
    }
    S->levelZ1 = z1, S->levelZ2 = z2, S->peakEnvelope = e;
    S->compGainDb = pc, S->expGainDb = p, S->holdCounter = h, S->gateOpen = open ? 1 : 0;
}

// ---------------------------------------------------------------------------
// Dynamics channel processing

namespace {

void Dynamics_Process(int N, const SChannelStrip_Alg_Context* ctx, const float* const* in, float* const* out,
                      const float* key, int pos, float* runState) {
    const Dyn_SCoefsBlock& K = *ctx->dynCoefs;
    Dyn_SState* st = ctx->dynState;

    // 1. Detector pre-filter of every channel's side-chain source; 2. the
    // per-sample maximum magnitude within each group.
    float sc[8][4], row[8][4] = {};
    for (int c = 0; c < N; ++c) {
        const float* src = (K.keySource == 1 && key != nullptr) ? key : in[c];
        float* groupRow = row[K.channelGroup[c]];
        float z1 = st[c].detFilterZ1, z2 = st[c].detFilterZ2;
        for (int i = 0; i < 4; ++i) {
            const float x = src[pos + i];
            const float y = std::fma(x, K.detFilterB0, z1);
            z1 = std::fma(y, K.detFilterA1, std::fma(x, K.detFilterB1, z2));
            z2 = std::fma(y, K.detFilterA2, x * K.detFilterB2);
            sc[c][i] = y;
            if (std::fabs(y) > groupRow[i]) groupRow[i] = std::fabs(y);
        }
        st[c].detFilterZ1 = z1, st[c].detFilterZ2 = z2;
    }

    // 3. One gain computer per group, run in its lowest channel's record; 4.
    // every member shows the owner's gain meter.
    int owner[8] = {-1, -1, -1, -1, -1, -1, -1, -1};
    const float t = st[0].dezipRate;
    for (int c = 0; c < N; ++c) {
        const int g = K.channelGroup[c];
        if (owner[g] < 0) {
            ProcessAudioGain4(row[g], &st[c], ctx, t, 4 + c, runState);
            owner[g] = c;
        }
        for (int i = 0; i < 4; ++i) out[c][pos + i] = K.keyListen != 0 ? sc[c][i] : in[c][pos + i] * row[g][i];
        runState[4 + c] = runState[4 + owner[g]];
    }
}

// ---------------------------------------------------------------------------
// Bypass and peak meters

// Over the 16 samples of the block from blockStart.
void OutputMeters(int N, const float* const* in, float* const* out, float* inputPeaks, float* outputPeaks,
                  const Dyn_SCoefsBlock* K, int blockStart) {
    const bool bypassed = K->bypass >= 1;
    for (int c = 0; c < N; ++c) {
        float a = inputPeaks[c], b = outputPeaks[c];
        for (int i = blockStart; i < blockStart + 16; ++i) {
            if (bypassed) out[c][i] = in[c][i];
            const float v = std::fabs(in[c][i] * K->inputMeterGain);
            if (v > a) a = v;
            const float w = std::fabs(bypassed ? in[c][i] : out[c][i]);
            if (w > b) b = w;
        }
        inputPeaks[c] = a, outputPeaks[c] = b;
    }
}

}  // namespace

// ---------------------------------------------------------------------------
// Driver

void Entry(int formatIndex, SChannelStrip_Alg_Context* const* begin, const void* end) {
    const int N = kFormats[formatIndex].channels;
    for (SChannelStrip_Alg_Context* const* it = begin; static_cast<const void*>(it) != end; ++it) {
        const SChannelStrip_Alg_Context* ctx = *it;
        const int32_t k = *ctx->sideChainIndex;
        const float* key = k == 0 ? nullptr : ctx->inputs[k];
        const int32_t n = *ctx->sampleCount;
        if (n < 1) continue;

        const EQ_SCoefs& target = *ctx->eqTarget;
        const float rate = ctx->dynState[0].dezipRate;
        float* const* out = ctx->outputs;
        float* priv = *ctx->privateState;  // inputPeaks[N], outputPeaks[N], dynamicsRunState[4 + N]
        int32_t blockStart = 0;
        do {
            for (int pos = blockStart; pos < blockStart + 16; pos += 4) {  // four sub-blocks of four
                EQ_DezipStep(*ctx->eqCoefs, target, rate);
                EQ_Process(N, ctx->eqCoefs, ctx->eqState, ctx->inputs, out, pos, target.sectionBegin[0], target.sectionEnd[0]);
                Dynamics_Process(N, ctx, out, out, key, pos, priv + 2 * N);
                EQ_Process(N, ctx->eqCoefs, ctx->eqState, out, out, pos, target.sectionBegin[1], target.sectionEnd[1]);
            }
            for (int i = 0; i < EQ_kCoefCount; ++i)  // the float copy refreshed from accum once per block
                ctx->eqCoefs->coefs[i] = static_cast<float>(ctx->eqCoefs->accum[i]);
            OutputMeters(N, ctx->inputs, out, priv, priv + N, ctx->dynCoefs, blockStart);
            blockStart += 16;
        } while (blockStart < n);
    }
}

}  // namespace model
