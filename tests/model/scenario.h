// Randomised host-side scenarios for differential testing: instances of one
// stem format with every block a host would allocate, deep-copyable so that
// the library and the model each run on their own copy, and comparable bit
// for bit.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "stemstrip.h"

namespace scenario {

// Extra floats appended after every buffer and private block, one extra
// record after every writable record array: they must come back untouched.
inline constexpr int kCanaryFloats = 16;

// A channel pointer: `offset` floats into one of the scenario's buffers, held
// as indices so that a deep copy reproduces any sharing inside the copy.
struct Channel {
    int buffer = 0, offset = 0;
};

struct Instance {
    int formatChannels = 0, extraInputs = 0;  // N, and the key buffers past them
    bool inPlace = false;  // outputs alias the first N inputs
    int countSlot = 0, keySlot = 0, dynCoefSlot = 0, eqTargetSlot = 0;  // into the Scenario's read-only blocks

    // N + extraInputs input pointers and N output pointers (none when
    // inPlace). Two pointers into one buffer, of two instances, are memory
    // they share.
    std::vector<Channel> in, out;
    std::vector<Dyn_SState> dynState;         // N + 1 canary
    std::vector<EQ_SDezipCoefs> eqCoefs;      // 1 + 1 canary
    std::vector<EQ_SState> eqState;           // N + 1 canary
    std::vector<float> priv;                  // 3N + 4 + kCanaryFloats

    // Another instance's whole writable block borrowed (-1: the instance's own).
    int dynStateOf = -1, eqCoefsOf = -1, eqStateOf = -1, privOf = -1;

    // Rebuilt by Scenario::Relink().
    std::vector<const float*> inPtrs;
    std::vector<float*> outPtrs;
    float* privPtr = nullptr;
    SChannelStrip_Alg_Context ctx{};
};

struct Scenario {
    int format = 0;
    std::vector<int32_t> counts, keyIndices;
    std::vector<Dyn_SCoefsBlock> dynCoefs;
    std::vector<EQ_SCoefs> eqTargets;
    std::vector<std::vector<float>> buffers;  // every audio buffer, padded + canary
    std::vector<Instance> instances;
    std::vector<int> order;  // the call order, as indices into instances

    Scenario() = default;
    Scenario(const Scenario& other) { *this = other; }
    Scenario& operator=(const Scenario& other);

    // Points every context, pointer table and the entry's array at this
    // object's own storage.
    void Relink();

    SChannelStrip_Alg_Context* const* Begin() const { return array_.data(); }
    const void* End() const { return array_.data() + array_.size(); }

private:
    std::vector<SChannelStrip_Alg_Context*> array_;  // the array handed to the entry
};

// Gives every pointer of `in` a new, empty buffer of its own.
void AddBuffers(Scenario& s, Instance& in);

struct Options {
    double inPlace = 0.05;
    double sharedBlocks = 0.2;   // fewer read-only slots than instances
    int minInstances = 0;        // 0: a tenth of the scenarios are empty
    int maxInstances = 4;
    double distinctSlots = 0.0;  // an instance uses read-only slot i of its own
    double settledEq = 0.25;     // smoothed EQ set starts at a fixed point of the glide
    // Long sample counts, special dezip rates, far-out bypass ranges and one
    // section split for every slot: what batched instances must keep apart.
    double variety = 0.0;
    double skippedCounts = 0.17;  // a sample count below 1
    double audioSpecials = 0.25;  // NaN, inf, denormals... in the audio
    // Instances share writable memory: an input or key is another's output
    // (or part of it), two write one output, an output starts inside another
    // input, or two use one writable block.
    double sharedMemory = 0.0;
    int maxSharedLinks = 4;
};

struct Generator {
    explicit Generator(uint64_t seed) : rng(seed) {}
    Scenario Make(int format, const Options& opt = {});
    // Between two calls, as a host would: new audio, perhaps new counts, key
    // choices, targets and coefficients; states stay.
    void Evolve(Scenario& s, const Options& opt = {});
    std::mt19937_64 rng;
};

// Bit-for-bit comparison of two copies of one scenario (NaNs equal whatever
// their payload, signed zeros distinct): "" or the first difference.
std::string Compare(const Scenario& a, const Scenario& b);

}  // namespace scenario
