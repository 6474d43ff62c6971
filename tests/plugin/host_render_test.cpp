// Real LV2 hosts render audio through every plugin of the bundle: lv2apply
// (one frame per run(), no features, buffers inside an interleaved frame),
// lv2file (blocks of any size) and a lilv host restoring factory presets.
// Their output must be the SDK's or the CLI's for the same settings, to the bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>

#include "host_command.hpp"
#include "lilv_host.hpp"
#include "plugin_cases.hpp"
#include "sdk_render.hpp"
#include "wav_file.hpp"

namespace stemstrip::lv2test {
namespace {

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

InstanceOptions Flushing(bool aligned = false) {
    InstanceOptions o;
    o.flushDenormals = true;  // as the plugin runs it
    o.alignedBlocks = aligned;
    return o;
}

// Loud, then near the gate threshold, then silence (decaying tails), then
// moderate again; each channel its own pitch and level.
Audio TestSignal(int channels, long frames) {
    Audio a{channels, kRate, std::vector<float>(frames * channels)};
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
    Audio a{programme.channels + 1, kRate, std::vector<float>(programme.frames() * (programme.channels + 1))};
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
        const CommandResult r = RunHost(argv);
        EXPECT_EQ(r.exitCode, 0) << ShellLine(argv) << "\n" << r.output;
        return ReadWav(outFile);
    }

    // `in`: the programme, then the key.
    Audio lv2apply(const PluginCase& p, const Audio& in, const std::vector<Control>& controls,
                   const std::string& tag) const {
        const std::string inFile = file(tag + "_in.wav"), outFile = file(tag + "_lv2apply.wav");
        WriteWav(inFile, in);
        std::vector<std::string> argv = {LV2APPLY, "-i", inFile, "-o", outFile};
        for (const Control& c : controls) argv.insert(argv.end(), {"-c", c.symbol, std::to_string(c.value)});
        argv.push_back(p.uri);
        return run(argv, outFile);
    }

    // Programme channels to the plugin's inputs; the key stays unconnected.
    // `preset`: the label of a preset lv2file loads before the controls.
    Audio lv2file(const PluginCase& p, const Audio& in, const std::vector<Control>& controls, int block,
                  const std::string& tag, const std::string& preset = "") const {
        const std::string inFile = file(tag + "_in.wav"), outFile = file(tag + "_lv2file_" + std::to_string(block) + ".wav");
        WriteWav(inFile, in);
        std::filesystem::remove(outFile);
        // lv2file would clip at full scale; the strip may go above it.
        std::vector<std::string> argv = {LV2FILE, "-i", inFile, "-o", outFile, "-b", std::to_string(block), "--ignore-clipping"};
        for (size_t w = 0; w < p.ports.size(); ++w) argv.insert(argv.end(), {"-c", std::to_string(w + 1) + ":" + p.ports[w].symbol});
        for (const Control& c : controls) argv.insert(argv.end(), {"-p", c.symbol + ":" + std::to_string(c.value)});
        if (!preset.empty()) argv.insert(argv.end(), {"-P", preset});
        argv.push_back(p.uri);
        return run(argv, outFile);
    }

    // The CLI writes its output aligned with the input (latency removed).
    Audio cliRender(const PluginCase& p, const Audio& in, const std::vector<std::string>& options,
                    const std::string& tag) const {
        const std::string inFile = file(tag + "_in.wav"), outFile = file(tag + "_cli.wav");
        WriteWav(inFile, in);
        std::filesystem::remove(outFile);
        std::vector<std::string> argv = {STEMSTRIP_CLI, "render", inFile, outFile, "--flush-denormals",
                                         "--format", std::string(FormatName(p.format))};
        argv.insert(argv.end(), options.begin(), options.end());
        return run(argv, outFile);
    }

