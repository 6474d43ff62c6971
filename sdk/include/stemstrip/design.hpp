// The designer: musical settings in, the core's finished coefficient blocks
// out. Pure functions of (settings, format, sample rate); call them off the
// audio thread and hand the result to the instance.
#pragma once

#include <array>
#include <stdexcept>

#include "stemstrip.h"
#include "stemstrip/settings.hpp"

namespace stemstrip {

struct CoefficientSet {
    EQ_SCoefs eq;            // enabled pre bands in sections [0, p), post bands in [p, p + q)
    Dyn_SCoefsBlock dyn;
    float dezipRate;         // for Dyn_SState[0].dezipRate: glide factor per 4-sample step
};

// One message per error: the parameter's path, the bad value and the valid range,
// e.g. "bands[2].frequencyHz = 30000 is out of range; valid: (0, 24000)".
class SettingsError : public std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

// Every field in use is checked, and so are the format and the sample rate
// (8 kHz to 768 kHz). A disabled band (and the side-chain filter when it is
// Off) is never checked: a preset keeps its unused bands at any rate. An
// enabled band's frequency must lie in (0, sampleRate / 2). Throws
// SettingsError on the first bad value, naming it and the valid range.
void Validate(const Settings& s, Format f, double sampleRate);

// The highest frequency a band or the side-chain filter may have at this
// rate. Hosts that cannot refuse a value (the LV2 plugin) clamp to it.
float HighestFrequencyHz(double sampleRate);

// Validates, then designs. Time constants are converted for the core's
// recursions: a smoothing time tau is the time to cover 63 % (1 - 1/e) of a
// step, and a time of zero gives an instant (factor 1) response.
CoefficientSet Design(const Settings& s, Format f, double sampleRate);

// Detector linking of each channel when Settings::channelGroups is empty.
// Channel order is the strip's own (WAV order, but side surrounds before
// backs; a host maps its speakers onto it):
//   mono M; stereo L R; lcr L R C; quad L R Ls Rs; lcrs L R C S;
//   5.0 L R C Ls Rs; 5.1 L R C LFE Ls Rs; 6.0 L R C Ls Rs Cs;
//   6.1 L R C LFE Ls Rs Cs; 7.0 L R C Ls Rs Lb Rb; 7.1 L R C LFE Ls Rs Lb Rb.
// Each pair shares a group; C, LFE, S and Cs have one each. Every format's
// layout fits its group slots this way. Entries past the channel count are 0.
std::array<int, 8> DefaultChannelGroups(Format f);

}  // namespace stemstrip
