#include "scenario.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <set>

#include "strip_model.h"

namespace scenario {
namespace {

constexpr double kPi = 3.14159265358979323846, kFs = 48000.0;
constexpr float kInf = std::numeric_limits<float>::infinity();

int RoundedLength(int32_t count) { return count < 1 ? 16 : (count + 15) / 16 * 16; }

// The generator's state for one Make or Evolve.
struct Gen {
    std::mt19937_64& rng;
    const Options& opt;

    double Uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); }
    int Int(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
    bool Chance(double p) { return Uniform(0.0, 1.0) < p; }
    float Sign() { return Chance(0.5) ? 1.0f : -1.0f; }
    template <class T, size_t n>
    T Pick(const T (&v)[n]) { return v[Int(0, static_cast<int>(n) - 1)]; }
    int32_t Odd() { return Pick({-1, 2, 3, INT32_MIN, INT32_MAX}); }  // an enum-like field out of its range
    float Canary() { return static_cast<float>(Int(-99999, 99999)) + 0.25f; }

    // Audio specials: NaN, infinities, signed zeros, denormals, huge values
    // or any bit pattern. Bit-pattern attacks on the records are the core
    // fuzzer's job (it takes every field raw).
    float Wild() {
        const uint32_t r = static_cast<uint32_t>(rng());
        const float v[] = {model::FromBits(0x7FC00000u | (r & 0x003FFFFFu)), Sign() * kInf, Sign() * 0.0f,
                           model::FromBits((r & 0x807FFFFFu) | 1u), Sign() * std::numeric_limits<float>::max(),
                           model::FromBits(r)};
        return Pick(v);
    }

    int32_t SampleCount() {
        if (Chance(opt.variety * 0.4)) return Chance(0.8) ? Int(257, 2048) : Int(2049, 8192);  // hundreds of blocks
        if (Chance(opt.skippedCounts)) return Pick({0, 0, -1, -16, INT32_MIN});
        return Pick({1, 15, 16, 17, Int(31, 33), Int(1, 200), Int(1, 200), Int(1, 200), Int(1, 200), Int(1, 200)});
    }

    void FillAudio(std::vector<float>& buf, int valid) {
        const int kind = Int(0, 7);
        const double amp = Chance(0.2) ? Uniform(0.0, 4.0) : std::pow(10.0, Uniform(-5.0, 0.3));
        const double w1 = 2 * kPi * Uniform(20.0, 12000.0) / kFs, w2 = 2 * kPi * Uniform(20.0, 2000.0) / kFs;
        const double phase = Uniform(0.0, 2 * kPi);
        const int burstAt = Int(0, valid);
        for (int i = 0; i < valid; ++i) {
            const int step = (i / 8 + burstAt) % 13;
            const double v[] = {0.0,  // silence
                                amp * std::sin(w1 * i + phase), amp * Uniform(-1.0, 1.0),
                                i >= burstAt ? amp * std::sin(w2 * i) : amp * 1e-4 * Uniform(-1, 1),
                                i % 48 == 0 ? amp : 0.0,  // clicks
                                amp * (std::sin(w1 * i) + 0.5 * std::sin(w2 * i + phase)),
                                (i / 8 + burstAt) % 3 == 0 ? 0.0 : std::ldexp(1.0, -step),  // levels of exact dB
                                amp * Uniform(-1.0, 1.0) * std::sin(w2 * i + phase)};
            buf[i] = static_cast<float>(v[kind]);
        }
        if (Chance(opt.audioSpecials))
            for (int h = Int(1, 4); h > 0 && valid > 0; --h) buf[Int(0, valid - 1)] = Wild();
        if (Chance(opt.audioSpecials * 0.2)) std::generate(buf.begin(), buf.begin() + valid, [&] { return Wild(); });
    }

    // A stable biquad (bell, low or high pass, identity or plain gain), with
    // the feedback coefficients sign-inverted as they are added.
    void Biquad(float* c) {
        const double w0 = 2 * kPi * std::pow(10.0, Uniform(std::log10(20.0), std::log10(20000.0))) / kFs;
        const double A = std::pow(10.0, Uniform(-18.0, 18.0) / 40.0), cw = std::cos(w0);
        const double alpha = std::sin(w0) / (2 * Uniform(0.3, 8.0)), pass = Sign();
        double b[3] = {1, 0, 0}, a[3] = {1, 0, 0};
        switch (Int(0, 3)) {
            case 0:  // bell
                b[0] = 1 + alpha * A, b[1] = a[1] = -2 * cw, b[2] = 1 - alpha * A;
                a[0] = 1 + alpha / A, a[2] = 1 - alpha / A;
                break;
            case 1:  // low pass (1) or high pass (-1)
                b[0] = b[2] = (1 - pass * cw) / 2, b[1] = pass * (1 - pass * cw);
                a[0] = 1 + alpha, a[1] = -2 * cw, a[2] = 1 - alpha;
                break;
            case 2: break;  // identity
            default: b[0] = A;
        }
        const double v[5] = {b[0], b[1], b[2], -a[1], -a[2]};
        for (int k = 0; k < 5; ++k) c[k] = static_cast<float>(v[k] / a[0]);
    }

    void FillEqTarget(EQ_SCoefs& t) {
        const bool flat = Chance(0.25);  // every band at unity: the EQ passes samples exactly
        for (int k = 0; k < EQ_kMaxSections; ++k) {
            Biquad(&t.coefs[5 * k]);
            if (flat) t.coefs[5 * k] = 1.0f, std::fill_n(&t.coefs[5 * k + 1], 4, 0.0f);
        }
        for (int s = 0; s < 2; ++s) {
            int32_t &b = t.sectionBegin[s], &e = t.sectionEnd[s];
            switch (Int(0, 9)) {
                case 0: b = e = Int(0, 8); break;  // empty
                case 1: b = Int(0, 8), e = Chance(0.5) ? Int(-5, b) : INT32_MIN; break;  // inverted: a bypass
                default: b = Int(0, 7), e = Int(b + 1, 8);
            }
        }
        if (Chance(0.3)) {  // the classic split: everything on one side of the dynamics
            const int s = Int(0, 1);
            t.sectionBegin[s] = 0, t.sectionEnd[s] = t.sectionBegin[1 - s] = t.sectionEnd[1 - s] = 8;
        }
        for (int s = 0; s < 2; ++s) {  // an empty or inverted range far outside 0..8: must touch no state
            if (!Chance(opt.variety * 0.3)) continue;
            const int32_t b = Pick({Int(9, 1000), Int(-1000, -1), INT32_MAX, INT32_MIN});
            t.sectionBegin[s] = b, t.sectionEnd[s] = Chance(0.3) ? b : b > 8 ? Pick({Int(-1000, 8), INT32_MIN}) : INT32_MIN;
        }
    }

    // The smoothed set settled on the target, exactly or a fraction of an ulp off.
    void Snap(EQ_SDezipCoefs& d, const EQ_SCoefs& target, bool subUlp) {
        const bool keepNegativeZeros = Chance(0.1);
        for (int i = 0; i < EQ_kCoefCount; ++i) {
            float t = target.coefs[i];
            if (model::Bits(t) == 0x80000000u && !keepNegativeZeros) t = 0.0f;
            double a = t;
            if (subUlp && std::isfinite(t) && Chance(0.7)) {
                const float mag = std::fabs(t);
                const float ulp = std::max(mag - std::nextafter(mag, 0.0f), std::numeric_limits<float>::denorm_min());
                const double off = static_cast<double>(ulp) * Uniform(-0.45, 0.45);
                if (model::Bits(static_cast<float>(a + off)) == model::Bits(t)) a += off;
            }
            d.accum[i] = a, d.coefs[i] = t;
        }
    }

    // Settled, or gliding from elsewhere, from a few ulps away, from a sub-ulp
    // residue or partly from zero.
    void FillSmoothed(EQ_SDezipCoefs& d, const EQ_SCoefs& target) {
        if (Chance(opt.settledEq)) return Snap(d, target, Chance(0.5));
        const int kind = Int(0, 3);
        for (int i = 0; i < EQ_kCoefCount; ++i) {
            float f = target.coefs[i];
            double a = kind == 0 ? Uniform(-2.0, 2.0) : kind == 2 ? f + Uniform(-1e-7, 1e-7) : kind == 3 && Chance(0.5) ? 0.0 : f;
            if (kind == 1 && std::isfinite(f)) {
                for (int k = Int(1, 4); k > 0; --k) f = std::nextafter(f, 4.0f * Sign());
                a = f;
            }
            d.accum[i] = a, d.coefs[i] = static_cast<float>(a);
        }
    }

    float SpecialRate() {  // no glide, an instant one, overshoot, a denormal step, or none at all (NaN)
        return Pick({0.0f, -0.0f, 1.0f, 2.0f, kInf, std::numeric_limits<float>::denorm_min() * Int(1, 1000), 1e-30f, Wild()});
    }

    float FromMs(double ms) { return static_cast<float>(1.0 - std::exp(-1.0 / (ms * kFs / 1000.0))); }

    // Musical settings turned into curve fields as a designer would, with
    // thresholds now and then exactly on levels the detector produces.
    void FillDynCoefs(Dyn_SCoefsBlock& K, int N, int G) {
        // Knee polynomial a*l^2 + b*l + c with slope 0 at `flat` and `slope` at the other end.
        auto knee = [](double slope, double width, double flat, float& A, float& B, float& C) {
            const double a = width > 0 ? slope / (2 * width) : 0.0;
            A = static_cast<float>(a), B = static_cast<float>(-2 * a * flat), C = static_cast<float>(a * flat * flat);
        };
        const double cT = Uniform(-60.0, 0.0), cW = Chance(0.2) ? 0.0 : Uniform(0.5, 24.0);
        K.compSlope = 1.0 / (Chance(0.15) ? 1e9 : Uniform(1.0, 20.0)) - 1.0;
        knee(K.compSlope, cW, cT - cW / 2, K.compKneeA, K.compKneeB, K.compKneeC);
        K.compThresholdDb = cT, K.compKneeTopDb = cT + cW / 2, K.compKneeBottomDb = cT - cW / 2;
        K.compFloorDbTarget = Chance(0.2) ? -140.0 : Uniform(-60.0, 0.0);
        K.outputGainTarget = Chance(0.3) ? 1.0 : Uniform(0.25, 4.0);
        K.compAttackCoef = Chance(0.1) ? 1.0f : FromMs(Uniform(0.05, 50.0));
        K.compReleaseCoef = FromMs(Uniform(5.0, 2000.0));
        K.reserved11 = static_cast<int32_t>(rng());
        const double eT = Uniform(-80.0, -10.0), eW = Chance(0.2) ? 0.0 : Uniform(0.5, 20.0), gOpen = Uniform(-90.0, -20.0);
        K.expSlope = Uniform(0.0, 9.0);
        knee(-K.expSlope, eW, eT + eW / 2, K.expKneeA, K.expKneeB, K.expKneeC);
        K.expThresholdDb = eT, K.expKneeTopDb = eT + eW / 2, K.expKneeBottomDb = eT - eW / 2;
        K.gateOpenThresholdDb = Chance(0.2) ? -200.0 : gOpen, K.gateCloseThresholdDb = gOpen - Uniform(0.0, 12.0);
        K.expRangeDbTarget = Chance(0.2) ? -140.0 : Uniform(-90.0, 0.0);
        K.expAttackCoef = FromMs(Uniform(0.05, 20.0)), K.expReleaseCoef = FromMs(Uniform(5.0, 2000.0));
        // Past 2^24 the hold reload is rounded through float.
        K.holdSamples = Chance(0.5) ? Int(0, 8) : Chance(0.9) ? Int(0, 4800) : Pick({Int(1 << 24, 1 << 25), INT32_MAX, -1});
        K.peakDecay = std::exp(-1.0 / (Uniform(1.0, 500.0) * kFs / 1000.0));
        for (float* f : {&K.compKneeTopDb, &K.compKneeBottomDb, &K.expKneeTopDb, &K.expKneeBottomDb,
                         &K.gateOpenThresholdDb, &K.gateCloseThresholdDb})
            if (Chance(0.15)) *f = Chance(0.1) ? -140.0f : -(static_cast<float>(Int(0, 12)) * 6.0206003f);  // silence, 0 dB or octaves down

        Biquad(&K.detFilterB0);  // five consecutive floats
        if (Chance(0.4)) K.detFilterB0 = 1.0f, K.detFilterB1 = K.detFilterB2 = K.detFilterA1 = K.detFilterA2 = 0.0f;
        Biquad(&K.levelB0);
        if (Chance(0.6)) {  // a one-pole smoother as level filter
            const double p = std::exp(-1.0 / (Uniform(1.0, 300.0) * kFs / 1000.0));
            K.levelB0 = 1 - p, K.levelA1 = p, K.levelB1 = K.levelB2 = K.levelA2 = 0.0f;
        }
        const int link = Int(0, 2);  // all together, all apart (as far as slots allow) or random
        for (int c = 0; c < Dyn_kMaxChannels; ++c)
            K.channelGroup[c] = c >= N ? Odd() : link == 0 ? 0 : link == 1 ? std::min(c, G - 1) : Int(0, G - 1);
        K.detectorMode = Chance(0.5) ? 0 : Chance(0.7) ? 1 : Odd();
        K.keySource = Chance(0.4) ? 1 : Chance(0.5) ? 0 : Chance(0.5) ? 2 : Odd();
        K.keyListen = Chance(0.85) ? 0 : Chance(0.5) ? 1 : Odd();
        K.inputMeterGain = static_cast<float>(Chance(0.5) ? 1.0 : Chance(0.2) ? 0.0 : Uniform(0.1, 4.0));
        K.bypass = Chance(0.8) ? 0 : Chance(0.4) ? 1 : Chance(0.3) ? -5 : Odd();
    }

    void FillDynState(Dyn_SState& s) {
        s = Dyn_SState{};
        if (Chance(0.5)) {  // running values rather than a fresh start
            auto u = [&](double lo, double hi) { return static_cast<float>(Uniform(lo, hi)); };
            s = {u(-20, 0), u(-80, 0), u(-0.1, 0.1), u(-0.1, 0.1), u(0, 0.5), u(-0.01, 0.01), u(0, 1), u(0, 1),
                 u(0.25, 4), u(-60, 0), u(-90, 0), Int(0, 1), Int(0, 100), 0, 0.0f};
        }
        s.reserved13 = static_cast<int32_t>(rng());
        const float r = std::pow(10.0, Uniform(-4.0, 0.0));
        s.dezipRate = Pick({0.0f, 1.0f, 0.5f, r, r, r});
    }

    // New audio in every buffer as far as the pointers into it reach (the
    // pointer's instance's rounded length past its offset), then canaries;
    // outputs hold stale host content.
    void FillBuffers(Scenario& s) {
        std::vector<int> reach(s.buffers.size());
        for (const Instance& in : s.instances)
            for (const auto* pointers : {&in.in, &in.out})
                for (const Channel& p : *pointers)
                    reach[p.buffer] = std::max(reach[p.buffer], p.offset + RoundedLength(s.counts[in.countSlot]));
        for (size_t b = 0; b < s.buffers.size(); ++b) {
            std::vector<float>& v = s.buffers[b];
            v.assign(reach[b] + kCanaryFloats, 0.0f);
            FillAudio(v, reach[b]);
            std::generate(v.end() - kCanaryFloats, v.end(), [&] { return Canary(); });
        }
    }

    void AddSharing(Scenario& s);
};

// Output pointer j (an input pointer when in place) or input pointer j.
Channel& Pointer(Instance& in, bool output, int j) { return output && !in.inPlace ? in.out[j] : in.in[j]; }

void Gen::AddSharing(Scenario& s) {
    const int n = static_cast<int>(s.instances.size()), N = s.instances[0].formatChannels;
    std::set<int> targeted;                  // buffers some redirected pointer points into
    std::set<const Channel*> redirected;
    // Points b's pointer (output or input j) into the buffer of a's (output or
    // input c): b's pointer not yet redirected nor its buffer shared out, a's
    // pointer not redirected, and no other pointer of b into that buffer.
    auto link = [&](int b, bool out, int j, int a, bool aOut, int c, int offset) {
        Instance& B = s.instances[b];
        Channel &p = Pointer(B, out, j), &q = Pointer(s.instances[a], aOut, c);
        if (redirected.count(&p) || targeted.count(p.buffer) || redirected.count(&q)) return false;
        for (const auto* pointers : {&B.in, &B.out})
            for (const Channel& r : *pointers)
                if (r.buffer == q.buffer) return false;
        p = {q.buffer, offset};
        redirected.insert(&p), targeted.insert(q.buffer);
        return true;
    };
    auto offsetInto = [&](int a) {  // inside a's rounded length, now and then on its last float
        const int len = RoundedLength(s.counts[s.instances[a].countSlot]), o = Int(1, len - 1);
        return Chance(0.15) ? len - 1 : Chance(0.3) ? std::max(1, o / 4 * 4) : o;
    };
    const int links = Int(1, std::max(1, opt.maxSharedLinks));
    for (int attempt = 0, made = 0; attempt < 60 * links && made < links; ++attempt) {
        // Two distinct instances, half the time within one batch's reach in the call order.
        int a = Int(0, n - 1), b = -1;
        if (Chance(0.5)) {
            const int p = static_cast<int>(std::find(s.order.begin(), s.order.end(), a) - s.order.begin()) +
                          static_cast<int>(Sign()) * Int(1, 7);
            if (p >= 0 && p < n) b = s.order[p];
        }
        while (b < 0 || b == a) b = Int(0, n - 1);
        // Every draw is its own statement: the order of a call's arguments is
        // unspecified, and a seed must give the same scenario with any compiler.
        const int kind = Int(0, 11), c = Int(0, N - 1), cb = Int(0, N - 1);
        if (kind <= 2 || kind == 7) {  // b reads what a writes (often as its key), from its start or an offset
            const int j = Chance(0.5) ? N : Int(0, static_cast<int>(s.instances[b].in.size()) - 1);
            made += link(b, false, j, a, true, c, kind == 7 ? offsetInto(a) : 0);
        } else if (kind <= 4) {  // b writes where a writes
            made += link(b, true, cb, a, true, c, Chance(0.2) ? offsetInto(a) : 0);
        } else if (kind <= 6) {  // b's output starts in (now and then at) a's input
            const int ca = Int(0, static_cast<int>(s.instances[a].in.size()) - 1);
            made += link(b, true, cb, a, false, ca, Chance(0.2) ? 0 : offsetInto(a));
        } else {  // b uses a's whole writable block
            int Instance::*field = Pick({&Instance::dynStateOf, &Instance::eqCoefsOf, &Instance::eqStateOf, &Instance::privOf});
            const bool lent = std::any_of(s.instances.begin(), s.instances.end(), [&](const Instance& o) { return o.*field == b; });
            if (s.instances[a].*field >= 0 || s.instances[b].*field >= 0 || lent) continue;
            s.instances[b].*field = a;
            ++made;
        }
    }
}

}  // namespace

