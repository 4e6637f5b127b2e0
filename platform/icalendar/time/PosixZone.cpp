#include "platform/icalendar/time/PosixZone.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace quenbrook::platform::icalendar {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;

constexpr std::chrono::year firstYear{1970};
constexpr std::chrono::year lastYear{2200};

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view digits = "0123456789";
constexpr std::string_view quotable =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-";

// When a change takes place, year after year.
struct YearlyDate {
    enum class Kind {
        // The day of the year, from 0, a leap day counted.
        dayOfYear,
        // The day of the year, from 1, a leap day never counted.
        dayOfCommonYear,
        // A weekday of a month: from the first one to the fifth, which is the last.
        weekday,
    };
    Kind kind = Kind::dayOfYear;
    unsigned day = 0;
    unsigned week = 1;
    unsigned month = 1;
    // After the midnight by the clock before the change.
    seconds timeOfDay{0};
};
constexpr seconds usualTime = hours(2);

sys_days dayIn(std::chrono::year year, const YearlyDate& date) {
    const sys_days newYear = year / std::chrono::January / 1;
    switch (date.kind) {
    case YearlyDate::Kind::dayOfYear:
        return newYear + days(date.day);
    case YearlyDate::Kind::dayOfCommonYear: {
        constexpr unsigned february28 = 59;
        return newYear + days(date.day) - days(year.is_leap() && date.day > february28 ? 0 : 1);
    }
    case YearlyDate::Kind::weekday:
        break;
    }
    const auto month = year / std::chrono::month(date.month);
    const std::chrono::weekday weekday(date.day);
    const sys_days last = month / weekday[std::chrono::last];
    return std::min(last, sys_days(month / weekday[1]) + std::chrono::weeks(date.week - 1));
}

struct PosixRule {
    seconds standard{0};
    seconds daylight{0};
    YearlyDate begin;
    YearlyDate end;
};

class RuleReader {
  public:
    explicit RuleReader(std::string_view text)
        : rest_(text) {}

    std::optional<PosixRule> read() {
        PosixRule rule;
        if (!takeName() || rest_.find_first_of("+-0123456789") != 0) {
            return std::nullopt;
        }
        const auto standard = takeOffset();
        if (!standard) {
            return std::nullopt;
        }
        rule.standard = rule.daylight = *standard;
        if (rest_.empty()) {
            return rule;
        }
        if (takeName()) {
            rule.daylight = takeOffset().value_or(rule.standard + hours(1));
        } else {
            // A second offset without a name is none.
            rule.daylight = seconds(0);
        }
        if (takeDate(rule.begin, {YearlyDate::Kind::weekday, 0, 2, 3, usualTime})) {
            takeDate(rule.end, {YearlyDate::Kind::weekday, 0, 1, 11, usualTime});
        }
        return rule;
    }

  private:
    bool take(char c) {
        const bool found = rest_.starts_with(c);
        rest_.remove_prefix(found ? 1 : 0);
        return found;
    }

    std::string_view takeAll(std::string_view of) {
        const std::string_view taken =
            rest_.substr(0, std::min(rest_.find_first_not_of(of), rest_.size()));
        rest_.remove_prefix(taken.size());
        return taken;
    }

    // Three letters or more, or three characters or more in angle brackets.
    bool takeName() {
        constexpr std::size_t shortest = 3;
        const std::string_view before = rest_;
        if (takeAll(letters).size() >= shortest) {
            return true;
        }
        rest_ = before;
        if (take('<') && takeAll(quotable).size() >= shortest && take('>')) {
            return true;
        }
        rest_ = before;
        return false;
    }

    std::optional<std::uint64_t> takeNumber() {
        const std::string_view number = takeAll(digits);
        std::uint64_t value = 0;
        for (const char c : number) {
            constexpr std::uint64_t most = UINT64_MAX;
            const auto digit = static_cast<std::uint64_t>(c - '0');
            value = value > (most - digit) / 10 ? most : value * 10 + digit;
        }
        return number.empty() ? std::nullopt : std::optional(value);
    }

    // A number too large loses its high bits.
    std::optional<unsigned> takeShortNumber() {
        const auto number = takeNumber();
        return number ? std::optional<unsigned>(static_cast<std::uint16_t>(*number)) : std::nullopt;
    }

    // "h", "h:m" or "h:m:s".
    struct Clock {
        unsigned hour;
        unsigned minute = 0;
        unsigned second = 0;
    };
    std::optional<Clock> takeClock() {
        const auto hour = takeShortNumber();
        if (!hour) {
            return std::nullopt;
        }
        Clock clock{*hour};
        for (unsigned* part : {&clock.minute, &clock.second}) {
            const std::string_view before = rest_;
            const auto number = take(':') ? takeShortNumber() : std::nullopt;
            if (!number) {
                rest_ = before;
                break;
            }
            *part = *number;
        }
        return clock;
    }

