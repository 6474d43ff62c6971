// Every class of bad input is rejected with a message naming the value, and
// a rejected call or update leaves the strip exactly as it was.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "stemstrip/batch.hpp"
#include "stemstrip/c_api.h"
#include "stemstrip/design.hpp"
#include "stemstrip/usage_error.hpp"
#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;


// Construction and process arguments: each refusal names the value, and a
// refused call changes nothing.
TEST(BadInput, ArgumentsAreRefusedNamingTheValueBeforeAnythingChanges) {
    using ::testing::HasSubstr;
    InstanceOptions odd;
    odd.stagingSamples = 20;
    Settings ratio;
    ratio.compressor.ratio = 0.5;
    Instance strip(Format::Stereo, {}, kRate, Aligned());
    std::vector<float> a(32, 0.5f), b(32, 0.5f);
    const float* in[] = {a.data(), b.data()};
    float* out[] = {a.data(), b.data()};
    const float* halfIn[] = {a.data(), nullptr};
    const std::pair<std::function<void()>, const char*> refused[] = {
        {[] { Instance(static_cast<Format>(42), {}, kRate); }, "format = 42"},
        {[] { Instance(Format::Mono, {}, 1000.0); }, "sampleRate = 1000"},
        {[&] { Instance(Format::Mono, {}, kRate, odd); }, "options.stagingSamples = 20"},
        {[&] { Instance(Format::Mono, ratio, kRate); }, "compressor.ratio = 0.5"},
        {[&] { strip.process(in, out, -1); }, "n = -1"},
        {[&] { strip.process(in, out, 20); }, "n = 20 is not a multiple of 16"},
        {[&] { strip.process(nullptr, out, 16); }, "inputs is null"},
        {[&] { strip.process(halfIn, out, 16); }, "inputs[1] is null"},
    };
    for (const auto& [call, named] : refused) {
        std::string message = "(nothing thrown)";
        try {
            call();
        } catch (const std::exception& e) {  // UsageError, or SettingsError for settings
            message = e.what();
        }
        EXPECT_THAT(message, HasSubstr(named));
    }
    EXPECT_EQ(a[0], 0.5f) << "a rejected call wrote audio";
    EXPECT_EQ(strip.readMeters().samples, 0);

    // A control thread turned the key on before the host passes one: the
    // strip detects from the programme, as without a key, and counts it.
    Settings keyed;
    keyed.detector.externalKey = true;
    strip.setSettings(keyed);
    strip.process(in, out, 16);
    const MeterSnapshot m = strip.readMeters();
    EXPECT_EQ(m.samples, 16);
    EXPECT_EQ(m.missingKeyCalls, 1);
    EXPECT_EQ(a[0], 0.5f) << "a neutral strip passes its input exactly";
}

TEST(BadInput, RejectedSettingsLeaveTheRunningStripUntouched) {
    Settings good;
    good.compressor = {.thresholdDb = -30.0, .ratio = 3.0};
    Instance updated(Format::Mono, good, kRate, Aligned()), twin(Format::Mono, good, kRate, Aligned());
    Settings bad = good;
    bad.compressor.makeupDb = 12.0;
    bad.bands[3].enabled = true;
    bad.bands[3].frequencyHz = 30000.0;  // above Nyquist: the whole update is refused
    try {
        updated.setSettings(bad);
        ADD_FAILURE() << "accepted";
    } catch (const SettingsError& e) {
        EXPECT_THAT(e.what(), ::testing::HasSubstr("bands[3].frequencyHz = 30000"));
    }
    EXPECT_EQ(updated.settings().compressor.makeupDb, 0.0);
    const std::vector<float> x = Sine(0.5, 4800);
    EXPECT_EQ(RunMono(updated, x), RunMono(twin, x));
}

