// Differential tests: every exported entry against the independent scalar
// model, bit for bit, on randomised host scenarios; and the model itself
// anchored to hand-worked numbers so that the oracle is not taken on trust.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "model/scenario.h"
#include "model/strip_model.h"
#include "stemstrip.h"

namespace {

const AlgEntry_Fn kEntries[model::kFormatCount] = {
    AlgEntry_16_Stem_Mono, AlgEntry_16_Stem_Stereo, AlgEntry_16_Stem_LCR, AlgEntry_16_Stem_Quad,
    AlgEntry_16_Stem_LCRS, AlgEntry_16_Stem_5_0,    AlgEntry_16_Stem_5_1, AlgEntry_16_Stem_6_0,
    AlgEntry_16_Stem_6_1,  AlgEntry_16_Stem_7_0,    AlgEntry_16_Stem_7_1,
};

// Scenarios per format and calls per scenario: the whole suite stays well
// under the time budget of a Release build on a small machine.
constexpr int kScenariosPerFormat = 3000;
constexpr int kMaxCallsPerScenario = 4;

// One call of `expected` through the model, and of a copy through the
// library; "" when they agree bit for bit, else the scenario and the first
// difference.
std::string CallModelAndLibrary(int format, scenario::Scenario& expected) {
    scenario::Scenario actual = expected;
    const std::string before = scenario::Describe(expected);
    model::Entry(format, expected.Begin(), expected.End());
    kEntries[format](actual.Begin(), actual.End());
    const std::string diff = scenario::Compare(expected, actual);
    return diff.empty() ? "" : before + "\nfirst difference (model vs library): " + diff;
}

// `calls` consecutive calls of one scenario through the model and the
// library, evolved between calls as a host would; `beforeCall` sees each
// call's scenario first. Stops at the first difference.
template <typename BeforeCall>
void CompareOverCalls(int format, scenario::Scenario& expected, const scenario::Options& opt, int calls,
                      scenario::Generator& gen, const std::string& where, int& compared, BeforeCall beforeCall) {
    for (int call = 0; call < calls; ++call) {
        beforeCall(expected);
        const std::string failure = CallModelAndLibrary(format, expected);
        ASSERT_TRUE(failure.empty()) << where << ", call " << call << "\n" << failure;
        ++compared;
        gen.Evolve(expected, opt);
    }
}

std::string Where(uint64_t seed, int scenarioIndex) {
    return "seed " + std::to_string(seed) + ", scenario " + std::to_string(scenarioIndex);
}

const auto kNothingBeforeCall = [](const scenario::Scenario&) {};

class EntryVsModel : public ::testing::TestWithParam<int> {};

TEST_P(EntryVsModel, MatchesBitForBitOverConsecutiveCalls) {
    const int format = GetParam();
    const uint64_t seed = 0x5EED0000u + static_cast<uint64_t>(format);
    scenario::Generator gen(seed);
    std::uniform_int_distribution<int> callCount(1, kMaxCallsPerScenario);
    // A third of the scenarios stay realistic throughout; the rest mix in
    // arbitrary bit patterns.
    const scenario::Options realistic{0.0, 0.0, 0.2};
    const scenario::Options hostile{};

    int compared = 0;
    for (int n = 0; n < kScenariosPerFormat; ++n) {
        const scenario::Options& opt = n % 3 == 0 ? realistic : hostile;
        scenario::Scenario expected = gen.Make(format, opt);
        const int calls = callCount(gen.Rng());
        ASSERT_NO_FATAL_FAILURE(
            CompareOverCalls(format, expected, opt, calls, gen, Where(seed, n), compared, kNothingBeforeCall));
    }
    EXPECT_GT(compared, kScenariosPerFormat);
}

INSTANTIATE_TEST_SUITE_P(AllFormats, EntryVsModel, ::testing::Range(0, model::kFormatCount),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return std::string("Stem_") + model::kFormats[info.param].name;
                         });

