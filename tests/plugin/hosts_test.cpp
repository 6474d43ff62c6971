// The bundle in real hosts. lilv, which most hosts load plugins with, shows
// the ports sessions are restored by; lv2apply (one frame per run(), no
// features, buffers inside an interleaved frame) and lv2file (blocks of any
// size, factory presets through lilv's state API) must give the SDK's or the
// CLI's audio for the same settings, to the bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "audio_files.hpp"
#include "lilv_host.hpp"
#include "programs.hpp"
#include "sdk_render.hpp"

namespace stemstrip::lv2test {
namespace {
using stemstrip_test::Audio;
using stemstrip_test::SdkRender;
using Controls = std::vector<std::pair<std::string, float>>;  // port symbol, value

constexpr int kRate = 48000, kLatency = 15;  // what the FIFO adapter reports

// Hosts see only the build's bundle: an installed copy must not stand in for it.
const stemstrip_test::RunOptions kBuildBundle{0, {{"LV2_PATH", STEMSTRIP_LV2_DIR}}};

// Hosts restore sessions and automation by port index and symbol: a released
// plugin's ports change only with a minor version bump, and even then no port
// moves or is renamed. Hosts route each speaker, bypass and latency compensation by
// the ports' designations.
TEST(Ports, TheReleasedOnesStayAndCarryTheirRoles) {
    std::map<std::string, std::pair<std::string, std::map<int, std::string>>> released;  // URI -> version, ports
    std::ifstream reference(PORT_REFERENCE);
    for (std::string line, uri, version, symbol, lo, hi; std::getline(reference, line);) {
        int index;
        if (line.empty() || line[0] == '#') continue;
        std::istringstream(line) >> uri >> version >> index >> symbol >> lo >> hi;
        released[uri].first = version;
        released[uri].second[index] = symbol + " " + lo + " " + hi;
    }
    ASSERT_EQ(released.size(), PluginCases().size()) << PORT_REFERENCE;
    LilvWorld* world = World();
    LilvNode* designation = lilv_new_uri(world, LV2_CORE__designation);
    LilvNode* minorVersion = lilv_new_uri(world, LV2_CORE__minorVersion);
    const std::string speaker = "http://lv2plug.in/ns/ext/port-groups#";
    for (const PluginCase& p : PluginCases()) {
        SCOPED_TRACE(p.uri);
        const LilvPlugin* plugin = PluginOf(p.uri);
        std::vector<float> lo(lilv_plugin_get_num_ports(plugin)), hi(lo.size());
        lilv_plugin_get_port_ranges_float(plugin, lo.data(), hi.data(), nullptr);
        std::map<std::string, std::string> roles, wantRoles = {{"enabled", LV2_CORE__enabled}, {"latency", LV2_CORE__latency}};
        for (const SpeakerPort& s : p.ports) wantRoles["in" + s.suffix] = wantRoles["out" + s.suffix] = speaker + s.designation;
        if (p.sideChain) wantRoles["key"] = speaker + "center";  // a mono key
        std::map<int, std::string> now;
        for (uint32_t i = 0; i < lo.size(); ++i) {
            const LilvPort* port = lilv_plugin_get_port_by_index(plugin, i);
            const std::string symbol = lilv_node_as_string(lilv_port_get_symbol(plugin, port));
            std::ostringstream line;  // numbers as the reference writes them
            line << symbol;
            for (float bound : {lo[i], hi[i]}) std::isnan(bound) ? line << " -" : line << " " << bound;
            now[i] = line.str();
            if (LilvNode* role = lilv_port_get(plugin, port, designation)) {
                roles[symbol] = lilv_node_as_uri(role);
                lilv_node_free(role);
            }
        }
        EXPECT_EQ(roles, wantRoles);
        // New ports or ranges take a higher minor version, as LV2 hosts expect.
        LilvNode* minor = lilv_world_get(world, lilv_plugin_get_uri(plugin), minorVersion, nullptr);
        const auto& [releasedVersion, releasedPorts] = released[p.uri];
        if (now != releasedPorts) EXPECT_GT(lilv_node_as_int(minor), std::stoi(releasedVersion)) << "ports changed, minor version not raised";
        lilv_node_free(minor);
        for (const auto& [index, port] : releasedPorts)
            EXPECT_EQ(now[index].substr(0, now[index].find(' ')), port.substr(0, port.find(' '))) << "port " << index;
    }
    for (LilvNode* node : {designation, minorVersion}) lilv_node_free(node);
}

// ---- audio through the hosts ----

// A strip that does something everywhere: a pre bell, a post high-pass and
// a low-pass asked for above the frequency port's top, a soft-knee limiter
// (the ratio control at its top) with makeup, a held gate and a filtered
// detector; as host controls and as SDK settings written by hand.
const Controls kBusyControls = {
    {"band1_enable", 1}, {"band1_type", 0}, {"band1_freq", 800}, {"band1_gain", 6}, {"band1_q", 1.5f},
    {"band2_enable", 1}, {"band2_type", 4}, {"band2_freq", 80}, {"band2_q", 0.5f}, {"band2_place", 1},
    {"band3_enable", 1}, {"band3_type", 6}, {"band3_freq", 96000},
    {"comp_threshold", -24}, {"comp_ratio", 100}, {"comp_knee", 6}, {"comp_attack", 5}, {"comp_release", 80},
    {"comp_makeup", 3}, {"gate", 1}, {"gate_threshold", -50}, {"gate_hold", 10}, {"det_mode", 1},
    {"sc_filter", 1}, {"sc_freq", 150}, {"sc_q", 1}, {"smoothing", 5}};

Settings BusySettings() {
    Settings s;
    s.bands[0] = {true, BandType::Bell, Placement::PreDynamics, 800, 6, 1.5};
    s.bands[1] = {true, BandType::HighPass2, Placement::PostDynamics, 80, 0, 0.5};
    // The Q port's default, the float nearest 1/sqrt(2), applies as the decimal it prints as.
    s.bands[2] = {true, BandType::LowPass2, Placement::PreDynamics, 20000, 0, 0.70710677};
    s.compressor = {.thresholdDb = -24, .ratio = INFINITY, .kneeDb = 6, .attackMs = 5, .releaseMs = 80, .makeupDb = 3};
    s.expander = {.gate = true, .gateThresholdDb = -50, .holdMs = 10};
    s.detector = {.mode = DetectorMode::Average, .filter = SideChainFilter::HighPass, .filterHz = 150, .filterQ = 1};
    s.smoothingMs = 5;
    return s;
}

// Loud, then near the gate threshold, then silence (decaying tails), then
// moderate again; each channel its own pitch and level. With `key`, a
// side-chain key after the programme (lv2apply's file: one channel per audio
// input), loud exactly where the programme is quiet. NaN and +inf in the
// programme and -inf in the key when dirty, else zeros (what the plugin
// renders them as).
Audio Signal(int channels, long frames, bool dirty = false, bool key = false) {
    Audio a{kRate, channels + key, std::vector<float>(frames * (channels + key))};
    for (long t = 0; t < frames; ++t) {
        const double sec = static_cast<double>(t) / kRate;
        const double envelope = sec < 0.3 ? 0.7 : sec < 0.45 ? 0.001 : sec < 0.7 ? 0.0 : 0.2;
        for (int c = 0; c < channels; ++c)
            a.at(t, c) = static_cast<float>(envelope * (1.0 - 0.06 * c) * std::sin(2 * M_PI * 110 * (c + 2) * sec + c));
        if (key) a.at(t, channels) = static_cast<float>((sec > 0.35 && sec < 0.9 ? 0.8 : 0.001) * std::sin(2 * M_PI * 330 * sec));
    }
    a.at(2000, channels - 1) = dirty ? NAN : 0.0f;
    a.at(2100, 0) = dirty ? INFINITY : 0.0f;
    if (key) a.at(2200, channels) = dirty ? -INFINITY : 0.0f;
    return a;
}

// One channel of `a`, as the SDK takes a key.
std::vector<float> Channel(const Audio& a, int c) {
    std::vector<float> samples(a.frames());
    for (long t = 0; t < a.frames(); ++t) samples[t] = a.at(t, c);
    return samples;
}

// The SDK fed as lv2apply feeds the plugin, one frame at a time; flushing
// denormals as the plugin does, the latency kept as a host sees it.
const stemstrip_test::RenderOptions kAsLv2apply{{.flushDenormals = true}, 1, false};

// "" when the same bits, `got` `shift` frames later; else the first difference.
std::string Diff(const Audio& want, const Audio& got, int shift = 0) { return stemstrip_test::FirstDifference(want, got, shift); }

// lv2file writes a gated -0 as +0.
Audio ZeroSignless(Audio a) {
    for (float& s : a.samples) s += 0.0f;
    return a;
}

std::string Tag(const PluginCase& p) { return (p.sideChain ? "" : "plain_") + p.uri.substr(p.uri.rfind(':') + 1); }

// Runs a host or the CLI on `in` written as TAG_in.wav; "@in" and "@out" in argv name the files.
Audio Through(const std::string& tag, const Audio& in, std::vector<std::string> argv) {
    const std::string files[] = {TEST_OUTPUT_DIR "/" + tag + "_in.wav", TEST_OUTPUT_DIR "/" + tag + "_out.wav"};
    stemstrip_test::WriteWav(files[0], in);
    std::filesystem::remove(files[1]);
    for (std::string& arg : argv) arg = arg == "@in" ? files[0] : arg == "@out" ? files[1] : arg;
    const stemstrip_test::ProgramRun r = stemstrip_test::Run(argv, kBuildBundle);
    EXPECT_EQ(r.exitCode, 0) << argv[0] << " " << argv.back() << ":\n" << r.out << r.err;
    return stemstrip_test::ReadWav(files[1]);
}

// `in`: the programme, then the key.
Audio Lv2apply(const PluginCase& p, const Audio& in, const Controls& controls, const std::string& tag) {
    std::vector<std::string> argv = {LV2APPLY, "-i", "@in", "-o", "@out"};
    for (const auto& [symbol, value] : controls) argv.insert(argv.end(), {"-c", symbol, std::to_string(value)});
    argv.push_back(p.uri);
    return Through(tag, in, argv);
}

// Programme channels to the plugin's inputs, then the key if `in` has one (else
// it stays unconnected); `preset`: a label loaded before the controls.
// lv2file would clip at full scale; the strip may go above it.
Audio Lv2file(const PluginCase& p, const Audio& in, const Controls& controls, int block, const std::string& tag,
              const std::string& preset = "") {
    std::vector<std::string> argv = {LV2FILE, "-i", "@in", "-o", "@out", "-b", std::to_string(block), "--ignore-clipping"};
    for (int w = 0; w < p.channels(); ++w) argv.insert(argv.end(), {"-c", std::to_string(w + 1) + ":in" + p.ports[w].suffix});
    if (in.channels > p.channels()) argv.insert(argv.end(), {"-c", std::to_string(in.channels) + ":key"});
    for (const auto& [symbol, value] : controls) argv.insert(argv.end(), {"-p", symbol + ":" + std::to_string(value)});
    if (!preset.empty()) argv.insert(argv.end(), {"-P", preset});
    argv.push_back(p.uri);
    return Through(tag, in, argv);
}

// Every plugin in lv2apply: the SDK's bits, fed as lv2apply feeds it (that
// this is the input kLatency frames later: the presets test); lv2file's bits at
// a block size per plugin. Side-chain plugins detect on the key, the file
// channel after the programme, which must change the render. NaN and
// infinities in the programme and the key render as zeros there would; the
// busy strip's ratio top and out-of-range low-pass as what they stand for.
// Bypassed or neutral, every plugin gives back its input.
// (The CLI's bits: the presets test below, in every format; its --set
// overrides against the SDK: the CLI's round-trip tests.)
TEST(HostRender, EveryPluginGivesTheSdkAudioInEveryHost) {
    const int blocks[] = {333, 1, 37, 256, 512, 4096};
    int next = 0;
    for (const PluginCase& p : PluginCases()) {
        SCOPED_TRACE(p.uri);
        // The programme as the SDK takes it; the files for the hosts, with the key if the plugin has one.
        const Audio in = Signal(p.channels(), kRate), clean = Signal(p.channels(), kRate, false, p.sideChain),
                    dirty = Signal(p.channels(), kRate, true, p.sideChain);
        const std::vector<float> key = p.sideChain ? Channel(clean, p.channels()) : std::vector<float>{};
        Controls controls = kBusyControls;
        if (p.sideChain) controls.push_back({"key_source", 1});
        const Audio out = Lv2apply(p, dirty, controls, Tag(p));
        EXPECT_EQ(Diff(SdkRender(p.format, BusySettings(), in, p.order(), key, kAsLv2apply), out), "");
        if (p.sideChain) EXPECT_NE(Diff(SdkRender(p.format, BusySettings(), in, p.order(), {}, kAsLv2apply), out), "") << "the key changes nothing";
        const int block = blocks[next++ % std::size(blocks)];
        EXPECT_EQ(Diff(out, Lv2file(p, dirty, controls, block, Tag(p))), "") << "lv2file -b " << block;
        // Bypass through the host's enable designation, and a neutral strip (the null test): the input, kLatency later.
        EXPECT_EQ(Diff(in, Lv2apply(p, clean, {{"enabled", 0}, {"comp_ratio", 10}, {"comp_threshold", -40}}, "bypass"), kLatency), "");
        EXPECT_EQ(Diff(in, Lv2apply(p, clean, {}, "neutral"), kLatency), "");
    }
}

// lv2file lists each plugin's factory presets and loads each by its label,
// through lilv's state API as most hosts do: the CLI's render of the preset.
TEST(HostRender, FactoryPresetsLoadedByAHostRenderLikeTheCli) {
    std::map<std::string, int> plugins;  // per preset
    for (const PluginCase& p : PluginCases()) {
        const Audio in = Signal(p.channels(), kRate / 2);
        std::istringstream list(stemstrip_test::Run({LV2FILE, "--list-presets", p.uri}, kBuildBundle).out);
        for (std::string line; std::getline(list, line);) {
            if (line.rfind("Preset: ", 0) != 0) continue;
            const std::string preset = line.substr(8);
            SCOPED_TRACE(p.uri + " " + preset);
            ++plugins[preset];
            // The CLI writes its output aligned with the input (latency removed).
            const Audio cli = Through("preset_" + Tag(p), in, {STEMSTRIP_CLI, "render", "@in", "@out", "--flush-denormals", "--format",
                                                               std::string(FormatName(p.format)), "--preset", preset});
            EXPECT_EQ(Diff(ZeroSignless(cli), ZeroSignless(Lv2file(p, in, {}, 512, "preset_" + Tag(p), preset)), kLatency), "");
        }
    }
    // Every preset on every plugin, but the 5.1 film stem's six detector
    // groups: only the six-channel formats (5.1, 6.0) in both variants.
    const std::map<std::string, int> expected = {
        {"dialogue-gate", 22}, {"drum-bus", 22}, {"film-stem-5.1", 4}, {"limiter", 22}, {"vocal", 22}};
    EXPECT_EQ(plugins, expected);
}

}  // namespace
}  // namespace stemstrip::lv2test
