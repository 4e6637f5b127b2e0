#pragma once

#include <array>
#include <cstddef>

#include "icalendar/recurrence/RecurrenceRuleText.h"

namespace quenbrook::icalendar {

// What a BY part does to the occurrences of one period: it takes some away, it makes more of them,
// or it has no meaning at that frequency and MUST NOT stand there.
enum class PartEffect { limit, expand, meaningless };

enum class ByPart { month, weekNumber, yearDay, monthDay, day, hour, minute, second };

// The table of RFC 5545 section 3.3.10. Its two notes, where BYDAY in a MONTHLY or YEARLY rule may
// also limit, come out by themselves when a day has to pass every part that names days.
constexpr PartEffect effectOf(ByPart part, Frequency frequency) {
    constexpr PartEffect L = PartEffect::limit;
    constexpr PartEffect E = PartEffect::expand;
    constexpr PartEffect X = PartEffect::meaningless;
    constexpr std::array<std::array<PartEffect, 7>, 8> effects{{
        // secondly, minutely, hourly, daily, weekly, monthly, yearly
        {L, L, L, L, L, L, E}, // BYMONTH
        {X, X, X, X, X, X, E}, // BYWEEKNO
        {L, L, L, X, X, X, E}, // BYYEARDAY
        {L, L, L, L, X, E, E}, // BYMONTHDAY
        {L, L, L, L, E, E, E}, // BYDAY
        {L, L, L, E, E, E, E}, // BYHOUR
        {L, L, E, E, E, E, E}, // BYMINUTE
        {L, E, E, E, E, E, E}, // BYSECOND
    }};
    return effects[static_cast<std::size_t>(part)][static_cast<std::size_t>(frequency)];
}

// Whether any part of the rule has this effect at the rule's frequency.
inline bool hasPartWith(PartEffect effect, const Recur& recur) {
    const auto matches = [&](ByPart part, const auto& list) {
        return !list.empty() && effectOf(part, recur.frequency) == effect;
    };
    return matches(ByPart::month, recur.byMonth) ||
           matches(ByPart::weekNumber, recur.byWeekNumber) ||
           matches(ByPart::yearDay, recur.byYearDay) ||
           matches(ByPart::monthDay, recur.byMonthDay) || matches(ByPart::day, recur.byDay) ||
           matches(ByPart::hour, recur.byHour) || matches(ByPart::minute, recur.byMinute) ||
           matches(ByPart::second, recur.bySecond);
}

} // namespace quenbrook::icalendar
