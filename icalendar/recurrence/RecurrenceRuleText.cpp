#include "icalendar/recurrence/RecurrenceRuleText.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <charconv>
#include <iterator>
#include <utility>

#include "icalendar/recurrence/RecurrencePartEffects.h"
#include "icalendar/time/TimeText.h"
#include "unicode/Text.h"

namespace quenbrook::icalendar {
namespace {

constexpr std::size_t longestList = 1000;
constexpr std::int64_t highestNumber = std::int64_t{1} << 31;

constexpr std::array<std::string_view, 7> frequencyWords{
    "SECONDLY", "MINUTELY", "HOURLY", "DAILY", "WEEKLY", "MONTHLY", "YEARLY"};
constexpr std::array<std::string_view, 3> skipWords{"OMIT", "BACKWARD", "FORWARD"};
// At the index that std::chrono::weekday::c_encoding() gives.
constexpr std::array<std::string_view, 7> weekdayWords{"SU", "MO", "TU", "WE", "TH", "FR", "SA"};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

char upperCased(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

template <std::size_t size>
std::optional<std::size_t> indexOf(
    std::string_view word, const std::array<std::string_view, size>& words) {
    const auto found = std::find(words.begin(), words.end(), word);
    if (found == words.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - words.begin());
}

// Digits and nothing else.
std::optional<std::int64_t> readNumber(
    std::string_view text, std::int64_t lowest, std::int64_t highest) {
    std::int64_t number = 0;
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    if (text.empty() || !isDigit(text.front())) {
        return std::nullopt;
    }
    const auto [last, error] = std::from_chars(begin, end, number);
    if (error != std::errc{} || last != end || number < lowest || number > highest) {
        return std::nullopt;
    }
    return number;
}

template <int lowest, int highest>
std::optional<int> readUnsigned(std::string_view text) {
    const auto number = readNumber(text, lowest, highest);
    return number ? std::optional(static_cast<int>(*number)) : std::nullopt;
}

// A number with an optional sign, from `lowest` to `highest` in either direction.
template <int highest, int lowest = 1>
std::optional<int> readSigned(std::string_view text) {
    const bool isSigned = text.starts_with('+') || text.starts_with('-');
    const auto number = readUnsigned<lowest, highest>(text.substr(isSigned ? 1 : 0));
    return number && text.front() == '-' ? std::optional(-*number) : number;
}

std::optional<std::chrono::weekday> readWeekday(std::string_view text) {
    const auto index = indexOf(text, weekdayWords);
    if (!index) {
        return std::nullopt;
    }
    return std::chrono::weekday{static_cast<unsigned>(*index)};
}

std::optional<WeekdayNumber> readWeekdayNumber(std::string_view text) {
    const auto split = text.size() < 2 ? 0 : text.size() - 2;
    const auto day = readWeekday(text.substr(split));
    if (!day) {
        return std::nullopt;
    }
    if (split == 0) {
        return WeekdayNumber{0, *day};
    }
    const auto ordinal = readSigned<53, 0>(unicode::trimmed(text.substr(0, split)));
    if (!ordinal) {
        return std::nullopt;
    }
    return WeekdayNumber{*ordinal, *day};
}

template <typename Entry>
std::optional<std::vector<Entry>> readList(
    std::string_view text, std::optional<Entry> (*readEntry)(std::string_view)) {
    std::vector<Entry> list;
    for (std::size_t begin = 0; begin <= text.size();) {
        const auto end = std::min(text.find(',', begin), text.size());
        const std::optional<Entry> entry =
            readEntry(unicode::trimmed(text.substr(begin, end - begin)));
        if (!entry || list.size() == longestList) {
            return std::nullopt;
        }
        list.push_back(*entry);
        begin = end + 1;
    }
    return list;
}

// "2024-01-31", "2024-01-31T10:00:00Z" without the hyphens and colons, which RFC 5545 does not have
// and some programs write.
std::string withoutSeparators(std::string_view text) {
    std::string plain(text);
    if (plain.size() < 10 || plain[4] != '-' || plain[7] != '-') {
        return plain;
    }
    plain.erase(7, 1).erase(4, 1);
    if (plain.size() >= 17 && plain[11] == ':' && plain[14] == ':') {
        plain.erase(14, 1).erase(11, 1);
    }
    return plain;
}

std::optional<Until> readUntil(std::string_view written) {
    const std::string text = withoutSeparators(written);
    if (const auto date = parseDate(text)) {
        return Until{LocalTime(date->time_since_epoch()), Until::Kind::date};
    }
    const bool isUtc = text.ends_with('Z');
    const auto time =
        parseDateTime(std::string_view(text).substr(0, text.size() - (isUtc ? 1 : 0)));
    return time ? std::optional(Until{*time, isUtc ? Until::Kind::utc : Until::Kind::local})
                : std::nullopt;
}

std::string formatUntil(const Until& until) {
    if (until.kind == Until::Kind::date) {
        return formatDate(until.time);
    }
    return formatDateTime(until.time) + (until.kind == Until::Kind::utc ? "Z" : "");
}

std::string formatEntry(int number) {
    return std::to_string(number);
}

std::string formatEntry(const WeekdayNumber& entry) {
    const std::string ordinal = entry.ordinal == 0 ? "" : std::to_string(entry.ordinal);
    return ordinal + std::string(weekdayWords[entry.day.c_encoding()]);
}

template <typename Entry>
std::string formatList(const std::vector<Entry>& list) {
    std::string text;
    for (const Entry& entry : list) {
        if (!text.empty()) {
            text += ',';
        }
        text += formatEntry(entry);
    }
    return text;
}

// One part of a rule. Reading tells whether the value is valid; writing gives an empty text when
// the part is to be left out.
struct Part {
    std::string_view name;
    bool (*read)(std::string_view value, Recur& recur);
    std::string (*write)(const Recur& recur);
};

template <typename Value, typename Field>
bool store(const std::optional<Value>& value, Field& field) {
    if (!value) {
        return false;
    }
    const Value& read = *value;
    field = read;
    return true;
}

template <auto list, auto readEntry>
constexpr Part listPart(std::string_view name) {
    return {name,
        [](std::string_view value, Recur& recur) {
            return store(readList(value, readEntry), recur.*list);
        },
        [](const Recur& recur) { return formatList(recur.*list); }};
}

// In the order in which a rule is written.
constexpr std::array<Part, 16> parts{{
    {"FREQ",
        [](std::string_view value, Recur& recur) {
            const auto index = indexOf(value, frequencyWords);
            recur.frequency = static_cast<Frequency>(index.value_or(0));
            return index.has_value();
        },
        [](const Recur& recur) {
            return std::string(frequencyWords[static_cast<std::size_t>(recur.frequency)]);
        }},
    {"INTERVAL",
        [](std::string_view value, Recur& recur) {
            return store(readNumber(value, 1, highestNumber), recur.interval);
        },
        [](const Recur& recur) {
            return recur.interval == 1 ? std::string{} : std::to_string(recur.interval);
        }},
    {"COUNT",
        [](std::string_view value, Recur& recur) {
            return store(readNumber(value, 1, highestNumber), recur.count);
        },
        [](const Recur& recur) {
            return recur.count ? std::to_string(*recur.count) : std::string{};
        }},
    {"UNTIL",
        [](std::string_view value, Recur& recur) { return store(readUntil(value), recur.until); },
        [](const Recur& recur) { return recur.until ? formatUntil(*recur.until) : std::string{}; }},
    listPart<&Recur::byMonth, readUnsigned<1, 12>>("BYMONTH"),
    listPart<&Recur::byWeekNumber, readSigned<53>>("BYWEEKNO"),
    listPart<&Recur::byYearDay, readSigned<366>>("BYYEARDAY"),
    listPart<&Recur::byMonthDay, readSigned<31>>("BYMONTHDAY"),
    listPart<&Recur::byDay, readWeekdayNumber>("BYDAY"),
    listPart<&Recur::byHour, readUnsigned<0, 23>>("BYHOUR"),
    listPart<&Recur::byMinute, readUnsigned<0, 59>>("BYMINUTE"),
    listPart<&Recur::bySecond, readUnsigned<0, 60>>("BYSECOND"),
    listPart<&Recur::bySetPosition, readSigned<366>>("BYSETPOS"),
    {"WKST",
        [](std::string_view value, Recur& recur) {
            return store(readWeekday(value), recur.weekStart);
        },
        [](const Recur& recur) {
            return recur.weekStart == std::chrono::Monday
                       ? std::string{}
                       : std::string(weekdayWords[recur.weekStart.c_encoding()]);
        }},
    {"RSCALE", [](std::string_view value, Recur&) { return value == "GREGORIAN"; },
        [](const Recur& recur) {
            return recur.skip == Skip::omit ? std::string{} : std::string("GREGORIAN");
        }},
    {"SKIP",
        [](std::string_view value, Recur& recur) {
            const auto index = indexOf(value, skipWords);
            recur.skip = static_cast<Skip>(index.value_or(0));
            return index.has_value();
        },
        [](const Recur& recur) {
            return recur.skip == Skip::omit
                       ? std::string{}
                       : std::string(skipWords[static_cast<std::size_t>(recur.skip)]);
        }},
}};

// Within a week or a day no weekday comes twice: its number means nothing there.
void dropMeaninglessOrdinals(Recur& recur) {
    if (recur.frequency < Frequency::monthly) {
        for (WeekdayNumber& entry : recur.byDay) {
            entry.ordinal = 0;
        }
    }
}

} // namespace

std::optional<Recur> parseRecur(std::string_view text) {
    std::string upper;
    upper.reserve(text.size());
    std::transform(text.begin(), text.end(), std::back_inserter(upper), upperCased);
    std::string_view rest = unicode::trimmed(upper);
    if (rest.ends_with(';')) {
        rest.remove_suffix(1);
    }

    Recur recur;
    std::bitset<parts.size()> read;
    for (bool more = true; more;) {
        const std::size_t length = std::min(rest.find(';'), rest.size());
        const std::string_view part = rest.substr(0, length);
        more = length < rest.size();
        rest.remove_prefix(length + (more ? 1 : 0));

        const auto equals = std::min(part.find('='), part.size());
        const auto found = std::find_if(parts.begin(), parts.end(), [&](const Part& known) {
            return known.name == unicode::trimmed(part.substr(0, equals));
        });
        if (found == parts.end() || equals == part.size()) {
            return std::nullopt;
        }
        const auto index = static_cast<std::size_t>(found - parts.begin());
        if (read.test(index) || !found->read(unicode::trimmed(part.substr(equals + 1)), recur)) {
            return std::nullopt;
        }
        read.set(index);
    }

    static_assert(parts.front().name == "FREQ" && parts[14].name == "RSCALE");
    const bool hasScale = recur.skip == Skip::omit || read.test(14);
    if (!read.test(0) || !hasScale || hasPartWith(PartEffect::meaningless, recur)) {
        return std::nullopt;
    }
    dropMeaninglessOrdinals(recur);
    return recur;
}

std::string formatRecur(const Recur& recur) {
    std::string text;
    for (const Part& part : parts) {
        const std::string value = part.write(recur);
        if (value.empty()) {
            continue;
        }
        if (!text.empty()) {
            text += ';';
        }
        text.append(part.name).append(1, '=').append(value);
    }
    return text;
}

} // namespace quenbrook::icalendar
