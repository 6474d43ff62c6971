// The benchmark settings must do what their names claim, or the figures
// measure something else: idle passes the programme through (up to the few
// ppm by which the core's 0 dB gain differs from unity), EQ only filters
// without gain reduction, the full strip compresses and gates the programme,
// and the decaying tail really starts with every memory denormal.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "support/decaying_tail.h"
#include "support/strip_rig.h"
#include "support/test_signal.h"

namespace bench {
namespace {

constexpr int kCall = 256;

class BenchPresets : public ::testing::TestWithParam<int> {
protected:
    const StemFormat& Format() const { return kStemFormats[GetParam()]; }
};

TEST_P(BenchPresets, DoWhatTheirNamesSay) {
    struct Expected {
        Preset preset;
        int sectionsPerStage;
        bool changesTheProgramme, compresses, gates;
    };
    for (const Expected& e : {Expected{Preset::Idle, 0, false, false, false},
                              Expected{Preset::EqOnly, 4, true, false, false},
                              Expected{Preset::FullStrip, 4, true, true, true}}) {
        StripRig rig(Format(), 1, kCall, MakePreset(e.preset, Format()));
        for (int stage = 0; stage < 2; ++stage)
            EXPECT_EQ(rig.Preset().eq.sectionEnd[stage] - rig.Preset().eq.sectionBegin[stage], e.sectionsPerStage);

        const TestSignal programme(Format().channels, kSampleRate);
        double deviation = 0;  // largest |output - input|, relative to the programme's 0.5 peak
        for (int pos = 0; pos < TestSignal::kLength; pos += kCall) {
            rig.Feed(programme, pos);
            rig.Process();
            for (int c = 0; c < Format().channels; ++c)
                for (int i = 0; i < kCall; ++i)
                    deviation = std::max(deviation, std::fabs(double(rig.Output(0, c)[i]) - programme.Channel(c)[pos + i]) / 0.5);
        }
        // Peak linear gain reduction of the compressor and the expander.
        const float* dynamicsMeters = rig.InstanceState(0).meters.data() + 2 * Format().channels;
        const std::string name = "preset " + std::to_string(int(e.preset));
        if (e.changesTheProgramme)
            EXPECT_GT(deviation, 0.05) << name;
        else
            EXPECT_LT(deviation, 1e-5) << name;
        EXPECT_TRUE(e.compresses ? dynamicsMeters[2] > 0.5f : dynamicsMeters[2] < 1e-3f) << name;  // 6 dB
        EXPECT_TRUE(e.gates ? dynamicsMeters[3] > 0.9f : dynamicsMeters[3] < 1e-3f) << name;       // 20 dB
    }
}

TEST_P(BenchPresets, DecayingTailStartsWithEveryMemoryDenormalAndRestoresExactly) {
    // The rig reads its input in place: the audio must outlive every call.
    const TestSignal programme(Format().channels, kSampleRate);
    const Silence silence(Format().channels);
    StripRig rig(Format(), 2, kCall, MakePreset(Preset::FullStrip, Format()));
    const TailStart start = RunIntoDecayingTail(rig, programme, silence, 60 * 48000);
    EXPECT_EQ(start.census.normal, 0);
    EXPECT_GT(start.census.denormal, 0);

    auto sameMemories = [&] {
        const auto now = rig.Save();
        auto same = [](const auto& x, const auto& y) { return std::memcmp(x.data(), y.data(), x.size() * sizeof x[0]) == 0; };
        for (size_t i = 0; i < now.size(); ++i)
            if (!same(now[i].dyn, start.states[i].dyn) || !same(now[i].eq, start.states[i].eq) ||
                !same(now[i].meters, start.states[i].meters) ||
                std::memcmp(&now[i].eqCoefs, &start.states[i].eqCoefs, sizeof now[i].eqCoefs) != 0)
                return false;
        return true;
    };
    rig.Process();  // moves on...
    EXPECT_FALSE(sameMemories());
    rig.Restore(start.states);  // ...and comes back to the very same start
    EXPECT_TRUE(sameMemories());
}

INSTANTIATE_TEST_SUITE_P(EveryFormat, BenchPresets, ::testing::Range(0, kStemFormatCount), [](const auto& info) {
    std::string name = kStemFormats[info.param].name;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
});

}  // namespace
}  // namespace bench
