#include "settings_json.hpp"

#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <string_view>

#include "cli_error.hpp"
#include "stemstrip/settings_fields.hpp"

namespace stemstrip::cli {
namespace {

class Writer {
public:
    explicit Writer(Json& out) : out_(out) {}
    void operator()(const char* name, bool value) { out_[name] = value; }
    void operator()(const char* name, double value) {
        if (std::isinf(value)) out_[name] = value > 0 ? "inf" : "-inf";
        else out_[name] = value;
    }
    template <class E>
        requires std::is_enum_v<E>
    void operator()(const char* name, E value) {
        out_[name] = EnumNames<E>::names[static_cast<size_t>(value)];
    }
    void operator()(const char* name, const std::optional<std::array<int, 8>>& groups) {
        out_[name] = groups ? Json(*groups) : Json(nullptr);
    }
    void operator()(const char* name, const std::array<EqBand, kMaxBands>& bands) {
        Json& array = out_[name] = Json::array();
        for (const EqBand& b : bands) {
            Json one = Json::object();
            Writer w(one);
            VisitBand(b, w);
            array.push_back(std::move(one));
        }
    }
    template <class F>
    void Object(const char* name, F&& fill) {
        Json inner = Json::object();
        Writer w(inner);
        fill(w);
        out_[name] = std::move(inner);
    }

private:
    Json& out_;
};

std::string Describe(const Json& j) {
    std::string text = j.dump();
    return text.size() > 40 ? text.substr(0, 37) + "..." : text;
}

class Reader {
public:
    Reader(const Json& in, std::string path, const std::string& origin) : in_(in), path_(std::move(path)), origin_(origin) {}

    // Fields of `in_` that no visitor asked for are unknown.
    void RejectUnknown(std::initializer_list<std::string_view> extra = {}) const {
        for (const auto& [key, value] : in_.items()) {
            bool known = std::find(seen_.begin(), seen_.end(), key) != seen_.end() ||
                         std::find(extra.begin(), extra.end(), key) != extra.end();
            if (!known) {
                std::string valid;
                for (const std::string& s : seen_) valid += (valid.empty() ? "" : ", ") + s;
                Fail(Join(key), "unknown field (valid here: " + valid + ")");
            }
        }
    }

