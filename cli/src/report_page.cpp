#include "report_page.hpp"

#include <cmath>
#include <cstdio>

#include "embedded_files.hpp"
#include "settings_json.hpp"
#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip::cli {
namespace {

constexpr int kEqPoints = 300;
constexpr double kLowestHz = 20.0, kHighestHz = 20000.0;
constexpr double kCurveFromDb = -96.0, kCurveToDb = 6.0, kCurveStepDb = 0.25;

std::string_view Asset(std::string_view name) {
    for (const EmbeddedFile& f : kReportAssetFiles)
        if (f.name == name) return f.text;
    return {};
}

std::string Fixed(double value, const char* format = "%g") {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

Json LevelsJson(const LevelTrace& t, float maxReductionDb) {
    std::vector<double> time;
    for (size_t i = 0; i < t.inputPeakDb.size(); ++i) time.push_back(static_cast<double>(i + 1) * t.secondsPerPoint);
    return {{"timeS", time},
            {"inputDb", t.inputPeakDb},
            {"outputDb", t.outputPeakDb},
            {"compReductionDb", t.compReductionDb},
            {"expReductionDb", t.expReductionDb},
            {"maxReductionDb", maxReductionDb}};
}

Json EqJson(const Settings& s, const CoefficientSet& coefs, double rate) {
    std::vector<double> hz;
    const double top = std::min(kHighestHz, 0.49 * rate);
    for (int i = 0; i < kEqPoints; ++i) hz.push_back(kLowestHz * std::pow(top / kLowestHz, i / (kEqPoints - 1.0)));
    Json bands = Json::array();
    const Json asJson = SettingsToJson(s)["bands"];
    for (size_t b = 0; b < s.bands.size(); ++b) {
        const EqBand& band = s.bands[b];
        if (!band.enabled) continue;
        std::string label = "bands[" + std::to_string(b) + "] " + asJson[b]["type"].get<std::string>() + " " +
                            Fixed(band.frequencyHz) + " Hz";
        if (band.type == BandType::Bell || band.type == BandType::LowShelf || band.type == BandType::HighShelf)
            label += " " + Fixed(band.gainDb, "%+g") + " dB";
        label += band.placement == Placement::PreDynamics ? ", before" : ", after";
        bands.push_back({{"label", label}, {"db", BandMagnitudeDb(band, rate, hz)}});
    }
    const std::vector<double> pre = StageMagnitudeDb(coefs.eq, 0, rate, hz), post = StageMagnitudeDb(coefs.eq, 1, rate, hz);
    std::vector<double> total(hz.size());
    for (size_t i = 0; i < hz.size(); ++i) total[i] = pre[i] + post[i];
    return {{"frequencyHz", hz}, {"bands", bands}, {"preDb", pre}, {"postDb", post}, {"totalDb", total}};
}

Json Mark(const std::string& label, double thresholdDb, double fromDb, double toDb, const char* colour) {
    return {{"label", label}, {"thresholdDb", thresholdDb}, {"fromDb", fromDb}, {"toDb", toDb}, {"colour", colour}};
}

Json TransferJson(const Settings& s, const CoefficientSet& coefs) {
    std::vector<double> level;
    for (double l = kCurveFromDb; l <= kCurveToDb + 1e-9; l += kCurveStepDb) level.push_back(l);
    const std::vector<StaticGain> gains = StaticGainCurve(coefs.dyn, level);
    std::vector<double> comp, exp, total;
    for (size_t i = 0; i < level.size(); ++i) {
        comp.push_back(level[i] + gains[i].compressorDb);
        exp.push_back(level[i] + gains[i].expanderDb);
        total.push_back(level[i] + gains[i].totalDb);
    }
    Json marks = Json::array();
    const Compressor& c = s.compressor;
    if (c.ratio > 1.0)
        marks.push_back(Mark("compressor threshold " + Fixed(c.thresholdDb) + " dB, knee " + Fixed(c.kneeDb) + " dB",
                             c.thresholdDb, c.thresholdDb - c.kneeDb / 2, c.thresholdDb + c.kneeDb / 2, "#d62728"));
    const Expander& e = s.expander;
    if (e.ratio > 1.0 && e.thresholdDb >= kCurveFromDb)
        marks.push_back(Mark("expander threshold " + Fixed(e.thresholdDb) + " dB, knee " + Fixed(e.kneeDb) + " dB",
                             e.thresholdDb, e.thresholdDb - e.kneeDb / 2, e.thresholdDb + e.kneeDb / 2, "#2ca02c"));
    if (e.gate)
        marks.push_back(Mark("gate opens at " + Fixed(e.gateThresholdDb) + " dB, closes below " +
                                 Fixed(e.gateThresholdDb - e.hysteresisDb) + " dB",
                             e.gateThresholdDb, e.gateThresholdDb - e.hysteresisDb, e.gateThresholdDb, "#9467bd"));
    return {{"levelDb", level}, {"compressorOutDb", comp}, {"expanderOutDb", exp}, {"totalOutDb", total}, {"marks", marks}};
}

std::string EscapeHtml(const std::string& text) {
    std::string out;
    for (char ch : text) {
        switch (ch) {
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '&': out += "&amp;"; break;
            case '"': out += "&quot;"; break;
            default: out += ch;
        }
    }
    return out;
}

// JSON that cannot end the <script> element it sits in.
std::string ScriptSafeJson(const Json& doc) {
    std::string text = doc.dump(-1, ' ', false, Json::error_handler_t::replace);
    for (size_t at = text.find("</"); at != std::string::npos; at = text.find("</", at + 3)) text.replace(at, 2, "<\\/");
    return text;
}

// Replaces the placeholders in the order they appear in the template, each
// search starting after the previous insertion, so inserted text is never
// searched.
void Fill(std::string& page, std::initializer_list<std::pair<std::string_view, std::string_view>> values) {
    size_t from = 0;
    for (const auto& [placeholder, text] : values) {
        const size_t at = page.find(placeholder, from);
        page.replace(at, placeholder.size(), text);
        from = at + text.size();
    }
}

}  // namespace

std::string BuildReportPage(const ReportFacts& f) {
    const CoefficientSet coefs = Design(f.settings, f.format, f.sampleRate);
    const Json data = {{"title", f.title},
                       {"summary", f.summary},
                       {"levels", LevelsJson(f.trace, f.maxReductionDb)},
                       {"eq", EqJson(f.settings, coefs, f.sampleRate)},
                       {"transfer", TransferJson(f.settings, coefs)}};
    std::string page(Asset("report.html"));
    Fill(page, {{"{{TITLE}}", EscapeHtml(f.title)},
                {"{{UPLOT_CSS}}", Asset("uPlot.min.css")},
                {"{{REPORT_CSS}}", Asset("report.css")},
                {"{{DATA}}", ScriptSafeJson(data)},
                {"{{UPLOT_JS}}", Asset("uPlot.iife.min.js")},
                {"{{REPORT_JS}}", Asset("report.js")}});
    return page;
}

}  // namespace stemstrip::cli