// ---------------------------------------------------------------------------
// Many instances per call. The core may run up to 8 consecutive contexts of a
// Mono or Stereo call side by side in vector lanes; these scenarios have up to
// 20 instances, mostly independent and settled (so that full batches of 8 and
// a remainder occur), differing in everything a batch must keep apart.

// The options of the many-instance scenarios. `varied` ones mix in arbitrary
// bit patterns for a few instances, skipped instances, special rates and
// gliding sets; the others are realistic and mostly batchable, so that full
// batches of 8 really occur.
scenario::Options ManyInstances(bool varied) {
    scenario::Options o;
    o.adversarial = varied ? 0.12 : 0.0;
    o.inPlace = 0.1;
    o.sharedBlocks = 0.15;
    o.minInstances = 1;
    o.maxInstances = 20;
    o.distinctSlots = 0.8;
    o.settledEq = varied ? 0.75 : 0.95;
    o.skippedCounts = varied ? 0.15 : 0.03;
    o.variety = varied ? 0.3 : 0.08;
    o.audioSpecials = varied ? 0.1 : 0.0;
    return o;
}

// One call's worth of what the batched path sees: how many contexts are
// candidates for a batch (processed, settled glide, no writable memory shared
// with another instance) and the longest run of consecutive candidates.
struct BatchCensus {
    int candidates = 0;
    int longestRun = 0;
};

// One glide step would change no bit of the smoothed set.
bool Settled(const SChannelStrip_Alg_Context* ctx) {
    EQ_SDezipCoefs stepped = *ctx->eqCoefs;
    model::EQ_DezipStep(stepped, *ctx->eqTarget, ctx->dynState[0].dezipRate);
    return std::memcmp(&stepped, ctx->eqCoefs, sizeof stepped) == 0;
}

BatchCensus Census(const scenario::Scenario& s) {
    BatchCensus c;
    const bool anyShared = scenario::WritableLinks(s) > 0;
    int run = 0;
    for (const SChannelStrip_Alg_Context* ctx : s.order) {
        const bool candidate = *ctx->sampleCount >= 1 && Settled(ctx) && !anyShared;
        c.candidates += candidate;
        run = candidate ? run + 1 : 0;
        c.longestRun = std::max(c.longestRun, run);
    }
    return c;
}

class ManyInstancesVsModel : public ::testing::TestWithParam<int> {};

TEST_P(ManyInstancesVsModel, MatchesBitForBitOverConsecutiveCalls) {
    const int format = GetParam();
    const bool batched = format <= 1;  // Mono and Stereo: the formats with the batched path
    const int scenarios = batched ? 1500 : 60;
    const uint64_t seed = 0x3A7C0000u + static_cast<uint64_t>(format);
    scenario::Generator gen(seed);
    std::uniform_int_distribution<int> callCount(1, 6);

    int compared = 0, fullBatchCalls = 0, remainderCalls = 0, wideCalls = 0;
    long contexts = 0, candidates = 0;
    for (int n = 0; n < scenarios; ++n) {
        const scenario::Options opt = ManyInstances(n % 2 == 1);
        scenario::Scenario expected = gen.Make(format, opt);
        ASSERT_EQ(scenario::WritableLinks(expected), 0);
        const int calls = callCount(gen.Rng());
        const auto countBatches = [&](const scenario::Scenario& s) {
            const BatchCensus census = Census(s);
            contexts += static_cast<long>(s.order.size());
            candidates += census.candidates;
            fullBatchCalls += census.longestRun >= 8;
            remainderCalls += census.longestRun % 8 >= 2;
            wideCalls += s.order.size() > 16;
        };
        ASSERT_NO_FATAL_FAILURE(
            CompareOverCalls(format, expected, opt, calls, gen, Where(seed, n), compared, countBatches));
    }
    std::printf("[          ] %s: %ld of %ld contexts batch candidates; %d calls, %d with a run of >= 8 batch candidates, %d with a remainder run of 2..7, "
                "%d with > 16 instances\n",
                model::kFormats[format].name, candidates, contexts, compared, fullBatchCalls, remainderCalls, wideCalls);
    if (batched) {  // the scenarios really offer the batched path full batches and remainders
        EXPECT_GT(fullBatchCalls, compared / 10);
        EXPECT_GT(remainderCalls, compared / 10);
        EXPECT_GT(wideCalls, compared / 10);
    }
}

