// Real LV2 hosts render audio through every plugin of the bundle: lv2apply
// (one frame per run(), no features, buffers inside an interleaved frame)
// and lv2file (blocks of any size). Their output must be the SDK's output
// for the same settings, to the bit.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>

#include "plugin_cases.hpp"
#include "support/programs.hpp"
#include "support/sdk_render.hpp"

namespace stemstrip::lv2test {
namespace {

using stemstrip_test::Audio;

constexpr int kRate = 48000;
constexpr int kLatency = 15;  // what the FIFO adapter reports

struct Control {
    std::string symbol;
    float value;
};

// A strip that does something everywhere: a pre bell and a post high-pass,
// a soft-knee compressor with makeup, a held gate and a filtered detector.
const std::vector<Control> kBusyControls = {
    {"band1_enable", 1}, {"band1_type", 0},     {"band1_freq", 800},     {"band1_gain", 6},
    {"band1_q", 1.5f},   {"band2_enable", 1},   {"band2_type", 4},       {"band2_freq", 80},
    {"band2_q", 0.5f},   {"band2_place", 1},    {"comp_threshold", -24}, {"comp_ratio", 4},
    {"comp_knee", 6},    {"comp_attack", 5},    {"comp_release", 80},    {"comp_makeup", 3},
    {"gate", 1},         {"gate_threshold", -50}, {"gate_hold", 10},     {"det_mode", 1},
    {"sc_filter", 1},    {"sc_freq", 150},      {"sc_q", 1},             {"smoothing", 5},
};

// The same strip written as SDK settings by hand: the oracle for the
// plugin's control-to-settings mapping.
Settings BusySettings() {
    Settings s;
    s.bands[0] = {true, BandType::Bell, Placement::PreDynamics, 800, 6, 1.5};
    s.bands[1] = {true, BandType::HighPass2, Placement::PostDynamics, 80, 0, 0.5};
    s.compressor.thresholdDb = -24;
    s.compressor.ratio = 4;
    s.compressor.kneeDb = 6;
    s.compressor.attackMs = 5;
    s.compressor.releaseMs = 80;
    s.compressor.makeupDb = 3;
    s.expander.gate = true;
    s.expander.gateThresholdDb = -50;
    s.expander.holdMs = 10;
    s.detector.mode = DetectorMode::Average;
    s.detector.filter = SideChainFilter::HighPass;
    s.detector.filterHz = 150;
    s.detector.filterQ = 1;
    s.smoothingMs = 5;
    return s;
}

// The same strip as the stemstrip CLI's overrides.
const std::vector<std::string> kBusyCliSettings = {
    "bands[0].enabled=true",    "bands[0].type=Bell",          "bands[0].frequencyHz=800",
    "bands[0].gainDb=6",        "bands[0].q=1.5",              "bands[1].enabled=true",
    "bands[1].type=HighPass2",  "bands[1].frequencyHz=80",     "bands[1].q=0.5",
    "bands[1].placement=PostDynamics", "compressor.thresholdDb=-24", "compressor.ratio=4",
    "compressor.kneeDb=6",      "compressor.attackMs=5",       "compressor.releaseMs=80",
    "compressor.makeupDb=3",    "expander.gate=true",          "expander.gateThresholdDb=-50",
    "expander.holdMs=10",       "detector.mode=Average",       "detector.filter=HighPass",
    "detector.filterHz=150",    "detector.filterQ=1",          "smoothingMs=5",
};

// The plugin's audio through the SDK, in `chunk`-sample calls, flushing
// denormals as the plugin does; the output keeps the latency.
Audio RenderWithSdk(const PluginCase& p, const Settings& s, const Audio& in, bool aligned, int chunk,
                    int keyChannel = -1) {
    std::vector<int> order(p.ports.size());
    for (size_t w = 0; w < p.ports.size(); ++w) order[p.ports[w].sdkChannel] = static_cast<int>(w);
    std::vector<float> key;
    for (long t = 0; t < in.frames() && keyChannel >= 0; ++t) key.push_back(in.at(t, keyChannel));
    Audio programme{in.sampleRate, static_cast<int>(p.ports.size()), {}};
    for (long t = 0; t < in.frames(); ++t)
        for (int c = 0; c < programme.channels; ++c) programme.samples.push_back(in.at(t, c));
    stemstrip_test::RenderOptions o{{}, chunk, false};
    o.instance.flushDenormals = true;
    o.instance.alignedBlocks = aligned;
    return stemstrip_test::SdkRender(p.format, s, programme, order, key, o);
}

// Loud, then near the gate threshold, then silence (decaying tails), then
// moderate again; each channel its own pitch and level.
Audio TestSignal(int channels, long frames) {
    Audio a{kRate, channels, std::vector<float>(frames * channels)};
    for (long t = 0; t < frames; ++t) {
        const double sec = static_cast<double>(t) / kRate;
        const double envelope = sec < 0.3 ? 0.7 : sec < 0.45 ? 0.001 : sec < 0.7 ? 0.0 : 0.2;
        for (int c = 0; c < channels; ++c)
            a.at(t, c) = static_cast<float>(envelope * (1.0 - 0.06 * c) * std::sin(2 * M_PI * 110 * (c + 2) * sec + c));
    }
    return a;
}

// The programme plus a side-chain key after it, as lv2apply wants the file
// (one channel per audio input). The key is loud exactly where the
// programme is quiet.
Audio WithKey(const Audio& programme) {
    Audio a{kRate, programme.channels + 1, std::vector<float>(programme.frames() * (programme.channels + 1))};
    for (long t = 0; t < a.frames(); ++t) {
        for (int c = 0; c < programme.channels; ++c) a.at(t, c) = programme.at(t, c);
        const double sec = static_cast<double>(t) / kRate;
        a.at(t, programme.channels) =
            static_cast<float>((sec > 0.35 && sec < 0.9 ? 0.8 : 0.001) * std::sin(2 * M_PI * 330 * sec));
    }
    return a;
}

class HostRender : public ::testing::Test {
protected:
    std::string file(const std::string& name) const { return (dir_ / name).string(); }

