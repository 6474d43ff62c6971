#include "conversions.hpp"

#include "argument_checks.hpp"
#include "presets.hpp"
#include "settings_json.hpp"
#include "stemstrip/settings_assignments.hpp"

namespace stemstrip::python {

Format FormatNamed(const std::string& name) { return runtime::FormatFromName(name.c_str()); }

Settings SettingsFrom(const Settings& base, const std::optional<std::string>& preset, const Assignments& assignments) {
    Settings s = preset ? cli::LoadPreset(*preset) : base;
    for (const std::string& assignment : assignments) s = ApplyAssignment(s, assignment);
    return s;
}

py::object SettingsDict(const Settings& settings) {
    return py::module_::import("json").attr("loads")(cli::SettingsToJson(settings).dump());
}

py::dict MetersDict(const MeterSnapshot& m) {
    py::list in, out, gain, nonFinite;
    for (int c = 0; c < m.channels; ++c) {
        in.append(m.inputPeakDb[c]);
        out.append(m.outputPeakDb[c]);
        gain.append(m.channelGainDb[c]);
        nonFinite.append(m.nonFiniteSamples[c]);
    }
    py::dict d;
    d["input_peak_db"] = in;
    d["output_peak_db"] = out;
    d["channel_gain_db"] = gain;
    d["comp_reduction_db"] = m.compReductionDb;
    d["exp_reduction_db"] = m.expReductionDb;
    d["samples"] = m.samples;
    // NaN and infinite samples were processed as 0: per channel, in the key,
    // and the input index of the first (-1: none).
    d["non_finite_samples"] = nonFinite;
    d["non_finite_key_samples"] = m.nonFiniteKeySamples;
    d["first_non_finite_sample"] = m.firstNonFiniteSample;
    d["state_resets"] = m.stateResets;
    d["missing_key_calls"] = m.missingKeyCalls;
    return d;
}

}  // namespace stemstrip::python
