#include "stores/evolution/KeyFile.h"

#include "stores/evolution/Environment.h"
#include "unicode/Text.h"

#include <algorithm>
#include <array>

namespace quenbrook::stores::evolution {
namespace {

constexpr std::array<std::pair<char, char>, 5> escapes{
    {{'s', ' '}, {'n', '\n'}, {'t', '\t'}, {'r', '\r'}, {'\\', '\\'}}};

std::string decoded(std::string_view value) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            text += value[i];
            continue;
        }
        const char escape = value[++i];
        const auto* const known = std::find_if(
            escapes.begin(), escapes.end(), [&](const auto& each) { return each.first == escape; });
        if (known != escapes.end()) {
            text += known->second;
        } else {
            text += {'\\', escape};
        }
    }
    return text;
}

// The locale that messages are in, by the order in which the C library looks.
std::string_view messagesLocale() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const std::string_view locale = environment(name); !locale.empty()) {
            return locale;
        }
    }
    return "C";
}

// "de_AT.UTF-8@euro": de_AT@euro, de_AT, de@euro, de.
void addForms(std::string_view locale, std::vector<std::string>& languages) {
    const std::size_t at = std::min(locale.find('@'), locale.size());
    const std::string modifier(locale.substr(at));
    std::string_view base = locale.substr(0, at);
    base = base.substr(0, base.find('.'));
    const std::string_view language = base.substr(0, base.find('_'));
    for (const std::string_view form : {base, language}) {
        if (!modifier.empty()) {
            languages.push_back(std::string(form) + modifier);
        }
        languages.emplace_back(form);
    }
}

} // namespace

KeyFile::KeyFile(std::string_view text) {
    std::map<std::string, std::string, std::less<>>* group = nullptr;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = unicode::trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::size_t equals = line.find('=');
        if (line.starts_with('[') && line.ends_with(']')) {
            group = &groups_[std::string(line.substr(1, line.size() - 2))];
        } else if (group != nullptr && !line.starts_with('#') && equals != std::string_view::npos) {
            (*group)[std::string(unicode::trimmed(line.substr(0, equals)))] =
                unicode::trimmed(line.substr(equals + 1));
        }
    }
}

bool KeyFile::hasGroup(std::string_view group) const {
    return groups_.find(group) != groups_.end();
}

std::optional<std::string> KeyFile::value(std::string_view group, std::string_view key) const {
    const auto keys = groups_.find(group);
    if (keys == groups_.end()) {
        return std::nullopt;
    }
    const auto found = keys->second.find(key);
    return found == keys->second.end() ? std::nullopt : std::optional(decoded(found->second));
}

std::optional<std::string> KeyFile::localizedValue(
    std::string_view group, std::string_view key, std::span<const std::string> languages) const {
    for (const std::string& language : languages) {
        if (auto found = value(group, std::string(key) + "[" + language + "]")) {
            return found;
        }
    }
    return value(group, key);
}

bool KeyFile::flag(std::string_view group, std::string_view key, bool absent) const {
    const auto text = value(group, key);
    return text ? *text == "true" || *text == "1" : absent;
}

std::vector<std::string> userLanguages() {
    const std::string_view locale = messagesLocale();
    std::vector<std::string> languages;
    const bool isNone = locale == "C" || locale == "POSIX" || locale.starts_with("C.");
    if (isNone) {
        return languages;
    }
    for (std::string_view list = environment("LANGUAGE"); !list.empty();) {
        const std::size_t end = std::min(list.find(':'), list.size());
        if (end > 0) {
            addForms(list.substr(0, end), languages);
        }
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    addForms(locale, languages);
    return languages;
}

} // namespace quenbrook::stores::evolution
