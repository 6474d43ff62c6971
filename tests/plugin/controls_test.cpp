// Control values as hosts write them, turned into settings the designer
// always accepts; and the mailbox that carries them off the audio thread.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <regex>
#include <set>
#include <thread>

#include "control_mailbox.hpp"
#include "settings_from_controls.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip::lv2 {
namespace {

const Plugin& PluginAt(const std::string& uri) {
    for (const Plugin& p : Plugins())
        if (PluginUri(p) == uri) return p;
    throw std::runtime_error("no plugin " + uri);
}

// Side-chain 5.1: every shared port and detector-group ports, LFE included.
const Plugin& k51 = PluginAt("urn:stemstrip:lv2:5.1");

const ControlPort& Port(const std::string& symbol) {
    for (const ControlPort& c : ControlPortsOf(k51))
        if (c.symbol == symbol) return c;
    throw std::runtime_error("no port " + symbol);
}

std::vector<float> Defaults(const Plugin& p = k51) {
    std::vector<float> v;
    for (const ControlPort& c : ControlPortsOf(p)) v.push_back(c.defaultValue);
    return v;
}

void Set(std::vector<float>& values, const std::string& symbol, float v) {
    values[&Port(symbol) - ControlPortsOf(k51).data()] = v;
}

TEST(Controls, TableIsWellFormed) {
    const std::regex symbol("[_a-zA-Z][_a-zA-Z0-9]*");
    for (const Plugin& p : Plugins()) {
        std::set<std::string> symbols;
        for (const ControlPort& c : ControlPortsOf(p)) {
            EXPECT_TRUE(std::regex_match(c.symbol, symbol)) << c.symbol;
            EXPECT_TRUE(symbols.insert(c.symbol).second) << "duplicate " << c.symbol;
            EXPECT_TRUE(c.min <= c.defaultValue && c.defaultValue <= c.max) << c.symbol;
            for (const ScalePoint& sp : c.scalePoints) EXPECT_TRUE(c.min <= sp.value && sp.value <= c.max) << c.symbol;
            EXPECT_TRUE((c.field != nullptr) != (c.channel >= 0)) << c.symbol << ": a settings field or a group slot";
        }
        EXPECT_EQ(symbols.count("key_source"), p.sideChain ? 1u : 0u) << PluginUri(p);
    }
}

TEST(Controls, SanitiseMakesAnyHostValueUsable) {
    constexpr double kRate = 48000;
    EXPECT_EQ(Sanitise(Port("comp_threshold"), NAN, kRate), 0.0f) << "NaN gives the default";
    EXPECT_EQ(Sanitise(Port("comp_threshold"), -500, kRate), -80.0f);
    EXPECT_EQ(Sanitise(Port("comp_threshold"), INFINITY, kRate), 24.0f);
    EXPECT_EQ(Sanitise(Port("gate"), 0.01f, kRate), 1.0f) << "toggles: above zero is on";
    EXPECT_EQ(Sanitise(Port("gate"), -3, kRate), 0.0f);
    EXPECT_EQ(Sanitise(Port("band1_type"), 2.6f, kRate), 3.0f) << "nearest enumeration entry";
    EXPECT_EQ(Sanitise(Port("band1_type"), 99, kRate), 8.0f);
    EXPECT_EQ(Sanitise(Port("band1_freq"), 30000, kRate), 20000.0f) << "the port's top";
    // Above what the rate allows: the highest frequency the SDK accepts, the
    // float just below half the rate.
    EXPECT_EQ(Sanitise(Port("band1_freq"), 30000, 32000), 15999.999f);
    EXPECT_EQ(Sanitise(Port("band6_freq"), NAN, 8000), 3999.9998f) << "a default above 4 kHz";
    EXPECT_EQ(Sanitise(Port("sc_freq"), 20000, 8000), 3999.9998f);
    EXPECT_EQ(Sanitise(Port("band1_freq"), 5, kRate), 10.0f);
}

TEST(Controls, DefaultsAreATransparentEnabledStrip) {
    const Settings s = SettingsFromControls(k51, Defaults(), 48000);
    for (const EqBand& b : s.bands) EXPECT_FALSE(b.enabled);
    EXPECT_EQ(s.compressor.ratio, 1.0);
    EXPECT_EQ(s.expander.ratio, 1.0);
    EXPECT_FALSE(s.expander.gate);
    EXPECT_FALSE(s.detector.externalKey);
    EXPECT_FALSE(s.detector.keyListen);
    EXPECT_FALSE(s.bypass);
    EXPECT_EQ(s.smoothingMs, 20.0);
}

TEST(Controls, HostileValuesStillDesignAtEveryRate) {
    // Every control at both ends of its range, NaN and infinities: the
    // designer must accept the result, or run() could not apply it.
    for (const Plugin& p : Plugins()) {
        const std::vector<ControlPort>& ports = ControlPortsOf(p);
        const Format f = p.format.format;
        for (double rate : {8000.0, 44100.0, 192000.0, 768000.0}) {
            for (float v : {-INFINITY, -1e30f, NAN, 1e30f, INFINITY}) {
                std::vector<float> values(ports.size(), v);
                EXPECT_NO_THROW(Design(SettingsFromControls(p, values, rate), f, rate)) << v << " at " << rate;
            }
            std::vector<float> values = Defaults(p);
            for (size_t i = 0; i < values.size(); ++i) values[i] = i % 2 ? ports[i].max : ports[i].min;
            EXPECT_NO_THROW(Design(SettingsFromControls(p, values, rate), f, rate)) << rate;
        }
    }
}

TEST(Controls, ScaleEndsDecimalsAndGroupsMapOntoTheSettings) {
    std::vector<float> values = Defaults();
    Set(values, "comp_ratio", 100);
    Set(values, "comp_attack", 0.01f);
    Set(values, "band1_q", 0.707f);
    Set(values, "group_lfe", 0);
    Set(values, "group_ls", 1);
    Settings s = SettingsFromControls(k51, values, 48000);
    EXPECT_TRUE(std::isinf(s.compressor.ratio)) << "the ratio's top limits";
    EXPECT_EQ(s.compressor.attackMs, 0.0) << "the attack's floor is instant";
    EXPECT_EQ(s.bands[0].q, 0.707) << "the decimal, not the float's digits";
    // Port order L R C LFE Ls Rs; defaults pair the fronts and the surrounds.
    EXPECT_EQ(s.channelGroups, (std::array<int, 8>{0, 0, 1, 0, 1, 3}));

    Set(values, "comp_ratio", 99.5f);
    Set(values, "comp_attack", 0.02f);
    Set(values, "enabled", 0);
    s = SettingsFromControls(k51, values, 48000);
    EXPECT_EQ(s.compressor.ratio, 99.5);
    EXPECT_EQ(s.compressor.attackMs, 0.02);
    EXPECT_TRUE(s.bypass);
    // Read back, the settings give the port values they came from.
    EXPECT_EQ(ControlsFromSettings(k51, s), values);
}

TEST(ControlMailbox, ReaderNeverAcceptsATornSet) {
    constexpr size_t kCount = 97;
    ControlMailbox mailbox(kCount);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        std::vector<float> v(kCount);
        for (int k = 1; k <= 200000; ++k) {
            std::fill(v.begin(), v.end(), static_cast<float>(k));
            mailbox.post(v);
        }
        done = true;
    });
    std::vector<float> got(kCount);
    long accepted = 0, torn = 0;
    float last = 0;
    while (!done) {
        if (!mailbox.read(got)) continue;
        ++accepted;
        torn += std::count(got.begin(), got.end(), got[0]) != static_cast<long>(kCount);
        EXPECT_GE(got[0], last) << "went back in time";
        last = got[0];
    }
    writer.join();
    ASSERT_TRUE(mailbox.read(got));
    EXPECT_EQ(got[0], 200000.0f) << "the newest set is what stays";
    EXPECT_EQ(torn, 0) << "of " << accepted << " accepted reads";
}

}  // namespace
}  // namespace stemstrip::lv2