INSTANTIATE_TEST_SUITE_P(AllFormats, ManyInstancesVsModel, ::testing::Range(0, model::kFormatCount),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return std::string("Stem_") + model::kFormats[info.param].name;
                         });

// ---------------------------------------------------------------------------
// Instances that share writable memory. Whatever the core does for speed, a
// call is defined as its contexts processed one after the other in array
// order; sharing must bring that order back, bit for bit.

scenario::Options SharedMemory(int format, bool hostile) {
    scenario::Options o = ManyInstances(hostile);
    o.minInstances = 2;
    o.maxInstances = format <= 1 ? 20 : 6;
    o.inPlace = 0.15;
    o.settledEq = 0.7;
    o.sharedMemory = 1.0;
    o.maxSharedLinks = format <= 1 ? 5 : 3;
    return o;
}

// What kinds of sharing a scenario has, for the coverage the test demands.
struct SharingCensus {
    int readerBeforeWriter = 0, readerAfterWriter = 0, keyFromOutput = 0, twoWriters = 0,
        outputInsideInput = 0, offsetReads = 0, dynState = 0, eqCoefs = 0, eqState = 0, priv = 0,
        readOnly = 0, withinBatchReach = 0;

    void Add(const scenario::Scenario& s) {
        const int n = static_cast<int>(s.instances.size());
        std::vector<int> pos(n);
        for (int p = 0; p < n; ++p)
            for (int i = 0; i < n; ++i)
                if (s.order[p] == &s.instances[i].ctx) pos[i] = p;
        for (int b = 0; b < n; ++b) {
            const scenario::Instance& B = s.instances[b];
            const int N = B.formatChannels;
            auto near = [&](int a) { withinBatchReach += std::abs(pos[a] - pos[b]) < 8; };
            for (size_t j = 0; j < B.inShare.size(); ++j) {
                const scenario::BufferRef& r = B.inShare[j];
                if (r.instance < 0) continue;
                near(r.instance);
                const bool ownerWrites = r.output || (s.instances[r.instance].inPlace && r.channel < N);
                if (!ownerWrites && !(B.inPlace && j < size_t(N))) { ++readOnly; continue; }
                (pos[b] < pos[r.instance] ? readerBeforeWriter : readerAfterWriter) += 1;
                keyFromOutput += r.output && j == size_t(N);
                offsetReads += r.output && r.offset > 0;
            }
            for (size_t c = 0; c < B.outShare.size() && !B.inPlace; ++c) {
                const scenario::BufferRef& r = B.outShare[c];
                if (r.instance < 0) continue;
                near(r.instance);
                (r.output ? twoWriters : outputInsideInput) += 1;
            }
            dynState += B.dynStateOf >= 0;
            eqCoefs += B.eqCoefsOf >= 0;
            eqState += B.eqStateOf >= 0;
            priv += B.privOf >= 0;
        }
    }
};

class SharedMemoryVsModel : public ::testing::TestWithParam<int> {};

