// The bundle's plugins: every stem format in two variants, plain (the
// programme only) and side-chain (a key input after the programme), and how
// each format's audio ports line up with the strip's channels. Ports follow
// WAV channel order (ascending speaker-mask bit), because simple file hosts
// feed file channel i to audio port i; each port carries its speaker
// designation.
#pragma once

#include <span>
#include <string>
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
    std::string_view groupClass;        // port-groups class of the main input and output
    std::span<const Speaker> ports;     // speakers in port order
    std::span<const int> stripChannel;  // strip channel fed by each port
};

struct Plugin {
    const PluginFormat& format;
    bool sideChain;
};

inline constexpr std::string_view kUriBase = "urn:stemstrip:lv2:";

std::span<const PluginFormat> PluginFormats();
// Side-chain variants first, in format order, then the plain ones.
std::span<const Plugin> Plugins();

// Side-chain: urn:stemstrip:lv2:FORMAT (the URIs the first plugins had);
// plain: urn:stemstrip:lv2:plain:FORMAT. FORMAT as FormatName spells it.
std::string PluginUri(const Plugin& p);
std::string PluginName(const Plugin& p);  // "stemstrip 5.1 side-chain"

}  // namespace stemstrip::lv2
