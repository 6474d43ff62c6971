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

// Where one channel pointer of an instance points when it does not point at
// the instance's own buffer: into a buffer owned by another instance of the
// same scenario. Sharing is held as indices and offsets into owned storage,
// never as raw pointers, so that a deep copy reproduces it inside the copy.
struct BufferRef {
    int instance = -1;    // owner of the storage; -1: the instance's own buffer
    bool output = false;  // the owner's output buffer `channel` (its in-place
                          // buffer when the owner works in place), else its
                          // input buffer `channel`
    int channel = 0;
    int offset = 0;       // floats from the start of that buffer
};

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

    // Memory shared with other instances of the scenario (Options::sharedMemory).
    // Empty vectors and -1 mean the instance's own storage, which is all that
    // code building instances by hand needs to know. An entry with an owner
    // redirects that one pointer: inShare[j] the input pointer j (for an
    // in-place instance, j < N, also output pointer j), outShare[c] the output
    // pointer c of an instance that does not work in place. The *Of fields
    // hand the instance another instance's whole writable block. The
    // instance's own storage behind a redirected pointer stays in place,
    // unused, and compares equal. Storage a pointer is redirected into is
    // grown to cover the referring instance's rounded sample count.
    std::vector<BufferRef> inShare;   // size 0 or N + extraInputs
    std::vector<BufferRef> outShare;  // size 0 or N
    int dynStateOf = -1;  // use that instance's Dyn_SState array (and so its dezipRate)
    int eqCoefsOf = -1;   // use that instance's EQ_SDezipCoefs
    int eqStateOf = -1;   // use that instance's EQ_SState array
    int privOf = -1;      // use that instance's private block

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

    // Points every context and pointer table at this object's own storage,
    // following the sharing fields of the instances.
    void Relink();

    // The storage a reference resolves to (the whole vector, offset not applied).
    std::vector<float>& Storage(const BufferRef& r);
    const std::vector<float>& Storage(const BufferRef& r) const;

    SChannelStrip_Alg_Context* const* Begin() const { return order.data(); }
    const void* End() const { return order.data() + order.size(); }
};

struct Options {
    double adversarial = 0.25;  // probability of a field-level bit-pattern attack
    double inPlace = 0.05;
    double sharedBlocks = 0.2;  // sample count / coefficient blocks shared between instances

    // Everything below defaults to the historical behaviour: with the
    // defaults, a seed gives exactly the scenarios it always gave.

    // Instance count of Make(), uniform in [minInstances, maxInstances]; with
    // minInstances 0 a tenth of the scenarios are empty (historically 0..4).
    int minInstances = 0;
    int maxInstances = 4;
    // Probability that an instance uses a read-only slot of its own (slot i
    // of counts, key indices, Dyn_SCoefsBlock and EQ_SCoefs) rather than a
    // randomly chosen one. 0: the historical random choice.
    double distinctSlots = 0.0;
    // Probability that an instance's smoothed EQ set starts settled (at a
    // fixed point of the glide: accum exactly double(target), or each slot a
    // sub-ulp off it) rather than gliding; Evolve() also snaps a fraction of
    // the instances back to their targets, as a host resetting the glide
    // would. Negative: the historical mix of snapped, gliding, sub-ulp and
    // partly zeroed sets.
    double settledEq = -1.0;
    // Probability of each extra variation that many instances of one call
    // must be kept apart in: long sample counts (257..8192, so that counts
    // differ by hundreds of blocks) per count slot, a special dezipRate (0,
    // -0, +-inf, NaN, denormal, 1, 2) per instance, section ranges far
    // outside 0..8 that still bypass, per stage, and all slots with the same
    // section ranges, per scenario.
    double variety = 0.0;
    // Probability that a sample count is below 1 (the instance is skipped).
    // Negative: the historical sixth.
    double skippedCounts = -1.0;
    // Probability that a buffer's audio gets special values sprinkled in; a
    // fifth of it: a buffer of nothing but wild patterns.
    double audioSpecials = 0.25;
    // Probability that Make() lets instances share writable memory: an
    // instance's input or key buffer is another's output (partly, or from an
    // offset, too), two instances write one output buffer, an output buffer
    // starts in the middle of another instance's input buffer, or two
    // instances use one EQ_SDezipCoefs, EQ_SState array, Dyn_SState array or
    // private block. Such a scenario has at least one writable link; Evolve()
    // keeps the links and resizes the shared storage.
    double sharedMemory = 0.0;
    int maxSharedLinks = 4;     // writable links per sharing scenario: 1..this
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
    Options opt_;  // the options of the Make() or Evolve() under way

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
    float SpecialRate();
    void SnapSmoothed(EQ_SDezipCoefs& d, const EQ_SCoefs& target, bool subUlp);
    void OutOfRangeBypass(EQ_SCoefs& t, int stage);
    void AddSharing(Scenario& s);
    void FitSharedStorage(Scenario& s);
};

// How an instance's pointers and blocks are shared, in words ("" when it
// owns everything it uses). Part of Describe().
std::string DescribeSharing(const Scenario& s, int instance);

// Number of writable links of a scenario: redirected pointers through which
// an instance writes or reads memory another instance writes, and shared
// writable blocks. Read-only sharing (an input read by two instances) is not
// counted.
int WritableLinks(const Scenario& s);

// Bit-for-bit comparison of two copies of one scenario. NaNs compare equal to
// each other whatever their payload; everything else, signed zeros included,
// must match exactly. Returns an empty string when equal, otherwise the first
// difference, named by instance, block and field (storage that other
// instances share is named by its owner, with its other users listed).
std::string Compare(const Scenario& a, const Scenario& b);

// A short human-readable summary of a scenario, for failure messages.
std::string Describe(const Scenario& s);

}  // namespace scenario