TEST_P(SharedMemoryVsModel, MatchesArrayOrderBitForBit) {
    const int format = GetParam();
    const int scenarios = format <= 1 ? 1000 : 500;
    const uint64_t seed = 0x54A2E000u + static_cast<uint64_t>(format);
    scenario::Generator gen(seed);
    std::uniform_int_distribution<int> callCount(1, 4);

    SharingCensus census;
    int compared = 0;
    for (int n = 0; n < scenarios; ++n) {
        const scenario::Options opt = SharedMemory(format, n % 2 == 1);
        scenario::Scenario expected = gen.Make(format, opt);
        ASSERT_GT(scenario::WritableLinks(expected), 0) << scenario::Describe(expected);
        census.Add(expected);
        const int calls = callCount(gen.Rng());
        ASSERT_NO_FATAL_FAILURE(
            CompareOverCalls(format, expected, opt, calls, gen, Where(seed, n), compared, kNothingBeforeCall));
    }
    std::printf("[          ] %s: %d calls; links: reader before writer %d, after %d (key %d, from an offset %d), "
                "two writers %d, output inside an input %d, dynState %d, eqCoefs %d, eqState %d, private %d, "
                "read-only %d, within 8 positions %d\n",
                model::kFormats[format].name, compared, census.readerBeforeWriter, census.readerAfterWriter,
                census.keyFromOutput, census.offsetReads, census.twoWriters, census.outputInsideInput,
                census.dynState, census.eqCoefs, census.eqState, census.priv, census.readOnly,
                census.withinBatchReach);
    for (int count : {census.readerBeforeWriter, census.readerAfterWriter, census.keyFromOutput, census.offsetReads,
                      census.twoWriters, census.outputInsideInput, census.dynState, census.eqCoefs, census.eqState,
                      census.priv, census.readOnly, census.withinBatchReach})
        EXPECT_GT(count, 5);
}

INSTANTIATE_TEST_SUITE_P(AllFormats, SharedMemoryVsModel, ::testing::Range(0, model::kFormatCount),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return std::string("Stem_") + model::kFormats[info.param].name;
                         });

// Where a pointer of a scenario points: which instance's which vector, at
// which offset; or nowhere in this scenario.
struct Place {
    int instance = -1;
    int what = -1;  // 0..: input channel, 100..: output channel, 200..: blocks
    long offset = 0;
    bool operator==(const Place&) const = default;
};

Place Locate(const scenario::Scenario& s, const void* p) {
    auto within = [&](const void* begin, size_t bytes) {
        const char* c = static_cast<const char*>(p);
        const char* b = static_cast<const char*>(begin);
        return c >= b && c < b + bytes;
    };
    for (size_t i = 0; i < s.instances.size(); ++i) {
        const scenario::Instance& in = s.instances[i];
        const int ii = static_cast<int>(i);
        for (size_t j = 0; j < in.inBufs.size(); ++j)
            if (within(in.inBufs[j].data(), in.inBufs[j].size() * sizeof(float)))
                return {ii, static_cast<int>(j), static_cast<const float*>(p) - in.inBufs[j].data()};
        for (size_t c = 0; c < in.outBufs.size(); ++c)
            if (within(in.outBufs[c].data(), in.outBufs[c].size() * sizeof(float)))
                return {ii, 100 + static_cast<int>(c), static_cast<const float*>(p) - in.outBufs[c].data()};
        if (p == in.dynState.data()) return {ii, 200, 0};
        if (p == in.eqCoefs.data()) return {ii, 201, 0};
        if (p == in.eqState.data()) return {ii, 202, 0};
        if (p == in.priv.data()) return {ii, 203, 0};
    }
    return {};
}

// Where every pointer of the contexts of `s` points, located in `storage`.
std::vector<Place> Layout(const scenario::Scenario& s, const scenario::Scenario& storage) {
    std::vector<Place> places;
    for (const SChannelStrip_Alg_Context* ctx : s.order) {
        size_t i = 0;
        while (&s.instances[i].ctx != ctx) ++i;
        const scenario::Instance& in = s.instances[i];
        for (size_t j = 0; j < in.inBufs.size(); ++j) places.push_back(Locate(storage, ctx->inputs[j]));
        for (int c = 0; c < in.formatChannels; ++c) places.push_back(Locate(storage, ctx->outputs[c]));
        places.push_back(Locate(storage, ctx->dynState));
        places.push_back(Locate(storage, ctx->eqCoefs));
        places.push_back(Locate(storage, ctx->eqState));
        places.push_back(Locate(storage, *ctx->privateState));
    }
    return places;
}

