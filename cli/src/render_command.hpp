// `stemstrip render`: one input file through the strip to one output file,
// optionally with a side-chain key and an HTML report; prints the summary.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace stemstrip::cli {

struct RenderRequest {
    std::string input;
    std::string output;
    std::optional<std::string> preset;      // file or built-in name
    std::vector<std::string> overrides;     // --set PATH=VALUE, in order
    std::optional<std::string> key;
    std::optional<std::string> format;      // overrides detection
    int blockSize = 512;
    std::optional<std::string> report;
    bool keepFormat = false;
    bool flushDenormals = false;
    bool stderrIsTerminal = false;
};

// Returns the summary text. Throws CliError; then neither the output nor the
// report exists.
std::string RunRender(const RenderRequest& request);

}  // namespace stemstrip::cli
