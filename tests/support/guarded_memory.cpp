#include "guarded_memory.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace stemstrip_test {
namespace {

std::size_t PageSize() {
    static const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return page;
}

[[noreturn]] void Die(const char* what) {
    std::perror(what);
    std::abort();
}

}  // namespace

GuardedArena::~GuardedArena() {
    for (const Mapping& m : maps_) munmap(m.base, m.length);
}

void* GuardedArena::Bytes(std::size_t bytes, std::size_t align) {
    if (align == 0 || bytes % align != 0) {
        std::fprintf(stderr, "GuardedArena: %zu bytes cannot end flush at alignment %zu\n", bytes, align);
        std::abort();
    }
    const std::size_t page = PageSize();
    const std::size_t dataPages = (bytes + page - 1) / page;
    // A leading guard catches underruns too; the trailing one is the point.
    const std::size_t length = (dataPages + 2) * page;
    void* base = mmap(nullptr, length, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) Die("mmap");
    unsigned char* first = static_cast<unsigned char*>(base) + page;
    unsigned char* end = first + dataPages * page;
    if (dataPages != 0 && mprotect(first, dataPages * page, PROT_READ | PROT_WRITE) != 0) Die("mprotect");
    unsigned char* data = end - bytes;
    maps_.push_back({base, length, data, bytes});
    return data;  // fresh anonymous pages are zero
}

void GuardedArena::Protect(const void* block, int prot) {
    const std::size_t page = PageSize();
    for (const Mapping& m : maps_) {
        if (m.data != block) continue;
        if (m.dataBytes == 0) return;
        unsigned char* first = static_cast<unsigned char*>(m.base) + page;
        if (mprotect(first, m.length - 2 * page, prot) != 0) Die("mprotect");
        return;
    }
    std::fprintf(stderr, "GuardedArena::Protect: block %p is not from this arena\n", block);
    std::abort();
}

GuardedStrip::GuardedStrip(int channels, int sampleCount, int extraInputs, bool unaligned)
    : n_(channels), inputCount_(channels + extraInputs) {
    if (channels < 1 || channels > Dyn_kMaxChannels || extraInputs < 0) {
        std::fprintf(stderr, "GuardedStrip: bad shape %d + %d\n", channels, extraInputs);
        std::abort();
    }
    const int rounded = sampleCount < 1 ? 16 : (sampleCount + 15) / 16 * 16;
    samples_ = rounded < 16 ? 16 : rounded;
    const std::size_t bufferFloats = samples_ + (unaligned ? 1 : 0);

    ctx_ = arena_.Make<SChannelStrip_Alg_Context>();
    inPtrs_ = arena_.Make<const float*>(inputCount_);
    outPtrs_ = arena_.Make<float*>(n_);
    for (int c = 0; c < inputCount_; ++c) {
        in_.push_back(arena_.Floats(bufferFloats));
        inPtrs_[c] = in_.back();
    }
    for (int c = 0; c < n_; ++c) {
        out_.push_back(arena_.Floats(bufferFloats));
        outPtrs_[c] = out_.back();
    }
    count_ = arena_.Make<int32_t>();
    key_ = arena_.Make<int32_t>();
    dyn_ = arena_.Make<Dyn_SCoefsBlock>();
    dynState_ = arena_.Make<Dyn_SState>(n_);
    eqTarget_ = arena_.Make<EQ_SCoefs>();
    eqCoefs_ = arena_.Make<EQ_SDezipCoefs>();
    eqState_ = arena_.Make<EQ_SState>(n_);
    private_ = arena_.Floats(3 * n_ + 4);
    privatePtr_ = arena_.Make<float*>();
    *privatePtr_ = private_;
    *count_ = sampleCount;

    // Neutral dynamics: with every curve field 0 both curves give 0 dB; the
    // gate thresholds sit below the -140 dB silence level so it never closes.
    dyn_->outputGainTarget = 1.0f;
    dyn_->gateOpenThresholdDb = -1000.0f;
    dyn_->gateCloseThresholdDb = -1000.0f;
    dyn_->detFilterB0 = 1.0f;
    dyn_->levelB0 = 1.0f;
    dyn_->peakDecay = 0.5f;
    dyn_->inputMeterGain = 1.0f;
    dyn_->keySource = 2;
    for (int c = 0; c < n_; ++c) {
        dynState_[c].outputGain = 1.0f;
        dynState_[c].gateOpen = 1;
    }
    // Identity EQ: both ranges empty; all targets and smoothed values 0.

    *ctx_ = SChannelStrip_Alg_Context{inPtrs_, outPtrs_, key_, count_, dyn_, dynState_,
                                      eqTarget_, eqCoefs_, eqState_, privatePtr_};
}

