// Fuzzes the command line's preset reading: JSON text through the parser,
// the settings reader and the designer's validation, as `--preset FILE`
// does. Every input must end in a settings value or in the one error type
// of its layer (CliError naming the file, SettingsError naming the field);
// any other exception or a crash is a finding. Accepted settings must hold
// every value the document gave, exactly, and survive a round trip through
// JSON unchanged; settings the designer accepts must design into blocks a
// host may hand to the core.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "settings_json.hpp"
#include "cli_error.hpp"
#include "finding.h"
#include "stemstrip/design.hpp"

namespace {

namespace cli = stemstrip::cli;

const std::string kOrigin = "fuzz.json";

// Every value the user wrote is the value the settings hold: `given` (the
// document) must be contained in `held` (the settings written back), with
// numbers equal by value and "+inf" spelled "inf".
bool Holds(const cli::Json& given, const cli::Json& held) {
    if (given.is_object()) {
        for (const auto& [key, value] : given.items())
            if (key != "description" && !(held.contains(key) && Holds(value, held[key]))) return false;
        return true;
    }
    if (given.is_array()) {
        if (!held.is_array() || held.size() < given.size()) return false;
        for (size_t i = 0; i < given.size(); ++i)
            if (!Holds(given[i], held[i])) return false;
        return true;
    }
    return given == "+inf" ? held == "inf" : given == held;
}

// What the host hands to the core must be usable as it is: finite numbers,
// stage ranges within the section count, groups within the format's slots.
void ExpectHostValid(const stemstrip::CoefficientSet& set, stemstrip::Format f) {
    const Dyn_SCoefsBlock& d = set.dyn;
    float words[sizeof d / 4];
    std::memcpy(words, &d, sizeof d);
    for (int w = 0; w < static_cast<int>(sizeof d / 4); ++w)  // all but the integer words
        if (!(w == 11 || w == 24 || (w >= 36 && w <= 46) || w == 48) && !std::isfinite(words[w]))
            Finding("dynamics coefficient word " + std::to_string(w) + " is not finite");
    if (!std::isfinite(set.dezipRate)) Finding("the dezip rate is not finite");
    if (!std::all_of(std::begin(set.eq.coefs), std::end(set.eq.coefs), [](float v) { return std::isfinite(v); }))
        Finding("an EQ coefficient is not finite");
    for (int s = 0; s < 2; ++s)
        if (set.eq.sectionBegin[s] < 0 || set.eq.sectionEnd[s] > EQ_kMaxSections || set.eq.sectionBegin[s] > set.eq.sectionEnd[s])
            Finding("EQ stage range outside 0..8");
    for (int c = 0; c < stemstrip::ChannelCount(f); ++c)
        if (d.channelGroup[c] < 0 || d.channelGroup[c] >= stemstrip::GroupSlots(f)) Finding("channel group outside the format's slots");
    if (d.holdSamples < 0) Finding("negative hold");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    cli::Json doc;
    stemstrip::Settings settings;
    try {
        doc = cli::ParseJsonText(text, kOrigin);
        settings = cli::SettingsFromJson(doc, kOrigin);
    } catch (const cli::CliError& e) {  // names the file and says what is wrong
        if (const std::string m = e.what(); m.rfind(kOrigin + ": ", 0) != 0 || m.size() <= kOrigin.size() + 4)
            Finding("error message does not name the file and say what is wrong: " + m);
        return 0;
    }

    const cli::Json held = cli::SettingsToJson(settings);
    if (!Holds(doc, held)) Finding("accepted, but the settings do not hold what was written:\n" + held.dump());
    const std::string written = held.dump();
    const std::string rewritten = cli::SettingsToJson(cli::SettingsFromJson(cli::ParseJsonText(written, kOrigin), kOrigin)).dump();
    if (written != rewritten) Finding("settings changed on a round trip through JSON:\n" + written + "\n" + rewritten);

    // Format and rate from the input's length: every input picks one pair.
    constexpr std::array<double, 5> kRates = {8000.0, 44100.0, 48000.0, 96000.0, 768000.0};
    const auto format = static_cast<stemstrip::Format>(size % stemstrip::kFormatCount);
    const double rate = kRates[size / stemstrip::kFormatCount % kRates.size()];
    try {
        stemstrip::Validate(settings, format, rate);
    } catch (const stemstrip::SettingsError& e) {
        if (std::string(e.what()).find(" = ") == std::string::npos) Finding("unclear settings error: " + std::string(e.what()));
        return 0;
    }
    ExpectHostValid(stemstrip::Design(settings, format, rate), format);
    return 0;
}
