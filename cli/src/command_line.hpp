// The command line: subcommands, options and help text, and the one place
// where errors become a message line and an exit status.
#pragma once

namespace stemstrip::cli {

// Exit status: 0 success, 1 an error (one line on stderr), 2 a usage error.
int RunCommandLine(int argc, char** argv);

}  // namespace stemstrip::cli
