#include "icalendar/time/TimeText.h"

#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace quenbrook::icalendar {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr std::int64_t maximumDurationDays = 3'660'000;

std::optional<int> numberOf(std::string_view text) {
    int value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        value = value * 10 + (c - '0');
    }
    return text.empty() ? std::nullopt : std::optional(value);
}

// How many seconds a unit of the time part of a duration has, and whether it is a nominal one.
struct DurationUnit {
    char letter;
    bool inTimePart;
    std::int64_t days;
    std::int64_t seconds;
};
constexpr std::array<DurationUnit, 5> durationUnits = {{
    {'W', false, 7, 0},
    {'D', false, 1, 0},
    {'H', true, 0, 3600},
    {'M', true, 0, 60},
    {'S', true, 0, 1},
}};

// "130500", "-0430": a sign was taken off before.
std::optional<seconds> clockTime(std::string_view text) {
    const auto hour = numberOf(text.substr(0, 2));
    const auto minute = numberOf(text.substr(2, 2));
    const auto second = text.size() == 4 ? std::optional(0) : numberOf(text.substr(4));
    if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 60) {
        return std::nullopt;
    }
    return hours(*hour) + minutes(*minute) + seconds(std::min(*second, 59));
}

} // namespace

std::optional<std::chrono::sys_days> parseDate(std::string_view text) {
    if (text.size() != 8) {
        return std::nullopt;
    }
    const auto digits = numberOf(text);
    if (!digits || *digits < 1'00'00) {
        return std::nullopt;
    }
    const auto number = static_cast<unsigned>(*digits);
    const std::chrono::year_month_day date{std::chrono::year(*digits / 1'00'00),
        std::chrono::month(number / 1'00 % 1'00), std::chrono::day(number % 1'00)};
    return date.ok() ? std::optional(std::chrono::sys_days(date)) : std::nullopt;
}

std::optional<LocalTime> parseDateTime(std::string_view text) {
    if (text.size() != 15 || (text[8] != 'T' && text[8] != 't')) {
        return std::nullopt;
    }
    const auto date = parseDate(text.substr(0, 8));
    const auto clock = clockTime(text.substr(9));
    if (!date || !clock) {
        return std::nullopt;
    }
    return LocalTime(date->time_since_epoch()) + *clock;
}

std::optional<seconds> parseUtcOffset(std::string_view text) {
    text = unicode::trimmed(text);
    if ((text.size() != 5 && text.size() != 7) || (text[0] != '+' && text[0] != '-')) {
        return std::nullopt;
    }
    const auto offset = clockTime(text.substr(1));
    if (!offset) {
        return std::nullopt;
    }
    return text[0] == '-' ? -*offset : *offset;
}

std::optional<Duration> parseDuration(std::string_view text) {
    text = unicode::trimmed(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    if (!text.starts_with('P') || text.size() < 3) {
        return std::nullopt;
    }
    text.remove_prefix(1);
    std::int64_t dayCount = 0;
    std::int64_t secondCount = 0;
    bool inTimePart = false;
    while (!text.empty()) {
        if (text[0] == 'T' && !inTimePart) {
            inTimePart = true;
            text.remove_prefix(1);
            continue;
        }
        const std::size_t length = std::min(text.find_first_not_of("0123456789"), text.size());
        if (length == text.size() || length > 9) {
            return std::nullopt;
        }
        const auto count = numberOf(text.substr(0, length));
        const auto unit =
            std::find_if(durationUnits.begin(), durationUnits.end(), [&](const DurationUnit& each) {
                return each.letter == text[length] && each.inTimePart == inTimePart;
            });
        if (!count || unit == durationUnits.end()) {
            return std::nullopt;
        }
        dayCount += *count * unit->days;
        secondCount += *count * unit->seconds;
        text.remove_prefix(length + 1);
        if (dayCount + secondCount / 86'400 > maximumDurationDays) {
            return std::nullopt;
        }
    }
    const std::int64_t sign = negative ? -1 : 1;
    return Duration{days(sign * dayCount), seconds(sign * secondCount)};
}

std::string formatDate(LocalTime day) {
    const std::chrono::year_month_day date{std::chrono::floor<days>(day)};
    std::array<char, 32> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "%04d%02u%02u", static_cast<int>(date.year()),
            static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string formatDateTime(LocalTime time) {
    const std::chrono::hh_mm_ss clock{time - std::chrono::floor<days>(time)};
    std::array<char, 32> text{};
    const int length = std::snprintf(text.data(), text.size(), "T%02d%02d%02d",
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()));
    return formatDate(time).append(text.data(), static_cast<std::size_t>(length));
}

std::string formatDuration(seconds duration) {
    std::string text = duration.count() < 0 ? "-P" : "P";
    const std::int64_t total = std::abs(duration.count());
    const std::int64_t dayCount = total / 86'400;
    if (dayCount > 0) {
        text += std::to_string(dayCount) + "D";
    }
    if (total % 86'400 == 0 && dayCount > 0) {
        return text;
    }
    const std::int64_t rest = total % 86'400;
    text += "T";
    if (rest >= 3600) {
        text += std::to_string(rest / 3600) + "H";
    }
    // Hours and seconds must not stand side by side without minutes between them.
    if (rest % 3600 >= 60 || (rest >= 3600 && rest % 60 > 0)) {
        text += std::to_string(rest % 3600 / 60) + "M";
    }
    if (rest % 60 > 0 || rest == 0) {
        text += std::to_string(rest % 60) + "S";
    }
    return text;
}

} // namespace quenbrook::icalendar