    Audio run(const std::vector<std::string>& argv, const std::string& outFile) const {
        const stemstrip_test::ProgramRun r = stemstrip_test::Run(argv, {0, {{"LV2_PATH", STEMSTRIP_LV2_DIR}}});
        EXPECT_EQ(r.exitCode, 0) << argv[0] << "\n" << r.out << r.err;
        return stemstrip_test::ReadWav(outFile);
    }

    // `in`: the programme, then the key.
    Audio lv2apply(const PluginCase& p, const Audio& in, const std::vector<Control>& controls,
                   const std::string& tag) const {
        const std::string inFile = file(tag + "_in.wav"), outFile = file(tag + "_lv2apply.wav");
        stemstrip_test::WriteWav(inFile, in);
        std::vector<std::string> argv = {LV2APPLY, "-i", inFile, "-o", outFile};
        for (const Control& c : controls) argv.insert(argv.end(), {"-c", c.symbol, std::to_string(c.value)});
        argv.push_back(p.uri);
        return run(argv, outFile);
    }

    // Programme channels to the plugin's inputs; the key stays unconnected.
    Audio lv2file(const PluginCase& p, const Audio& in, const std::vector<Control>& controls, int block,
                  const std::string& tag) const {
        const std::string inFile = file(tag + "_in.wav"), outFile = file(tag + "_lv2file_" + std::to_string(block) + ".wav");
        stemstrip_test::WriteWav(inFile, in);
        std::filesystem::remove(outFile);
        // lv2file would clip at full scale; the strip may go above it.
        std::vector<std::string> argv = {LV2FILE, "-i", inFile, "-o", outFile, "-b", std::to_string(block), "--ignore-clipping"};
        for (size_t w = 0; w < p.ports.size(); ++w) argv.insert(argv.end(), {"-c", std::to_string(w + 1) + ":" + p.ports[w].symbol});
        for (const Control& c : controls) argv.insert(argv.end(), {"-p", c.symbol + ":" + std::to_string(c.value)});
        argv.push_back(p.uri);
        return run(argv, outFile);
    }

    // The CLI writes its output aligned with the input (latency removed).
    Audio cliRender(const Audio& in, const std::string& tag) const {
        const std::string inFile = file(tag + "_in.wav"), outFile = file(tag + "_cli.wav");
        stemstrip_test::WriteWav(inFile, in);
        std::filesystem::remove(outFile);
        std::vector<std::string> argv = {STEMSTRIP_CLI, "render", inFile, outFile, "--flush-denormals"};
        for (const std::string& s : kBusyCliSettings) argv.insert(argv.end(), {"--set", s});
        return run(argv, outFile);
    }