Scenario& Scenario::operator=(const Scenario& other) {
    format = other.format, counts = other.counts, keyIndices = other.keyIndices, order = other.order;
    dynCoefs = other.dynCoefs, eqTargets = other.eqTargets, buffers = other.buffers, instances = other.instances;
    Relink();
    return *this;
}

void AddBuffers(Scenario& s, Instance& in) {
    in.in.resize(in.formatChannels + in.extraInputs), in.out.resize(in.inPlace ? 0 : in.formatChannels);
    for (auto* pointers : {&in.in, &in.out})
        for (Channel& p : *pointers) p = {static_cast<int>(s.buffers.size())}, s.buffers.emplace_back();
}

void Scenario::Relink() {
    for (Instance& in : instances) {
        auto at = [&](const Channel& p) { return buffers[p.buffer].data() + p.offset; };
        auto owner = [&](int of) -> Instance& { return of >= 0 ? instances[of] : in; };
        in.inPtrs.clear(), in.outPtrs.clear();
        for (const Channel& p : in.in) in.inPtrs.push_back(at(p));
        for (int c = 0; c < in.formatChannels; ++c) in.outPtrs.push_back(at(in.inPlace ? in.in[c] : in.out[c]));
        in.privPtr = owner(in.privOf).priv.data();
        in.ctx = {in.inPtrs.data(), in.outPtrs.data(), &keyIndices[in.keySlot], &counts[in.countSlot],
                  &dynCoefs[in.dynCoefSlot], owner(in.dynStateOf).dynState.data(), &eqTargets[in.eqTargetSlot],
                  owner(in.eqCoefsOf).eqCoefs.data(), owner(in.eqStateOf).eqState.data(), &in.privPtr};
    }
    array_.clear();
    for (int i : order) array_.push_back(&instances[i].ctx);
}

