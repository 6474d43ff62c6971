// Randomised host-side scenarios for differential testing: a set of instances
// of one stem format with every block a host would allocate, deep-copyable so
// that the library and the model each run on their own copy, and comparable
// bit for bit.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "stemstrip.h"

namespace scenario {

// Extra floats/records appended after every block the library may write.
// They must come back untouched; a write past a block shows up as a mismatch.
inline constexpr int kCanaryFloats = 16;

struct Instance {
    int formatChannels = 0;
    int extraInputs = 0;  // key buffers past the N channels
    bool inPlace = false; // outputs alias the input buffers
    int countSlot = 0;    // index into Scenario::counts
    int keySlot = 0;      // index into Scenario::keyIndices
    int dynCoefSlot = 0;  // index into Scenario::dynCoefs
    int eqTargetSlot = 0; // index into Scenario::eqTargets

    std::vector<std::vector<float>> inBufs;   // N + extraInputs, each padded + canary
    std::vector<std::vector<float>> outBufs;  // N, unused when inPlace
    std::vector<Dyn_SState> dynState;         // N + 1 (last is a canary)
    std::vector<EQ_SDezipCoefs> eqCoefs;      // 1 + 1 canary
    std::vector<EQ_SState> eqState;           // N + 1 canary
    std::vector<float> priv;                  // 3N + 4 + kCanaryFloats

    // Pointer tables rebuilt by Scenario::Relink().
    std::vector<const float*> inPtrs;
    std::vector<float*> outPtrs;
    float* privPtr = nullptr;
    SChannelStrip_Alg_Context ctx{};
};

struct Scenario {
    int format = 0;
    int bufferLength = 0;  // samples per buffer before the canary
    std::vector<int32_t> counts;
    std::vector<int32_t> keyIndices;
    std::vector<Dyn_SCoefsBlock> dynCoefs;
    std::vector<EQ_SCoefs> eqTargets;
    std::vector<Instance> instances;
    std::vector<SChannelStrip_Alg_Context*> order;  // the array handed to the entry

    Scenario() = default;
    Scenario(const Scenario& other) { *this = other; }
    Scenario& operator=(const Scenario& other);

    // Points every context and pointer table at this object's own storage.
    void Relink();

    SChannelStrip_Alg_Context* const* Begin() const { return order.data(); }
    const void* End() const { return order.data() + order.size(); }
};

struct Options {
    double adversarial = 0.25;  // probability of a field-level bit-pattern attack
    double inPlace = 0.05;
    double sharedBlocks = 0.2;  // sample count / coefficient blocks shared between instances
};

class Generator {
public:
    explicit Generator(uint64_t seed) : rng_(seed) {}

    Scenario Make(int format, const Options& opt = {});

    // Between two calls: new audio, perhaps new counts, key choices, targets and
    // coefficients, as a host would change them. States are left as they are.
    void Evolve(Scenario& s, const Options& opt = {});

    std::mt19937_64& Rng() { return rng_; }

private:
    std::mt19937_64 rng_;

    double Uniform(double lo, double hi);
    int Int(int lo, int hi);  // inclusive
    bool Chance(double p);
    float WildFloat();        // any bit pattern, biased towards specials
    int32_t WildInt();

    int32_t SampleCount();
    void FillAudio(std::vector<float>& buf, int valid);
    void RandomBiquad(float* c5);
    void FillEqTarget(EQ_SCoefs& t, bool adversarial);
    void FillDynCoefs(Dyn_SCoefsBlock& k, int channels, int groups, bool adversarial);
    void FillDynState(Dyn_SState& s, bool adversarial);
    void FillEqSmoothed(EQ_SDezipCoefs& d, const EQ_SCoefs& target, bool adversarial);
    void FillInstanceBuffers(Scenario& s, Instance& in, bool adversarial);
};

// Bit-for-bit comparison of two copies of one scenario. NaNs compare equal to
// each other whatever their payload; everything else, signed zeros included,
// must match exactly. Returns an empty string when equal, otherwise the first
// difference, named by instance, block and field.
std::string Compare(const Scenario& a, const Scenario& b);

// A short human-readable summary of a scenario, for failure messages.
std::string Describe(const Scenario& s);

}  // namespace scenario
