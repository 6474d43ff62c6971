// Definitions of the visitors declared in fuzz_case.h. Each field is moved
// raw, then folded into the host-valid range; folding leaves a valid value
// unchanged, so a written case reads back as itself.
#pragma once

#include <algorithm>

#include "model/strip_model.h"

namespace fuzzcase {

// A small count or index in [lo, hi], one byte.
template <class Archive>
void Small(Archive& ar, int& v, int lo, int hi) {
    uint8_t b = static_cast<uint8_t>(v - lo);
    ar.Raw(b);
    v = lo + b % (hi - lo + 1);
}

inline int32_t Fold(int32_t v, uint32_t modulus) {
    return static_cast<int32_t>(static_cast<uint32_t>(v) % modulus);
}

template <class Archive>
void VisitDynCoefs(Archive& ar, Dyn_SCoefsBlock& k, int channels, int groups) {
    ar.Raw(k);
    for (int c = 0; c < channels; ++c) k.channelGroup[c] = Fold(k.channelGroup[c], static_cast<uint32_t>(groups));
}

template <class Archive>
void VisitEqTarget(Archive& ar, EQ_SCoefs& t) {
    ar.Raw(t);
    for (int s = 0; s < 2; ++s) {
        t.sectionBegin[s] = Fold(t.sectionBegin[s], EQ_kMaxSections + 1);
        t.sectionEnd[s] = Fold(t.sectionEnd[s], EQ_kMaxSections + 1);
    }
}

template <class Archive>
void VisitSetup(Archive& ar, scenario::Scenario& s, int& calls) {
    Small(ar, s.format, 0, model::kFormatCount - 1);
    Small(ar, calls, 1, kMaxCalls);
    int instances = static_cast<int>(s.instances.size());
    int slots = std::max<int>(1, static_cast<int>(s.counts.size()));
    Small(ar, instances, 0, kMaxInstances);
    Small(ar, slots, 1, std::max(1, instances));
    s.counts.resize(slots);
    s.keyIndices.resize(slots);
    s.dynCoefs.resize(slots);
    s.eqTargets.resize(slots);
    s.instances.resize(instances);

    const int n = model::kFormats[s.format].channels;
    for (scenario::Instance& in : s.instances) {
        in.formatChannels = n;
        Small(ar, in.extraInputs, 1, 2);
        int inPlace = in.inPlace;
        Small(ar, inPlace, 0, 1);
        in.inPlace = inPlace != 0;
        Small(ar, in.countSlot, 0, slots - 1);
        Small(ar, in.keySlot, 0, slots - 1);
        Small(ar, in.dynCoefSlot, 0, slots - 1);
        Small(ar, in.eqTargetSlot, 0, slots - 1);
        // One record past each writable block, compared afterwards: a write
        // there shows even where no guard page sits.
        in.dynState.resize(n + 1);
        in.eqCoefs.resize(2);
        in.eqState.resize(n + 1);
        in.priv.resize(3 * n + 4 + scenario::kCanaryFloats);
        for (int c = 0; c < n; ++c) ar.Raw(in.dynState[c]);
        ar.Raw(in.eqCoefs[0]);
        for (int c = 0; c < n; ++c) ar.Raw(in.eqState[c]);
        for (int j = 0; j < 3 * n + 4; ++j) ar.Raw(in.priv[j]);
    }
    // The call order: a rotation of the instances.
    int rotation = 0;
    Small(ar, rotation, 0, kMaxInstances - 1);
    s.order.clear();
    for (int i = 0; i < instances; ++i) s.order.push_back(&s.instances[(i + rotation) % instances].ctx);
}

template <class Archive>
void VisitCall(Archive& ar, scenario::Scenario& s) {
    const int n = model::kFormats[s.format].channels;
    for (size_t slot = 0; slot < s.counts.size(); ++slot) {
        ar.Raw(s.counts[slot]);
        if (s.counts[slot] >= 1) s.counts[slot] = 1 + (s.counts[slot] - 1) % kMaxSamples;
        ar.Raw(s.keyIndices[slot]);
        s.keyIndices[slot] = Fold(s.keyIndices[slot], static_cast<uint32_t>(n + 1));  // N: the first extra input
        VisitDynCoefs(ar, s.dynCoefs[slot], n, model::kFormats[s.format].groups);
        VisitEqTarget(ar, s.eqTargets[slot]);
    }
    for (scenario::Instance& in : s.instances) {
        ar.Raw(in.dynState[0].dezipRate);
        int clearMeters = 0;
        Small(ar, clearMeters, 0, 1);
        if (clearMeters) std::fill(in.priv.begin(), in.priv.begin() + 3 * n + 4, 0.0f);
        SizeBuffers(s, in);
        for (auto& buffer : in.inBufs)
            for (size_t i = 0; i + scenario::kCanaryFloats < buffer.size(); ++i) ar.Raw(buffer[i]);
    }
    s.Relink();
}

}  // namespace fuzzcase
