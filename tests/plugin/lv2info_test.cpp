// What a host learns about each plugin from the bundle's Turtle, as lilv's
// lv2info prints it: port order, designations, groups, ranges, latency.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "support/programs.hpp"
#include "plugin_cases.hpp"

namespace stemstrip::lv2test {
namespace {

constexpr const char* kCore = "http://lv2plug.in/ns/lv2core#";
constexpr const char* kGroups = "http://lv2plug.in/ns/ext/port-groups#";

struct PortInfo {
    std::set<std::string> types, properties;
    std::string symbol, group, designation;
    std::map<std::string, double> range;  // "Minimum", "Maximum", "Default"
    int scalePoints = 0;

    bool is(const std::string& type) const { return types.count(kCore + type) > 0; }
    bool has(const std::string& property) const { return properties.count(property) > 0; }
};

struct PluginInfo {
    std::string text;
    std::map<int, PortInfo> ports;
};

// lv2info prints "Port N:" blocks of "Key: value" lines, continuation
// lines holding further values of the previous key.
PluginInfo Lv2info(const std::string& uri) {
    const stemstrip_test::ProgramRun r = stemstrip_test::Run({LV2INFO, uri}, {0, {{"LV2_PATH", STEMSTRIP_LV2_DIR}}});
    EXPECT_EQ(r.exitCode, 0) << r.out << r.err;
    PluginInfo info{r.out, {}};
    std::istringstream in(r.out);
    PortInfo* port = nullptr;
    std::string line, key;
    while (std::getline(in, line)) {
        const size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos) continue;
        line = line.substr(start);
        if (line.rfind("Port ", 0) == 0) {
            port = &info.ports[std::stoi(line.substr(5))];
            continue;
        }
        if (!port) continue;
        std::string value = line;
        if (const size_t colon = line.find(':'); colon != std::string::npos && line.find("://") != colon) {
            key = line.substr(0, colon);
            const size_t start = line.find_first_not_of(' ', colon + 1);
            value = start == std::string::npos ? "" : line.substr(start);
        }
        if (key == "Type") port->types.insert(value);
        else if (key == "Properties") port->properties.insert(value);
        else if (key == "Symbol") port->symbol = value;
        else if (key == "Group") port->group = value;
        else if (key == "Designation") port->designation = value;
        else if (key == "Minimum" || key == "Maximum" || key == "Default") port->range[key] = std::stod(value);
        else if (key == "Scale Points" && value.find('=') != std::string::npos) ++port->scalePoints;
    }
    return info;
}

std::string Suffix(const std::string& inputSymbol) { return inputSymbol.substr(2); }  // "in_l" -> "_l"

TEST(Lv2info, EveryPluginShowsItsPortsAsIntended) {
    std::vector<std::string> firstControls;
    for (const PluginCase& p : PluginCases()) {
        SCOPED_TRACE(p.uri);
        const PluginInfo info = Lv2info(p.uri);
        const int channels = static_cast<int>(p.ports.size());
        ASSERT_FALSE(info.ports.empty()) << info.text;
        EXPECT_EQ(info.ports.rbegin()->first + 1, static_cast<int>(info.ports.size())) << "port indices have gaps";
        EXPECT_EQ(info.text.find("Required Features"), std::string::npos) << "lv2apply offers no features";

        // Programme in WAV order, then the key, then the outputs in the same order.
        for (int w = 0; w < channels; ++w) {
            for (const auto& [index, prefix, direction] :
                 {std::tuple{w, std::string("in"), "InputPort"}, std::tuple{channels + 1 + w, std::string("out"), "OutputPort"}}) {
                const PortInfo& port = info.ports.at(index);
                EXPECT_TRUE(port.is("AudioPort") && port.is(direction)) << "port " << index;
                EXPECT_EQ(port.symbol, prefix + Suffix(p.ports[w].symbol));
                EXPECT_EQ(port.designation, kGroups + p.ports[w].designation) << port.symbol;
                EXPECT_EQ(port.group, p.uri + "#" + prefix) << port.symbol;
            }
        }
        const PortInfo& key = info.ports.at(channels);
        EXPECT_EQ(key.symbol, "key");
        EXPECT_TRUE(key.is("AudioPort") && key.is("InputPort"));
        EXPECT_TRUE(key.has(std::string(kCore) + "connectionOptional") && key.has(std::string(kCore) + "isSideChain"));

        // Controls: the same list in every format, sane ranges, one bypass.
        std::vector<std::string> controls;
        std::set<std::string> meters;
        int enabledPorts = 0, latencyPort = -1;
        for (const auto& [index, port] : info.ports) {
            if (index <= 2 * channels) continue;
            ASSERT_TRUE(port.is("ControlPort")) << port.symbol << ": only audio and control ports";
            if (port.is("OutputPort")) {
                if (port.symbol == "latency") latencyPort = index;
                else meters.insert(port.symbol);
                continue;
            }
            controls.push_back(port.symbol);
            const double lo = port.range.at("Minimum"), hi = port.range.at("Maximum"), def = port.range.at("Default");
            EXPECT_TRUE(lo <= def && def <= hi) << port.symbol << ": default " << def << " outside " << lo << ".." << hi;
            if (port.symbol.find("freq") != std::string::npos)
                EXPECT_TRUE(port.has("http://lv2plug.in/ns/ext/port-props#logarithmic")) << port.symbol;
            if (port.has(std::string(kCore) + "enumeration"))
                EXPECT_EQ(port.scalePoints, static_cast<int>(hi - lo) + 1) << port.symbol << ": one label per value";
            if (port.designation == std::string(kCore) + "enabled") {
                ++enabledPorts;
                EXPECT_TRUE(port.has(std::string(kCore) + "toggled"));
                EXPECT_EQ(def, 1.0) << "plugins start enabled";
            }
        }
        EXPECT_EQ(enabledPorts, 1);
        if (firstControls.empty()) firstControls = controls;
        EXPECT_EQ(controls, firstControls);
        EXPECT_EQ(controls.size(), 8u * 6u + 7u + 10u + 8u + 3u) << "bands, compressor, expander, detector, trim+smoothing+enabled";

        // Meters for every speaker, both reductions, and the latency port.
        std::set<std::string> expectedMeters = {"comp_gr", "exp_gr"};
        for (const SpeakerPort& s : p.ports)
            expectedMeters.insert({"peak_in" + Suffix(s.symbol), "peak_out" + Suffix(s.symbol)});
        EXPECT_EQ(meters, expectedMeters);
        ASSERT_GE(latencyPort, 0);
        EXPECT_NE(info.text.find("Has latency:       yes, reported by port " + std::to_string(latencyPort)),
                  std::string::npos);
        EXPECT_EQ(info.ports.at(latencyPort).designation, std::string(kCore) + "latency");
    }
}

}  // namespace
}  // namespace stemstrip::lv2test
