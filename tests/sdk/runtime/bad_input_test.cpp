// Every class of bad input is rejected with a message naming the value, and
// a rejected call or update leaves the strip exactly as it was; non-finite
// samples are counted and render as zeros.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stemstrip/c_api.h"
#include "stemstrip/design.hpp"
#include "strip_harness.hpp"

using namespace stemstrip;
using namespace stemstrip_test;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

// Refused mid-stream, nothing changes: not the audio buffers, not the
// settings, not the states, not the meters.
TEST(BadInput, RefusalsNameTheValueAndChangeNothing) {
    const Settings good{.compressor = {.thresholdDb = -30.0, .ratio = 3.0}};
    Settings bad = good, keyed = good;
    bad.compressor.makeupDb = 12.0;
    bad.bands[3] = {.enabled = true, .frequencyHz = 30000.0};  // above Nyquist: the whole update is refused
    keyed.detector.externalKey = true;
    Instance strip(Format::Stereo, good, kRate, Aligned()), twin(Format::Stereo, good, kRate, Aligned());
    const auto run = [x = Noise(2, 4800, 1, 0.5f)](Instance& s) { return Stream(s, x, [] { return 4800; }); };
    EXPECT_EQ(run(strip), run(twin));
    std::vector<float> a(32, 0.5f), b(32, 0.5f);
    const float* in[] = {a.data(), b.data()};
    float* out[] = {a.data(), b.data()};
    const float* halfIn[] = {a.data(), nullptr};
    const std::pair<std::function<void()>, const char*> refused[] = {
        {[] { Instance(Format::Mono, {}, kRate, {.stagingSamples = 20}); }, "options.stagingSamples = 20"},
        {[&] { strip.setSettings(bad); }, "bands[3].frequencyHz = 30000"},
        {[&] { strip.process(in, out, -1); }, "n = -1"},
        {[&] { strip.process(in, out, 20); }, "n = 20 is not a multiple of 16"},
        {[&] { strip.process(nullptr, out, 16); }, "inputs is null"},
        {[&] { strip.process(halfIn, out, 16); }, "inputs[1] is null"},
    };
    for (const auto& [call, named] : refused) EXPECT_THAT(call, ThrowsMessage<std::exception>(HasSubstr(named)));
    EXPECT_EQ(a, std::vector<float>(32, 0.5f)) << "a rejected call wrote audio";
    EXPECT_EQ(run(strip), run(twin));

    // A control thread turned the key on before the host passes one: the
    // strip detects from the programme, as without a key, and counts it.
    strip.setSettings(keyed);
    EXPECT_EQ(run(strip), run(twin));
    const MeterSnapshot m = strip.readMeters();
    EXPECT_EQ(m.samples, 3 * 4800) << "refused calls are not counted";
    EXPECT_EQ(m.missingKeyCalls, 1);
}