TEST(BadInput, CApiReportsThroughLastError) {
    using ::testing::HasSubstr;
    EXPECT_EQ(stemstrip_sdk_create("7.2", kRate, 0), nullptr);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("format name = '7.2' is unknown"));
    EXPECT_EQ(stemstrip_sdk_set(nullptr, "bypass=1"), -1);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("strip is null"));
    EXPECT_EQ(stemstrip_sdk_latency(nullptr), -1);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("strip is null"));
    EXPECT_EQ(stemstrip_sdk_channels(nullptr), -1);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("strip is null"));

    stemstrip_sdk* strip = stemstrip_sdk_create("stereo", kRate, 1);
    ASSERT_NE(strip, nullptr);
    EXPECT_EQ(stemstrip_sdk_set(strip, "compressor.makeupDb=6; compressor.ratio=abc"), -1);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("compressor.ratio = 'abc' is not a number"));
    EXPECT_EQ(stemstrip_sdk_set(strip, "expander.ratio=1000"), -1);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("expander.ratio = 1000"));
    for (const std::string runaway : {"compressor.ratio=" + std::string(5000, '7') + "x", std::string(5000, 'q') + "=1"}) {
        EXPECT_EQ(stemstrip_sdk_set(strip, runaway.c_str()), -1);
        EXPECT_LT(std::string(stemstrip_sdk_last_error()).size(), 400u) << "echoed input is cut";
        EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("characters)"));
    }
    EXPECT_EQ(stemstrip_sdk_channels(strip), 2);
    EXPECT_STREQ(stemstrip_sdk_last_error(), "");

    // None of the refused assignments got through: the strip still passes audio at 0 dB.
    float left[16], right[16];
    for (int i = 0; i < 16; ++i) left[i] = right[i] = 0.5f;
    const float* in[] = {left, right};
    float* out[] = {left, right};
    EXPECT_EQ(stemstrip_sdk_process(strip, in, out, 16, nullptr), 0);
    EXPECT_EQ(left[15], 0.5f);
    EXPECT_EQ(stemstrip_sdk_process(strip, in, out, 17, nullptr), -1);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("n = 17"));
    left[3] = NAN;
    EXPECT_EQ(stemstrip_sdk_process(strip, in, out, 16, nullptr), 0);
    stemstrip_sdk_meters meters;
    EXPECT_EQ(stemstrip_sdk_read_meters(strip, &meters), 0);
    EXPECT_EQ(meters.non_finite_samples[0], 1);
    EXPECT_EQ(meters.first_non_finite_sample, 16 + 3);
    EXPECT_EQ(left[3], 0.0f) << "processed in place: the NaN came out as 0";
    EXPECT_EQ(stemstrip_sdk_set(strip, "compressor.makeupDb=6; bands[0].enabled=on; bands[0].type=HighShelf"), 0);
    EXPECT_STREQ(stemstrip_sdk_last_error(), "");
    stemstrip_sdk_destroy(strip);
}

namespace {

struct Rendered {
    std::vector<std::vector<float>> out;
    MeterSnapshot meters;
};

// Every stage that keeps a memory busy: EQ on both sides, compressor, gate.
Settings Busy(bool externalKey) {
    Settings s;
    s.bands[0] = {.enabled = true, .frequencyHz = 800.0, .gainDb = 6.0};
    s.bands[1] = {.enabled = true, .type = BandType::HighShelf, .placement = Placement::PostDynamics,
                  .frequencyHz = 5000.0, .gainDb = -4.0};
    s.compressor = {.thresholdDb = -20.0, .ratio = 4.0};
    s.expander = {.ratio = 2.0, .gate = true, .gateThresholdDb = -50.0, .holdMs = 2.0};
    s.detector.externalKey = externalKey;
    return s;
}

// x: the channels, then the key. Odd chunks, so the FIFO path is taken.
Rendered Render(Format f, const Settings& s, const std::vector<std::vector<float>>& x, InstanceOptions o = {}) {
    Instance strip(f, s, kRate, o);
    const int channels = strip.channels(), n = static_cast<int>(x[0].size());
    Rendered r{std::vector<std::vector<float>>(channels, std::vector<float>(n)), {}};
    for (int at = 0, chunk = o.alignedBlocks ? 256 : 97; at < n; at += chunk) {
        const int count = std::min(chunk, n - at);
        std::vector<const float*> in;
        std::vector<float*> out;
        for (int c = 0; c < channels; ++c) {
            in.push_back(x[c].data() + at);
            out.push_back(r.out[c].data() + at);
        }
        strip.process(in.data(), out.data(), count, x[channels].data() + at);
    }
    r.meters = strip.readMeters();
    return r;
}

}  // namespace

