// The three constant tables behind the dB conversions: log2 of the mantissa
// (513 entries so interpolation at 511 can read 512 unguarded), and 2^x split
// into a coarse table and a centred fine table that subdivides one coarse step.
#pragma once

namespace stemstrip {
#include "lookup_tables.inc"
}  // namespace stemstrip
