#include "stemstrip/settings_assignments.hpp"

#include <charconv>
#include <cmath>
#include <string>
#include <type_traits>
#include <vector>

#include "argument_checks.hpp"
#include "stemstrip/settings_fields.hpp"

namespace stemstrip {
namespace {

using runtime::ThrowUsage;

constexpr int kGroupEntries = 8;  // one slot a channel

std::string_view Trim(std::string_view s) {
    const auto first = s.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t\r\n") - first + 1);
}

template <class Names>
std::string List(const Names& names) {
    std::string list;
    for (std::string_view name : names) list += (list.empty() ? "" : ", ") + std::string(name);
    return list;
}

// The value parsers name the path and the value they refuse.

// from_chars, not strtod: the host's locale must not turn "2.5" into an error.
double ParseNumber(std::string_view path, std::string_view value) {
    const bool plus = value.starts_with('+');  // from_chars takes no '+'
    const std::string_view text = plus ? value.substr(1) : value;
    double v = 0.0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (text.empty() || (plus && text[0] == '-') || ec != std::errc() || end != text.data() + text.size() || std::isnan(v))
        ThrowUsage(path, " = '", value, "' is not a number: expected a decimal number such as -18 or 2.5, or inf");
    return v;
}

int ParseInteger(std::string_view path, std::string_view value) {
    int v = 0;
    const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), v);
    if (value.empty() || ec != std::errc() || end != value.data() + value.size())
        ThrowUsage(path, " = '", value, "' is not an integer");
    return v;
}

bool ParseBool(std::string_view path, std::string_view value) {
    if (value == "true" || value == "1" || value == "on") return true;
    if (value == "false" || value == "0" || value == "off") return false;
    ThrowUsage(path, " = '", value, "' is not a boolean: expected true or false (or 1/0, on/off)");
}

template <class Enum>
Enum ParseEnum(std::string_view path, std::string_view value) {
    const auto& names = EnumNames<Enum>::names;
    for (size_t index = 0; index < names.size(); ++index)
        if (value == names[index]) return static_cast<Enum>(index);
    ThrowUsage(path, " = '", value, "' is unknown: valid are ", List(names));
}

// "0,0,1" or "[0,0,1]": the group slot of each channel; "default" or "null":
// the format's default.
std::optional<std::array<int, 8>> ParseGroups(std::string_view path, std::string_view value) {
    if (value == "default" || value == "null") return std::nullopt;
    std::string_view list = value;
    if (list.starts_with('[') && list.ends_with(']')) list = Trim(list.substr(1, list.size() - 2));
    if (list.empty()) ThrowUsage(path, " = '", value, "' is empty: expected 1 to 8 group slots such as 0,0,1, or default");
    std::array<int, kGroupEntries> groups{};
    for (int count = 0;; ++count) {
        if (count == kGroupEntries) ThrowUsage(path, " = '", value, "' has more than 8 entries (one per channel)");
        const auto comma = list.find(',');
        groups[count] = ParseInteger(std::string(path) + "[" + std::to_string(count) + "]", Trim(list.substr(0, comma)));
        if (comma == std::string_view::npos) return groups;
        list = list.substr(comma + 1);
    }
}

// A visitor of settings_fields.hpp that walks the fields of one struct and
// assigns `value` to the one `rest` (what is left of `path` below `where`)
// names; Finish() throws if none did.
class Assigner {
public:
    Assigner(std::string_view path, std::string where, std::string_view rest, std::string_view value)
        : path_(path), where_(std::move(where)), rest_(rest), value_(value) {}

