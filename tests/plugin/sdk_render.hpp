// The reference: the same audio through stemstrip::Instance, in WAV channel
// order in and out, fed `chunk` frames per process() call.
#pragma once

#include "plugin_cases.hpp"
#include "stemstrip/instance.hpp"
#include "wav_file.hpp"

namespace stemstrip::lv2test {

// `keyChannel` >= 0: that file channel is the side-chain key and is not
// part of the programme (the output then has one channel fewer).
Audio RenderWithSdk(const PluginCase& plugin, const Settings& settings, const Audio& in, InstanceOptions options,
                    int chunk, int keyChannel = -1);

}  // namespace stemstrip::lv2test
