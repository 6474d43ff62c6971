#include "turtle_writer.hpp"

#include <charconv>
#include <string>

#include "port_layout.hpp"
#include "stemstrip/meters.hpp"

namespace stemstrip::lv2 {
namespace {

// Meters read from the core's silence level (kMeterFloorDb) up to well
// above full scale.
constexpr float kMeterCeilingDb = 24.0f, kMostReductionDb = 200.0f;

// Raise the minor version (even: a release) whenever a plugin's ports
// change, and record the new ports in the reference list of the tests.
constexpr int kMinorVersion = 2, kMicroVersion = 0;
constexpr std::string_view kLicense = "http://opensource.org/licenses/MIT";

constexpr std::string_view kPrefixes =
    "@prefix doap: <http://usefulinc.com/ns/doap#> .\n"
    "@prefix idisp: <http://harrisonconsoles.com/lv2/inlinedisplay#> .\n"
    "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
    "@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .\n"
    "@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .\n"
    "@prefix pset: <http://lv2plug.in/ns/ext/presets#> .\n"
    "@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .\n"
    "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n"
    "@prefix ui: <http://lv2plug.in/ns/extensions/ui#> .\n"
    "@prefix units: <http://lv2plug.in/ns/extensions/units#> .\n\n";

// A Turtle decimal: shortest round-trip digits, always with a point.
std::string Number(float v) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, v).ptr;
    std::string s(text, end);
    if (s.find_first_of(".e") == std::string::npos) s += ".0";
    return s;
}

// A Turtle string's content: quotes and backslashes escaped.
std::string Escaped(std::string_view text) {
    std::string s;
    for (char c : text) {
        if (c == '"' || c == '\\') s += '\\';
        s += c;
    }
    return s;
}

std::string Uri(const Plugin& p, std::string_view fragment = {}) {
    std::string uri = "<" + PluginUri(p);
    if (!fragment.empty()) uri += "#" + std::string(fragment);
    return uri + ">";
}

std::string SpeakerSymbol(std::string_view prefix, const Speaker& s) {
    return std::string(prefix) + (s.symbol.empty() ? "" : "_" + std::string(s.symbol));
}

std::string_view UnitName(Unit u) {
    switch (u) {
        case Unit::Hz: return "units:hz";
        case Unit::Db: return "units:db";
        case Unit::Ms: return "units:ms";
        case Unit::None: break;
    }
    return {};
}

class PluginWriter {
public:
    PluginWriter(std::ostream& out, const Plugin& p) : out_(out), p_(p), f_(p.format), layout_(p) {}

