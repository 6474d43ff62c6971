// Settings as text, for hosts that cannot build the C++ struct (C, Rust,
// Python): "name=value" assignments separated by ';' or newlines, with the
// field paths of Settings, e.g.
//   "compressor.thresholdDb=-18; compressor.ratio=4; bands[0].enabled=on;
//    bands[0].type=HighShelf; detector.mode=Average; channelGroups=0,0,1"
// Numbers as C reads them ("inf" too); booleans as 1/0, true/false, on/off;
// enums by the enumerator's name, as in presets; channelGroups as a comma list or "default".
#pragma once

#include <string_view>

#include "stemstrip/settings.hpp"

namespace stemstrip::runtime {

// `base` with every assignment applied, or UsageError naming the first bad
// name or value (and nothing applied). Ranges are the designer's to check.
Settings ApplyAssignments(Settings base, std::string_view text);

}  // namespace stemstrip::runtime
