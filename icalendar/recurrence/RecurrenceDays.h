#pragma once

#include <array>
#include <bitset>
#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

#include "icalendar/recurrence/RecurrenceRuleText.h"

namespace quenbrook::icalendar {

// A set of places in a row of things, each counted from 1 at the front or from -1 at the back.
class PlaceSet {
  public:
    PlaceSet() = default;
    explicit PlaceSet(const std::vector<int>& places);

    void insert(int place);
    bool empty() const { return empty_; }
    bool contains(int place) const { return places_.test(index(place)); }

    // Whether the set names the thing at `place` (from the front) of a row of `length`.
    bool names(int place, int length) const {
        return contains(place) || contains(place - length - 1);
    }

  private:
    // The longest row is a leap year's days.
    static constexpr int farthest = 366;

    static std::size_t index(int place) {
        const int fromFarthest = farthest + place;
        return static_cast<std::size_t>(fromFarthest);
    }

    std::bitset<2 * farthest + 1> places_;
    bool empty_ = true;
};

// The days that a rule may fall on: those that every part naming days (BYMONTH, BYWEEKNO,
// BYYEARDAY, BYMONTHDAY, BYDAY) lets pass. Where the rule leaves the day of its week, month or year
// open, the start's stands in (RFC 5545 section 3.3.10).
//
// A day belongs to a week by its ISO 8601 number, weeks beginning at WKST. The days around the turn
// of the year count in the calendar year they lie in, whichever year their week is numbered in.
class RecurrenceDays {
  public:
    RecurrenceDays(const Recur& recur, std::chrono::local_days start);

    // False when no day of the month, in whatever year, is let pass.
    bool mayContain(std::chrono::month month) const {
        return months_.empty() || months_.contains(static_cast<int>(unsigned{month}));
    }

    bool contains(std::chrono::local_days day) const;

    // The first day of the month after this one, when days that this one does not have move there
    // (SKIP=FORWARD) and the weekday may be. Returns nullopt when it takes none in.
    std::optional<std::chrono::local_days> movedOutOf(std::chrono::year_month month) const;

  private:
    // What a number in BYDAY counts through.
    enum class Scope { none, month, year };

    bool namesWeekday(
        std::chrono::weekday weekday, const std::chrono::year_month_day& date, int yearDay) const;
    bool namesWeek(std::chrono::local_days day, std::chrono::weekday weekday) const;
    bool namesMonthDay(const std::chrono::year_month_day& date) const;
    // Whether days are named that a month of this length does not have.
    bool namesDayAfter(int lastDay) const;

    PlaceSet months_;
    PlaceSet weekNumbers_;
    PlaceSet yearDays_;
    PlaceSet monthDays_;
    bool hasWeekdays_ = false;
    bool hasOrdinals_ = false;
    std::array<bool, 7> everyWeekday_{};
    std::array<PlaceSet, 7> weekdayOrdinals_;
    Scope ordinalScope_ = Scope::none;
    std::chrono::weekday weekStart_;
    Skip skip_ = Skip::omit;
};

} // namespace quenbrook::icalendar