Scenario Generator::Make(int format, const Options& opt) {
    Gen g{rng, opt};
    const int N = model::kFormats[format].channels, G = model::kFormats[format].groups;
    Scenario s;
    s.format = format;
    const int instances = opt.minInstances <= 0 && g.Chance(0.1) ? 0 : g.Int(std::max(1, opt.minInstances), std::max(1, opt.maxInstances));
    const int slots = std::max(1, g.Chance(opt.sharedBlocks) ? instances - 1 : instances);
    for (int i = 0; i < slots; ++i) {
        s.counts.push_back(g.SampleCount());
        s.keyIndices.push_back(g.Chance(0.4) ? 0 : g.Int(1, N));  // own channels or the extra buffer at N
        g.FillDynCoefs(s.dynCoefs.emplace_back(), N, G);
        g.FillEqTarget(s.eqTargets.emplace_back());
    }
    if (g.Chance(opt.variety))  // every slot runs the same sections
        for (EQ_SCoefs& t : s.eqTargets)
            for (int st = 0; st < 2; ++st) t.sectionBegin[st] = s.eqTargets[0].sectionBegin[st], t.sectionEnd[st] = s.eqTargets[0].sectionEnd[st];

    s.instances.resize(instances);
    for (int i = 0; i < instances; ++i) {
        Instance& in = s.instances[i];
        auto slot = [&] { return i < slots && g.Chance(opt.distinctSlots) ? i : g.Int(0, slots - 1); };
        in.formatChannels = N;
        in.extraInputs = g.Int(1, 2);
        in.inPlace = g.Chance(opt.inPlace);
        in.countSlot = slot(), in.keySlot = slot(), in.dynCoefSlot = slot(), in.eqTargetSlot = slot();
        AddBuffers(s, in);
        in.dynState.resize(N + 1);
        for (auto& r : in.dynState) g.FillDynState(r);
        if (g.Chance(opt.variety * 0.5)) in.dynState[0].dezipRate = g.SpecialRate();
        in.eqCoefs.resize(2);
        for (auto& d : in.eqCoefs) g.FillSmoothed(d, s.eqTargets[in.eqTargetSlot]);
        in.eqState.resize(N + 1);
        for (auto& st : in.eqState) {
            const bool zero = g.Chance(0.5);
            for (float* z : {st.z1, st.z2})
                for (int k = 0; k < EQ_kMaxSections; ++k)
                    z[k] = zero ? 0.0f : static_cast<float>(g.Uniform(-0.5, 0.5));
            st.spare = g.Wild();
        }
        in.priv.resize(3 * N + 4 + kCanaryFloats);  // meters: zero, running or negative zero
        std::generate_n(in.priv.begin(), 3 * N + 4, [&] { return g.Pick({0.0f, 0.0f, 0.0f, static_cast<float>(g.Uniform(0.0, 1.5)), -0.0f}); });
        std::generate(in.priv.end() - kCanaryFloats, in.priv.end(), [&] { return g.Canary(); });
        s.order.push_back(i);
    }
    std::shuffle(s.order.begin(), s.order.end(), rng);
    if (opt.sharedMemory > 0 && instances >= 2 && g.Chance(opt.sharedMemory)) g.AddSharing(s);
    g.FillBuffers(s);
    s.Relink();
    return s;
}

