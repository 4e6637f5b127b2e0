#include "icalendar/time/ZoneNames.h"

#include "icalendar/text/ContentLine.h"
#include "unicode/Text.h"
#include "unicode/WindowsZones.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace quenbrook::icalendar {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;

// No name that somebody is shown comes near this.
constexpr std::size_t longestName = 200;

std::string lowered(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

// What the files of the zone data are called, by their names in lower case. Not each of them is a
// zone.
struct ZoneData {
    std::map<std::string, std::string> byName;
    // By what stands behind the last slash, with blanks for underscores: a city, as a rule.
    std::multimap<std::string, std::string> byCity;
};

ZoneData listZoneData() {
    const char* const variable = std::getenv("TZDIR");
    const std::filesystem::path folder = variable ? variable : "/usr/share/zoneinfo";
    ZoneData data;
    std::error_code error;
    // What cannot be listed holds no names that are known here.
    for (std::filesystem::recursive_directory_iterator entry(folder, error), end;
         !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().lexically_relative(folder).generic_string();
        // These hold the others once more.
        if (name == "posix" || name == "right") {
            entry.disable_recursion_pending();
            continue;
        }
        std::string city = lowered(name.substr(name.rfind('/') + 1));
        std::replace(city.begin(), city.end(), '_', ' ');
        data.byName.emplace(lowered(name), name);
        // "GMT+5" is no city.
        if (city.find_first_of("0123456789") == std::string::npos) {
            data.byCity.emplace(std::move(city), name);
        }
    }
    return data;
}

// A listing takes longer than to read a file, and the names stay the same.
const ZoneData& zoneData() {
    static const ZoneData data = listZoneData();
    return data;
}

std::optional<Zone> zoneIgnoringCase(std::string_view name) {
    if (name.size() > longestName) {
        return std::nullopt;
    }
    const auto found = zoneData().byName.find(lowered(name));
    return found == zoneData().byName.end() ? std::nullopt : Zone::system(found->second);
}

std::optional<Zone> windowsZone(std::string_view name) {
    const auto known = unicode::zoneNameOfWindowsZone(name);
    return known ? Zone::system(*known) : std::nullopt;
}

// What `find` makes of the name, or else of what stands behind one of its slashes.
template <class Find>
std::optional<Zone> wholeOrBehindSlash(std::string_view name, Find find) {
    for (std::size_t at = 0; at != std::string_view::npos;) {
        if (auto zone = find(name.substr(at))) {
            return zone;
        }
        at = name.find('/', at);
        at += at == std::string_view::npos ? 0 : 1;
    }
    return std::nullopt;
}

struct DisplayName {
    std::optional<seconds> offset;
    // What else is said.
    std::string_view words;
};

std::optional<int> takeNumber(std::string_view& text, std::size_t digits) {
    int number = 0;
    const std::size_t length = std::min(text.find_first_not_of("0123456789"), text.size());
    digits = std::min(digits, length);
    if (std::from_chars(text.data(), text.data() + digits, number).ec != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(digits);
    return number;
}

// "-05:00", "+0100", "+5": hours of one or two digits, minutes of two. Nothing at all is no offset
// from UTC.
std::optional<seconds> takeOffset(std::string_view& text) {
    const bool isBehind = text.starts_with('-');
    if (!isBehind && !text.starts_with('+')) {
        return seconds(0);
    }
    text.remove_prefix(1);
    const auto hour = takeNumber(text, 2);
    const bool hasSeparator = text.starts_with(':') || text.starts_with('.');
    text.remove_prefix(hasSeparator ? 1 : 0);
    const bool hasMinutes = hasSeparator || text.find_first_of("0123456789") == 0;
    const std::size_t before = text.size();
    const auto minute = hasMinutes ? takeNumber(text, 2) : std::optional(0);
    const bool isComplete = !hasMinutes || before - text.size() == 2;
    if (!hour || !minute || !isComplete || *hour > 18 || *minute > 59) {
        return std::nullopt;
    }
    const seconds offset = hours(*hour) + minutes(*minute);
    return isBehind ? -offset : offset;
}

// The offset stands in brackets before the words, or alone.
DisplayName readDisplayName(std::string_view name) {
    const DisplayName onlyWords{std::nullopt, name};
    std::string_view rest = name;
    const bool isInBrackets = rest.starts_with('(');
    rest.remove_prefix(isInBrackets ? 1 : 0);
    const std::string_view universal = rest.substr(0, 3);
    if (!equalsIgnoringCase(universal, "UTC") && !equalsIgnoringCase(universal, "GMT")) {
        return onlyWords;
    }
    rest = unicode::trimmed(rest.substr(universal.size()));
    const auto offset = takeOffset(rest);
    rest = unicode::trimmed(rest);
    const bool isClosed = isInBrackets ? rest.starts_with(')') : rest.empty();
    if (!offset || !isClosed) {
        return onlyWords;
    }
    return {offset, unicode::trimmed(rest.substr(isInBrackets ? 1 : 0))};
}

// Dates of one year stand for all: where a place has kept other clocks before, the offset that is
// stated for them counts by itself.
constexpr std::array<sys_seconds, 2> winterAndSummer = {
    sys_days(std::chrono::year(2026) / 1 / 15), sys_days(std::chrono::year(2026) / 7 / 15)};

bool hasOffset(const Zone& zone, const std::optional<seconds>& offset) {
    return !offset || std::any_of(winterAndSummer.begin(), winterAndSummer.end(),
                          [&](sys_seconds instant) { return zone.offsetAt(instant) == *offset; });
}

bool areAlike(const Zone& left, const Zone& right) {
    return std::all_of(winterAndSummer.begin(), winterAndSummer.end(),
        [&](sys_seconds instant) { return left.offsetAt(instant) == right.offsetAt(instant); });
}

// "Eastern Time (US & Canada)" without what stands in brackets.
std::string_view withoutRemark(std::string_view words) {
    const std::size_t bracket = words.ends_with(')') ? words.rfind('(') : words.size();
    return unicode::trimmed(words.substr(0, bracket));
}

// What people are shown lacks a word of the name ("Eastern Time", "Newfoundland"), or has another.
std::optional<Zone> zoneOfWords(std::string_view words, const std::optional<seconds>& offset) {
    constexpr std::array<std::string_view, 5> endings = {
        "", " Standard Time", " Daylight Time", " Summer Time", " Time"};
    for (const std::string_view ending : endings) {
        if (!words.ends_with(ending)) {
            continue;
        }
        const std::string_view place = words.substr(0, words.size() - ending.size());
        auto zone = windowsZone(std::string(place) + " Standard Time");
        if (zone && hasOffset(*zone, offset)) {
            return zone;
        }
    }
    return std::nullopt;
}

// Without an offset to tell them apart, places of one name that have not one clock name nothing.
std::optional<Zone> zoneOfCity(std::string_view city, const std::optional<seconds>& offset) {
    const auto [first, last] = zoneData().byCity.equal_range(lowered(city));
    std::optional<Zone> found;
    for (auto each = first; each != last; ++each) {
        const auto zone = Zone::system(each->second);
        if (!zone || !hasOffset(*zone, offset)) {
            continue;
        }
        if (found && !areAlike(*found, *zone)) {
            return std::nullopt;
        }
        found = zone;
    }
    return found;
}

std::optional<Zone> zoneOfCities(std::string_view words, const std::optional<seconds>& offset) {
    while (!words.empty()) {
        const std::size_t end = std::min(words.find_first_of(",;:"), words.size());
        if (auto zone = zoneOfCity(unicode::trimmed(words.substr(0, end)), offset)) {
            return zone;
        }
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return std::nullopt;
}

std::optional<Zone> zoneOfDisplayName(std::string_view name) {
    if (name.empty() || name.size() > longestName) {
        return std::nullopt;
    }
    const DisplayName shown = readDisplayName(name);
    const std::string_view words = withoutRemark(shown.words);
    if (auto zone = zoneOfWords(words, shown.offset)) {
        return zone;
    }
    if (auto zone = zoneOfCities(words, shown.offset)) {
        return zone;
    }
    // "Alaska" is Windows' "Alaskan Standard Time"; but "Easter" is an island.
    if (auto zone = zoneOfWords(std::string(words) + "n", shown.offset)) {
        return zone;
    }
    return shown.offset ? std::optional(Zone::fixed(*shown.offset)) : std::nullopt;
}

} // namespace

std::optional<Zone> zoneOfForeignName(std::string_view name) {
    if (auto zone = windowsZone(name)) {
        return zone;
    }
    if (auto zone = wholeOrBehindSlash(name, &Zone::system)) {
        return zone;
    }
    if (auto zone = wholeOrBehindSlash(name, &zoneIgnoringCase)) {
        return zone;
    }
    return zoneOfDisplayName(name);
}

} // namespace quenbrook::icalendar