void GuardedStrip::SnapEq(const float* coefs) {
    for (int i = 0; i < EQ_kCoefCount; ++i) {
        eqCoefs_->coefs[i] = coefs[i];
        eqCoefs_->accum[i] = coefs[i];
    }
}

std::vector<unsigned char> GuardedStrip::Mutable(bool withOutputs) const {
    std::vector<unsigned char> bytes;
    auto add = [&bytes](const void* p, std::size_t size) {
        const unsigned char* b = static_cast<const unsigned char*>(p);
        bytes.insert(bytes.end(), b, b + size);
    };
    add(dynState_, sizeof(Dyn_SState) * n_);
    add(eqCoefs_, sizeof(EQ_SDezipCoefs));
    add(eqState_, sizeof(EQ_SState) * n_);
    add(private_, sizeof(float) * (3 * n_ + 4));
    if (withOutputs)
        for (float* o : out_) add(o, sizeof(float) * samples_);
    return bytes;
}

void GuardedStrip::Seal() {
    if (revoked_) return;
    ProtectReadOnlyBlocks(PROT_READ);
}

void GuardedStrip::Unseal() {
    revoked_ = false;
    const int rw = PROT_READ | PROT_WRITE;
    ProtectReadOnlyBlocks(rw);
    for (float* b : out_) arena_.Protect(b, rw);
    arena_.Protect(dynState_, rw);
    arena_.Protect(eqCoefs_, rw);
    arena_.Protect(eqState_, rw);
    arena_.Protect(private_, rw);
}

// The blocks and buffers the library only reads.
void GuardedStrip::ProtectReadOnlyBlocks(int prot) {
    arena_.Protect(ctx_, prot);
    arena_.Protect(inPtrs_, prot);
    arena_.Protect(outPtrs_, prot);
    arena_.Protect(privatePtr_, prot);
    arena_.Protect(count_, prot);
    arena_.Protect(key_, prot);
    arena_.Protect(dyn_, prot);
    arena_.Protect(eqTarget_, prot);
    for (float* b : in_) arena_.Protect(b, prot);
}

void GuardedStrip::RevokeAllButHeader() {
    Seal();
    arena_.Protect(outPtrs_, PROT_NONE);
    arena_.Protect(privatePtr_, PROT_NONE);
    arena_.Protect(dyn_, PROT_NONE);
    arena_.Protect(eqTarget_, PROT_NONE);
    for (float* b : out_) arena_.Protect(b, PROT_NONE);
    arena_.Protect(dynState_, PROT_NONE);
    arena_.Protect(eqCoefs_, PROT_NONE);
    arena_.Protect(eqState_, PROT_NONE);
    arena_.Protect(private_, PROT_NONE);
    revoked_ = true;
}

void GuardedStrip::Call(AlgEntry_Fn entry) { CallAll(entry, {this}); }

void GuardedStrip::CallAll(AlgEntry_Fn entry, std::initializer_list<GuardedStrip*> strips) {
    GuardedArena arena;
    SChannelStrip_Alg_Context** array = arena.Make<SChannelStrip_Alg_Context*>(strips.size());
    std::size_t i = 0;
    for (GuardedStrip* s : strips) {
        array[i++] = s->ctx_;
        s->Seal();
    }
    arena.Protect(array, PROT_READ);
    entry(array, array + strips.size());
    for (GuardedStrip* s : strips) s->Unseal();
}

void GuardedStrip::ShareCountOf(GuardedStrip& other) { ctx_->sampleCount = other.count_; }

}  // namespace stemstrip_test
