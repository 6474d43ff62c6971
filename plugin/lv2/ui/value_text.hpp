// Control names and values as the panel shows them: short names, values in
// their units, enumerations by their labels.
#pragma once

#include <string>

#include "control_ports.hpp"

namespace stemstrip::lv2 {

std::string ShortName(const ControlPort& port);
std::string ValueText(const ControlPort& port, float value);

}  // namespace stemstrip::lv2