// A deep copy shares exactly what the original shares, inside itself, and
// Evolve keeps the links (resizing the storage they point into).
TEST(ScenarioSharing, CopiesReproduceSharingInsideThemselves) {
    scenario::Generator gen(0x5A1E);
    int sharedPointers = 0;
    for (int n = 0; n < 200; ++n) {
        const int format = n % model::kFormatCount;
        const scenario::Options opt = SharedMemory(format, n % 2 == 1);
        scenario::Scenario original = gen.Make(format, opt);
        for (int round = 0; round < 3; ++round) {
            const std::vector<Place> layout = Layout(original, original);
            for (const Place& p : layout) ASSERT_GE(p.instance, 0) << "a pointer leaves the scenario";
            scenario::Scenario copied(original);
            scenario::Scenario assigned;
            assigned = original;
            for (const scenario::Scenario* copy : {&copied, &assigned}) {
                EXPECT_TRUE(Layout(*copy, *copy) == layout) << scenario::Describe(original);
                for (const Place& p : Layout(*copy, original))  // nothing points back into the original
                    EXPECT_EQ(p.instance, -1);
                EXPECT_EQ(scenario::Compare(original, *copy), "");
                EXPECT_EQ(scenario::Describe(original), scenario::Describe(*copy));
            }
            for (size_t k = 0; k < layout.size(); ++k) sharedPointers += layout[k].instance >= 0;
            gen.Evolve(original, opt);
        }
        // Every pointer reaches at least the rounded sample count of its instance.
        for (const SChannelStrip_Alg_Context* ctx : original.order) {
            const int32_t count = *ctx->sampleCount;
            const long need = count < 1 ? 16 : (count + 15L) / 16 * 16;
            size_t i = 0;
            while (&original.instances[i].ctx != ctx) ++i;
            const scenario::Instance& in = original.instances[i];
            auto room = [&](const float* p) {
                const Place at = Locate(original, p);
                const scenario::Instance& o = original.instances[at.instance];
                const std::vector<float>& v = at.what >= 100 ? o.outBufs[at.what - 100] : o.inBufs[at.what];
                return static_cast<long>(v.size()) - at.offset;
            };
            for (size_t j = 0; j < in.inBufs.size(); ++j) EXPECT_GE(room(ctx->inputs[j]), need + scenario::kCanaryFloats);
            for (int c = 0; c < in.formatChannels; ++c) EXPECT_GE(room(ctx->outputs[c]), need + scenario::kCanaryFloats);
        }
    }
    EXPECT_GT(sharedPointers, 0);
}

// A difference in storage that several instances use is named by its owner,
// with the other users listed.
TEST(ScenarioSharing, CompareNamesSharedStorage) {
    scenario::Generator gen(0xC0A7);
    bool output = false, block = false;
    for (int n = 0; n < 200 && !(output && block); ++n) {
        scenario::Scenario a = gen.Make(3, SharedMemory(3, false));
        for (size_t i = 0; i < a.instances.size(); ++i) {
            const scenario::Instance& in = a.instances[i];
            for (size_t c = 0; c < in.outShare.size() && !in.inPlace; ++c) {
                const scenario::BufferRef& r = in.outShare[c];
                if (r.instance < 0 || !r.output || a.instances[r.instance].inPlace) continue;
                scenario::Scenario b = a;
                float& v = b.instances[r.instance].outBufs[r.channel][r.offset];
                v = model::FromBits(model::Bits(v) ^ 1u);
                const std::string diff = scenario::Compare(a, b);
                EXPECT_NE(diff.find("instance " + std::to_string(r.instance) + ": output ch " +
                                    std::to_string(r.channel)), std::string::npos) << diff;
                EXPECT_NE(diff.find("[shared: #" + std::to_string(i) + " output " + std::to_string(c)),
                          std::string::npos) << diff;
                output = true;
            }
            if (in.eqStateOf >= 0) {
                scenario::Scenario b = a;
                float& v = b.instances[in.eqStateOf].eqState[0].z1[2];
                v = model::FromBits(model::Bits(v) ^ 1u);
                const std::string diff = scenario::Compare(a, b);
                EXPECT_NE(diff.find("eqState[0] [shared with #"), std::string::npos) << diff;
                EXPECT_NE(diff.find(".z1[2]"), std::string::npos) << diff;
                block = true;
            }
        }
    }
    EXPECT_TRUE(output);
    EXPECT_TRUE(block);
}