void Generator::Evolve(Scenario& s, const Options& opt) {
    Gen g{rng, opt};
    const int N = model::kFormats[s.format].channels, G = model::kFormats[s.format].groups;
    for (auto& c : s.counts)
        if (g.Chance(0.4)) c = g.SampleCount();
    for (auto& k : s.keyIndices)
        if (g.Chance(0.2)) k = g.Chance(0.4) ? 0 : g.Int(1, N);
    for (auto& t : s.eqTargets)
        if (g.Chance(0.3 * (1.0 - opt.settledEq))) g.FillEqTarget(t);
    for (auto& K : s.dynCoefs) {
        if (g.Chance(0.15)) g.FillDynCoefs(K, N, G);
        if (g.Chance(0.1)) K.bypass = K.bypass >= 1 ? 0 : 1;
        if (g.Chance(0.1)) K.channelGroup[g.Int(0, N - 1)] = g.Int(0, G - 1);  // a channel changes owner
    }
    for (Instance& in : s.instances) {
        if (g.Chance(0.1)) in.dynState[0].dezipRate = static_cast<float>(g.Uniform(0.0, 1.0));
        if (g.Chance(opt.variety * 0.2)) in.dynState[0].dezipRate = g.SpecialRate();
        if (g.Chance(0.2)) std::fill_n(in.priv.begin(), 3 * N + 4, 0.0f);  // the host clears its meters
        if (g.Chance(opt.settledEq * 0.3)) g.Snap(in.eqCoefs[0], s.eqTargets[in.eqTargetSlot], g.Chance(0.5));
    }
    g.FillBuffers(s);
    s.Relink();
}

