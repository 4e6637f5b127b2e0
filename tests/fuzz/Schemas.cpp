#include "tests/fuzz/Schemas.h"

#include "tests/fuzz/Require.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include <regex.h>

namespace quenbrook::fuzz {
namespace {

using nlohmann::json;

constexpr std::ptrdiff_t mostItems = 20;

bool isOfType(const json& value, const std::string& type) {
    if (type == "object") {
        return value.is_object();
    }
    if (type == "array") {
        return value.is_array();
    }
    if (type == "string") {
        return value.is_string();
    }
    if (type == "boolean") {
        return value.is_boolean();
    }
    if (type == "integer") {
        return value.is_number_integer();
    }
    require(type == "number");
    return value.is_number();
}

// Of the C library: it is not instrumented, and takes a tenth of the time of std::regex.
class Pattern {
  public:
    explicit Pattern(const std::string& text) {
        require(::regcomp(&compiled_, text.c_str(), REG_EXTENDED | REG_NOSUB) == 0);
    }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;
    ~Pattern() { ::regfree(&compiled_); }

    bool matches(const std::string& text) const {
        return ::regexec(&compiled_, text.c_str(), 0, nullptr, 0) == 0;
    }

  private:
    regex_t compiled_{};
};

bool matches(const std::string& pattern, const std::string& text) {
    static std::map<std::string, Pattern> known;
    return known.try_emplace(pattern, pattern).first->second.matches(text);
}

bool hasNoOthers(const json& value, const json& properties) {
    const auto& items = value.items();
    return std::all_of(items.begin(), items.end(),
        [&](const auto& member) { return properties.contains(member.key()); });
}

} // namespace

Schemas::Schemas(const std::filesystem::path& directory) {
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        std::ifstream file(entry.path());
        all_[entry.path().filename().string()] = json::parse(file);
    }
}

bool Schemas::hold(const std::string& name, const json& document) const {
    return holds(all_.at(name), document);
}

bool Schemas::holds(const json& schema, const json& value) const {
    const auto& keywords = schema.items();
    return std::all_of(keywords.begin(), keywords.end(), [&](const auto& keyword) {
        return holdsKeyword(keyword.key(), keyword.value(), schema, value);
    });
}

bool Schemas::holdsKeyword(
    const std::string& keyword, const json& rule, const json& schema, const json& value) const {
    static const std::set<std::string> remarks = {"$schema", "$id", "title", "description"};
    const auto holdsHere = [&](const json& one) { return holds(one, value); };
    if (remarks.contains(keyword)) {
        return true;
    }
    if (keyword == "type") {
        return isOfType(value, rule);
    }
    if (keyword == "$ref") {
        return hold(rule, value);
    }
    if (keyword == "properties") {
        const auto& members = rule.items();
        return std::all_of(members.begin(), members.end(), [&](const auto& member) {
            return !value.contains(member.key()) || holds(member.value(), value[member.key()]);
        });
    }
    if (keyword == "required") {
        return std::all_of(
            rule.begin(), rule.end(), [&](const json& name) { return value.contains(name); });
    }
    if (keyword == "additionalProperties") {
        return rule.get<bool>() || hasNoOthers(value, schema["properties"]);
    }
    if (keyword == "items") {
        // Most of a long list are occurrences of one event: to look at all takes most of the time.
        const auto end = value.begin() + std::min<std::ptrdiff_t>(std::ssize(value), mostItems);
        return std::all_of(value.begin(), end, [&](const json& item) { return holds(rule, item); });
    }
    if (keyword == "anyOf") {
        return std::any_of(rule.begin(), rule.end(), holdsHere);
    }
    if (keyword == "enum") {
        return std::find(rule.begin(), rule.end(), value) != rule.end();
    }
    if (keyword == "const") {
        return value == rule;
    }
    if (keyword == "pattern") {
        return matches(rule, value);
    }
    if (keyword == "minimum" || keyword == "maximum") {
        return keyword == "minimum" ? value >= rule : value <= rule;
    }
    if (keyword == "minItems" || keyword == "maxItems") {
        return keyword == "minItems" ? value.size() >= rule : value.size() <= rule;
    }
    require(keyword == "uniqueItems");
    return std::set<json>(value.begin(), value.end()).size() == value.size();
}

} // namespace quenbrook::fuzz