    std::filesystem::path dir_ = std::filesystem::path(TEST_OUTPUT_DIR);
};

// Sample-exact equality, bit patterns included (a -0 is not a +0 here).
::testing::AssertionResult SameAudio(const Audio& got, const Audio& want, long shift = 0) {
    const std::string difference = stemstrip_test::FirstDifference(want, got, shift);
    if (difference.empty()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << difference << " (shift " << shift << ")";
}

double Rms(const Audio& a, long from, long to) {
    double sum = 0;
    for (long t = from; t < to; ++t)
        for (int c = 0; c < a.channels; ++c) sum += double(a.at(t, c)) * a.at(t, c);
    return std::sqrt(sum / double((to - from) * a.channels));
}

TEST_F(HostRender, Lv2applyMatchesTheSdkBitForBitInEveryFormat) {
    for (const PluginCase& p : PluginCases()) {
        SCOPED_TRACE(p.uri);
        const int channels = static_cast<int>(p.ports.size());
        const Audio in = TestSignal(channels, kRate);
        // The key is there but not chosen: it must not matter.
        const Audio out = lv2apply(p, WithKey(in), kBusyControls, "busy_" + std::to_string(channels));

        // Same chunking as lv2apply (one frame per call): the same bits.
        EXPECT_TRUE(SameAudio(out, RenderWithSdk(p, BusySettings(), in, false, 1)));
        // Latency-free instance in whole blocks: the same bits, kLatency later,
        // after kLatency frames of silence.
        EXPECT_TRUE(SameAudio(out, RenderWithSdk(p, BusySettings(), in, true, 512), kLatency));
        for (long t = 0; t < kLatency; ++t)
            for (int c = 0; c < channels; ++c) ASSERT_EQ(out.at(t, c), 0.0f) << "frame " << t;

        // The settings did act: loud part compressed, gated part shut.
        EXPECT_LT(Rms(out, kRate / 10, kRate / 4), 0.6 * Rms(in, kRate / 10, kRate / 4));
        EXPECT_LT(Rms(out, kRate * 4 / 10, kRate * 45 / 100), 0.1 * Rms(in, kRate * 4 / 10, kRate * 45 / 100));
    }
}

TEST_F(HostRender, SideChainInputIsTheFileChannelAfterTheProgramme) {
    std::vector<Control> controls = {{"key_source", 1}, {"comp_threshold", -30}, {"comp_ratio", 10}};
    Settings s;
    s.detector.externalKey = true;
    s.compressor.thresholdDb = -30;
    s.compressor.ratio = 10;
    for (const PluginCase& p : {PluginCases()[1], PluginCases()[3]}) {
        SCOPED_TRACE(p.uri);
        const int channels = static_cast<int>(p.ports.size());
        const Audio in = WithKey(TestSignal(channels, kRate));
        const Audio out = lv2apply(p, in, controls, "key_" + std::to_string(channels));
        EXPECT_TRUE(SameAudio(out, RenderWithSdk(p, s, in, false, 64, channels)));
        // Ducked where the key is loud, though the programme is as loud.
        EXPECT_LT(Rms(out, kRate * 75 / 100, kRate * 85 / 100), 0.3 * Rms(TestSignal(channels, kRate), kRate * 75 / 100, kRate * 85 / 100));
    }
}

TEST_F(HostRender, OutOfRangeControlsAreClampedAndBypassPassesAudioThrough) {
    const PluginCase& stereo = PluginCases()[1];
    const Audio in = TestSignal(2, kRate / 2);

    // Ratio past the scale's top limits; everything else stops at its range.
    Settings limited;
    limited.compressor.ratio = std::numeric_limits<double>::infinity();
    limited.compressor.thresholdDb = -80;  // the port's floor
    limited.bands[0] = {true, BandType::LowPass2, Placement::PreDynamics, 20000, 0, double(0.70710678f)};
    const Audio clamped = lv2apply(stereo, WithKey(in),
                                   {{"comp_ratio", 1000}, {"comp_threshold", -500}, {"band1_enable", 1},
                                    {"band1_type", 6}, {"band1_freq", 96000}},
                                   "clamped");
    EXPECT_TRUE(SameAudio(clamped, RenderWithSdk(stereo, limited, in, false, 1)));

    // Bypass through the host's enable designation: the input, kLatency later.
    const Audio bypassed = lv2apply(stereo, WithKey(in), {{"enabled", 0}, {"comp_ratio", 10}, {"comp_threshold", -40}}, "bypass");
    EXPECT_TRUE(SameAudio(bypassed, in, kLatency));
}

TEST_F(HostRender, Lv2fileBlocksOfAnySizeGiveTheLv2applyAudio) {
    for (const PluginCase& p : {PluginCases()[1], PluginCases()[2]}) {
        SCOPED_TRACE(p.uri);
        const int channels = static_cast<int>(p.ports.size());
        const Audio in = TestSignal(channels, kRate);
        const Audio oneFrameAtATime = lv2apply(p, WithKey(in), kBusyControls, "blocks_" + std::to_string(channels));
        for (int block : {512, 333, 256, 37, 1, 4096}) {
            SCOPED_TRACE("lv2file -b " + std::to_string(block));
            EXPECT_TRUE(SameAudio(lv2file(p, in, kBusyControls, block, "blocks_" + std::to_string(channels)),
                                  oneFrameAtATime));
        }
    }
}

TEST_F(HostRender, Lv2applyMatchesTheCliRenderOfTheSameSettings) {
    for (const PluginCase& p : PluginCases()) {
        SCOPED_TRACE(p.uri);
        const int channels = static_cast<int>(p.ports.size());
        const Audio in = TestSignal(channels, kRate / 2);
        const Audio plugin = lv2apply(p, WithKey(in), kBusyControls, "cli_" + std::to_string(channels));
        const Audio cli = cliRender(in, "cli_" + std::to_string(channels));
        // The CLI takes its first kLatency frames from the strip's latency;
        // the plugin reports them: same audio, kLatency frames apart.
        EXPECT_TRUE(SameAudio(plugin, cli, kLatency));
    }
}

}  // namespace
}  // namespace stemstrip::lv2test
