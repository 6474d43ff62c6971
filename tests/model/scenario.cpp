#include "scenario.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <sstream>

#include "strip_model.h"

namespace scenario {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kFs = 48000.0;

int RoundedLength(int32_t count) { return count < 1 ? 16 : (count + 15) / 16 * 16; }

uint32_t FloatBits(float v) { return model::Bits(v); }

// gateOpen, holdCounter and reserved13 of Dyn_SState are integers.
bool IsIntStateWord(int w) { return w >= 11 && w <= 13; }
static_assert(sizeof(Dyn_SState) == 15 * 4);

// Indices of the integer words of Dyn_SCoefsBlock.
bool DynCoefIsInt(int w) { return w == 11 || w == 24 || (w >= 36 && w <= 46) || w == 48; }

template <typename T>
void ToWords(const T& rec, uint32_t* words) {
    std::memcpy(words, &rec, sizeof(T));
}

template <typename T>
void FromWords(T& rec, const uint32_t* words) {
    std::memcpy(&rec, words, sizeof(T));
}

}  // namespace

Scenario& Scenario::operator=(const Scenario& other) {
    if (this == &other) return *this;
    format = other.format;
    counts = other.counts;
    keyIndices = other.keyIndices;
    dynCoefs = other.dynCoefs;
    eqTargets = other.eqTargets;
    instances = other.instances;
    order.clear();  // contexts by identity: translated
    for (SChannelStrip_Alg_Context* p : other.order) order.push_back(&instances[other.IndexOf(p)].ctx);
    Relink();
    return *this;
}

int Scenario::IndexOf(const SChannelStrip_Alg_Context* ctx) const {
    int i = 0;
    while (&instances[i].ctx != ctx) ++i;
    return i;
}

std::vector<float>& Scenario::Storage(const BufferRef& r) {
    Instance& o = instances[r.instance];
    return r.output && !o.inPlace ? o.outBufs[r.channel] : o.inBufs[r.channel];
}

void Scenario::Relink() {
    for (Instance& in : instances) {
        const int N = in.formatChannels;
        auto pointer = [&](const std::vector<BufferRef>& refs, size_t j, std::vector<float>& own) {
            return j < refs.size() && refs[j].instance >= 0 ? Storage(refs[j]).data() + refs[j].offset : own.data();
        };
        in.inPtrs.assign(in.inBufs.size(), nullptr);
        for (size_t j = 0; j < in.inBufs.size(); ++j) in.inPtrs[j] = pointer(in.inShare, j, in.inBufs[j]);
        in.outPtrs.assign(N, nullptr);
        for (int c = 0; c < N; ++c)
            in.outPtrs[c] = in.inPlace ? const_cast<float*>(in.inPtrs[c]) : pointer(in.outShare, c, in.outBufs[c]);
        in.privPtr = (in.privOf >= 0 ? instances[in.privOf] : in).priv.data();
        SChannelStrip_Alg_Context& ctx = in.ctx;
        ctx.inputs = in.inPtrs.data();
        ctx.outputs = in.outPtrs.data();
        ctx.sideChainIndex = &keyIndices[in.keySlot];
        ctx.sampleCount = &counts[in.countSlot];
        ctx.dynCoefs = &dynCoefs[in.dynCoefSlot];
        ctx.dynState = (in.dynStateOf >= 0 ? instances[in.dynStateOf] : in).dynState.data();
        ctx.eqTarget = &eqTargets[in.eqTargetSlot];
        ctx.eqCoefs = (in.eqCoefsOf >= 0 ? instances[in.eqCoefsOf] : in).eqCoefs.data();
        ctx.eqState = (in.eqStateOf >= 0 ? instances[in.eqStateOf] : in).eqState.data();
        ctx.privateState = &in.privPtr;
    }
}