// One NaN or infinity must not poison the strip: it renders exactly as the
// same signal with that sample at 0, in every format, from the programme or
// the key, and the caller's buffers are left as they were.
TEST(BadInput, NonFiniteSamplesRenderAsZeros) {
    const float bad[] = {NAN, INFINITY, -INFINITY};
    for (int format = 0; format < kFormatCount; ++format) {
        const Format f = static_cast<Format>(format);
        const int channels = ChannelCount(f), n = 2048;
        std::mt19937 rng(format);
        std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
        std::vector<std::vector<float>> clean(channels + 1, std::vector<float>(n));
        for (auto& channel : clean)
            for (float& v : channel) v = noise(rng);
        for (const bool inKey : {false, true}) {
            const int where = inKey ? channels : format % channels;
            std::vector<std::vector<float>> dirty = clean, zeroed = clean;
            for (int k = 0; k < 3; ++k) {
                dirty[where][1000 + 7 * k] = bad[k];
                zeroed[where][1000 + 7 * k] = 0.0f;
            }
            for (const InstanceOptions o : {InstanceOptions{}, Aligned()}) {
                const Rendered got = Render(f, Busy(inKey), dirty, o), want = Render(f, Busy(inKey), zeroed, o);
                ASSERT_EQ(got.out, want.out) << FormatName(f) << (inKey ? " key" : " programme");
                EXPECT_EQ(inKey ? got.meters.nonFiniteKeySamples : got.meters.nonFiniteSamples[where], 3);
                EXPECT_EQ(got.meters.firstNonFiniteSample, 1000);
                EXPECT_EQ(want.meters.firstNonFiniteSample, -1);
                EXPECT_TRUE(std::isnan(dirty[where][1000])) << "the caller's buffer was written";
            }
        }
    }
}

// A Batch member with a NaN renders like the member with a 0 there, and its
// neighbours in the same core call are untouched by it.
TEST(BadInput, NonFiniteSamplesInABatchRenderAsZeros) {
    const int members = 5, n = 512;
    Batch dirty(Format::Stereo, Busy(false), kRate, members, n), clean(Format::Stereo, Busy(false), kRate, members, n);
    for (int m = 0; m < members; ++m)
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < n; ++i)
                dirty.input(m, c)[i] = clean.input(m, c)[i] = 0.4f * std::sin(0.01f * (i + 100 * m + 7 * c));
    dirty.input(2, 1)[300] = NAN;
    clean.input(2, 1)[300] = 0.0f;
    dirty.process(n);
    clean.process(n);
    for (int m = 0; m < members; ++m)
        for (int c = 0; c < 2; ++c)
            ASSERT_EQ(std::vector<float>(dirty.output(m, c), dirty.output(m, c) + n),
                      std::vector<float>(clean.output(m, c), clean.output(m, c) + n))
                << "member " << m << " channel " << c;
    EXPECT_TRUE(std::isnan(dirty.input(2, 1)[300]));
    EXPECT_EQ(dirty.readMeters(2).nonFiniteSamples[1], 1);
    EXPECT_EQ(dirty.readMeters(1).nonFiniteSamples[1], 0);
}

// Finite input can still overflow a state under extreme settings: the strip
// restarts within that call, so the next calls run as a fresh strip would.
TEST(BadInput, AStateThatOverflowsRestartsWithinTheCall) {
    Settings extreme;
    for (EqBand& b : extreme.bands) b = {.enabled = true, .frequencyHz = 1000.0, .gainDb = 30.0, .q = 10.0};
    extreme.compressor = {.thresholdDb = -20.0, .ratio = 4.0};
    Instance overflowed(Format::Mono, extreme, kRate, Aligned()), fresh(Format::Mono, extreme, kRate, Aligned());
    std::vector<float> burst(16, 3e38f), burstOut(16);
    const float* in[] = {burst.data()};
    float* out[] = {burstOut.data()};
    overflowed.process(in, out, 16);
    for (float v : burstOut) ASSERT_TRUE(std::isfinite(v)) << "a non-finite output left the strip";
    EXPECT_EQ(overflowed.readMeters().stateResets, 1);

    const std::vector<float> x = Sine(0.3, 4800);
    EXPECT_EQ(RunMono(overflowed, x), RunMono(fresh, x));
    EXPECT_EQ(overflowed.readMeters().stateResets, 0);
}
