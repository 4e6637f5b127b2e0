#include "icalendar/recurrence/RecurrenceDays.h"

namespace quenbrook::icalendar {
namespace {

int yearDayOf(std::chrono::local_days day, std::chrono::year year) {
    return static_cast<int>((day - std::chrono::local_days{year / 1 / 1}).count()) + 1;
}

int daysIn(std::chrono::year year) {
    return year.is_leap() ? 366 : 365;
}

int daysIn(const std::chrono::year_month_day& date) {
    const auto last = date.year() / date.month() / std::chrono::last;
    return static_cast<int>(unsigned{last.day()});
}

// The place of a weekday among its like, when its day stands at `place` of `length` days.
bool namesOrdinal(const PlaceSet& ordinals, int place, int length) {
    const int fromFront = (place - 1) / 7 + 1;
    const int behind = (length - place) / 7;
    return ordinals.names(fromFront, fromFront + behind);
}

} // namespace

PlaceSet::PlaceSet(const std::vector<int>& places) {
    for (const int place : places) {
        insert(place);
    }
}

void PlaceSet::insert(int place) {
    if (place < -farthest || place > farthest) {
        return;
    }
    places_.set(index(place));
    empty_ = false;
}

RecurrenceDays::RecurrenceDays(const Recur& recur, std::chrono::local_days start)
    : months_(recur.byMonth)
    , weekNumbers_(recur.byWeekNumber)
    , yearDays_(recur.byYearDay)
    , monthDays_(recur.byMonthDay)
    , hasWeekdays_(!recur.byDay.empty())
    , weekStart_(recur.weekStart) {
    const bool isYearly = recur.frequency == Frequency::yearly;
    if (recur.frequency == Frequency::monthly || (isYearly && !months_.empty())) {
        ordinalScope_ = Scope::month;
    } else if (isYearly) {
        ordinalScope_ = Scope::year;
    }
    // In one week every weekday comes once, so there is nothing to count.
    if (!weekNumbers_.empty()) {
        ordinalScope_ = Scope::none;
    }

    for (const WeekdayNumber& entry : recur.byDay) {
        const auto weekday = entry.day.c_encoding();
        if (entry.ordinal == 0 || ordinalScope_ == Scope::none) {
            everyWeekday_[weekday] = true;
        } else {
            weekdayOrdinals_[weekday].insert(entry.ordinal);
            hasOrdinals_ = true;
        }
    }

    // Only a day that a month is asked for can be missing in it.
    if (recur.frequency >= Frequency::monthly && weekNumbers_.empty() && yearDays_.empty()) {
        skip_ = recur.skip;
    }

    if (hasWeekdays_ || !yearDays_.empty() || !monthDays_.empty()) {
        return;
    }
    const std::chrono::year_month_day date{start};
    const std::chrono::weekday weekday{start};
    if (recur.frequency == Frequency::weekly || (isYearly && !weekNumbers_.empty())) {
        hasWeekdays_ = true;
        everyWeekday_[weekday.c_encoding()] = true;
    } else if (recur.frequency == Frequency::monthly || isYearly) {
        monthDays_.insert(static_cast<int>(unsigned{date.day()}));
        if (isYearly && months_.empty()) {
            months_.insert(static_cast<int>(unsigned{date.month()}));
        }
    }
}

bool RecurrenceDays::contains(std::chrono::local_days day) const {
    const std::chrono::weekday weekday{day};
    if (hasWeekdays_ && !hasOrdinals_ && !everyWeekday_[weekday.c_encoding()]) {
        return false;
    }
    const std::chrono::year_month_day date{day};
    if (!mayContain(date.month())) {
        return false;
    }
    if (!monthDays_.empty() && !namesMonthDay(date)) {
        return false;
    }
    const int yearDay = yearDayOf(day, date.year());
    if (!yearDays_.empty() && !yearDays_.names(yearDay, daysIn(date.year()))) {
        return false;
    }
    if (hasOrdinals_ && !namesWeekday(weekday, date, yearDay)) {
        return false;
    }
    return weekNumbers_.empty() || namesWeek(day, weekday);
}

std::optional<std::chrono::local_days> RecurrenceDays::movedOutOf(
    std::chrono::year_month month) const {
    const std::chrono::local_days last{month / std::chrono::last};
    if (skip_ != Skip::forward || !mayContain(month.month()) ||
        !namesDayAfter(daysIn(std::chrono::year_month_day{last}))) {
        return std::nullopt;
    }
    const std::chrono::local_days first = last + std::chrono::days{1};
    const std::chrono::year_month_day date{first};
    const std::chrono::weekday weekday{first};
    const bool isNamed =
        !hasWeekdays_ || namesWeekday(weekday, date, yearDayOf(first, date.year()));
    return isNamed ? std::optional(first) : std::nullopt;
}

bool RecurrenceDays::namesMonthDay(const std::chrono::year_month_day& date) const {
    const int day = static_cast<int>(unsigned{date.day()});
    const int length = daysIn(date);
    return monthDays_.names(day, length) ||
           (skip_ == Skip::backward && day == length && namesDayAfter(length));
}

bool RecurrenceDays::namesDayAfter(int lastDay) const {
    constexpr int longestMonth = 31;
    for (int day = lastDay + 1; day <= longestMonth; ++day) {
        if (monthDays_.contains(day)) {
            return true;
        }
    }
    return false;
}

bool RecurrenceDays::namesWeekday(
    std::chrono::weekday weekday, const std::chrono::year_month_day& date, int yearDay) const {
    if (everyWeekday_[weekday.c_encoding()]) {
        return true;
    }
    const PlaceSet& ordinals = weekdayOrdinals_[weekday.c_encoding()];
    if (ordinalScope_ == Scope::month) {
        return namesOrdinal(ordinals, static_cast<int>(unsigned{date.day()}), daysIn(date));
    }
    return namesOrdinal(ordinals, yearDay, daysIn(date.year()));
}

bool RecurrenceDays::namesWeek(std::chrono::local_days day, std::chrono::weekday weekday) const {
    // A week belongs to the year that holds its fourth day.
    const auto fourthDay = day - (weekday - weekStart_) + std::chrono::days{3};
    const auto year = std::chrono::year_month_day{fourthDay}.year();
    const int yearDay = yearDayOf(fourthDay, year);
    const int number = (yearDay - 1) / 7 + 1;
    return weekNumbers_.names(number, number + (daysIn(year) - yearDay) / 7);
}

} // namespace quenbrook::icalendar