double Generator::Uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng_); }
int Generator::Int(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
bool Generator::Chance(double p) { return Uniform(0.0, 1.0) < p; }

float Generator::WildFloat() {
    const uint32_t r = static_cast<uint32_t>(rng_());
    switch (Int(0, 13)) {
        case 0: return model::FromBits(0x7FC00000u | (r & 0x003FFFFFu));       // quiet NaN
        case 1: return model::FromBits(0xFF800001u | (r & 0x003FFFFFu));       // negative signalling NaN
        case 2: return std::numeric_limits<float>::infinity();
        case 3: return -std::numeric_limits<float>::infinity();
        case 4: return 0.0f;
        case 5: return -0.0f;
        case 6: return model::FromBits((r & 0x807FFFFFu) | 1u);                // denormal
        case 7: return Chance(0.5) ? std::numeric_limits<float>::max() : -std::numeric_limits<float>::max();
        case 8: return Chance(0.5) ? std::numeric_limits<float>::min() : -std::numeric_limits<float>::min();
        case 9: return static_cast<float>(Int(-3, 3));
        case 10: return model::FromBits(0x3F800000u + (r % 7) - 3);            // around 1.0
        case 11: return static_cast<float>(Uniform(-1e6, 1e6));
        default: return model::FromBits(r);                                     // any pattern
    }
}

int32_t Generator::WildInt() {
    switch (Int(0, 7)) {
        case 0: return 0;
        case 1: return 1;
        case 2: return -1;
        case 3: return INT32_MIN;
        case 4: return INT32_MAX;
        case 5: return Int(-5, 5);
        case 6: return Int(1 << 23, 1 << 25);  // around the float-exact limit
        default: return static_cast<int32_t>(static_cast<uint32_t>(rng_()));
    }
}

int32_t Generator::SampleCount() {
    if (Chance(opt_.variety * 0.4))  // hundreds of blocks more than the others
        return Chance(0.8) ? Int(257, 2048) : Int(2049, 8192);
    switch (Chance(opt_.skippedCounts) ? Int(0, 1) : Int(2, 11)) {
        case 0: return 0;
        case 1: return Chance(0.5) ? -1 : (Chance(0.5) ? -16 : INT32_MIN);
        case 2: return 1;
        case 3: return 15;
        case 4: return 16;
        case 5: return 17;
        case 6: return Int(31, 33);
        default: return Int(1, 200);
    }
}

void Generator::FillAudio(std::vector<float>& buf, int valid) {
    const int kind = Int(0, 11);
    const double amp = Chance(0.2) ? Uniform(0.0, 4.0) : std::pow(10.0, Uniform(-5.0, 0.3));
    const double f1 = Uniform(20.0, 12000.0) / kFs, f2 = Uniform(20.0, 2000.0) / kFs;
    const double phase = Uniform(0.0, 2 * kPi);
    const int burstAt = Int(0, valid);
    for (int i = 0; i < valid; ++i) {
        double v;
        switch (kind) {
            case 0: v = 0.0; break;                                               // silence
            case 1: v = amp * std::sin(2 * kPi * f1 * i + phase); break;
            case 2: v = amp * Uniform(-1.0, 1.0); break;
            case 3: v = i >= burstAt ? amp * std::sin(2 * kPi * f2 * i) : amp * 1e-4 * Uniform(-1, 1); break;
            case 4: v = (i % 48 == 0) ? amp : 0.0; break;                         // clicks
            case 5: v = amp * (std::sin(2 * kPi * f1 * i) + 0.5 * std::sin(2 * kPi * f2 * i + phase)); break;
            case 6:
            case 7: v = (i / 8 + burstAt) % 3 == 0 ? 0.0 : std::ldexp(1.0, -((i / 8 + burstAt) % 13)); break;  // levels of exact dB
            default: v = amp * Uniform(-1.0, 1.0) * std::sin(2 * kPi * f2 * i + phase); break;
        }
        buf[i] = static_cast<float>(v);
    }
    if (Chance(opt_.audioSpecials)) {  // specials sprinkled into the audio
        const int hits = Int(1, 4);
        for (int h = 0; h < hits && valid > 0; ++h) buf[Int(0, valid - 1)] = WildFloat();
    }
    if (Chance(opt_.audioSpecials * 0.2)) {
        for (int i = 0; i < valid; ++i) buf[i] = WildFloat();
    }
}

// A stable, sensible biquad (bell, low or high pass, identity or plain gain),
// stored with the feedback coefficients sign-inverted as they are added.
void Generator::RandomBiquad(float* c) {
    const double w0 = 2 * kPi * std::pow(10.0, Uniform(std::log10(20.0), std::log10(20000.0))) / kFs;
    const double A = std::pow(10.0, Uniform(-18.0, 18.0) / 40.0);
    const double cw = std::cos(w0), alpha = std::sin(w0) / (2 * Uniform(0.3, 8.0));
    double b[3] = {1, 0, 0}, a[3] = {1, 0, 0};
    switch (Int(0, 3)) {
        case 0:  // bell
            b[0] = 1 + alpha * A, b[1] = -2 * cw, b[2] = 1 - alpha * A;
            a[0] = 1 + alpha / A, a[1] = -2 * cw, a[2] = 1 - alpha / A;
            break;
        case 1: {  // low pass (sign 1) or high pass (sign -1)
            const double sign = Int(0, 1) ? 1.0 : -1.0;
            b[0] = b[2] = (1 - sign * cw) / 2, b[1] = sign * (1 - sign * cw);
            a[0] = 1 + alpha, a[1] = -2 * cw, a[2] = 1 - alpha;
            break;
        }
        case 2: break;  // identity
        default: b[0] = A;  // plain gain
    }
    for (int k = 0; k < 3; ++k) c[k] = static_cast<float>(b[k] / a[0]);
    c[3] = static_cast<float>(-a[1] / a[0]);
    c[4] = static_cast<float>(-a[2] / a[0]);
}

void Generator::FillEqTarget(EQ_SCoefs& t, bool adversarial) {
    const bool flat = Chance(0.25);  // every band at unity: the EQ passes samples exactly
    for (int k = 0; k < EQ_kMaxSections; ++k) {
        RandomBiquad(&t.coefs[5 * k]);
        if (flat) {
            t.coefs[5 * k] = 1.0f;
            for (int j = 1; j < 5; ++j) t.coefs[5 * k + j] = 0.0f;
        }
    }
    for (int s = 0; s < 2; ++s) {
        const int kind = Int(0, 9);
        if (kind == 0) {  // empty
            t.sectionBegin[s] = t.sectionEnd[s] = Int(0, 8);
        } else if (kind == 1) {  // inverted, possibly far out: a bypass touches nothing
            t.sectionBegin[s] = Int(0, 8);
            t.sectionEnd[s] = Chance(0.5) ? Int(-5, t.sectionBegin[s]) : INT32_MIN;
        } else {
            const int b = Int(0, 7);
            t.sectionBegin[s] = b;
            t.sectionEnd[s] = Int(b + 1, 8);
        }
    }
    if (Chance(0.3)) {  // the classic split: everything before, nothing after (or vice versa)
        const int s = Int(0, 1);
        t.sectionBegin[s] = 0; t.sectionEnd[s] = 8;
        t.sectionBegin[1 - s] = 8; t.sectionEnd[1 - s] = 8;
    }
    for (int s = 0; s < 2; ++s)
        if (Chance(opt_.variety * 0.3)) OutOfRangeBypass(t, s);
    if (adversarial)
        for (float& v : t.coefs)
            if (Chance(0.1)) v = WildFloat();
}

// A stage range outside 0..8 that is still a bypass (begin >= end), so it
// touches no state: equal far out, or inverted with one or both ends far out.
void Generator::OutOfRangeBypass(EQ_SCoefs& t, int stage) {
    int32_t b = 0, e = 0;
    switch (Int(0, 5)) {
        case 0: b = e = Int(9, 1000); break;
        case 1: b = e = Chance(0.5) ? INT32_MAX : INT32_MIN; break;
        case 2: b = e = Int(-1000, -1); break;
        case 3: b = Int(9, 1000); e = Int(-1000, 8); break;
        case 4: b = INT32_MAX; e = Chance(0.5) ? INT32_MIN : Int(-5, 12); break;
        default: b = Int(-5, 8); e = INT32_MIN; break;
    }
    t.sectionBegin[stage] = b;
    t.sectionEnd[stage] = e;
}

void Generator::SnapSmoothed(EQ_SDezipCoefs& d, const EQ_SCoefs& target, bool subUlp) {
    const bool exactNegativeZeros = Chance(0.1);
    for (int i = 0; i < EQ_kCoefCount; ++i) {
        float t = target.coefs[i];
        if (FloatBits(t) == 0x80000000u && !exactNegativeZeros) t = 0.0f;
        double a = t;
        if (subUlp && std::isfinite(t) && Chance(0.7)) {
            const float mag = std::fabs(t);
            float ulp = mag - std::nextafter(mag, 0.0f);
            if (ulp == 0.0f) ulp = std::numeric_limits<float>::denorm_min();
            const double off = static_cast<double>(ulp) * Uniform(-0.45, 0.45);
            if (FloatBits(static_cast<float>(a + off)) == FloatBits(t)) a += off;
        }
        d.accum[i] = a;
        d.coefs[i] = t;
    }
}

float Generator::SpecialRate() {
    switch (Int(0, 9)) {
        case 0: return 0.0f;
        case 1: return -0.0f;
        case 2: return std::numeric_limits<float>::infinity();
        case 3: return -std::numeric_limits<float>::infinity();
        case 4: return model::FromBits(0x7FC00000u | (static_cast<uint32_t>(rng_()) & 0x003FFFFFu));
        case 5: return std::numeric_limits<float>::denorm_min() * static_cast<float>(Int(1, 1000));
        case 6: return 1.0f;
        case 7: return 2.0f;
        case 8: return std::numeric_limits<float>::min();
        default: return 1e-30f;
    }
}

// Settled (snapped to the target, exactly or a fraction of an ulp off) or
// gliding: from elsewhere, from a few ulps away, from a sub-ulp residue, or
// partly from zero; adversarial sets get float copies out of step with their
// accumulators and wild accumulators.
void Generator::FillEqSmoothed(EQ_SDezipCoefs& d, const EQ_SCoefs& target, bool adversarial) {
    if (Chance(opt_.settledEq)) {
        SnapSmoothed(d, target, Chance(0.5));
    } else {
        const int kind = Int(0, 3);
        for (int i = 0; i < EQ_kCoefCount; ++i) {
            double a = target.coefs[i];
            if (kind == 0) a = Uniform(-2.0, 2.0);
            if (kind == 1 && std::isfinite(target.coefs[i])) {
                float f = target.coefs[i];
                for (int k = Int(1, 4); k > 0; --k) f = std::nextafter(f, Chance(0.5) ? 4.0f : -4.0f);
                a = f;
            }
            if (kind == 2) a += Uniform(-1e-7, 1e-7);
            if (kind == 3 && Chance(0.5)) a = 0.0;
            d.accum[i] = a;
            d.coefs[i] = static_cast<float>(a);
        }
    }
    for (int i = 0; i < EQ_kCoefCount && adversarial; ++i) {
        if (Chance(0.08)) d.coefs[i] = WildFloat();
        if (Chance(0.08)) {
            const double wild[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                                   4.9e-324, 1e300, -0.0, static_cast<double>(WildFloat())};
            d.accum[i] = wild[Int(0, 5)];
            d.coefs[i] = static_cast<float>(d.accum[i]);
        }
    }
}

void Generator::FillDynCoefs(Dyn_SCoefsBlock& K, int N, int G, bool adversarial) {
    auto coefFromMs = [&](double ms) { return static_cast<float>(1.0 - std::exp(-1.0 / (ms * kFs / 1000.0))); };

    // Compressor: threshold, ratio and knee width turned into the curve fields.
    const double cT = Uniform(-60.0, 0.0);
    const double ratio = Chance(0.15) ? 1e9 : Uniform(1.0, 20.0);
    const double cW = Chance(0.2) ? 0.0 : Uniform(0.5, 24.0);
    const double cSlope = 1.0 / ratio - 1.0;
    const double cBot = cT - cW / 2, cTop = cT + cW / 2;
    const double cA = cW > 0 ? cSlope / (2 * cW) : 0.0;
    K.compSlope = static_cast<float>(cSlope);
    K.compKneeA = static_cast<float>(cA);
    K.compKneeB = static_cast<float>(-2 * cA * cBot);
    K.compKneeC = static_cast<float>(cA * cBot * cBot);
    K.compThresholdDb = static_cast<float>(cT);
    K.compKneeTopDb = static_cast<float>(cTop);
    K.compKneeBottomDb = static_cast<float>(cBot);
    K.compFloorDbTarget = static_cast<float>(Chance(0.2) ? -140.0 : Uniform(-60.0, 0.0));
    K.outputGainTarget = static_cast<float>(Chance(0.3) ? 1.0 : Uniform(0.25, 4.0));
    K.compAttackCoef = Chance(0.1) ? 1.0f : coefFromMs(Uniform(0.05, 50.0));
    K.compReleaseCoef = coefFromMs(Uniform(5.0, 2000.0));
    K.reserved11 = static_cast<int32_t>(static_cast<uint32_t>(rng_()));

    // Expander/gate.
    const double eT = Uniform(-80.0, -10.0);
    const double eRatio = Uniform(1.0, 10.0);
    const double eW = Chance(0.2) ? 0.0 : Uniform(0.5, 20.0);
    const double eSlope = eRatio - 1.0;
    const double eBot = eT - eW / 2, eTop = eT + eW / 2;
    const double eA = eW > 0 ? -eSlope / (2 * eW) : 0.0;
    K.expSlope = static_cast<float>(eSlope);
    K.expKneeA = static_cast<float>(eA);
    K.expKneeB = static_cast<float>(-2 * eA * eTop);
    K.expKneeC = static_cast<float>(eA * eTop * eTop);
    K.expThresholdDb = static_cast<float>(eT);
    const double gOpen = Uniform(-90.0, -20.0);
    K.gateOpenThresholdDb = static_cast<float>(Chance(0.2) ? -200.0 : gOpen);
    K.gateCloseThresholdDb = static_cast<float>(gOpen - Uniform(0.0, 12.0));
    K.expKneeTopDb = static_cast<float>(eTop);
    K.expKneeBottomDb = static_cast<float>(eBot);
    K.expRangeDbTarget = static_cast<float>(Chance(0.2) ? -140.0 : Uniform(-90.0, 0.0));
    K.expAttackCoef = coefFromMs(Uniform(0.05, 20.0));
    K.expReleaseCoef = coefFromMs(Uniform(5.0, 2000.0));
    K.holdSamples = Chance(0.5) ? Int(0, 8) : Int(0, 4800);
    K.peakDecay = static_cast<float>(std::exp(-1.0 / (Uniform(1.0, 500.0) * kFs / 1000.0)));

    // Thresholds placed exactly on levels the detector can produce (silence,
    // 0 dB, whole octaves), so that the boundary tests get exercised.
    auto edge = [&](float& f) {
        if (!Chance(0.15)) return;
        const int k = Int(-1, 12);
        f = k < 0 ? -140.0f : -(static_cast<float>(k) * 6.0206003f);
    };
    edge(K.compKneeTopDb);
    edge(K.compKneeBottomDb);
    edge(K.expKneeTopDb);
    edge(K.expKneeBottomDb);
    edge(K.gateOpenThresholdDb);
    edge(K.gateCloseThresholdDb);

    RandomBiquad(&K.detFilterB0);  // five consecutive floats
    if (Chance(0.4)) {
        K.detFilterB0 = 1.0f;
        K.detFilterB1 = K.detFilterB2 = K.detFilterA1 = K.detFilterA2 = 0.0f;
    }
    if (Chance(0.6)) {             // a one-pole smoother as level filter
        const double p = std::exp(-1.0 / (Uniform(1.0, 300.0) * kFs / 1000.0));
        K.levelB0 = static_cast<float>(1 - p);
        K.levelB1 = K.levelB2 = 0.0f;
        K.levelA1 = static_cast<float>(p);
        K.levelA2 = 0.0f;
    } else {
        RandomBiquad(&K.levelB0);
    }

    // Linking: all together, all apart (as far as slots allow) or random.
    const int link = Int(0, 2);
    for (int c = 0; c < Dyn_kMaxChannels; ++c) {
        if (c >= N) { K.channelGroup[c] = Chance(0.5) ? 0 : WildInt(); continue; }
        K.channelGroup[c] = link == 0 ? 0 : link == 1 ? (c < G ? c : G - 1) : Int(0, G - 1);
    }
    K.detectorMode = Chance(0.5) ? 0 : (Chance(0.7) ? 1 : WildInt());
    K.keySource = Chance(0.4) ? 1 : (Chance(0.5) ? 0 : (Chance(0.5) ? 2 : WildInt()));
    K.keyListen = Chance(0.85) ? 0 : (Chance(0.5) ? 1 : WildInt());
    K.inputMeterGain = static_cast<float>(Chance(0.5) ? 1.0 : (Chance(0.2) ? 0.0 : Uniform(0.1, 4.0)));
    K.bypass = Chance(0.8) ? 0 : (Chance(0.4) ? 1 : (Chance(0.3) ? -5 : WildInt()));

    if (adversarial) {
        // Any word may become any pattern, except the linking slots the host
        // must keep valid.
        uint32_t w[49];
        ToWords(K, w);
        for (int i = 0; i < 49; ++i) {
            if (!Chance(0.12)) continue;
            if (i >= 36 && i < 36 + N) continue;
            w[i] = DynCoefIsInt(i) ? static_cast<uint32_t>(WildInt()) : FloatBits(WildFloat());
        }
        FromWords(K, w);
    }
}

void Generator::FillDynState(Dyn_SState& s, bool adversarial) {
    std::memset(&s, 0, sizeof s);
    if (Chance(0.5)) {  // running values rather than a fresh start
        s.compGainDb = static_cast<float>(Uniform(-20.0, 0.0));
        s.expGainDb = static_cast<float>(Uniform(-80.0, 0.0));
        s.detFilterZ1 = static_cast<float>(Uniform(-0.1, 0.1));
        s.detFilterZ2 = static_cast<float>(Uniform(-0.1, 0.1));
        s.levelZ1 = static_cast<float>(Uniform(0.0, 0.5));
        s.levelZ2 = static_cast<float>(Uniform(-0.01, 0.01));
        s.peakEnvelope = static_cast<float>(Uniform(0.0, 1.0));
        s.levelOut = static_cast<float>(Uniform(0.0, 1.0));
        s.outputGain = static_cast<float>(Uniform(0.25, 4.0));
        s.compFloorDb = static_cast<float>(Uniform(-60.0, 0.0));
        s.expRangeDb = static_cast<float>(Uniform(-90.0, 0.0));
        s.gateOpen = Int(0, 1);
        s.holdCounter = Int(0, 100);
    }
    s.reserved13 = static_cast<int32_t>(static_cast<uint32_t>(rng_()));
    const int rate = Int(0, 5);
    s.dezipRate = rate == 0 ? 0.0f : rate == 1 ? 1.0f : rate == 2 ? 0.5f
                                                      : static_cast<float>(std::pow(10.0, Uniform(-4.0, 0.0)));
    if (adversarial) {
        uint32_t w[15];
        ToWords(s, w);
        for (int i = 0; i < 15; ++i)
            if (Chance(0.12)) w[i] = IsIntStateWord(i) ? static_cast<uint32_t>(WildInt()) : FloatBits(WildFloat());
        FromWords(s, w);
    }
}

void Generator::FillInstanceBuffers(Scenario& s, Instance& in, bool adversarial) {
    const int len = RoundedLength(s.counts[in.countSlot]);
    auto prepare = [&](std::vector<float>& b) {
        b.assign(len + kCanaryFloats, 0.0f);
        FillAudio(b, len);
        for (int i = len; i < len + kCanaryFloats; ++i) b[i] = static_cast<float>(Int(-99999, 99999)) + 0.25f;
    };
    in.inBufs.resize(in.formatChannels + in.extraInputs);
    for (auto& b : in.inBufs) prepare(b);
    in.outBufs.resize(in.inPlace ? 0 : in.formatChannels);
    for (auto& b : in.outBufs) {
        prepare(b);  // stale host content; the whole rounded length gets overwritten
        if (adversarial && Chance(0.5))
            for (int i = 0; i < len; ++i) b[i] = WildFloat();
    }
}

Scenario Generator::Make(int format, const Options& opt) {
    const model::Format& f = model::kFormats[format];
    const int N = f.channels, G = f.groups;
    Scenario s;
    s.format = format;
    opt_ = opt;

    const int instanceCount =
        opt.minInstances <= 0 && Chance(0.1) ? 0 : Int(std::max(1, opt.minInstances), std::max(1, opt.maxInstances));
    const bool share = Chance(opt.sharedBlocks);
    const int slots = share ? std::max(1, instanceCount - 1) : std::max(1, instanceCount);
    for (int i = 0; i < slots; ++i) {
        const bool adv = Chance(opt.adversarial);
        s.counts.push_back(SampleCount());
        s.keyIndices.push_back(Chance(0.4) ? 0 : Int(1, N));  // own channels or the extra buffer at N
        s.dynCoefs.emplace_back();
        FillDynCoefs(s.dynCoefs.back(), N, G, adv);
        s.eqTargets.emplace_back();
        FillEqTarget(s.eqTargets.back(), adv);
    }
    if (Chance(opt.variety))  // every slot runs the same sections
        for (EQ_SCoefs& t : s.eqTargets)
            for (int st = 0; st < 2; ++st) {
                t.sectionBegin[st] = s.eqTargets[0].sectionBegin[st];
                t.sectionEnd[st] = s.eqTargets[0].sectionEnd[st];
            }

    auto slotFor = [&](int i) { return i < slots && Chance(opt.distinctSlots) ? i : Int(0, slots - 1); };
    s.instances.resize(instanceCount);
    for (int i = 0; i < instanceCount; ++i) {
        Instance& in = s.instances[i];
        const bool adv = Chance(opt.adversarial);
        in.formatChannels = N;
        in.extraInputs = Int(1, 2);
        in.inPlace = Chance(opt.inPlace);
        in.countSlot = slotFor(i);
        in.keySlot = slotFor(i);
        in.dynCoefSlot = slotFor(i);
        in.eqTargetSlot = slotFor(i);
        FillInstanceBuffers(s, in, adv);

        in.dynState.resize(N + 1);
        for (auto& r : in.dynState) FillDynState(r, adv);
        if (Chance(opt.variety * 0.5)) in.dynState[0].dezipRate = SpecialRate();
        in.eqCoefs.resize(2);
        for (auto& d : in.eqCoefs) FillEqSmoothed(d, s.eqTargets[in.eqTargetSlot], adv);
        in.eqState.resize(N + 1);
        for (auto& st : in.eqState) {
            const bool zero = Chance(0.5);
            for (int k = 0; k < EQ_kMaxSections; ++k) {
                st.z1[k] = zero ? 0.0f : static_cast<float>(Uniform(-0.5, 0.5));
                st.z2[k] = zero ? 0.0f : static_cast<float>(Uniform(-0.5, 0.5));
                if (adv && Chance(0.05)) st.z1[k] = WildFloat();
                if (adv && Chance(0.05)) st.z2[k] = WildFloat();
            }
            st.spare = WildFloat();
        }
        in.priv.assign(3 * N + 4 + kCanaryFloats, 0.0f);
        for (int j = 0; j < 3 * N + 4; ++j) {
            const int kind = Int(0, 5);
            in.priv[j] = kind <= 2 ? 0.0f : kind == 3 ? static_cast<float>(Uniform(0.0, 1.5))
                                       : kind == 4 ? -0.0f : (adv ? WildFloat() : 0.0f);
        }
        for (int j = 3 * N + 4; j < 3 * N + 4 + kCanaryFloats; ++j) in.priv[j] = static_cast<float>(Int(-9999, 9999)) + 0.5f;
    }

    s.Relink();
    for (Instance& in : s.instances) s.order.push_back(&in.ctx);
    std::shuffle(s.order.begin(), s.order.end(), rng_);
    if (opt.sharedMemory > 0 && instanceCount >= 2 && Chance(opt.sharedMemory)) {
        AddSharing(s);
        FitSharedStorage(s);
        s.Relink();
    }
    return s;
}

void Generator::Evolve(Scenario& s, const Options& opt) {
    const model::Format& f = model::kFormats[s.format];
    const int N = f.channels, G = f.groups;
    opt_ = opt;
    for (auto& c : s.counts)
        if (Chance(0.4)) c = SampleCount();
    for (auto& k : s.keyIndices)
        if (Chance(0.2)) k = Chance(0.4) ? 0 : Int(1, N);
    const double retarget = 0.3 * (1.0 - opt.settledEq);
    for (auto& t : s.eqTargets)
        if (Chance(retarget)) FillEqTarget(t, Chance(opt.adversarial));
    for (auto& K : s.dynCoefs) {
        if (Chance(0.15)) FillDynCoefs(K, N, G, Chance(opt.adversarial));
        if (Chance(0.1)) K.bypass = K.bypass >= 1 ? 0 : 1;
        if (Chance(0.1)) K.channelGroup[Int(0, N - 1)] = Int(0, G - 1);  // a channel changes owner
    }
    for (Instance& in : s.instances) {
        FillInstanceBuffers(s, in, Chance(opt.adversarial));
        if (Chance(0.1)) in.dynState[0].dezipRate = static_cast<float>(Uniform(0.0, 1.0));
        if (Chance(opt.variety * 0.2)) in.dynState[0].dezipRate = SpecialRate();
        if (Chance(0.2))  // the host clears its meters
            for (int j = 0; j < 3 * N + 4; ++j) in.priv[j] = 0.0f;
        if (Chance(opt.settledEq * 0.3))  // the host snaps the glide to its targets
            SnapSmoothed(in.eqCoefs[0], s.eqTargets[in.eqTargetSlot], Chance(0.5));
    }
    FitSharedStorage(s);
    s.Relink();
}

namespace {

// Identity of one storage vector: owner, output (not in-place) or input, channel.
int StorageKey(const Scenario& s, const BufferRef& r) {
    const Instance& o = s.instances[r.instance];
    return (r.instance * 2 + (r.output && !o.inPlace ? 1 : 0)) * 64 + r.channel;
}

// The instance writes through the pointer the reference stands for.
bool WritesThrough(const Instance& in, bool outShare, int j) {
    return outShare || (in.inPlace && j < in.formatChannels);
}

// The owner of the storage writes it itself.
bool OwnerWrites(const Scenario& s, const BufferRef& r) {
    const Instance& o = s.instances[r.instance];
    return r.output || (o.inPlace && r.channel < o.formatChannels);
}

bool Redirected(const std::vector<BufferRef>& refs, int j) {
    return j < static_cast<int>(refs.size()) && refs[j].instance >= 0;
}

}  // namespace

void Generator::AddSharing(Scenario& s) {
    const int n = static_cast<int>(s.instances.size());
    const int N = s.instances[0].formatChannels;
    std::vector<int> pos(n);  // position of each instance in the call order
    for (int p = 0; p < n; ++p)
        for (int i = 0; i < n; ++i)
            if (s.order[p] == &s.instances[i].ctx) pos[i] = p;
    for (Instance& in : s.instances) {
        in.inShare.assign(in.inBufs.size(), BufferRef{});
        in.outShare.assign(N, BufferRef{});
    }
    std::vector<int> targeted;  // storage keys some redirected pointer points into
    auto isTargeted = [&](int key) { return std::find(targeted.begin(), targeted.end(), key) != targeted.end(); };

    // A pointer of instance b (input j, or output j) that may be redirected:
    // not redirected yet and its own storage not shared out.
    auto freeSlot = [&](int b, bool out, int j) {
        Instance& B = s.instances[b];
        const bool viaInput = !out || B.inPlace;
        if (viaInput ? Redirected(B.inShare, j) : Redirected(B.outShare, j)) return false;
        return !isTargeted(StorageKey(s, BufferRef{b, out, j, 0}));
    };
    // Storage of instance a that a uses itself (its pointer is not redirected).
    auto usedStorage = [&](int a, bool out, int j) {
        const Instance& A = s.instances[a];
        return out && !A.inPlace ? !Redirected(A.outShare, j) : !Redirected(A.inShare, j);
    };
    // Every pointer of one instance reaches its own storage vector.
    auto distinctFor = [&](int b, int key) {
        const Instance& B = s.instances[b];
        for (const BufferRef& r : B.inShare)
            if (r.instance >= 0 && StorageKey(s, r) == key) return false;
        for (const BufferRef& r : B.outShare)
            if (r.instance >= 0 && StorageKey(s, r) == key) return false;
        return true;
    };
    auto redirect = [&](int b, bool out, int j, const BufferRef& r) {
        Instance& B = s.instances[b];
        (out && !B.inPlace ? B.outShare[j] : B.inShare[j]) = r;
        targeted.push_back(StorageKey(s, r));
    };
    auto lengthOf = [&](int a) { return RoundedLength(s.counts[s.instances[a].countSlot]); };
    auto offsetInto = [&](int a) {  // inside the owner's rounded length, now and then on its last float
        const int len = lengthOf(a);
        const int o = Int(1, len - 1);
        return Chance(0.15) ? len - 1 : Chance(0.3) ? std::max(1, o / 4 * 4) : o;
    };
    // Two distinct instances, half the time within one batch's reach of
    // each other in the call order.
    auto pickPair = [&](int& a, int& b) {
        a = Int(0, n - 1);
        if (Chance(0.5)) {
            const int p = pos[a] + (Chance(0.5) ? 1 : -1) * Int(1, 7);
            b = -1;
            for (int i = 0; i < n; ++i)
                if (pos[i] == p) b = i;
            if (b >= 0) return;
        }
        do b = Int(0, n - 1); while (b == a);
    };

    const int links = Int(1, std::max(1, opt_.maxSharedLinks));
    int made = 0;
    for (int attempt = 0; attempt < 60 * links && made < links; ++attempt) {
        int a, b;
        pickPair(a, b);
        Instance& A = s.instances[a];
        Instance& B = s.instances[b];
        const int inputs = static_cast<int>(B.inBufs.size());
        const int kind = Int(0, 11);
        if (kind <= 2 || kind == 7) {  // b reads what a writes, from its start or from an offset
            const int j = Chance(0.5) ? N : Int(0, inputs - 1);  // N: the extra key buffer
            const int c = Int(0, N - 1);
            const BufferRef r{a, true, c, kind == 7 ? offsetInto(a) : 0};
            if (!freeSlot(b, false, j) || !usedStorage(a, true, c) || !distinctFor(b, StorageKey(s, r))) continue;
            redirect(b, false, j, r);
        } else if (kind <= 4) {  // b writes where a writes
            const int c = Int(0, N - 1), cb = Int(0, N - 1);
            const BufferRef r{a, true, c, Chance(0.2) ? offsetInto(a) : 0};
            if (!freeSlot(b, true, cb) || !usedStorage(a, true, c) || !distinctFor(b, StorageKey(s, r))) continue;
            redirect(b, true, cb, r);
        } else if (kind <= 6) {  // b's output starts in the middle of a's input
            const int j = Int(0, static_cast<int>(A.inBufs.size()) - 1), cb = Int(0, N - 1);
            const BufferRef r{a, false, j, offsetInto(a)};
            if (!freeSlot(b, true, cb) || !usedStorage(a, false, j) || !distinctFor(b, StorageKey(s, r))) continue;
            redirect(b, true, cb, r);
        } else {  // a whole writable block
            int Instance::*field = kind == 8    ? &Instance::dynStateOf
                                   : kind == 9  ? &Instance::eqCoefsOf
                                   : kind == 10 ? &Instance::eqStateOf
                                                : &Instance::privOf;
            bool bShared = false;
            for (const Instance& o : s.instances) bShared |= o.*field == b;
            if (A.*field >= 0 || B.*field >= 0 || bShared) continue;
            B.*field = a;
        }
        ++made;
    }
    if (Chance(0.3)) {  // and an input two instances only read, as a control
        for (int attempt = 0; attempt < 20; ++attempt) {
            int a, b;
            pickPair(a, b);
            const int j = Int(0, static_cast<int>(s.instances[b].inBufs.size()) - 1);
            const int ja = Int(0, static_cast<int>(s.instances[a].inBufs.size()) - 1);
            const BufferRef r{a, false, ja, 0};
            if (!freeSlot(b, false, j) || !usedStorage(a, false, ja) || !distinctFor(b, StorageKey(s, r))) continue;
            redirect(b, false, j, r);
            break;
        }
    }
}

// Grows every storage vector another instance points into to that
// instance's rounded sample count past the offset, plus a fresh canary.
void Generator::FitSharedStorage(Scenario& s) {
    for (Instance& in : s.instances) {
        const int len = RoundedLength(s.counts[in.countSlot]);
        auto fit = [&](const BufferRef& r) {
            if (r.instance < 0) return;
            std::vector<float>& v = s.Storage(r);
            const size_t need = static_cast<size_t>(r.offset) + len + kCanaryFloats;
            if (v.size() >= need) return;
            const size_t old = v.size() - kCanaryFloats;
            v.resize(need);
            const float amp = static_cast<float>(Uniform(0.0, 1.0));
            for (size_t i = old; i < need - kCanaryFloats; ++i) v[i] = amp * static_cast<float>(Uniform(-1.0, 1.0));
            for (size_t i = need - kCanaryFloats; i < need; ++i) v[i] = static_cast<float>(Int(-99999, 99999)) + 0.25f;
        };
        for (const BufferRef& r : in.inShare) fit(r);
        if (!in.inPlace)
            for (const BufferRef& r : in.outShare) fit(r);
    }
}

int WritableLinks(const Scenario& s) {
    int links = 0;
    for (const Instance& in : s.instances) {
        for (size_t j = 0; j < in.inShare.size(); ++j)
            if (in.inShare[j].instance >= 0 && (WritesThrough(in, false, static_cast<int>(j)) || OwnerWrites(s, in.inShare[j])))
                ++links;
        for (size_t c = 0; c < in.outShare.size() && !in.inPlace; ++c)
            if (in.outShare[c].instance >= 0) ++links;
        links += (in.dynStateOf >= 0) + (in.eqCoefsOf >= 0) + (in.eqStateOf >= 0) + (in.privOf >= 0);
    }
    return links;
}


namespace {

bool SameFloat(float a, float b) { return (std::isnan(a) && std::isnan(b)) || FloatBits(a) == FloatBits(b); }

bool SameDouble(double a, double b) { return (std::isnan(a) && std::isnan(b)) || model::Bits(a) == model::Bits(b); }

// First differing float of two arrays (NaNs alike), with both values.
bool SameFloats(std::ostringstream& os, const std::string& what, const float* x, const float* y, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (!SameFloat(x[i], y[i])) {
            os.precision(9);
            os << what << "[" << i << "]: " << x[i] << " vs " << y[i] << " (bits " << std::hex << FloatBits(x[i])
               << " vs " << FloatBits(y[i]) << ")";
            return false;
        }
    return true;
}

}  // namespace

std::string Compare(const Scenario& a, const Scenario& b) {
    std::ostringstream os;
    for (size_t i = 0; i < a.instances.size(); ++i) {
        const Instance& p = a.instances[i];
        const Instance& q = b.instances[i];
        const std::string inst = "instance " + std::to_string(i) + ": ";
        for (size_t c = 0; c < p.outBufs.size(); ++c)
            if (!SameFloats(os, inst + "output ch " + std::to_string(c), p.outBufs[c].data(), q.outBufs[c].data(),
                            p.outBufs[c].size()))
                return os.str();
        for (size_t c = 0; c < p.inBufs.size(); ++c)
            if (!SameFloats(os, inst + "input ch " + std::to_string(c), p.inBufs[c].data(), q.inBufs[c].data(),
                            p.inBufs[c].size()))
                return os.str();
        for (size_t r = 0; r < p.dynState.size(); ++r) {
            uint32_t wp[15], wq[15];
            ToWords(p.dynState[r], wp);
            ToWords(q.dynState[r], wq);
            for (int w = 0; w < 15; ++w)
                if (IsIntStateWord(w) ? wp[w] != wq[w] : !SameFloat(model::FromBits(wp[w]), model::FromBits(wq[w])))
                    return inst + "dynState[" + std::to_string(r) + "] word " + std::to_string(w) + ": " +
                           std::to_string(wp[w]) + " vs " + std::to_string(wq[w]) + " (bits)";
        }
        for (size_t r = 0; r < p.eqCoefs.size(); ++r) {
            const std::string rec = inst + "eqCoefs[" + std::to_string(r) + "]";
            if (!SameFloats(os, rec + ".coefs", p.eqCoefs[r].coefs, q.eqCoefs[r].coefs, EQ_kCoefCount)) return os.str();
            for (int k = 0; k < EQ_kCoefCount; ++k)
                if (!SameDouble(p.eqCoefs[r].accum[k], q.eqCoefs[r].accum[k]))
                    return rec + ".accum[" + std::to_string(k) + "] differs";
        }
        for (size_t r = 0; r < p.eqState.size(); ++r) {
            const std::string rec = inst + "eqState[" + std::to_string(r) + "]";
            if (!SameFloats(os, rec + ".z1", p.eqState[r].z1, q.eqState[r].z1, EQ_kMaxSections) ||
                !SameFloats(os, rec + ".z2", p.eqState[r].z2, q.eqState[r].z2, EQ_kMaxSections) ||
                !SameFloats(os, rec + ".spare", &p.eqState[r].spare, &q.eqState[r].spare, 1))
                return os.str();
        }
        // inputPeaks[N], outputPeaks[N], dynamicsRunState[4 + N], canary.
        if (!SameFloats(os, inst + "private block", p.priv.data(), q.priv.data(), p.priv.size())) return os.str();
    }
    if (std::memcmp(a.dynCoefs.data(), b.dynCoefs.data(), a.dynCoefs.size() * sizeof(Dyn_SCoefsBlock)) != 0 ||
        std::memcmp(a.eqTargets.data(), b.eqTargets.data(), a.eqTargets.size() * sizeof(EQ_SCoefs)) != 0 ||
        a.counts != b.counts || a.keyIndices != b.keyIndices)
        return "a read-only block was written";
    return {};
}

std::string Describe(const Scenario& s) {
    std::ostringstream os;
    os.precision(9);
    os << "format " << model::kFormats[s.format].name << ", " << s.instances.size() << " instance(s) in call order:";
    for (const SChannelStrip_Alg_Context* p : s.order) {
        const int i = s.IndexOf(p);
        const Instance& in = s.instances[i];
        const Dyn_SCoefsBlock& K = *p->dynCoefs;
        const EQ_SCoefs& T = *p->eqTarget;
        os << "\n  #" << i << ": count " << *p->sampleCount << ", key " << *p->sideChainIndex
           << (in.inPlace ? ", in place" : "") << ", eq [" << T.sectionBegin[0] << "," << T.sectionEnd[0] << ") ["
           << T.sectionBegin[1] << "," << T.sectionEnd[1] << "), groups {";
        for (int c = 0; c < in.formatChannels; ++c) os << (c ? "," : "") << K.channelGroup[c];
        os << "}, detectorMode " << K.detectorMode << ", keySource " << K.keySource << ", keyListen " << K.keyListen
           << ", bypass " << K.bypass << ", hold " << K.holdSamples << ", rate " << p->dynState[0].dezipRate;
        auto ref = [&](const char* what, size_t j, const BufferRef& r) {
            if (r.instance >= 0)
                os << ", " << what << " " << j << " = #" << r.instance << (r.output ? " output " : " input ")
                   << r.channel << " +" << r.offset;
        };
        for (size_t j = 0; j < in.inShare.size(); ++j) ref("input", j, in.inShare[j]);
        for (size_t c = 0; c < in.outShare.size() && !in.inPlace; ++c) ref("output", c, in.outShare[c]);
        const std::pair<const char*, int> blocks[] = {
            {"dynState", in.dynStateOf}, {"eqCoefs", in.eqCoefsOf}, {"eqState", in.eqStateOf}, {"private", in.privOf}};
        for (const auto& [name, of] : blocks)
            if (of >= 0) os << ", " << name << " of #" << of;
    }
    return os.str();
}

}  // namespace scenario
