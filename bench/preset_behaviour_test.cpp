// The benchmark settings must do what their names claim, or the figures
// measure something else: idle passes the programme through (up to the few
// ppm by which the core's 0 dB gain differs from unity), EQ only filters
// without gain reduction, the full strip compresses and gates the programme,
// and the decaying tail really starts with every memory denormal.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "support/decaying_tail.h"
#include "support/strip_rig.h"
#include "support/test_signal.h"

namespace bench {
namespace {

constexpr int kCall = 256;
constexpr double kProgrammePeak = 0.5;

struct Played {
    double deviation = 0;      // largest |output - input| relative to the programme's peak
    float compReduction = 0;   // dynamics meters: peak linear gain reduction
    float expReduction = 0;
};

// One second of programme through a fresh rig of `format` with `preset`.
Played PlayProgramme(const StemFormat& format, Preset preset) {
    const TestSignal programme(format.channels, kSampleRate);
    StripRig rig(format, 1, kCall, MakePreset(preset, format));
    Played result;
    for (int pos = 0; pos < TestSignal::kLength; pos += kCall) {
        rig.Feed(programme, pos);
        rig.Process();
        for (int c = 0; c < format.channels; ++c)
            for (int i = 0; i < kCall; ++i)
                result.deviation = std::max(result.deviation,
                                            std::fabs(double(rig.Output(0, c)[i]) - programme.Channel(c)[pos + i]));
    }
    result.deviation /= kProgrammePeak;
    const float* dynamicsMeters = rig.InstanceState(0).meters.data() + 2 * format.channels;
    result.compReduction = dynamicsMeters[2];
    result.expReduction = dynamicsMeters[3];
    return result;
}

class PresetBehaviour : public ::testing::TestWithParam<int> {
protected:
    const StemFormat& Format() const { return kStemFormats[GetParam()]; }
};

TEST_P(PresetBehaviour, SectionsAreSplitFourBeforeAndFourAfterTheDynamicsOrAbsentWhenIdle) {
    for (Preset preset : {Preset::FullStrip, Preset::EqOnly}) {
        const EQ_SCoefs eq = MakePreset(preset, Format()).eq;
        EXPECT_EQ(eq.sectionEnd[0] - eq.sectionBegin[0], 4);
        EXPECT_EQ(eq.sectionEnd[1] - eq.sectionBegin[1], 4);
    }
    const EQ_SCoefs idle = MakePreset(Preset::Idle, Format()).eq;
    EXPECT_EQ(idle.sectionEnd[0], idle.sectionBegin[0]);
    EXPECT_EQ(idle.sectionEnd[1], idle.sectionBegin[1]);
}

TEST_P(PresetBehaviour, IdlePassesTheProgrammeThroughUnchanged) {
    const Played p = PlayProgramme(Format(), Preset::Idle);
    EXPECT_LT(p.deviation, 1e-5);
    EXPECT_LT(p.compReduction, 1e-3f);
    EXPECT_LT(p.expReduction, 1e-3f);
}

TEST_P(PresetBehaviour, EqOnlyFiltersWithoutGainReduction) {
    const Played p = PlayProgramme(Format(), Preset::EqOnly);
    EXPECT_GT(p.deviation, 0.05);
    EXPECT_LT(p.compReduction, 1e-3f);
    EXPECT_LT(p.expReduction, 1e-3f);
}

TEST_P(PresetBehaviour, FullStripCompressesLoudPassagesAndGatesQuietOnes) {
    const Played p = PlayProgramme(Format(), Preset::FullStrip);
    EXPECT_GT(p.deviation, 0.05);
    EXPECT_GT(p.compReduction, 0.5f);  // more than 6 dB
    EXPECT_GT(p.expReduction, 0.9f);   // more than 20 dB
}

// Every memory of every instance, bit for bit.
bool SameMemories(const std::vector<StripRig::State>& a, const std::vector<StripRig::State>& b) {
    auto sameBytes = [](const auto& x, const auto& y) {
        return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof x[0]) == 0;
    };
    for (size_t i = 0; i < a.size(); ++i)
        if (!sameBytes(a[i].dyn, b[i].dyn) || !sameBytes(a[i].eq, b[i].eq) || !sameBytes(a[i].meters, b[i].meters) ||
            std::memcmp(&a[i].eqCoefs, &b[i].eqCoefs, sizeof a[i].eqCoefs) != 0)
            return false;
    return a.size() == b.size();
}

TEST_P(PresetBehaviour, DecayingTailStartsWithEveryMemoryDenormal) {
    // The rig reads its input in place: the audio must outlive every call.
    const TestSignal programme(Format().channels, kSampleRate);
    const Silence silence(Format().channels);
    StripRig rig(Format(), 2, kCall, MakePreset(Preset::FullStrip, Format()));
    const TailStart start = RunIntoDecayingTail(rig, programme, silence, 60 * 48000);
    EXPECT_EQ(start.census.normal, 0);
    EXPECT_GT(start.census.denormal, 0);
    rig.Process();  // moves on...
    EXPECT_FALSE(SameMemories(rig.Save(), start.states));
    rig.Restore(start.states);  // ...and comes back to the very same start
    EXPECT_TRUE(SameMemories(rig.Save(), start.states));
}

INSTANTIATE_TEST_SUITE_P(EveryFormat, PresetBehaviour, ::testing::Range(0, kStemFormatCount),
                         [](const auto& info) {
                             std::string name = kStemFormats[info.param].name;
                             for (char& ch : name)
                                 if (ch == '.') ch = '_';
                             return name;
                         });

}  // namespace
}  // namespace bench
