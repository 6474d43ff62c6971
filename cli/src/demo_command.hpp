// `stemstrip demo [DIR]`: synthesises the built-in programme, renders it
// through built-in presets and leaves inputs, outputs and reports in DIR.
#pragma once

#include <string>

namespace stemstrip::cli {

// Returns the summaries of every render, for printing.
std::string RunDemo(const std::string& directory, bool stderrIsTerminal);

}  // namespace stemstrip::cli
