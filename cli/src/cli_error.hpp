// The one error type of the command line: its message is the whole line the
// user sees (naming the file, field or value at fault), and the program exits
// non-zero with it.
#pragma once

#include <stdexcept>

namespace stemstrip::cli {

class CliError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace stemstrip::cli