// 6.0 and 5.1 are distinct symbols with one behaviour.
TEST(Entries, SixZeroAndFiveOneAreIdentical) {
    scenario::Generator gen(77);
    for (int n = 0; n < 200; ++n) {
        scenario::Scenario a = gen.Make(6);
        scenario::Scenario b = a;
        AlgEntry_16_Stem_5_1(a.Begin(), a.End());
        AlgEntry_16_Stem_6_0(b.Begin(), b.End());
        ASSERT_EQ(scenario::Compare(a, b), "") << scenario::Describe(a);
    }
}

// The comparison must see a single flipped bit anywhere it looks, and must
// not fail on NaN payloads, which nothing pins down.
TEST(ScenarioCompare, FindsSingleBitDifferencesByName) {
    scenario::Generator gen(5);
    scenario::Scenario a;
    do a = gen.Make(3, {0.0, 0.0, 0.0}); while (a.instances.empty() || a.instances[0].inPlace);
    auto flip = [](float& v) { v = model::FromBits(model::Bits(v) ^ 1u); };

    std::vector<std::pair<std::string, scenario::Scenario>> cases;
    auto with = [&](const char* expect, auto fn) {
        scenario::Scenario b = a;
        fn(b.instances[0]);
        cases.emplace_back(expect, std::move(b));
    };
    with("output ch 2", [&](scenario::Instance& in) { flip(in.outBufs[2][5]); });
    with("canary", [&](scenario::Instance& in) { flip(in.priv[3 * 4 + 4 + 1]); });
    with("output ch 0", [&](scenario::Instance& in) { flip(in.outBufs[0].back()); });
    with("accum[7]", [&](scenario::Instance& in) {
        in.eqCoefs[0].accum[7] = std::nextafter(in.eqCoefs[0].accum[7], 1e9);
    });
    with("eqState[1].z2", [&](scenario::Instance& in) { flip(in.eqState[1].z2[3]); });
    with("holdCounter", [&](scenario::Instance& in) { in.dynState[2].holdCounter ^= 1; });
    with("outputPeaks[1]", [&](scenario::Instance& in) { flip(in.priv[4 + 1]); });
    for (auto& [expect, b] : cases) {
        const std::string diff = scenario::Compare(a, b);
        EXPECT_NE(diff.find(expect), std::string::npos) << "expected '" << expect << "' in: " << diff;
    }

    scenario::Scenario b = a;
    a.instances[0].dynState[0].levelZ1 = model::FromBits(0x7FC00001u);
    b.instances[0].dynState[0].levelZ1 = model::FromBits(0xFFC12345u);
    EXPECT_EQ(scenario::Compare(a, b), "");
    b.instances[0].dynState[0].levelZ2 = -0.0f;
    a.instances[0].dynState[0].levelZ2 = 0.0f;
    EXPECT_NE(scenario::Compare(a, b).find("levelZ2"), std::string::npos);
}

// ---------------------------------------------------------------------------
// The oracle against numbers worked out by hand.

