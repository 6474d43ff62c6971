// The byte format of a core fuzz input: a host scenario (format, instances,
// every block they point at) and the host's changes before each call, all
// described by one visitor so that decoding (fuzzer) and encoding (seed
// writer) cannot drift apart.
//
// Every float field is taken bit for bit from the input; only what a host
// must keep valid is folded into range: stage ranges within 0..8, channel
// groups within the format's slots, key indices naming a supplied buffer,
// slot references, and positive sample counts below kMaxSamples (zero and
// negative counts pass unchanged). An input that runs out leaves the
// remaining fields as they were.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "model/scenario.h"

namespace fuzzcase {

inline constexpr int kMaxInstances = 4;
inline constexpr int kMaxCalls = 4;
inline constexpr int32_t kMaxSamples = 512;

// Archives: Raw() moves one field's bytes. Reading stops silently at the
// end of the input; writing appends.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    template <class T>
    void Raw(T& v) {
        if (size_ - pos_ < sizeof(T)) { pos_ = size_; return; }
        std::memcpy(&v, data_ + pos_, sizeof(T));
        pos_ += sizeof(T);
    }

private:
    const uint8_t* data_;
    size_t size_, pos_ = 0;
};

class Writer {
public:
    template <class T>
    void Raw(const T& v) {
        const auto* p = reinterpret_cast<const uint8_t*>(&v);
        bytes.insert(bytes.end(), p, p + sizeof(T));
    }
    std::vector<uint8_t> bytes;
};

// Sizes every buffer of `in` for its current sample count.
void SizeBuffers(scenario::Scenario& s, scenario::Instance& in);

// Shape and initial state of the scenario, and how many calls follow.
template <class Archive>
void VisitSetup(Archive& ar, scenario::Scenario& s, int& calls);

// The host's writes before one call: sample counts, key indices and
// coefficient blocks of every slot, meter clearing and audio of every
// instance.
template <class Archive>
void VisitCall(Archive& ar, scenario::Scenario& s);

}  // namespace fuzzcase

#include "fuzz_case_visit.h"
