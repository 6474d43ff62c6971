#include "value_text.hpp"

#include <cmath>
#include <cstdio>
#include <string_view>

namespace stemstrip::lv2 {
namespace {

std::string Printed(const char* format, double v) {
    char text[48];
    std::snprintf(text, sizeof text, format, v);
    return text;
}

}  // namespace

std::string ShortName(const ControlPort& port) {
    static constexpr std::pair<std::string_view, std::string_view> kShorter[] = {
        {"Compressor ", "Comp "}, {"Expander ", "Exp "},  {"Side-chain filter", "SC filter"},
        {"maximum ", "max "},     {"detector group", "group"}, {"Average detector time", "Average time"},
        {"Peak detector decay", "Peak decay"}, {"Input meter trim", "Meter trim"}};
    std::string name = port.name;
    for (auto [from, to] : kShorter)
        if (const size_t at = name.find(from); at != std::string::npos) name.replace(at, from.size(), to);
    return name;
}

std::string ValueText(const ControlPort& port, float value) {
    for (const ScalePoint& sp : port.scalePoints)
        if (sp.value == value) return std::string(sp.label);
    if (port.hint == Hint::Toggle) return value > 0 ? "on" : "off";
    switch (port.unit) {
        case Unit::Hz: return value >= 1000 ? Printed("%.2f kHz", value / 1000) : Printed("%.0f Hz", value);
        case Unit::Db: return Printed("%+.1f dB", value);
        case Unit::Ms: return Printed(value < 10 ? "%.2f ms" : "%.0f ms", value);
        case Unit::None: break;
    }
    if (port.hint == Hint::Enumeration) return Printed("%.0f", value);
    if (port.symbol.find("ratio") != std::string::npos) return Printed("%.1f:1", value);
    return Printed("%.2f", value);
}

}  // namespace stemstrip::lv2
