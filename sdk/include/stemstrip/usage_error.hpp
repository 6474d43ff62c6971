// The runtime's own error for a bad argument (format, sample rate, buffers,
// sample count, missing key...). Bad settings are reported by the designer's
// SettingsError instead. Every message names the parameter, the value given
// and the range that would have been accepted.
#pragma once

#include <stdexcept>

namespace stemstrip {

class UsageError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

}  // namespace stemstrip
