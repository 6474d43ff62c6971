#include "peer_chains.h"

#include <cmath>
#include <string>

namespace peers {

namespace {

float Amp(double db) { return static_cast<float>(std::pow(10.0, db / 20.0)); }

// Bandwidth in octaves of a bell of quality `q`, for plugins that take that.
float Octaves(double q) { return static_cast<float>(2.0 / std::log(2.0) * std::asinh(1.0 / (2.0 * q))); }

// A function, not a namespace-scope string: the chains are also built during
// static initialisation (test registration).
std::string Lsp(const char* plugin) { return std::string("http://lsp-plug.in/plugins/lv2/") + plugin; }

// Band k of the parametric EQ: type (1 bell, 2 high-pass, 3 high shelf,
// 4 low-pass, 5 low shelf), frequency, gain in dB, Q.
std::vector<Control> LspBands() {
    struct B { float type, hz, db, q; };
    static const B bands[] = {{2, 30, 0, 0.707f},   {5, 100, 3, 0.707f},  {1, 400, -2, 1},
                              {1, 1200, 2, 0.8f},   {1, 3000, -1.5f, 1},  {1, 6000, 2, 1.5f},
                              {3, 10000, 2, 0.707f}, {4, 18000, 0, 0.707f}};
    std::vector<Control> c;
    for (int k = 0; k < 8; ++k) {
        const std::string n = std::to_string(k);
        c.push_back({"ft_" + n, bands[k].type});
        c.push_back({"f_" + n, bands[k].hz});
        c.push_back({"g_" + n, Amp(bands[k].db)});
        c.push_back({"q_" + n, bands[k].q});
    }
    return c;
}

ChainSpec LspEqDynaProcessor() {
    return {"LSP EQ + dynamics processor",
            "one curve: 4:1 above -20 dB, 2:1 expansion below -50 dB (no hard gate)",
            {{Lsp("para_equalizer_x16_stereo"), LspBands()},
             {Lsp("dyna_processor_stereo"),
              {{"scm", 0}, {"atd", 10}, {"rtd", 100},
               {"pe0", 1}, {"tl0", Amp(-20)}, {"gl0", Amp(-20)}, {"kn0", Amp(-6)},
               {"pe1", 1}, {"tl1", Amp(-50)}, {"gl1", Amp(-50)}, {"kn1", Amp(-6)},
               {"hlr", 4}, {"llr", 2}}}}};
}

ChainSpec LspEqCompressorGate() {
    return {"LSP EQ + compressor + gate", "gate range 72 dB (its largest), no hold",
            {{Lsp("para_equalizer_x16_stereo"), LspBands()},
             {Lsp("compressor_stereo"),
              {{"scm", 0}, {"cm", 0}, {"al", Amp(-20)}, {"cr", 4}, {"kn", Amp(-6)}, {"at", 10}, {"rt", 100}}},
             {Lsp("gate_stereo"),
              {{"scm", 0}, {"gt", Amp(-60)}, {"gh", 1}, {"ht", Amp(-3)}, {"gr", Amp(-72)}, {"at", 1}, {"rt", 100}}}}};
}

ChainSpec X42Fil4Darc() {
    const std::string fil4 = "http://gareus.org/oss/lv2/fil4#stereo", darc = "http://gareus.org/oss/lv2/darc#stereo";
    return {"x42 fil4 + darc", "no gate or expander; automatic makeup gain",
            {{fil4,
              {{"HighPass", 1}, {"HPfreq", 30}, {"HPQ", 0.7f}, {"LowPass", 1}, {"LPfreq", 18000}, {"LPQ", 0.7f},
               {"LSsec", 1}, {"LSfreq", 100}, {"LSgain", 3}, {"LSq", 0.707f},
               {"sec1", 1}, {"freq1", 400}, {"gain1", -2}, {"q1", Octaves(1)},
               {"sec2", 1}, {"freq2", 1200}, {"gain2", 2}, {"q2", Octaves(0.8)},
               {"sec3", 1}, {"freq3", 3000}, {"gain3", -1.5f}, {"q3", Octaves(1)},
               {"sec4", 1}, {"freq4", 6000}, {"gain4", 2}, {"q4", Octaves(1.5)},
               {"HSsec", 1}, {"HSfreq", 10000}, {"HSgain", 2}, {"HSq", 0.707f}}},
             {darc, {{"threshold", -20}, {"Ratio", 0.75f}, {"attack", 0.01f}, {"release", 0.1f}}}}};
}

ChainSpec ArdourChain() {
    const Stage eq{"urn:ardour:a-eq",
                   {{"freql", 100}, {"gl", 3}, {"freq1", 400}, {"g1", -2}, {"bw1", Octaves(1)},
                    {"freq2", 1200}, {"g2", 2}, {"bw2", Octaves(0.8)}, {"freq3", 3000}, {"g3", -1.5f},
                    {"bw3", Octaves(1)}, {"freq4", 6000}, {"g4", 2}, {"bw4", Octaves(1.5)}, {"freqh", 10000},
                    {"gh", 2}}};
    return {"Ardour a-eq + a-comp + a-exp",
            "a-eq has 6 bands (no high-/low-pass) and is mono: one per channel; a-exp 2:1 below -50 dB, no hard gate",
            {eq,
             {"urn:ardour:a-comp#stereo", {{"att", 10}, {"rel", 100}, {"kn", 6}, {"rat", 4}, {"thr", -20}}},
             {"urn:ardour:a-exp#stereo", {{"att", 1}, {"rel", 100}, {"kn", 6}, {"rat", 2}, {"thr", -50}}}}};
}

ChainSpec CalfChain() {
    const std::string calf = "http://calf.sourceforge.net/plugins/";
    return {"Calf EQ-8 + compressor + gate", "",
            {{calf + "Equalizer8Band",
              {{"hp_active", 1}, {"hp_freq", 30}, {"hp_mode", 0}, {"lp_active", 1}, {"lp_freq", 18000}, {"lp_mode", 0},
               {"ls_active", 1}, {"ls_freq", 100}, {"ls_level", Amp(3)},
               {"p1_active", 1}, {"p1_freq", 400}, {"p1_level", Amp(-2)}, {"p1_q", 1},
               {"p2_active", 1}, {"p2_freq", 1200}, {"p2_level", Amp(2)}, {"p2_q", 0.8f},
               {"p3_active", 1}, {"p3_freq", 3000}, {"p3_level", Amp(-1.5)}, {"p3_q", 1},
               {"p4_active", 1}, {"p4_freq", 6000}, {"p4_level", Amp(2)}, {"p4_q", 1.5f},
               {"hs_active", 1}, {"hs_freq", 10000}, {"hs_level", Amp(2)}}},
             {calf + "Compressor",
              {{"threshold", Amp(-20)}, {"ratio", 4}, {"attack", 10}, {"release", 100}, {"knee", Amp(6)},
               {"detection", 1}}},
             {calf + "Gate",
              {{"threshold", Amp(-60)}, {"range", Amp(-80)}, {"ratio", 20}, {"attack", 1}, {"release", 100},
               {"knee", Amp(3)}, {"detection", 1}}}}};
}

}  // namespace

std::vector<ChainSpec> PeerChains() {
    return {LspEqDynaProcessor(), LspEqCompressorGate(), X42Fil4Darc(), ArdourChain(), CalfChain()};
}

}  // namespace peers
