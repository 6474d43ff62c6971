#include "settings_override.hpp"

#include <cctype>
#include <charconv>

#include "cli_error.hpp"

namespace stemstrip::cli {
namespace {

// The JSON node PATH names inside `doc`; it must already exist (every field
// does, because `doc` is a complete SettingsToJson document).
Json& Locate(Json& doc, std::string_view path, const std::string& origin) {
    Json* node = &doc;
    std::string walked;
    size_t i = 0;
    auto fail = [&](const std::string& what) -> Json& { throw CliError(origin + ": " + what); };
    while (i < path.size()) {
        if (path[i] == '[') {
            const size_t close = path.find(']', i);
            size_t index = 0;
            const char* first = path.data() + i + 1;
            const char* last = path.data() + (close == std::string_view::npos ? path.size() : close);
            const auto [end, ec] = std::from_chars(first, last, index);
            if (close == std::string_view::npos || ec != std::errc() || end != last || first == last)
                return fail("bad index in '" + std::string(path) + "' (write name[0], name[1], ...)");
            if (!node->is_array())
                return fail(walked + (node->is_null() ? " is not set; assign the whole array, e.g. " + walked + "=[...]"
                                                      : " is not an array"));
            if (index >= node->size())
                return fail(walked + "[" + std::to_string(index) + "]: index out of range 0.." +
                            std::to_string(node->size() - 1));
            walked += "[" + std::to_string(index) + "]";
            node = &(*node)[index];
            i = close + 1;
            continue;
        }
        if (path[i] == '.') {
            if (walked.empty()) return fail("bad path '" + std::string(path) + "'");
            ++i;
        }
        size_t end = i;
        while (end < path.size() && (std::isalnum(static_cast<unsigned char>(path[end])) || path[end] == '_')) ++end;
        const std::string name(path.substr(i, end - i));
        if (name.empty()) return fail("bad path '" + std::string(path) + "' (write e.g. bands[2].gainDb)");
        const std::string field = walked.empty() ? name : walked + "." + name;
        if (!node->is_object() || !node->contains(name)) return fail(field + ": no such settings field");
        walked = field;
        node = &(*node)[name];
        i = end;
    }
    if (walked.empty()) return fail("empty path");
    return *node;
}

Json ParseValue(const std::string& text) {
    Json value = Json::parse(text, nullptr, /*allow_exceptions=*/false);
    return value.is_discarded() ? Json(text) : value;
}

}  // namespace

Settings ApplyOverrides(const Settings& base, const std::vector<std::string>& assignments) {
    Json doc = SettingsToJson(base);
    Settings result = base;
    for (const std::string& assignment : assignments) {
        const std::string origin = "--set " + assignment;
        const size_t eq = assignment.find('=');
        if (eq == std::string::npos) throw CliError(origin + ": expected PATH=VALUE, e.g. bands[2].gainDb=3");
        Locate(doc, std::string_view(assignment).substr(0, eq), origin) = ParseValue(assignment.substr(eq + 1));
        result = SettingsFromJson(doc, origin);
    }
    return result;
}

}  // namespace stemstrip::cli