    // Positive west of Greenwich.
    std::optional<seconds> takeOffset() {
        const bool isEast = take('-');
        if (!isEast) {
            take('+');
        }
        const auto clock = takeClock();
        if (!clock) {
            return std::nullopt;
        }
        const seconds offset = hours(std::min(clock->hour, 24U)) +
                               minutes(std::min(clock->minute, 59U)) +
                               seconds(std::min(clock->second, 59U));
        return isEast ? offset : -offset;
    }

    // Whether what follows may be looked at. `usual` stands for a date that is not there.
    bool takeDate(YearlyDate& date, const YearlyDate& usual) {
        take(',');
        if (rest_.empty()) {
            date = usual;
            return true;
        }
        if (!takeDay(date) || (!rest_.empty() && rest_[0] != '/' && rest_[0] != ',')) {
            return false;
        }
        if (take('/')) {
            return takeTimeOfDay(date);
        }
        date.timeOfDay = usualTime;
        return true;
    }

    bool takeDay(YearlyDate& date) {
        constexpr unsigned lastDay = 365;
        const bool isCommon = take('J');
        if (const auto day = takeNumber()) {
            date.kind = isCommon ? YearlyDate::Kind::dayOfCommonYear : YearlyDate::Kind::dayOfYear;
            if (*day > lastDay || (isCommon && *day == 0)) {
                return false;
            }
            date.day = static_cast<unsigned>(*day);
            return true;
        }
        if (isCommon || !take('M')) {
            return false;
        }
        constexpr unsigned none = 7;
        const unsigned month = takeShortNumber().value_or(0);
        const unsigned week = take('.') ? takeShortNumber().value_or(0) : 0;
        const unsigned day = take('.') ? takeShortNumber().value_or(none) : none;
        if (month < 1 || month > 12 || week < 1 || week > 5 || day >= none) {
            return false;
        }
        date = {YearlyDate::Kind::weekday, day, week, month, seconds(0)};
        return true;
    }

    bool takeTimeOfDay(YearlyDate& date) {
        if (rest_.empty()) {
            return false;
        }
        const bool isBefore = take('-');
        const Clock clock = takeClock().value_or(Clock{2});
        const seconds time = hours(clock.hour) + minutes(clock.minute) + seconds(clock.second);
        date.timeOfDay = isBefore ? -time : time;
        return true;
    }

    std::string_view rest_;
};

// Adds a change at `at` when it is one.
void change(OffsetTable& table, sys_seconds at, seconds to) {
    const seconds before = table.changes.empty() ? table.initial : table.changes.back().after;
    if (before != to) {
        table.changes.push_back({at, before, to});
    }
}

// The dates of a year hold from its beginning to its end in UTC: where the later one comes first,
// the year begins with daylight saving.
void addChangesOf(std::chrono::year year, const PosixRule& rule, OffsetTable& table) {
    const sys_seconds from = sys_days(year / std::chrono::January / 1);
    const sys_seconds until = sys_days((year + std::chrono::years(1)) / std::chrono::January / 1);
    const sys_seconds begin = dayIn(year, rule.begin) + rule.begin.timeOfDay - rule.standard;
    const sys_seconds end = dayIn(year, rule.end) + rule.end.timeOfDay - rule.daylight;
    const auto isDaylight = [&](sys_seconds instant) {
        return begin > end ? instant < end || instant >= begin : instant >= begin && instant < end;
    };
    std::array<sys_seconds, 3> instants{from, begin, end};
    std::sort(instants.begin(), instants.end());
    if (year == firstYear) {
        table.initial = isDaylight(from) ? rule.daylight : rule.standard;
    }
    for (const sys_seconds instant : instants) {
        if (instant >= from && instant < until) {
            change(table, instant, isDaylight(instant) ? rule.daylight : rule.standard);
        }
    }
}

} // namespace

std::optional<Zone> readPosixZone(std::string_view text) {
    const auto rule = RuleReader(text).read();
    if (!rule) {
        return std::nullopt;
    }
    auto table = std::make_shared<OffsetTable>();
    if (rule->daylight != rule->standard) {
        table->until = sys_days(lastYear / std::chrono::January / 1);
    }
    for (std::chrono::year year = firstYear; year < lastYear; ++year) {
        addChangesOf(year, *rule, *table);
    }
    return Zone::fromTable(std::move(table));
}

} // namespace quenbrook::platform::icalendar
