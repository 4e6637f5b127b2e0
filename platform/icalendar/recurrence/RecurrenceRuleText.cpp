#include "platform/icalendar/recurrence/RecurrenceRuleText.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <utility>

#include "platform/Text.h"
#include "platform/icalendar/recurrence/RecurrencePartEffects.h"

namespace quenbrook::platform::icalendar {
namespace {

constexpr std::size_t longestList = 1000;
constexpr std::int64_t highestNumber = std::int64_t{1} << 31;

constexpr std::array<std::string_view, 7> frequencyWords{
    "SECONDLY", "MINUTELY", "HOURLY", "DAILY", "WEEKLY", "MONTHLY", "YEARLY"};
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

// A number with an optional sign, from 1 to `highest` in either direction.
template <int highest>
std::optional<int> readSigned(std::string_view text) {
    const bool isSigned = text.starts_with('+') || text.starts_with('-');
    const auto number = readUnsigned<1, highest>(text.substr(isSigned ? 1 : 0));
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
    const auto ordinal = readSigned<53>(trimmed(text.substr(0, split)));
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
        const std::optional<Entry> entry = readEntry(trimmed(text.substr(begin, end - begin)));
        if (!entry || list.size() == longestList) {
            return std::nullopt;
        }
        list.push_back(*entry);
        begin = end + 1;
    }
    return list;
}

std::optional<std::chrono::local_days> readDate(std::string_view text) {
    const auto year = readNumber(text.substr(0, 4), 1, 9999);
    const auto month = readNumber(text.substr(4, 2), 1, 12);
    const auto day = readNumber(text.substr(6, 2), 1, 31);
    if (!year || !month || !day) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date{std::chrono::year{static_cast<int>(*year)},
        std::chrono::month{static_cast<unsigned>(*month)},
        std::chrono::day{static_cast<unsigned>(*day)}};
    if (!date.ok()) {
        return std::nullopt;
    }
    return std::chrono::local_days{date};
}

std::optional<std::chrono::seconds> readTimeOfDay(std::string_view text) {
    const auto hour = readNumber(text.substr(0, 2), 0, 23);
    const auto minute = readNumber(text.substr(2, 2), 0, 59);
    const auto second = readNumber(text.substr(4, 2), 0, 60);
    if (!hour || !minute || !second) {
        return std::nullopt;
    }
    // A leap second counts as the one before it (RFC 5545 section 3.3.12).
    return std::chrono::hours{*hour} + std::chrono::minutes{*minute} +
           std::chrono::seconds{std::min<std::int64_t>(*second, 59)};
}

std::optional<Until> readUntil(std::string_view text) {
    constexpr std::size_t dateSize = 8;
    constexpr std::size_t localSize = 15;
    constexpr std::size_t utcSize = 16;
    if (text.size() != dateSize && text.size() != localSize && text.size() != utcSize) {
        return std::nullopt;
    }
    const auto date = readDate(text.substr(0, dateSize));
    if (!date) {
        return std::nullopt;
    }
    if (text.size() == dateSize) {
        return Until{*date, Until::Form::date};
    }
    const auto time = readTimeOfDay(text.substr(dateSize + 1, localSize - dateSize - 1));
    if (!time || text[dateSize] != 'T' || (text.size() == utcSize && text.back() != 'Z')) {
        return std::nullopt;
    }
    return Until{*date + *time, text.size() == utcSize ? Until::Form::utc : Until::Form::local};
}

std::string formatUntil(const Until& until) {
    const auto day = std::chrono::floor<std::chrono::days>(until.time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss time{until.time - day};
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04d%02u%02uT%02d%02d%02dZ", int{date.year()},
        unsigned{date.month()}, unsigned{date.day()}, static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
    switch (until.form) {
    case Until::Form::date:
        return std::string(text.data(), 8);
    case Until::Form::local:
        return std::string(text.data(), 15);
    case Until::Form::utc:
        break;
    }
    return text.data();
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

std::string notWritten(const Recur& /*recur*/) {
    return {};
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
    {"RSCALE", [](std::string_view value, Recur&) { return value == "GREGORIAN"; }, notWritten},
    {"SKIP", [](std::string_view value, Recur&) { return value == "OMIT"; }, notWritten},
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
    std::string_view rest = trimmed(upper);
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
        const auto found = std::find_if(parts.begin(), parts.end(),
            [&](const Part& known) { return known.name == trimmed(part.substr(0, equals)); });
        if (found == parts.end() || equals == part.size()) {
            return std::nullopt;
        }
        const auto index = static_cast<std::size_t>(found - parts.begin());
        if (read.test(index) || !found->read(trimmed(part.substr(equals + 1)), recur)) {
            return std::nullopt;
        }
        read.set(index);
    }

    static_assert(parts.front().name == "FREQ");
    if (!read.test(0) || hasPartWith(PartEffect::meaningless, recur)) {
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

} // namespace quenbrook::platform::icalendar
