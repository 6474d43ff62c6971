// --set overrides: "PATH=VALUE" where PATH names one settings field the way
// the JSON spells it, with dots between objects and [i] for array entries
// (bands[0] .. bands[7], channelGroups[0] ..), e.g.
//   bands[2].gainDb=3   compressor.ratio=inf   bands[0].type=HighShelf
//   expander.gate=true  channelGroups=[0,0,1,2,3,3]
// VALUE is JSON (number, true/false, null, array, "string"); anything that is
// not JSON is taken as a string, so enum names need no quotes.
#pragma once

#include <string>
#include <vector>

#include "settings_json.hpp"

namespace stemstrip::cli {

// Applies the overrides in order; throws CliError naming the override and the
// field for a bad path or value.
Settings ApplyOverrides(const Settings& base, const std::vector<std::string>& assignments);

}  // namespace stemstrip::cli
