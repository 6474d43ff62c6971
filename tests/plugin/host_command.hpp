// Runs a host program (lv2apply, lv2file, lv2info) with the build's bundle
// on LV2_PATH, capturing what it prints.
#pragma once

#include <string>
#include <vector>

namespace stemstrip::lv2test {

struct CommandResult {
    int exitCode;
    std::string output;  // stdout and stderr together
};

CommandResult RunHost(const std::vector<std::string>& argv);

// The command line as a shell would take it, for failure messages.
std::string ShellLine(const std::vector<std::string>& argv);

}  // namespace stemstrip::lv2test