    void operator()(const char* name, double& field) {
        if (Names(name)) field = ParseNumber(path_, value_);
    }
    void operator()(const char* name, bool& field) {
        if (Names(name)) field = ParseBool(path_, value_);
    }
    template <class E>
        requires std::is_enum_v<E>
    void operator()(const char* name, E& field) {
        if (Names(name)) field = ParseEnum<E>(path_, value_);
    }
    void operator()(const char* name, std::optional<std::array<int, 8>>& groups) {
        if (Names(name)) {
            groups = ParseGroups(path_, value_);
        } else if (Indexes(name)) {
            const int index = ParseIndex(name, kGroupEntries);
            if (!rest_.empty()) ThrowUsage("unknown setting '", path_, "': a group slot has no fields");
            if (!groups) ThrowUsage(path_, ": ", name, " is not set; assign the whole list first, e.g. ", name, "=0,0,1,1");
            (*groups)[index] = ParseInteger(path_, value_);
            done_ = true;
        }
    }
    void operator()(const char* name, std::array<EqBand, kMaxBands>& bands) {
        known_.push_back(std::string(name) + "[0.." + std::to_string(kMaxBands - 1) + "].<field>");
        if (!Indexes(name)) return;
        const int index = ParseIndex(name, kMaxBands);
        Nested(std::string(name) + "[" + std::to_string(index) + "]", [&](Assigner& inner) { VisitBand(bands[index], inner); });
    }
    template <class F>
    void Object(const char* name, F&& fill) {
        known_.push_back(std::string(name) + ".<field>");
        const std::string_view n(name);
        if (!rest_.starts_with(n) || rest_.substr(n.size(), 1) != ".") return;
        rest_.remove_prefix(n.size());
        Nested(Join(name), fill);
    }

    void Finish() const {
        if (!done_)
            ThrowUsage("unknown setting '", path_, "': valid", where_.empty() ? "" : " in " + where_, " are ", List(known_));
    }

private:
    // Whether `name` is the field `rest_` names (and the one to assign).
    bool Names(const char* name) {
        known_.emplace_back(name);
        done_ = done_ || rest_ == name;
        return rest_ == name;
    }
    // Whether `rest_` names an entry of the array `name`.
    bool Indexes(std::string_view name) const { return rest_.starts_with(name) && rest_.substr(name.size(), 1) == "["; }

    // The index of "name[i]..." in 0..count-1; leaves rest_ after the ']'.
    int ParseIndex(std::string_view name, int count) {
        const size_t close = rest_.find(']');
        const std::string_view digits = rest_.substr(name.size() + 1, close - name.size() - 1);
        int index = 0;
        const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
        if (close == std::string_view::npos || digits.empty() || digits[0] == '-' || ec != std::errc() ||
            end != digits.data() + digits.size())
            ThrowUsage("bad index in '", path_, "': expected ", Join(name), "[0] .. ", Join(name), "[", count - 1, "]");
        if (index >= count) ThrowUsage(path_, ": index ", index, " is out of range: 0..", count - 1);
        rest_.remove_prefix(close + 1);
        return index;
    }

    // Hands what follows "." in rest_ to the fields of a nested struct.
    template <class F>
    void Nested(std::string where, F&& fill) {
        Assigner inner(path_, std::move(where), rest_.starts_with('.') ? rest_.substr(1) : std::string_view{}, value_);
        fill(inner);
        inner.Finish();
        done_ = true;
    }

    std::string Join(std::string_view name) const { return where_.empty() ? std::string(name) : where_ + "." + std::string(name); }

    std::string_view path_;
    std::string where_;
    std::string_view rest_;
    std::string_view value_;
    std::vector<std::string> known_;
    bool done_ = false;
};

}  // namespace

Settings ApplyAssignment(Settings base, std::string_view assignment) {
    const auto equals = assignment.find('=');
    const std::string_view path = Trim(assignment.substr(0, equals));
    if (equals == std::string_view::npos || path.empty())
        ThrowUsage("'", Trim(assignment), "' is not an assignment: expected PATH=VALUE, e.g. compressor.ratio=4");
    std::string_view value = Trim(assignment.substr(equals + 1));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    Assigner top(path, "", path, value);
    VisitSettings(base, top);
    top.Finish();
    return base;
}

Settings ApplyAssignments(Settings base, std::string_view text) {
    while (!text.empty()) {
        const auto end = text.find_first_of(";\n");
        const std::string_view assignment = Trim(text.substr(0, end));
        if (!assignment.empty()) base = ApplyAssignment(base, assignment);
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    }
    return base;
}

}  // namespace stemstrip
