#include "host_command.hpp"

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

namespace stemstrip::lv2test {
namespace {

std::string Quoted(const std::string& arg) {
    std::string q = "'";
    for (char c : arg) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

}  // namespace

std::string ShellLine(const std::vector<std::string>& argv) {
    std::string line;
    for (const std::string& a : argv) line += (line.empty() ? "" : " ") + Quoted(a);
    return line;
}

CommandResult RunHost(const std::vector<std::string>& argv) {
    // Only the build's bundle: an installed copy must not stand in for it.
    const std::string line = "LV2_PATH=" + Quoted(STEMSTRIP_LV2_DIR) + " " + ShellLine(argv) + " 2>&1";
    FILE* pipe = popen(line.c_str(), "r");
    if (!pipe) return {-1, "cannot start: " + line};
    std::string output;
    char chunk[4096];
    for (size_t got; (got = fread(chunk, 1, sizeof chunk, pipe)) > 0;) output.append(chunk, got);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

}  // namespace stemstrip::lv2test
