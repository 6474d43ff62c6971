// Every field of Settings under the name presets, --set overrides and the C
// API give it, written once and walked by a visitor `v`: v(name, field) for
// each value (double, bool, an enum, channelGroups, the bands array) and
// v.Object(name, fill) for a nested struct, where fill(inner) visits its
// fields with a visitor of the same kind. Works on const and mutable settings.
#pragma once

#include "stemstrip/settings.hpp"

namespace stemstrip {

template <class Band, class V>
void VisitBand(Band& b, V& v) {
    v("enabled", b.enabled);
    v("type", b.type);
    v("placement", b.placement);
    v("frequencyHz", b.frequencyHz);
    v("gainDb", b.gainDb);
    v("q", b.q);
}
template <class Comp, class V>
void VisitCompressor(Comp& c, V& v) {
    v("thresholdDb", c.thresholdDb);
    v("ratio", c.ratio);
    v("kneeDb", c.kneeDb);
    v("attackMs", c.attackMs);
    v("releaseMs", c.releaseMs);
    v("maxReductionDb", c.maxReductionDb);
    v("makeupDb", c.makeupDb);
}
template <class Exp, class V>
void VisitExpander(Exp& e, V& v) {
    v("thresholdDb", e.thresholdDb);
    v("ratio", e.ratio);
    v("kneeDb", e.kneeDb);
    v("rangeDb", e.rangeDb);
    v("gate", e.gate);
    v("gateThresholdDb", e.gateThresholdDb);
    v("hysteresisDb", e.hysteresisDb);
    v("holdMs", e.holdMs);
    v("attackMs", e.attackMs);
    v("releaseMs", e.releaseMs);
}
template <class Det, class V>
void VisitDetector(Det& d, V& v) {
    v("mode", d.mode);
    v("peakDecayMs", d.peakDecayMs);
    v("averageMs", d.averageMs);
    v("filter", d.filter);
    v("filterHz", d.filterHz);
    v("filterQ", d.filterQ);
    v("externalKey", d.externalKey);
    v("keyListen", d.keyListen);
}
template <class S, class V>
void VisitSettings(S& s, V& v) {
    v("bands", s.bands);
    v.Object("compressor", [&](auto& inner) { VisitCompressor(s.compressor, inner); });
    v.Object("expander", [&](auto& inner) { VisitExpander(s.expander, inner); });
    v.Object("detector", [&](auto& inner) { VisitDetector(s.detector, inner); });
    v("channelGroups", s.channelGroups);
    v("inputMeterTrimDb", s.inputMeterTrimDb);
    v("bypass", s.bypass);
    v("smoothingMs", s.smoothingMs);
}

}  // namespace stemstrip
