// Settings as text, the one parser behind the C API's stemstrip_sdk_set and
// the command line's --set: "PATH=VALUE", where PATH names one field of
// Settings as presets spell it (settings_fields.hpp), with dots between
// structs and [i] for array entries, e.g.
//   compressor.thresholdDb=-18   compressor.ratio=inf   bands[0].enabled=on
//   bands[0].type=HighShelf      detector.mode=Average  channelGroups=0,0,1
// VALUE, with spaces around it ignored and one pair of double quotes dropped:
//   numbers   decimal, locale-independent: -18, 2.5, 1e3, inf, -inf (no nan)
//   booleans  true/false, 1/0 or on/off
//   enums     the enumerator's name from EnumNames (HighShelf, PostDynamics...)
//   channelGroups  1 to 8 integer group slots, "0,0,1" or "[0,0,1]", or
//                  default/null for the format's default; channelGroups[i]
//                  changes one slot of a list already set
// Errors throw UsageError naming the path and the value with what would have
// been accepted. Value ranges are the designer's to check (Validate).
#pragma once

#include <string_view>

#include "stemstrip/settings.hpp"
#include "stemstrip/usage_error.hpp"

namespace stemstrip {

// `base` with one "PATH=VALUE" assignment applied.
Settings ApplyAssignment(Settings base, std::string_view assignment);

// `base` with every assignment of `text` applied in order; assignments are
// separated by ';' or newlines, empty ones are skipped. Throws for the first
// bad one (the caller's settings are untouched either way).
Settings ApplyAssignments(Settings base, std::string_view text);

}  // namespace stemstrip