    void write() {
        writeGroups();
        out_ << Uri(p_) << "\n    a lv2:Plugin , lv2:DynamicsPlugin ;\n"
             << "    doap:name \"" << PluginName(p_) << "\" ;\n"
             << "    doap:license <" << kLicense << "> ;\n"
             << "    lv2:minorVersion " << kMinorVersion << " ;\n"
             << "    lv2:microVersion " << kMicroVersion << " ;\n"
             << "    lv2:optionalFeature lv2:hardRTCapable , idisp:queue_draw ;\n"
             << "    lv2:extensionData idisp:interface ;\n"
             << "    ui:ui <" << kUiUri << "> ;\n"
             << "    pg:mainInput " << Uri(p_, "in") << " ;\n"
             << "    pg:mainOutput " << Uri(p_, "out") << " ;\n"
             << "    lv2:port";
        for (int p = 0; p < layout_.channels(); ++p) audioPort(layout_.audioIn(p), "Input", "in", f_.ports[p]);
        if (layout_.hasKey()) keyPort();
        for (int p = 0; p < layout_.channels(); ++p) audioPort(layout_.audioOut(p), "Output", "out", f_.ports[p]);
        const auto& controls = ControlPortsOf(p_);
        for (size_t i = 0; i < controls.size(); ++i) controlPort(layout_.control(static_cast<int>(i)), controls[i]);
        for (int p = 0; p < layout_.channels(); ++p)
            meterPort(layout_.peakIn(p), SpeakerSymbol("peak_in", f_.ports[p]),
                      "Input peak " + std::string(f_.ports[p].label), kMeterFloorDb, kMeterCeilingDb);
        for (int p = 0; p < layout_.channels(); ++p)
            meterPort(layout_.peakOut(p), SpeakerSymbol("peak_out", f_.ports[p]),
                      "Output peak " + std::string(f_.ports[p].label), kMeterFloorDb, kMeterCeilingDb);
        meterPort(layout_.compReduction(), "comp_gr", "Compressor gain reduction", 0, kMostReductionDb);
        meterPort(layout_.expReduction(), "exp_gr", "Expander gain reduction", 0, kMostReductionDb);
        latencyPort();
        out_ << " .\n\n";
    }

private:
    void writeGroups() {
        out_ << Uri(p_, "in") << "\n    a pg:" << f_.groupClass << " , pg:InputGroup ;\n"
             << "    lv2:symbol \"in\" ;\n    rdfs:label \"Input\" .\n\n";
        out_ << Uri(p_, "out") << "\n    a pg:" << f_.groupClass << " , pg:OutputGroup ;\n"
             << "    lv2:symbol \"out\" ;\n    rdfs:label \"Output\" ;\n"
             << "    pg:source " << Uri(p_, "in") << " .\n\n";
        if (layout_.hasKey())
            out_ << Uri(p_, "key") << "\n    a pg:MonoGroup , pg:InputGroup ;\n"
                 << "    lv2:symbol \"key\" ;\n    rdfs:label \"Side-chain key\" ;\n"
                 << "    pg:sideChainOf " << Uri(p_, "in") << " .\n\n";
        for (int b = 0; b < kMaxBands; ++b)
            out_ << Uri(p_, "band" + std::to_string(b + 1)) << "\n    a pg:Group ;\n"
                 << "    lv2:symbol \"band" << b + 1 << "\" ;\n    rdfs:label \"EQ band " << b + 1 << "\" .\n\n";
    }

    void open(int index, std::string_view classes, std::string_view symbol, std::string_view name) {
        out_ << (index == 0 ? " [\n" : " , [\n") << "        a " << classes << " ;\n"
             << "        lv2:index " << index << " ;\n"
             << "        lv2:symbol \"" << symbol << "\" ;\n"
             << "        lv2:name \"" << name << "\"";
    }
    void line(std::string_view text) { out_ << " ;\n        " << text; }
    void close() { out_ << "\n    ]"; }

    void audioPort(int index, std::string_view direction, std::string_view group, const Speaker& s) {
        const std::string classes = "lv2:" + std::string(direction) + "Port , lv2:AudioPort";
        open(index, classes, SpeakerSymbol(group, s), std::string(direction) + " " + std::string(s.label));
        line("pg:group " + Uri(p_, group));
        line("lv2:designation pg:" + std::string(s.designation));
        close();
    }

    void keyPort() {
        open(layout_.key(), "lv2:InputPort , lv2:AudioPort", "key", "Side-chain key");
        line("lv2:portProperty lv2:isSideChain , lv2:connectionOptional");
        line("pg:group " + Uri(p_, "key"));
        line("lv2:designation pg:center");
        close();
    }

    void controlPort(int index, const ControlPort& c) {
        open(index, "lv2:InputPort , lv2:ControlPort", c.symbol, c.name);
        line("lv2:default " + Number(c.defaultValue));
        line("lv2:minimum " + Number(c.min));
        line("lv2:maximum " + Number(c.max));
        if (c.unit != Unit::None) line("units:unit " + std::string(UnitName(c.unit)));
        switch (c.hint) {
            case Hint::Logarithmic: line("lv2:portProperty pprops:logarithmic"); break;
            case Hint::Toggle: line("lv2:portProperty lv2:toggled"); break;
            case Hint::Enumeration: line("lv2:portProperty lv2:integer , lv2:enumeration"); break;
            case Hint::Linear: break;
        }
        if (!c.designation.empty()) line("lv2:designation lv2:" + std::string(c.designation));
        if (c.band >= 0) line("pg:group " + Uri(p_, "band" + std::to_string(c.band + 1)));
        for (const ScalePoint& sp : c.scalePoints)
            line("lv2:scalePoint [ rdfs:label \"" + std::string(sp.label) + "\" ; rdf:value " + Number(sp.value) +
                 " ]");
        close();
    }

