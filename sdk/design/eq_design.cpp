#include "eq_design.hpp"

#include <algorithm>

#include "core_section.hpp"
#include "matched_biquad.hpp"

namespace stemstrip::design {
namespace {

void StoreSection(EQ_SCoefs& eq, int section, const Biquad& f) {
    const std::array<float, 5> coefs = CoreSection(f);
    std::copy(coefs.begin(), coefs.end(), eq.coefs + EQ_kCoefsPerSection * section);
}

}  // namespace

EQ_SCoefs DesignEq(const std::array<EqBand, kMaxBands>& bands, double sampleRate) {
    EQ_SCoefs eq{};
    int section = 0;
    for (int stage = 0; stage < 2; ++stage) {
        const Placement placement = stage == 0 ? Placement::PreDynamics : Placement::PostDynamics;
        eq.sectionBegin[stage] = section;
        for (const EqBand& b : bands)
            if (b.enabled && b.placement == placement)
                StoreSection(eq, section++, DesignBand(b.type, b.frequencyHz, b.gainDb, b.q, sampleRate));
        eq.sectionEnd[stage] = section;
    }
    for (; section < EQ_kMaxSections; ++section) StoreSection(eq, section, Biquad{});
    return eq;
}

}  // namespace stemstrip::design
