// The peer chains must be what the table says they are: every installed
// plugin takes every setting (symbol present, value inside the declared
// range), the chain processes the programme into finite output, and its
// dynamics stages change the level from that of its equaliser alone.
// Chains whose plugins are not installed are skipped.
#include <gtest/gtest.h>

#include <lilv/lilv.h>

#include <cctype>
#include <cmath>
#include <memory>
#include <string>

#include "host_features.h"
#include "peer_chain.h"
#include "peer_chains.h"
#include "support/level_change.h"
#include "support/strip_presets.h"
#include "support/test_signal.h"

namespace peers {
namespace {

constexpr int kCall = 256;

class PeerChainSetup : public ::testing::TestWithParam<int> {
protected:
    static void SetUpTestSuite() {
        world_ = lilv_world_new();
        lilv_world_load_all(world_);
        host_ = new HostFeatures(bench::kSampleRate, kCall);
    }
    static void TearDownTestSuite() {
        delete host_;
        lilv_world_free(world_);
    }

    // The chain, or nullptr after skipping the test when a plugin is missing.
    static std::unique_ptr<PeerChain> Make(const ChainSpec& spec) {
        try {
            return std::make_unique<PeerChain>(world_, *host_, spec, bench::kSampleRate, kCall);
        } catch (const PluginMissing&) {
            return nullptr;
        }
    }

    static double LevelChangeDb(PeerChain& chain, const bench::TestSignal& programme) {
        return bench::LevelChangeDb(
            programme, PeerChain::kChannels, kCall,
            [&](int position, int samples) {
                const float* in[] = {programme.Channel(0) + position, programme.Channel(1) + position};
                chain.Process(in, samples);
            },
            [&](int channel) { return chain.Output(channel); });
    }

    static LilvWorld* world_;
    static HostFeatures* host_;
};

LilvWorld* PeerChainSetup::world_ = nullptr;
HostFeatures* PeerChainSetup::host_ = nullptr;

TEST_P(PeerChainSetup, TakesEverySettingAndItsDynamicsReduceTheLevel) {
    const ChainSpec spec = PeerChains()[GetParam()];
    std::unique_ptr<PeerChain> chain;
    ASSERT_NO_THROW(chain = Make(spec));  // a setting that does not fit fails here
    if (!chain) GTEST_SKIP() << spec.name << " is not installed (bench/install-peers.sh)";

    ChainSpec eqOnly = spec;
    eqOnly.stages.resize(1);
    std::unique_ptr<PeerChain> eq = Make(eqOnly);

    const bench::TestSignal programme(PeerChain::kChannels, bench::kSampleRate);
    const double eqDb = LevelChangeDb(*eq, programme);
    const double chainDb = LevelChangeDb(*chain, programme);
    EXPECT_TRUE(std::isfinite(eqDb) && std::isfinite(chainDb));
    // The bands boost and cut by at most 3 dB.
    EXPECT_LT(std::fabs(eqDb), 3.0);
    // Compression changes the level by more than a dB: down, or up where the
    // compressor adds its own makeup gain (darc keeps -10 dBFS RMS constant,
    // so the programme's -17 dBFS RMS comes out louder).
    EXPECT_GT(std::fabs(chainDb - eqDb), 1.0) << "equaliser alone " << eqDb << " dB, chain " << chainDb << " dB";
}

INSTANTIATE_TEST_SUITE_P(EveryChain, PeerChainSetup, ::testing::Range(0, static_cast<int>(PeerChains().size())),
                         [](const auto& info) {
                             const std::string spelled = PeerChains()[info.param].name;
                             std::string name;
                             for (char ch : spelled)
                                 if (std::isalnum(static_cast<unsigned char>(ch))) name += ch;
                             return name;
                         });

TEST(PeerSettings, AControlThatIsMissingOrOutOfRangeIsRefusedByName) {
    LilvWorld* world = lilv_world_new();
    lilv_world_load_all(world);
    {
        HostFeatures host(bench::kSampleRate, kCall);
        const std::string comp = "urn:ardour:a-comp#stereo";  // ratio 1..20
        auto make = [&](std::vector<Control> controls) {
            const ChainSpec spec{"a-comp", "", {{comp, std::move(controls)}}};
            PeerChain chain(world, host, spec, bench::kSampleRate, kCall);
        };
        try {
            make({{"rat", 20}});
        } catch (const PluginMissing&) {
            lilv_world_free(world);
            GTEST_SKIP() << comp << " is not installed";
        }
        auto messageOf = [&](std::vector<Control> controls) -> std::string {
            try {
                make(std::move(controls));
            } catch (const std::runtime_error& e) {
                return e.what();
            }
            return "";
        };
        EXPECT_NE(messageOf({{"ratio", 4}}).find("'ratio'"), std::string::npos);
        EXPECT_NE(messageOf({{"rat", 21}}).find("'rat' = 21"), std::string::npos);
        EXPECT_NE(messageOf({{"rat", 0.5f}}).find("'rat' = 0.5"), std::string::npos);
    }
    lilv_world_free(world);
}

}  // namespace
}  // namespace peers
