#include "strip_bank.h"

#include <algorithm>

#include "support/entries.h"

namespace robustness {

AlgEntry_Fn Entry(stemstrip::Format f) { return stemstrip_test::kEntries[static_cast<int>(f)]; }

scenario::Scenario MakeBank(stemstrip::Format f, int instances, int samples, const stemstrip::CoefficientSet& set) {
    const int n = stemstrip::ChannelCount(f);
    scenario::Scenario s;
    s.format = static_cast<int>(f);
    s.counts = {samples};
    s.keyIndices = {0};
    s.dynCoefs = {set.dyn};
    s.eqTargets = {set.eq};
    s.instances.resize(instances);
    for (scenario::Instance& in : s.instances) {
        in.formatChannels = n;
        in.extraInputs = 1;
        in.inBufs.assign(n + 1, std::vector<float>(samples + scenario::kCanaryFloats, 0.0f));
        in.outBufs.assign(n, std::vector<float>(samples + scenario::kCanaryFloats, 0.0f));
        // A clean start: glide at its targets, gains at 0 dB, gate open,
        // smoothed parameters at their targets.
        in.dynState.assign(n + 1, Dyn_SState{});
        for (Dyn_SState& d : in.dynState) {
            d.outputGain = set.dyn.outputGainTarget;
            d.compFloorDb = set.dyn.compFloorDbTarget;
            d.expRangeDb = set.dyn.expRangeDbTarget;
            d.gateOpen = 1;
        }
        in.eqCoefs.assign(2, EQ_SDezipCoefs{});
        std::copy(std::begin(set.eq.coefs), std::end(set.eq.coefs), in.eqCoefs[0].coefs);
        std::copy(std::begin(set.eq.coefs), std::end(set.eq.coefs), in.eqCoefs[0].accum);
        in.eqState.assign(n + 1, EQ_SState{});
        in.priv.assign(3 * n + 4 + scenario::kCanaryFloats, 0.0f);
    }
    s.Relink();
    for (scenario::Instance& in : s.instances) s.order.push_back(&in.ctx);
    Retarget(s, set);
    return s;
}

void Retarget(scenario::Scenario& bank, const stemstrip::CoefficientSet& set) {
    bank.dynCoefs[0] = set.dyn;
    bank.eqTargets[0] = set.eq;
    for (scenario::Instance& in : bank.instances) in.dynState[0].dezipRate = set.dezipRate;
}

}  // namespace robustness