    std::filesystem::path dir_ = std::filesystem::path(TEST_OUTPUT_DIR);
};

// Sample-exact equality, bit patterns included (a -0 is not a +0 here),
// unless `anyZeroSign`: lv2file writes a gated -0 as +0.
::testing::AssertionResult SameAudio(const Audio& got, const Audio& want, long shift = 0, bool anyZeroSign = false) {
    if (got.channels != want.channels || got.sampleRate != want.sampleRate)
        return ::testing::AssertionFailure() << got.channels << " channels at " << got.sampleRate << " Hz, want "
                                             << want.channels << " at " << want.sampleRate;
    if (got.frames() != want.frames()) return ::testing::AssertionFailure() << got.frames() << " frames, want " << want.frames();
    for (long t = shift; t < got.frames(); ++t)
        for (int c = 0; c < got.channels; ++c) {
            const float g = got.at(t, c), w = want.at(t - shift, c);
            if (std::bit_cast<uint32_t>(g) != std::bit_cast<uint32_t>(w) && !(anyZeroSign && g == 0 && w == 0))
                return ::testing::AssertionFailure() << "frame " << t << " channel " << c << ": " << g << ", want " << w
                                                     << " (shift " << shift << ")";
        }
    return ::testing::AssertionSuccess();
}

double Rms(const Audio& a, long from, long to) {
    double sum = 0;
    for (long t = from; t < to; ++t)
        for (int c = 0; c < a.channels; ++c) sum += double(a.at(t, c)) * a.at(t, c);
    return std::sqrt(sum / double((to - from) * a.channels));
}

// A file name part for each plugin: "5.1", "plain_5.1".
std::string Tag(const PluginCase& p) {
    std::string tag = p.uri.substr(std::string("urn:stemstrip:lv2:").size());
    std::replace(tag.begin(), tag.end(), ':', '_');
    return tag;
}

TEST_F(HostRender, Lv2applyAndLv2fileMatchTheSdkBitForBitInEveryPlugin) {
    for (const PluginCase& p : PluginCases()) {
        SCOPED_TRACE(p.uri);
        const int channels = static_cast<int>(p.ports.size());
        const Audio in = TestSignal(channels, kRate);
        // Side-chain plugins take a key that is there but not chosen: it must not matter.
        const Audio out = lv2apply(p, p.sideChain ? WithKey(in) : in, kBusyControls, "busy_" + Tag(p));
        // lv2file, blocks of 333 frames, key unconnected: the same audio.
        EXPECT_TRUE(SameAudio(lv2file(p, in, kBusyControls, 333, "busy_" + Tag(p)), out));

        // Same chunking as lv2apply (one frame per call): the same bits.
        EXPECT_TRUE(SameAudio(out, RenderWithSdk(p, BusySettings(), in, Flushing(), 1)));
        // Latency-free instance in whole blocks: the same bits, kLatency later,
        // after kLatency frames of silence.
        EXPECT_TRUE(SameAudio(out, RenderWithSdk(p, BusySettings(), in, Flushing(true), 512), kLatency));
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
    for (const PluginCase& p : {Case("urn:stemstrip:lv2:stereo"), Case("urn:stemstrip:lv2:7.1")}) {
        SCOPED_TRACE(p.uri);
        const int channels = static_cast<int>(p.ports.size());
        const Audio in = WithKey(TestSignal(channels, kRate));
        const Audio out = lv2apply(p, in, controls, "key_" + std::to_string(channels));
        EXPECT_TRUE(SameAudio(out, RenderWithSdk(p, s, in, Flushing(), 64, channels)));
        // Ducked where the key is loud, though the programme is as loud.
        EXPECT_LT(Rms(out, kRate * 75 / 100, kRate * 85 / 100), 0.3 * Rms(TestSignal(channels, kRate), kRate * 75 / 100, kRate * 85 / 100));
    }
}

TEST_F(HostRender, OutOfRangeControlsAreClampedAndBypassPassesAudioThrough) {
    const PluginCase& stereo = Case("urn:stemstrip:lv2:stereo");
    const Audio in = TestSignal(2, kRate / 2);

    // Ratio past the scale's top limits; everything else stops at its range.
    Settings limited;
    limited.compressor.ratio = std::numeric_limits<double>::infinity();
    limited.compressor.thresholdDb = -80;  // the port's floor
    // The Q port's default, the float nearest 1/sqrt(2), applies as the decimal it prints as.
    limited.bands[0] = {true, BandType::LowPass2, Placement::PreDynamics, 20000, 0, 0.70710677};
    const Audio clamped = lv2apply(stereo, WithKey(in),
                                   {{"comp_ratio", 1000}, {"comp_threshold", -500}, {"band1_enable", 1},
                                    {"band1_type", 6}, {"band1_freq", 96000}},
                                   "clamped");
    EXPECT_TRUE(SameAudio(clamped, RenderWithSdk(stereo, limited, in, Flushing(), 1)));

    // Bypass through the host's enable designation: the input, kLatency later.
    const Audio bypassed = lv2apply(stereo, WithKey(in), {{"enabled", 0}, {"comp_ratio", 10}, {"comp_threshold", -40}}, "bypass");
    EXPECT_TRUE(SameAudio(bypassed, in, kLatency));
    // So does a neutral strip: the null test.
    EXPECT_TRUE(SameAudio(lv2apply(stereo, WithKey(in), {}, "neutral"), in, kLatency));
}

// A NaN or an infinity in the programme or the key renders exactly as a 0
// there would, in every format: it never silences the plugin for good.
TEST_F(HostRender, NonFiniteSamplesRenderAsZerosInEveryFormat) {
    std::vector<Control> keyed = kBusyControls;
    keyed.push_back({"key_source", 1});
    for (const PluginCase& p : PluginCases()) {
        if (!p.sideChain) continue;
        SCOPED_TRACE(p.uri);
        const int channels = static_cast<int>(p.ports.size());
        Audio dirty = WithKey(TestSignal(channels, kRate / 4)), zeroed = dirty;
        dirty.at(2000, channels - 1) = NAN;
        dirty.at(2100, 0) = INFINITY;
        dirty.at(2200, channels) = -INFINITY;  // the key
        zeroed.at(2000, channels - 1) = zeroed.at(2100, 0) = zeroed.at(2200, channels) = 0.0f;
        EXPECT_TRUE(SameAudio(lv2apply(p, dirty, keyed, "nan_" + Tag(p)), lv2apply(p, zeroed, keyed, "zero_" + Tag(p))));
    }
}

TEST_F(HostRender, Lv2fileBlocksOfAnySizeGiveTheLv2applyAudio) {
    for (const PluginCase& p : {Case("urn:stemstrip:lv2:stereo"), Case("urn:stemstrip:lv2:5.1")}) {
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
    std::vector<std::string> options;
    for (const std::string& s : kBusyCliSettings) options.insert(options.end(), {"--set", s});
    for (const PluginCase& p : PluginCases()) {
        SCOPED_TRACE(p.uri);
        const Audio in = TestSignal(static_cast<int>(p.ports.size()), kRate / 2);
        const Audio plugin = lv2apply(p, p.sideChain ? WithKey(in) : in, kBusyControls, "cli_" + Tag(p));
        // The CLI takes its first kLatency frames from the strip's latency;
        // the plugin reports them: same audio, kLatency frames apart.
        EXPECT_TRUE(SameAudio(plugin, cliRender(p, in, options, "cli_" + Tag(p)), kLatency));
    }
}

// Two hosts load each preset: the tests' own lilv host through lilv's state
// API, and lv2file by its label.
TEST_F(HostRender, FactoryPresetsLoadedByHostsRenderLikeTheCli) {
    std::map<std::string, int> plugins;  // per preset
    for (const PluginCase& p : PluginCases()) {
        const Audio in = TestSignal(static_cast<int>(p.ports.size()), kRate / 2);
        for (const PresetRef& preset : PresetsOf(p.uri)) {
            SCOPED_TRACE(preset.uri);
            ++plugins[preset.label];
            const Audio plugin = RenderPresetWithLilv(p, preset.uri, in, 256);
            const Audio cli = cliRender(p, in, {"--preset", preset.label}, "preset_" + Tag(p));
            EXPECT_TRUE(SameAudio(plugin, cli, kLatency));
            EXPECT_TRUE(SameAudio(lv2file(p, in, {}, 512, "preset_" + Tag(p), preset.label), plugin, 0, true));
        }
    }
    // Every preset on every plugin, but the 5.1 film stem's six detector
    // groups: only the six-channel formats (5.1, 6.0) in both variants.
    const std::map<std::string, int> expected = {
        {"dialogue-gate", 22}, {"drum-bus", 22}, {"film-stem-5.1", 4}, {"limiter", 22}, {"vocal", 22}};
    EXPECT_EQ(plugins, expected);
}

// The inline display through lilv: the image has the requested width, the
// EQ curve (+12 dB bell at 1 kHz on an axis of +-18 dB) sits a third of the
// way up from the middle at 1 kHz and on the middle line at 40 Hz, and the
// plugin asked the host to redraw.
TEST(InlineDisplay, RendersTheEqCurveAtTheRequestedSize) {
    const InlineImage image = RenderInlineDisplay(
        "urn:stemstrip:lv2:plain:stereo", {{"band4_enable", 1}, {"band4_freq", 1000}, {"band4_gain", 12}}, 160, 100);
    ASSERT_EQ(image.width, 160);
    ASSERT_GT(image.height, 20);
    ASSERT_LE(image.height, 100);
    EXPECT_GT(image.drawRequests, 0);
    const auto curveRow = [&](double hz) {  // the curve's colour is yellow: red and green high, blue low
        const int x = static_cast<int>((image.width - 9) * std::log10(hz / 20) / 3);
        for (int y = 0; y < image.height; ++y) {
            const unsigned char* px = &image.data[y * image.stride + 4 * x];
            if (px[2] > 200 && px[1] > 150 && px[0] < 100) return y;
        }
        return -1;
    };
    const double middle = image.height / 2.0;
    EXPECT_NEAR(curveRow(1000), middle - middle * 12 / 18, 2.5);
    EXPECT_NEAR(curveRow(40), middle, 2.5);
}

}  // namespace
}  // namespace stemstrip::lv2test
