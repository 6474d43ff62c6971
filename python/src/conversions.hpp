// Values crossing between Python and the SDK: stem formats by name, settings
// from a preset plus "PATH=VALUE" assignments (the SDK's one parser), and
// settings and meters back as plain Python objects.
#pragma once

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <optional>
#include <string>
#include <vector>

#include "stemstrip/meters.hpp"
#include "stemstrip/settings.hpp"

namespace stemstrip::python {

namespace py = pybind11;

using Assignments = std::vector<std::string>;

Format FormatNamed(const std::string& name);

// `base`, or the preset (a built-in name or a JSON file) when one is given,
// with every assignment applied in order.
Settings SettingsFrom(const Settings& base, const std::optional<std::string>& preset, const Assignments& assignments);

// Nested dicts exactly as a preset file spells the settings.
py::object SettingsDict(const Settings& settings);

py::dict MetersDict(const MeterSnapshot& meters);

}  // namespace stemstrip::python