TEST(ModelAnchors, DecibelConversions) {
    EXPECT_EQ(model::Bits(model::AmpToDb(1.0f)), model::Bits(0.0f));
    EXPECT_EQ(model::AmpToDb(2.0f), 6.0206003f);
    EXPECT_EQ(model::AmpToDb(0.5f), -6.0206003f);
    for (float silent : {0.0f, -0.0f, -1.0f, -INFINITY, NAN, -NAN})
        EXPECT_EQ(model::AmpToDb(silent), -140.0f) << silent;
    // 9 high mantissa bits all set: interpolates towards log2(2) = 1.
    const float justBelow2 = model::FromBits(0x3FFFFFFFu);
    EXPECT_NEAR(model::AmpToDb(justBelow2), 6.0206003f, 1e-5f);
    EXPECT_LT(model::AmpToDb(justBelow2), 6.0206003f);
    EXPECT_NEAR(model::AmpToDb(INFINITY), 128 * 6.0206003f, 1e-3f);

    // 0 dB carries half a step of the fine table: 2^(2^-19) = 1 + 11 ulp.
    EXPECT_EQ(model::Bits(model::DbToAmp(0.0f)), 0x3F80000Bu);
    const float half = model::DbToAmp(-6.0206003f);
    EXPECT_EQ((model::Bits(half) >> 23) & 0xFF, 126u);
    EXPECT_NEAR(half, 0.5f, 1e-5f);
    EXPECT_NEAR(model::DbToAmp(-140.0f) / 1e-7f, 1.0f, 1e-3f);
    for (float db = -120.0f; db <= 24.0f; db += 0.37f)  // the tables realise 10^(g/20)
        EXPECT_NEAR(model::DbToAmp(db) / std::pow(10.0f, db / 20.0f), 1.0f, 1e-5f) << db;
    for (float a = 1e-6f; a < 100.0f; a *= 1.37f)
        EXPECT_NEAR(model::AmpToDb(a), 20.0f * std::log10(a), 2e-4f) << a;

    EXPECT_EQ(model::Log2LUT()[0], 0.0f);
    EXPECT_EQ(model::Log2LUT()[512], 1.0f);
    EXPECT_EQ(model::Log2LUT()[256], 0.5849625f);  // log2(1.5)
    EXPECT_EQ(model::PowTableH()[0], 1.0f);
    EXPECT_EQ(model::PowTableH()[256], 1.4142135f);  // sqrt(2)
    EXPECT_EQ(model::PowTableH()[511], 1.9972942f);
    EXPECT_EQ(model::PowTableL()[0], 1.0000013f);
    EXPECT_EQ(model::PowTableL()[511], 1.0013534f);

    EXPECT_EQ(model::TruncToInt32(NAN), INT32_MIN);
    EXPECT_EQ(model::TruncToInt32(2147483648.0f), INT32_MIN);
    EXPECT_EQ(model::TruncToInt32(-2147483648.0f), INT32_MIN);
    EXPECT_EQ(model::TruncToInt32(-2.9f), -2);
    EXPECT_EQ(model::TruncToInt32(2147483520.0f), 2147483520);
}