    void meterPort(int index, const std::string& symbol, const std::string& name, float lo, float hi) {
        open(index, "lv2:OutputPort , lv2:ControlPort", symbol, name);
        line("lv2:minimum " + Number(lo));
        line("lv2:maximum " + Number(hi));
        line("units:unit units:db");
        close();
    }

    void latencyPort() {
        open(layout_.latency(), "lv2:OutputPort , lv2:ControlPort", "latency", "Latency");
        line("lv2:designation lv2:latency");
        line("lv2:portProperty lv2:reportsLatency , lv2:integer , pprops:notOnGUI");
        line("units:unit units:frame");
        close();
    }

    std::ostream& out_;
    const Plugin& p_;
    const PluginFormat& f_;
    PortLayout layout_;
};

}  // namespace

std::string PresetUri(const FactoryPreset& p) {
    return std::string(kUriBase) + "preset:" + p.name + ":" + PluginUri(*p.plugin).substr(kUriBase.size());
}

void WriteManifest(std::ostream& out, const BundleFiles& files, const std::vector<FactoryPreset>& presets) {
    out << "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
        << "@prefix pset: <http://lv2plug.in/ns/ext/presets#> .\n"
        << "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n"
        << "@prefix ui: <http://lv2plug.in/ns/extensions/ui#> .\n\n";
    // Hosts drive the interface through the idle interface; it resizes with
    // the host's window and asks for its size where the host lets it.
    out << "<" << kUiUri << ">\n    a ui:X11UI ;\n    ui:binary <" << files.uiBinary << "> ;\n"
        << "    lv2:requiredFeature ui:idleInterface ;\n"
        << "    lv2:optionalFeature ui:parent , ui:resize ;\n"
        << "    lv2:extensionData ui:idleInterface .\n\n";
    for (const Plugin& p : Plugins())
        out << Uri(p) << "\n    a lv2:Plugin ;\n    lv2:binary <" << files.binary << "> ;\n"
            << "    rdfs:seeAlso <" << files.description << "> .\n\n";
    for (const FactoryPreset& p : presets)
        out << "<" << PresetUri(p) << ">\n    a pset:Preset ;\n    lv2:appliesTo " << Uri(*p.plugin) << " ;\n"
            << "    rdfs:label \"" << Escaped(p.name) << "\" ;\n"
            << "    rdfs:seeAlso <" << files.presets << "> .\n\n";
}

void WriteDescription(std::ostream& out) {
    out << kPrefixes;
    // The inline-display extension ships no schema in lv2-dev; what its two
    // terms are, for validators and hosts that have not met it.
    out << "idisp:interface\n    a lv2:ExtensionData .\n\nidisp:queue_draw\n    a lv2:Feature .\n\n";
    for (const Plugin& p : Plugins()) PluginWriter(out, p).write();
}

void WritePresets(std::ostream& out, const std::vector<FactoryPreset>& presets) {
    out << kPrefixes;
    for (const FactoryPreset& p : presets) {
        out << "<" << PresetUri(p) << ">\n    a pset:Preset ;\n    lv2:appliesTo " << Uri(*p.plugin) << " ;\n"
            << "    rdfs:comment \"" << Escaped(p.description) << "\" ;\n    lv2:port";
        const std::vector<ControlPort>& ports = ControlPortsOf(*p.plugin);
        for (size_t i = 0; i < ports.size(); ++i)
            out << (i == 0 ? " [\n" : " , [\n") << "        lv2:symbol \"" << ports[i].symbol << "\" ;\n"
                << "        pset:value " << Number(p.values[i]) << "\n    ]";
        out << " .\n\n";
    }
}

}  // namespace stemstrip::lv2