    void operator()(const char* name, bool& value) {
        if (const Json* j = Field(name)) {
            if (!j->is_boolean()) Fail(Join(name), "expected true or false, got " + Describe(*j));
            value = j->get<bool>();
        }
    }
    void operator()(const char* name, double& value) {
        if (const Json* j = Field(name)) value = Number(*j, Join(name));
    }
    template <class E>
        requires std::is_enum_v<E>
    void operator()(const char* name, E& value) {
        const Json* j = Field(name);
        if (j == nullptr) return;
        const auto& names = EnumNames<E>::names;
        if (j->is_string()) {
            const auto it = std::find(names.begin(), names.end(), j->get<std::string>());
            if (it != names.end()) {
                value = static_cast<E>(it - names.begin());
                return;
            }
        }
        std::string valid;
        for (std::string_view n : names) valid += (valid.empty() ? "" : ", ") + std::string(n);
        Fail(Join(name), "expected one of " + valid + ", got " + Describe(*j));
    }
    void operator()(const char* name, std::optional<std::array<int, 8>>& groups) {
        const Json* j = Field(name);
        if (j == nullptr || j->is_null()) return;
        const std::string path = Join(name);
        if (!j->is_array() || j->empty() || j->size() > 8)
            Fail(path, "expected null or an array of 1 to 8 group slots (one per channel), got " + Describe(*j));
        std::array<int, 8> slots{};
        for (size_t i = 0; i < j->size(); ++i) {
            const Json& e = (*j)[i];
            // The range check against the format's slots comes later; here the
            // value only has to survive the conversion to int unchanged.
            const bool fits = e.is_number_unsigned() ? e.get<uint64_t>() <= uint64_t{INT_MAX}
                                                     : e.is_number_integer() && e.get<int64_t>() >= INT_MIN &&
                                                           e.get<int64_t>() <= INT_MAX;
            if (!fits) Fail(path + "[" + std::to_string(i) + "]", "expected a group slot (an integer), got " + Describe(e));
            slots[i] = e.get<int>();
        }
        groups = slots;
    }
    void operator()(const char* name, std::array<EqBand, kMaxBands>& bands) {
        const Json* j = Field(name);
        if (j == nullptr) return;
        const std::string path = Join(name);
        if (!j->is_array() || j->size() > kMaxBands)
            Fail(path, "expected an array of up to " + std::to_string(kMaxBands) + " bands, got " + Describe(*j));
        for (size_t i = 0; i < j->size(); ++i) {
            const std::string bandPath = path + "[" + std::to_string(i) + "]";
            const Json& band = (*j)[i];
            if (!band.is_object()) Fail(bandPath, "expected an object, got " + Describe(band));
            Reader r(band, bandPath, origin_);
            VisitBand(bands[i], r);
            r.RejectUnknown();
        }
    }
    template <class F>
    void Object(const char* name, F&& read) {
        const Json* j = Field(name);
        if (j == nullptr) return;
        if (!j->is_object()) Fail(Join(name), "expected an object, got " + Describe(*j));
        Reader r(*j, Join(name), origin_);
        read(r);
        r.RejectUnknown();
    }

private:
    const Json* Field(const char* name) {
        seen_.emplace_back(name);
        const auto it = in_.find(name);
        return it == in_.end() ? nullptr : &*it;
    }
    std::string Join(std::string_view name) const {
        return path_.empty() ? std::string(name) : path_ + "." + std::string(name);
    }
    double Number(const Json& j, const std::string& path) const {
        if (j.is_number()) return j.get<double>();
        if (j.is_string()) {
            const std::string s = j.get<std::string>();
            if (s == "inf" || s == "+inf") return std::numeric_limits<double>::infinity();
            if (s == "-inf") return -std::numeric_limits<double>::infinity();
        }
        Fail(path, "expected a number (or \"inf\"), got " + Describe(j));
    }
    [[noreturn]] void Fail(const std::string& path, const std::string& what) const {
        throw CliError(origin_ + ": " + path + ": " + what);
    }

    const Json& in_;
    std::string path_;
    const std::string& origin_;
    std::vector<std::string> seen_;
};

}  // namespace

Json SettingsToJson(const Settings& settings) {
    Json doc = Json::object();
    Writer w(doc);
    VisitSettings(settings, w);
    return doc;
}

Settings SettingsFromJson(const Json& doc, const std::string& origin) {
    if (!doc.is_object()) throw CliError(origin + ": expected a JSON object of settings, got " + Describe(doc));
    if (doc.contains("description") && !doc["description"].is_string())
        throw CliError(origin + ": description: expected a string, got " + Describe(doc["description"]));
    Settings s;
    Reader r(doc, "", origin);
    VisitSettings(s, r);
    r.RejectUnknown({"description"});
    return s;
}

Json ParseJsonText(const std::string& text, const std::string& origin) {
    // Settings nest three levels deep; a document nested thousands deep
    // would exhaust the stack in whatever walks it afterwards.
    constexpr int kMaxDepth = 32;
    auto limitDepth = [&](int depth, Json::parse_event_t event, Json&) {
        if (depth > kMaxDepth && (event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start))
            throw CliError(origin + ": nested more than " + std::to_string(kMaxDepth) +
                           " levels deep; settings need at most 3");
        return true;
    };
    try {
        return Json::parse(text, limitDepth);
    } catch (const Json::exception& e) {  // syntax errors, and numbers too large for a double
        throw CliError(origin + ": not valid JSON (" + e.what() + ")");
    }
}

}  // namespace stemstrip::cli