TEST(ModelAnchors, EqualiserSectionAndGlide) {
    // Impulse through b0 = 0.5, b1 = 0.25, b2 = 0.125, a1 = 0.5, a2 = 0.
    EQ_SDezipCoefs coefs{};
    coefs.coefs[5] = 0.5f; coefs.coefs[6] = 0.25f; coefs.coefs[7] = 0.125f; coefs.coefs[8] = 0.5f;
    EQ_SState state{};
    float in[4] = {1, 0, 0, 0}, out[4] = {9, 9, 9, 9};
    const float* ins[1] = {in};
    float* outs[1] = {out};
    model::EQ_Process(1, &coefs, &state, ins, outs, 0, 1, 2, 0);
    EXPECT_EQ(std::vector<float>(out, out + 4), (std::vector<float>{0.5f, 0.5f, 0.375f, 0.1875f}));
    EXPECT_EQ(state.z1[1], 0.09375f);
    EXPECT_EQ(state.z2[1], 0.0f);

    // Empty and inverted ranges copy, states untouched.
    const EQ_SState frozen = state;
    float in2[4] = {-0.0f, NAN, 3, -4};
    const float* ins2[1] = {in2};
    for (auto [b, e] : {std::pair{1, 1}, std::pair{5, 2}, std::pair{-3, -7}}) {
        model::EQ_Process(1, &coefs, &state, ins2, outs, 0, b, e, 0);
        for (int j = 0; j < 4; ++j) EXPECT_EQ(model::Bits(out[j]), model::Bits(in2[j]));
        EXPECT_EQ(std::memcmp(&state, &frozen, sizeof state), 0);
    }

    // Glide at rate 0.5 from 0 towards 1; rate 0 never moves.
    EQ_SCoefs target{};
    EQ_SDezipCoefs smooth{};
    target.coefs[0] = 1.0f;
    const float expected[4] = {0.5f, 0.75f, 0.875f, 0.9375f};
    for (float e : expected) {
        model::EQ_DezipStep(smooth, target, 0.5f);
        EXPECT_EQ(smooth.coefs[0], e);
        EXPECT_EQ(smooth.accum[0], static_cast<double>(e));
    }
    const EQ_SDezipCoefs still = smooth;
    model::EQ_DezipStep(smooth, target, 0.0f);
    model::EQ_DezipRefresh(smooth);
    EXPECT_EQ(std::memcmp(&smooth, &still, sizeof smooth), 0);
}

TEST(ModelAnchors, GainComputerHoldAndUnityBias) {
    // Curves that give 0 dB everywhere, a gate that never closes, floor far down.
    Dyn_SCoefsBlock K{};
    K.compKneeTopDb = K.compKneeBottomDb = 1000.0f;
    K.expKneeTopDb = K.expKneeBottomDb = -1000.0f;
    K.gateOpenThresholdDb = K.gateCloseThresholdDb = -1000.0f;
    K.compFloorDbTarget = K.expRangeDbTarget = -200.0f;
    K.outputGainTarget = 0.5f;
    K.compAttackCoef = K.compReleaseCoef = 1.0f;
    K.expAttackCoef = 1.0f;
    K.expReleaseCoef = 0.5f;
    K.holdSamples = 3;
    SChannelStrip_Alg_Context ctx{};
    ctx.dynCoefs = &K;
    Dyn_SState S{};
    S.compFloorDb = S.expRangeDb = -200.0f;
    S.outputGain = 0.5f;
    S.expGainDb = -8.0f;  // first sample rises to 0 dB and reloads the hold
    float m[6] = {};
    float x[4] = {0.25f, 0.25f, 0.25f, 0.25f};
    model::ProcessAudioGain4(x, &S, &ctx, 0.0f, 4, m);
    const float unity = 1.0000013f * 1.0000013f;
    for (float g : x) EXPECT_EQ(g, 0.5f * unity);
    EXPECT_EQ(S.expGainDb, 0.0f);
    EXPECT_EQ(S.holdCounter, 0);  // reloaded to 3, then three held samples
    EXPECT_EQ(S.gateOpen, 1);
    EXPECT_EQ(m[1], unity);
    EXPECT_EQ(m[4], unity);

    // The gate closes, so the target drops to the -200 dB floor: with a
    // counter of 3 the gain holds for three samples, the fourth goes halfway.
    K.gateOpenThresholdDb = K.gateCloseThresholdDb = 1000.0f;
    S.holdCounter = 3;
    model::ProcessAudioGain4(x, &S, &ctx, 0.0f, 4, m);
    EXPECT_EQ(S.gateOpen, 0);
    EXPECT_EQ(S.holdCounter, 0);  // three held samples, the fourth releases
    EXPECT_EQ(S.expGainDb, -100.0f);
}

}  // namespace
