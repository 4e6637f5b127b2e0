#include "tests/support/WallClockText.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace quenbrook::test {

using icalendar::LocalTime;
using icalendar::Recur;
using icalendar::RecurrenceExpansion;

std::optional<LocalTime> parseWallClock(std::string_view text) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    const std::string terminated(text);
    if (std::sscanf(terminated.c_str(), "%d-%u-%u %d:%d:%d", &year, &month, &day, &hour, &minute,
            &second) < 5) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date{
        std::chrono::year{year}, std::chrono::month{month}, std::chrono::day{day}};
    if (!date.ok()) {
        return std::nullopt;
    }
    return std::chrono::local_days{date} + std::chrono::hours{hour} + std::chrono::minutes{minute} +
           std::chrono::seconds{second};
}

std::string formatWallClock(LocalTime time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{time - day};
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02ld:%02ld:%02ld", int{date.year()},
        unsigned{date.month()}, unsigned{date.day()}, static_cast<long>(clock.hours().count()),
        static_cast<long>(clock.minutes().count()), static_cast<long>(clock.seconds().count()));
    return text.data();
}

std::vector<LocalTime> firstOccurrences(const Recur& recur, LocalTime start, std::size_t limit) {
    icalendar::WorkBudget plenty(std::int64_t{1} << 60);
    RecurrenceExpansion expansion(recur, start, plenty);
    if (recur.until) {
        expansion.endBefore(recur.until->time + std::chrono::seconds{1});
    }
    std::vector<LocalTime> times;
    while (times.size() < limit) {
        const auto time = expansion.next();
        if (!time) {
            break;
        }
        times.push_back(*time);
    }
    return times;
}

} // namespace quenbrook::test
