// Module functions: rendering a file with the command line's own file code,
// and the SDK's analysis as arrays for plotting.
#include "audio_arrays.hpp"
#include "bindings.hpp"
#include "conversions.hpp"
#include "render_command.hpp"
#include "stemstrip/analysis.hpp"
#include "stemstrip/design.hpp"

namespace stemstrip::python {
namespace {

using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;

std::string RenderFile(const std::string& source, const std::string& destination,
                       const std::optional<std::string>& preset, const Assignments& assignments,
                       const std::optional<std::string>& key, const std::optional<std::string>& format,
                       const std::optional<std::string>& report) {
    cli::RenderRequest request{.input = source, .output = destination, .preset = preset, .overrides = assignments,
                               .key = key, .format = format, .report = report};
    py::gil_scoped_release released;
    return cli::RunRender(request);
}

std::span<const double> Values(const Doubles& a) { return {a.data(), static_cast<size_t>(a.size())}; }

py::array_t<double> Array(const std::vector<double>& v) { return py::array_t<double>(v.size(), v.data()); }

py::dict EqResponse(const Assignments& assignments, const Doubles& frequencies, double sampleRate,
                    const std::string& format) {
    const Settings s = SettingsFrom({}, {}, assignments);
    const CoefficientSet set = Design(s, FormatNamed(format), sampleRate);
    const std::vector<double> pre = StageMagnitudeDb(set.eq, 0, sampleRate, Values(frequencies));
    const std::vector<double> post = StageMagnitudeDb(set.eq, 1, sampleRate, Values(frequencies));
    std::vector<double> total(pre.size());
    for (size_t i = 0; i < total.size(); ++i) total[i] = pre[i] + post[i];
    py::dict bands;
    for (int b = 0; b < kMaxBands; ++b)
        if (s.bands[b].enabled) bands[py::int_(b)] = Array(BandMagnitudeDb(s.bands[b], sampleRate, Values(frequencies)));
    py::dict d;
    d["bands"] = bands;
    d["pre_dynamics_db"] = Array(pre);
    d["post_dynamics_db"] = Array(post);
    d["total_db"] = Array(total);
    return d;
}

py::dict TransferCurve(const Assignments& assignments, const Doubles& levelsDb, double sampleRate,
                       const std::string& format) {
    const CoefficientSet set = Design(SettingsFrom({}, {}, assignments), FormatNamed(format), sampleRate);
    std::vector<double> comp, exp, total;
    for (const StaticGain& g : StaticGainCurve(set.dyn, Values(levelsDb))) {
        comp.push_back(g.compressorDb);
        exp.push_back(g.expanderDb);
        total.push_back(g.totalDb);
    }
    py::dict d;
    d["compressor_db"] = Array(comp);
    d["expander_db"] = Array(exp);
    d["total_db"] = Array(total);
    return d;
}

}  // namespace

void BindFilesAndPlots(py::module_& m) {
    m.def("_render_file", &RenderFile, py::arg("source"), py::arg("destination"), py::arg("preset"),
          py::arg("assignments"), py::arg("key"), py::arg("format"), py::arg("report"));
    m.def("_eq_response", &EqResponse, py::arg("assignments"), py::arg("frequencies"), py::arg("sample_rate"),
          py::arg("format"));
    m.def("_transfer_curve", &TransferCurve, py::arg("assignments"), py::arg("levels_db"), py::arg("sample_rate"),
          py::arg("format"));
}

}  // namespace stemstrip::python
