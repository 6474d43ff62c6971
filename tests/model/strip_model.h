// Reference model of the channel strip: a plain scalar re-statement of every
// stage, written for readability, used as the oracle of the differential
// tests. It works directly on the host records of stemstrip.h, so it can run
// on the very same contexts as the library (on a separate copy).
#pragma once

#include <bit>
#include <cstdint>

#include "stemstrip.h"

namespace model {

struct Format {
    const char* name;
    int channels;  // N
    int groups;    // G
};

inline constexpr int kFormatCount = 11;
// Same order as the exported entries in stemstrip.h.
extern const Format kFormats[kFormatCount];

// --- numeric helpers -------------------------------------------------------

// float -> int32 with truncation; NaN and out-of-range give INT32_MIN, as the
// x86 truncating conversion does.
int32_t TruncToInt32(float v);
inline uint32_t Bits(float v) { return std::bit_cast<uint32_t>(v); }
inline float FromBits(uint32_t u) { return std::bit_cast<float>(u); }

// --- dB conversions through lookup tables ----------------------------------

float AmpToDb(float amplitude);
float DbToAmp(float db);

// --- stages ----------------------------------------------------------------

void EQ_DezipStep(EQ_SDezipCoefs& smoothed, const EQ_SCoefs& target, float rate);

// Four samples from `pos` through sections [sectionBegin, sectionEnd).
void EQ_Process(int channels, const EQ_SDezipCoefs* coefs, EQ_SState* state, const float* const* in,
                float* const* out, int pos, int sectionBegin, int sectionEnd);

void ProcessAudioGain4(float* x, Dyn_SState* state, const SChannelStrip_Alg_Context* ctx,
                       float t, int slot, float* dynamicsRunState);

// One call of the format's entry, modelled.
void Entry(int formatIndex, SChannelStrip_Alg_Context* const* begin, const void* end);

}  // namespace model
