#include "tests/fuzz/RecurrencePredicates.h"

#include <algorithm>
#include <map>
#include <set>

namespace quenbrook::test {
namespace {

using icalendar::Frequency;
using icalendar::LocalTime;
using icalendar::Recur;
using icalendar::Skip;
using icalendar::WeekdayNumber;
using std::chrono::days;
using std::chrono::local_days;
using std::chrono::year_month_day;

constexpr std::size_t mostOfPeriod = 20'000;

bool contains(const std::vector<int>& list, int value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

// Whether the list has the place of `length`, counted from the front or from the back.
bool containsPlace(const std::vector<int>& list, int place, int length) {
    return contains(list, place) || contains(list, place - length - 1);
}

int dayOfMonth(local_days day) {
    return static_cast<int>(unsigned{year_month_day{day}.day()});
}

int monthOf(local_days day) {
    return static_cast<int>(unsigned{year_month_day{day}.month()});
}

int yearOf(local_days day) {
    return int{year_month_day{day}.year()};
}

local_days newYear(int year) {
    return local_days{std::chrono::year{year} / 1 / 1};
}

int lengthOfMonth(local_days day) {
    const year_month_day date{day};
    return dayOfMonth(local_days{date.year() / date.month() / std::chrono::last});
}

int lengthOfYear(int year) {
    return static_cast<int>((newYear(year + 1) - newYear(year)).count());
}

int dayOfYear(local_days day) {
    return static_cast<int>((day - newYear(yearOf(day))).count()) + 1;
}

// The first day of week 1: of the first week with four days in the year.
local_days firstWeek(int year, std::chrono::weekday weekStart) {
    const local_days fourth = newYear(year) + days{3};
    return fourth - (std::chrono::weekday{fourth} - weekStart);
}

class Predicates {
  public:
    Predicates(const Recur& rule, LocalTime start)
        : rule_(rule)
        , start_(start)
        , startDay_(std::chrono::floor<days>(start))
        , isDayOpen_(rule.byDay.empty() && rule.byMonthDay.empty() && rule.byYearDay.empty()) {}

    // All that tell the day, but the day of the month.
    bool letsPassBesideMonthDay(local_days day) const {
        return month(day) && weekNumber(day) && yearDay(day) && weekday(day);
    }

    bool month(local_days day) const {
        if (rule_.byMonth.empty()) {
            const bool isOpen =
                rule_.frequency == Frequency::yearly && isDayOpen_ && rule_.byWeekNumber.empty();
            return !isOpen || monthOf(day) == monthOf(startDay_);
        }
        return contains(rule_.byMonth, monthOf(day));
    }

    bool weekday(local_days day) const {
        const std::chrono::weekday weekday{day};
        if (rule_.byDay.empty()) {
            const bool isOpen =
                isDayOpen_ && (rule_.frequency == Frequency::weekly || !rule_.byWeekNumber.empty());
            return !isOpen || weekday == std::chrono::weekday{startDay_};
        }
        return std::any_of(rule_.byDay.begin(), rule_.byDay.end(), [&](const WeekdayNumber& entry) {
            return entry.day == weekday && (entry.ordinal == 0 || ordinal(day, entry.ordinal));
        });
    }

    // The days of the month that are asked for; the start's where nothing else tells the day.
    std::vector<int> monthDays() const {
        const bool isOpen =
            isDayOpen_ && rule_.byWeekNumber.empty() &&
            (rule_.frequency == Frequency::monthly || rule_.frequency == Frequency::yearly);
        return isOpen ? std::vector<int>{dayOfMonth(startDay_)} : rule_.byMonthDay;
    }

    bool monthDay(local_days day) const {
        const std::vector<int> asked = monthDays();
        return asked.empty() || containsPlace(asked, dayOfMonth(day), lengthOfMonth(day));
    }

    bool hour(int value) const {
        return clock(rule_.byHour, Frequency::hourly, value, part(start_, 3600, 24));
    }
    bool minute(int value) const {
        return clock(rule_.byMinute, Frequency::minutely, value, part(start_, 60, 60));
    }
    bool second(int value) const {
        // A leap second counts as the one before it.
        std::vector<int> seconds = rule_.bySecond;
        std::replace(seconds.begin(), seconds.end(), 60, 59);
        return clock(seconds, Frequency::secondly, value, part(start_, 1, 60));
    }

  private:
    static int part(LocalTime time, int unit, int count) {
        return static_cast<int>((time - std::chrono::floor<days>(time)).count() / unit % count);
    }

    bool clock(const std::vector<int>& asked, Frequency unit, int value, int ofStart) const {
        if (asked.empty()) {
            return rule_.frequency <= unit || value == ofStart;
        }
        return contains(asked, value);
    }

    bool weekNumber(local_days day) const {
        if (rule_.byWeekNumber.empty()) {
            return true;
        }
        int year = yearOf(day) + 1;
        while (day < firstWeek(year, rule_.weekStart)) {
            --year;
        }
        const local_days first = firstWeek(year, rule_.weekStart);
        const auto count = (firstWeek(year + 1, rule_.weekStart) - first).count() / 7;
        const auto number = (day - first).count() / 7 + 1;
        return containsPlace(rule_.byWeekNumber, static_cast<int>(number), static_cast<int>(count));
    }

    bool yearDay(local_days day) const {
        return rule_.byYearDay.empty() ||
               containsPlace(rule_.byYearDay, dayOfYear(day), lengthOfYear(yearOf(day)));
    }

    // Counted in the month or the year; where weeks are numbered there is nothing to count.
    bool ordinal(local_days day, int number) const {
        if (!rule_.byWeekNumber.empty()) {
            return true;
        }
        const bool isOfMonth = rule_.frequency == Frequency::monthly || !rule_.byMonth.empty();
        const local_days first = isOfMonth ? day - days{dayOfMonth(day) - 1} : newYear(yearOf(day));
        const local_days end =
            first + days{isOfMonth ? lengthOfMonth(day) : lengthOfYear(yearOf(day))};
        std::vector<local_days> alike;
        for (local_days each = first; each < end; each += days{1}) {
            if (std::chrono::weekday{each} == std::chrono::weekday{day}) {
                alike.push_back(each);
            }
        }
        const auto place = std::find(alike.begin(), alike.end(), day) - alike.begin() + 1;
        return number == place || number == place - std::ssize(alike) - 1;
    }

    const Recur& rule_;
    LocalTime start_;
    local_days startDay_;
    bool isDayOpen_;
};

std::int64_t periodOf(const Recur& rule, LocalTime time) {
    const local_days day = std::chrono::floor<days>(time);
    const auto sinceEpoch = time.time_since_epoch().count();
    switch (rule.frequency) {
    case Frequency::secondly:
        return sinceEpoch;
    case Frequency::minutely:
        return std::chrono::floor<std::chrono::minutes>(time.time_since_epoch()).count();
    case Frequency::hourly:
        return std::chrono::floor<std::chrono::hours>(time.time_since_epoch()).count();
    case Frequency::daily:
        return day.time_since_epoch().count();
    case Frequency::weekly: {
        const local_days first = day - (std::chrono::weekday{day} - rule.weekStart);
        return std::chrono::floor<std::chrono::weeks>(first.time_since_epoch()).count();
    }
    case Frequency::monthly:
        return std::int64_t{yearOf(day)} * 12 + monthOf(day);
    case Frequency::yearly:
        break;
    }
    return yearOf(day);
}

// By the period to which they belong: a day that moves into the next month stays one of its own.
using Periods = std::map<std::int64_t, std::set<LocalTime>>;

// False when a period has too many.
bool addTimesOf(local_days day, local_days ofPeriod, const Recur& rule, const Predicates& passes,
    LocalTime start, LocalTime until, Periods& periods) {
    const std::int64_t first = periodOf(rule, start);
    for (int hour = 0; hour < 24; ++hour) {
        // No period within a day is longer than the hour.
        const LocalTime begin = day + std::chrono::hours{hour};
        const bool isOutside = begin >= until || begin + std::chrono::hours{1} <= start;
        if (rule.frequency < Frequency::daily && isOutside) {
            continue;
        }
        for (int minute = 0; passes.hour(hour) && minute < 60; ++minute) {
            for (int second = 0; passes.minute(minute) && second < 60; ++second) {
                const auto clock = std::chrono::hours{hour} + std::chrono::minutes{minute} +
                                   std::chrono::seconds{second};
                const std::int64_t period = periodOf(rule, ofPeriod + clock);
                if (!passes.second(second) || period < first ||
                    (period - first) % rule.interval != 0) {
                    continue;
                }
                std::set<LocalTime>& times = periods[period];
                times.insert(day + clock);
                if (times.size() > mostOfPeriod) {
                    return false;
                }
            }
        }
    }
    return true;
}

} // namespace

std::optional<std::vector<LocalTime>> occurrencesByPredicates(
    const Recur& rule, LocalTime start, LocalTime until) {
    const Predicates passes(rule, start);
    const bool moves = rule.skip != Skip::omit && rule.frequency >= Frequency::monthly &&
                       rule.byWeekNumber.empty() && rule.byYearDay.empty();
    const std::vector<int> monthDays = passes.monthDays();
    Periods periods;
    // A period may begin before the start, and end after what is asked for.
    const days around{rule.frequency >= Frequency::daily ? 366 : 0};
    const local_days last = std::chrono::floor<days>(until) + around;
    for (local_days day = std::chrono::floor<days>(start) - around; day <= last; day += days{1}) {
        if (passes.letsPassBesideMonthDay(day) && passes.monthDay(day) &&
            !addTimesOf(day, day, rule, passes, start, until, periods)) {
            return std::nullopt;
        }
        const int length = lengthOfMonth(day);
        const bool isLacking =
            dayOfMonth(day) == length && std::any_of(monthDays.begin(), monthDays.end(),
                                             [&](int asked) { return asked > length; });
        if (!moves || !isLacking || !passes.month(day)) {
            continue;
        }
        const local_days moved = rule.skip == Skip::forward ? day + days{1} : day;
        if (passes.weekday(moved) && !addTimesOf(moved, day, rule, passes, start, until, periods)) {
            return std::nullopt;
        }
    }

    std::set<LocalTime> all{start};
    for (const auto& [period, times] : periods) {
        std::vector<LocalTime> chosen(times.begin(), times.end());
        if (!rule.bySetPosition.empty()) {
            chosen.clear();
            int place = 0;
            for (const LocalTime time : times) {
                ++place;
                if (containsPlace(rule.bySetPosition, place, static_cast<int>(std::ssize(times)))) {
                    chosen.push_back(time);
                }
            }
        }
        all.insert(chosen.begin(), chosen.end());
    }
    all.erase(all.begin(), all.find(start));
    std::vector<LocalTime> found(all.begin(), all.end());
    if (rule.count && std::ssize(found) > *rule.count) {
        found.resize(static_cast<std::size_t>(*rule.count));
    }
    std::erase_if(found, [&](LocalTime time) { return time >= until; });
    return found;
}

} // namespace quenbrook::test