TEST(BadInput, CApiReportsThroughLastError) {
    stemstrip_sdk* strip = stemstrip_sdk_create("stereo", kRate, 1);
    ASSERT_NE(strip, nullptr);
    std::vector<float> left(16, 0.5f), right(16, 0.5f);
    const float* in[] = {left.data(), right.data()};
    float* out[] = {left.data(), right.data()};
    // Null handles: one call that acts and one that queries.
    const std::pair<std::function<int()>, std::string> refused[] = {
        {[] { return stemstrip_sdk_create("7.2", kRate, 0) ? 0 : -1; }, "format name = '7.2' is unknown"},
        {[] { return stemstrip_sdk_set(nullptr, "bypass=1"); }, "strip is null"},
        {[] { return stemstrip_sdk_latency(nullptr); }, "strip is null"},
        {[&] { return stemstrip_sdk_set(strip, "compressor.makeupDb=6; compressor.ratio=abc"); }, "compressor.ratio = 'abc' is not a number"},
        {[&] { return stemstrip_sdk_set(strip, (std::string(5000, 'q') + "=1").c_str()); }, "characters)"},  // echoed input is cut
        {[&] { return stemstrip_sdk_process(strip, in, out, 17, nullptr); }, "n = 17"},
    };
    for (const auto& [call, mention] : refused) {
        EXPECT_EQ(call(), -1);
        EXPECT_THAT(stemstrip_sdk_last_error(), HasSubstr(mention));
        EXPECT_LT(std::string(stemstrip_sdk_last_error()).size(), 400u);
    }

    // None of the refused assignments got through: the strip still passes
    // audio at 0 dB, with the NaN counted and rendered as 0.
    left[3] = NAN;
    EXPECT_EQ(stemstrip_sdk_process(strip, in, out, 16, nullptr), 0);
    EXPECT_EQ(left[15], 0.5f);
    stemstrip_sdk_meters meters;
    EXPECT_EQ(stemstrip_sdk_read_meters(strip, &meters), 0);
    EXPECT_EQ(meters.non_finite_samples[0], 1);
    EXPECT_EQ(meters.first_non_finite_sample, 3);
    EXPECT_EQ(stemstrip_sdk_set(strip, "compressor.makeupDb=6; bands[0].enabled=on; bands[0].type=HighShelf"), 0);
    EXPECT_STREQ(stemstrip_sdk_last_error(), "") << "a success clears the last error";
    stemstrip_sdk_destroy(strip);
}

// One NaN or infinity must not poison the strip: it renders exactly as the
// same signal with that sample at 0, in every format, from the programme or
// the key, through the FIFO and the aligned path.
TEST(BadInput, NonFiniteSamplesRenderAsZeros) {
    const float bad[] = {NAN, INFINITY, -INFINITY};
    for (int format = 0; format < kFormatCount; ++format) {
        const Format f = static_cast<Format>(format);
        const int channels = ChannelCount(f);
        const Signal clean = Noise(channels + 1, 2048, format, 0.5f);  // the channels, then the key
        for (const bool inKey : {false, true}) {
            const int where = inKey ? channels : format % channels;
            Signal dirty = clean, zeroed = clean;
            for (int k = 0; k < 3; ++k) dirty[where][1000 + 7 * k] = bad[k], zeroed[where][1000 + 7 * k] = 0.0f;
            Settings s = Busy();
            s.detector.externalKey = inKey;
            for (const InstanceOptions o : {InstanceOptions{}, Aligned()}) {
                const std::function<int()> chunk = [&] { return o.alignedBlocks ? 256 : 97; };
                Instance got(f, s, kRate, o), want(f, s, kRate, o);
                ASSERT_EQ(Stream(got, dirty, chunk), Stream(want, zeroed, chunk)) << FormatName(f) << " key " << inKey;
                const MeterSnapshot m = got.readMeters();
                EXPECT_EQ(inKey ? m.nonFiniteKeySamples : m.nonFiniteSamples[where], 3);
                EXPECT_EQ(m.firstNonFiniteSample, 1000);
            }
        }
    }
}

// Finite input can still overflow a state under extreme settings: the strip
// restarts within that call, so the next calls run as a fresh strip would.
TEST(BadInput, AStateThatOverflowsRestartsWithinTheCall) {
    Settings extreme;
    for (EqBand& b : extreme.bands) b = {.enabled = true, .frequencyHz = 1000.0, .gainDb = 30.0, .q = 10.0};
    extreme.compressor = {.thresholdDb = -20.0, .ratio = 4.0};
    Instance overflowed(Format::Mono, extreme, kRate, Aligned()), fresh(Format::Mono, extreme, kRate, Aligned());
    for (float v : RunMono(overflowed, std::vector<float>(16, 3e38f)))
        ASSERT_TRUE(std::isfinite(v)) << "a non-finite output left the strip";
    EXPECT_EQ(overflowed.readMeters().stateResets, 1);
    const std::vector<float> x = Noise(1, 4800, 2, 0.3f)[0];
    EXPECT_EQ(RunMono(overflowed, x), RunMono(fresh, x));
    EXPECT_EQ(overflowed.readMeters().stateResets, 0);
}