namespace {

// First differing value of two arrays of floats or doubles: bit for bit, any
// two NaNs alike except in words `exact` marks as integers.
template <class F>
std::string Diff(const std::string& what, const void* x, const void* y, size_t bytes, bool (*exact)(size_t) = nullptr) {
    for (size_t i = 0; i < bytes / sizeof(F); ++i) {
        F a, b;
        std::memcpy(&a, static_cast<const char*>(x) + i * sizeof a, sizeof a);
        std::memcpy(&b, static_cast<const char*>(y) + i * sizeof b, sizeof b);
        if (std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b) && !(exact && exact(i)))) continue;
        char text[96];
        std::snprintf(text, sizeof text, " word %zu: %.17g vs %.17g", i, double(a), double(b));
        return what + text;
    }
    return {};
}

}  // namespace

std::string Compare(const Scenario& a, const Scenario& b) {
    std::string d;
    auto block = [&](const std::string& what, const auto& x, const auto& y, bool (*exact)(size_t) = nullptr) {
        if (d.empty()) d = Diff<float>(what, x.data(), y.data(), sizeof x[0] * x.size(), exact);
    };
    for (size_t i = 0; i < a.buffers.size(); ++i) block("buffer " + std::to_string(i), a.buffers[i], b.buffers[i]);
    for (size_t i = 0; i < a.instances.size() && d.empty(); ++i) {
        const Instance &p = a.instances[i], &q = b.instances[i];
        const std::string at = "instance " + std::to_string(i) + " ";
        block(at + "dynState", p.dynState, q.dynState, [](size_t w) { return w % 15 >= 11 && w % 15 <= 13; });  // gateOpen, holdCounter, reserved13
        block(at + "eqState", p.eqState, q.eqState);
        block(at + "private block", p.priv, q.priv);  // inputPeaks[N], outputPeaks[N], dynamicsRunState[4 + N], canary
        for (size_t r = 0; r < p.eqCoefs.size() && d.empty(); ++r) {
            d = Diff<float>(at + "eqCoefs.coefs", p.eqCoefs[r].coefs, q.eqCoefs[r].coefs, sizeof p.eqCoefs[r].coefs);
            if (d.empty()) d = Diff<double>(at + "eqCoefs.accum", p.eqCoefs[r].accum, q.eqCoefs[r].accum, sizeof p.eqCoefs[r].accum);
        }
    }
    if (d.empty() && (std::memcmp(a.dynCoefs.data(), b.dynCoefs.data(), a.dynCoefs.size() * sizeof(Dyn_SCoefsBlock)) != 0 ||
                      std::memcmp(a.eqTargets.data(), b.eqTargets.data(), a.eqTargets.size() * sizeof(EQ_SCoefs)) != 0 ||
                      a.counts != b.counts || a.keyIndices != b.keyIndices))
        d = "a read-only block was written";
    return d;
}

}  // namespace scenario
