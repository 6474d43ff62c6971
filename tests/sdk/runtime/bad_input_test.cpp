// Every class of bad input is rejected with a message naming the value, and
// a rejected call or update leaves the strip exactly as it was.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stemstrip/c_api.h"
#include "stemstrip/design.hpp"
#include "stemstrip/usage_error.hpp"
#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;

namespace {

template <class Error, class F>
std::string MessageOf(F f) {
    try {
        f();
    } catch (const Error& e) {
        return e.what();
    }
    return "(nothing thrown)";
}

}  // namespace

TEST(BadInput, ConstructionArguments) {
    using ::testing::HasSubstr;
    EXPECT_THAT(MessageOf<UsageError>([] { Instance(static_cast<Format>(42), {}, kRate); }),
                HasSubstr("format = 42"));
    EXPECT_THAT(MessageOf<UsageError>([] { Instance(Format::Mono, {}, 1000.0); }), HasSubstr("sampleRate = 1000"));
    InstanceOptions odd;
    odd.stagingSamples = 20;
    EXPECT_THAT(MessageOf<UsageError>([&] { Instance(Format::Mono, {}, kRate, odd); }),
                HasSubstr("options.stagingSamples = 20"));
    Settings bad;
    bad.compressor.ratio = 0.5;
    EXPECT_THAT(MessageOf<SettingsError>([&] { Instance(Format::Mono, bad, kRate); }),
                HasSubstr("compressor.ratio = 0.5"));
}

TEST(BadInput, ProcessArgumentsAreRejectedBeforeAnythingChanges) {
    using ::testing::HasSubstr;
    Settings keyed;
    keyed.detector.externalKey = true;
    Instance strip(Format::Stereo, {}, kRate, Aligned());
    std::vector<float> a(32, 0.5f), b(32, 0.5f);
    const float* in[] = {a.data(), b.data()};
    float* out[] = {a.data(), b.data()};
    const float* halfIn[] = {a.data(), nullptr};

    EXPECT_THAT(MessageOf<UsageError>([&] { strip.process(in, out, -1); }), HasSubstr("n = -1"));
    EXPECT_THAT(MessageOf<UsageError>([&] { strip.process(in, out, 20); }), HasSubstr("n = 20 is not a multiple of 16"));
    EXPECT_THAT(MessageOf<UsageError>([&] { strip.process(nullptr, out, 16); }), HasSubstr("inputs is null"));
    EXPECT_THAT(MessageOf<UsageError>([&] { strip.process(halfIn, out, 16); }), HasSubstr("inputs[1] is null"));
    strip.setSettings(keyed);
    EXPECT_THAT(MessageOf<UsageError>([&] { strip.process(in, out, 16); }), HasSubstr("key is null"));
    EXPECT_EQ(a[0], 0.5f) << "a rejected call wrote audio";
    EXPECT_EQ(strip.readMeters().samples, 0);
    strip.process(in, out, 16, b.data());  // with a key it runs
    EXPECT_EQ(strip.readMeters().samples, 16);
}

TEST(BadInput, RejectedSettingsLeaveTheRunningStripUntouched) {
    Settings good;
    good.compressor = {.thresholdDb = -30.0, .ratio = 3.0};
    Instance updated(Format::Mono, good, kRate, Aligned()), twin(Format::Mono, good, kRate, Aligned());
    Settings bad = good;
    bad.compressor.makeupDb = 12.0;
    bad.bands[3].frequencyHz = 30000.0;  // above Nyquist: the whole update is refused
    EXPECT_THAT(MessageOf<SettingsError>([&] { updated.setSettings(bad); }),
                ::testing::HasSubstr("bands[3].frequencyHz = 30000"));
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

    stemstrip_sdk* strip = stemstrip_sdk_create("stereo", kRate, 1);
    ASSERT_NE(strip, nullptr);
    EXPECT_EQ(stemstrip_sdk_set(strip, "compressor.makeupDb=6; compressor.ratio=abc"), -1);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("compressor.ratio = 'abc' is not a number"));
    EXPECT_EQ(stemstrip_sdk_set(strip, "expander.ratio=1000"), -1);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("expander.ratio = 1000"));

    // None of the refused assignments got through: the strip still passes audio at 0 dB.
    float left[16], right[16];
    for (int i = 0; i < 16; ++i) left[i] = right[i] = 0.5f;
    const float* in[] = {left, right};
    float* out[] = {left, right};
    EXPECT_EQ(stemstrip_sdk_process(strip, in, out, 16, nullptr), 0);
    EXPECT_NEAR(left[15], 0.5 * kUnityBias, 1e-6);
    EXPECT_EQ(stemstrip_sdk_process(strip, in, out, 17, nullptr), -1);
    EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr("n = 17"));
    EXPECT_EQ(stemstrip_sdk_set(strip, "compressor.makeupDb=6; bands[0].enabled=on; bands[0].type=HighShelf"), 0);
    EXPECT_STREQ(stemstrip_sdk_last_error(), "");
    stemstrip_sdk_destroy(strip);
}
