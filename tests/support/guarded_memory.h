// Memory-bounds harness for tests that call the library's entries.
//
// Every block is placed so that its last byte is the last byte before a
// PROT_NONE page: reading or writing even one float past it raises SIGSEGV.
// Blocks get only the alignment their type needs (a float block may start on
// any 4-byte boundary), because that is all the library may assume.
//
//   GuardedArena arena;                       // owns the mappings
//   float* f = arena.Floats(7);               // 7 floats, then a guard page
//   auto*  s = arena.Make<Dyn_SState>(2);     // 2 zeroed records, then guard
//
// GuardedStrip builds one complete, valid context on such blocks:
//
//   GuardedStrip strip(6, 20);      // 6 channels, sample count 20
//   strip.In(2)[5] = 0.25f;         // buffers hold 32 samples (20 rounded
//                                   // up to 16); one more crashes
//   strip.Call(AlgEntry_16_Stem_5_1);
//
// A fresh strip is neutral: identity EQ (both stage ranges empty, smoothed
// set equal to the zero targets), dynamics whose gain is exactly
// 1.0000013f * 1.0000013f (all curves 0 dB, gate always open, output gain 1,
// detector pre-filter a wire), dezipRate 0, meters 0, inputMeterGain 1,
// bypass 0, no key. Tests change whatever they need through the accessors.
//
// Call() makes every block the library must only read (the context itself,
// the channel pointer arrays, the two integers, the coefficient blocks and
// the input buffers) read-only for the duration of the call, so a stray
// write there crashes too.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <vector>

#include "stemstrip.h"

namespace stemstrip_test {

class GuardedArena {
public:
    GuardedArena() = default;
    GuardedArena(const GuardedArena&) = delete;
    GuardedArena& operator=(const GuardedArena&) = delete;
    ~GuardedArena();

    // `bytes` zeroed bytes ending exactly at a PROT_NONE page; `align` must
    // divide `bytes`. A zero-byte request returns the guard page's address.
    void* Bytes(std::size_t bytes, std::size_t align);

    float* Floats(std::size_t count) { return static_cast<float*>(Bytes(count * sizeof(float), alignof(float))); }

    // `count` value-initialised objects of a trivially copyable type.
    template <class T>
    T* Make(std::size_t count = 1) {
        T* p = static_cast<T*>(Bytes(count * sizeof(T), alignof(T)));
        for (std::size_t i = 0; i < count; ++i) new (p + i) T{};
        return p;
    }

    // Changes the protection of the pages holding a block this arena returned
    // (PROT_READ, PROT_READ | PROT_WRITE or PROT_NONE); its guard page stays.
    void Protect(const void* block, int prot);

private:
    struct Mapping {
        void* base;
        std::size_t length;
        const void* data;
        std::size_t dataBytes;
    };
    std::vector<Mapping> maps_;
};

class GuardedStrip {
public:
    // `channels`: the N of the format the context is laid out for (1..8).
    // `sampleCount`: the value behind sampleCount; every buffer holds
    // max(16, sampleCount rounded up to 16) samples.
    // `extraInputs`: input buffers beyond the N channels (inputs[N...]), for
    // an outside key.
    // `unaligned`: give every audio buffer a start 12 bytes past a 16-byte
    // boundary (one spare float then sits at the end, before the guard).
    GuardedStrip(int channels, int sampleCount, int extraInputs = 0, bool unaligned = false);

    int Channels() const { return n_; }
    int BufferSamples() const { return samples_; }

    SChannelStrip_Alg_Context* Context() { return ctx_; }
    float* In(int c) { return in_[c]; }  // c may go up to N + extraInputs - 1
    float* Out(int c) { return out_[c]; }
    int32_t& SampleCount() { return *count_; }
    int32_t& KeyIndex() { return *key_; }
    Dyn_SCoefsBlock& Dyn() { return *dyn_; }
    Dyn_SState* DynState() { return dynState_; }  // N records
    EQ_SCoefs& EqTarget() { return *eqTarget_; }
    EQ_SDezipCoefs& EqCoefs() { return *eqCoefs_; }
    EQ_SState* EqState() { return eqState_; }  // N records
    float* Private() { return private_; }  // 3N + 4 floats
    float* InputPeaks() { return private_; }
    float* OutputPeaks() { return private_ + n_; }
    float* DynRun() { return private_ + 2 * n_; }  // 4 + N floats

    // Sets the whole smoothed EQ set (floats and accumulators) to `coefs`.
    void SnapEq(const float* coefs);
    // Fills every input buffer (extra inputs included) from f(channel, i).
    template <class F>
    void FillInputs(F f) {
        for (int c = 0; c < inputCount_; ++c)
            for (int i = 0; i < samples_; ++i) in_[c][i] = f(c, i);
    }

    // Everything the library may write, as raw bytes: dynamics states, the
    // smoothed EQ set, EQ states, the private block and (unless told not to)
    // all output samples. Compare with ==: NaNs and signed zeros count too.
    std::vector<unsigned char> Mutable(bool withOutputs = true) const;

    // Read-only blocks as read-only pages (Seal) or back to read-write.
    void Seal();
    void Unseal();
    // Makes everything but the context record, the two integers and the
    // input pointer array inaccessible (what a skipped context may touch)
    // until the next Unseal; Seal leaves it so.
    void RevokeAllButHeader();

    // Calls `entry` on this one context, sealed.
    void Call(AlgEntry_Fn entry);

    // Calls `entry` on the contexts of `strips` in order: the pointer array
    // is itself guarded (reading past its end crashes) and all are sealed.
    static void CallAll(AlgEntry_Fn entry, std::initializer_list<GuardedStrip*> strips);

    // Points this context's sample count at another strip's integer.
    void ShareCountOf(GuardedStrip& other);

private:
    void ProtectReadOnlyBlocks(int prot);

    GuardedArena arena_;
    int n_, samples_, inputCount_;
    SChannelStrip_Alg_Context* ctx_;
    const float** inPtrs_;
    float** outPtrs_;
    std::vector<float*> in_, out_;
    int32_t* count_;
    int32_t* key_;
    Dyn_SCoefsBlock* dyn_;
    Dyn_SState* dynState_;
    EQ_SCoefs* eqTarget_;
    EQ_SDezipCoefs* eqCoefs_;
    EQ_SState* eqState_;
    float* private_;
    float** privatePtr_;
    bool revoked_ = false;
};

}  // namespace stemstrip_test
