#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quenbrook::stores::evolution {

// The text in which a source describes itself: groups of keys with values, in the form of desktop
// entries (freedesktop.org).
class KeyFile {
  public:
    // What is neither a group nor a key in a group is passed over.
    explicit KeyFile(std::string_view text);

    bool hasGroup(std::string_view group) const;

    // The value with its escapes decoded. Returns nullopt when the key is not there.
    std::optional<std::string> value(std::string_view group, std::string_view key) const;

    // The value in the first of the languages that it is there in, else that for no language.
    // Returns nullopt when the key is not there.
    std::optional<std::string> localizedValue(
        std::string_view group, std::string_view key, std::span<const std::string> languages) const;

    // True for "true" and "1"; `absent` when the key is not there.
    bool flag(std::string_view group, std::string_view key, bool absent) const;

  private:
    std::map<std::string, std::map<std::string, std::string, std::less<>>, std::less<>> groups_;
};

// What this process's environment says of the user's languages, best first, in the forms that keys
// are marked with: language_COUNTRY@modifier and what is left of it with less.
std::vector<std::string> userLanguages();

} // namespace quenbrook::stores::evolution
