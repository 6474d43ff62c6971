// The stem formats the bundle offers as plugins, and how each one's audio
// ports line up with the strip's channels. Ports follow WAV channel order
// (ascending speaker-mask bit), because simple file hosts feed file channel
// i to audio port i; each port carries its speaker designation.
#pragma once

#include <span>
#include <string_view>

#include "stemstrip/settings.hpp"

namespace stemstrip::lv2 {

struct Speaker {
    std::string_view symbol;       // port symbol suffix ("" for the lone mono channel)
    std::string_view label;        // "Left", "LFE", ...
    std::string_view designation;  // local name in the LV2 port-groups vocabulary
};

struct PluginFormat {
    Format format;
    std::string_view uriSuffix;   // the plugin's URI is kUriBase + uriSuffix
    std::string_view name;        // "stemstrip 5.1"
    std::string_view groupClass;  // port-groups class of the main input and output
    std::span<const Speaker> ports;       // speakers in port order
    std::span<const int> stripChannel;    // strip channel fed by each port
};

inline constexpr std::string_view kUriBase = "urn:stemstrip:lv2:";

std::span<const PluginFormat> PluginFormats();

}  // namespace stemstrip::lv2
