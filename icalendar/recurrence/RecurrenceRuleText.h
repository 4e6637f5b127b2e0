#pragma once

#include "icalendar/time/LocalTime.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Recurrence rules as values, and their text: what is read is what is written, in its order, to the
// last number, or it is no rule at all.
namespace quenbrook::icalendar {

// From fine to coarse: the order may be compared.
enum class Frequency { secondly, minutely, hourly, daily, weekly, monthly, yearly };

// One entry of BYDAY: a weekday, and which one within the month or year (negative: from its end;
// 0: every one).
struct WeekdayNumber {
    int ordinal = 0;
    std::chrono::weekday day;

    bool operator==(const WeekdayNumber&) const = default;
};

// The UNTIL of a rule, as written.
struct Until {
    enum class Kind { date, local, utc };

    // Midnight for a date; the UTC wall clock for Kind::utc.
    LocalTime time;
    Kind kind = Kind::utc;

    bool operator==(const Until&) const = default;
};

// What becomes of a day of the month that a month does not have (RFC 7529): it is passed over, or
// moves to the month's last day or to the first of the next one.
enum class Skip { omit, backward, forward };

// A recurrence rule (RFC 5545 section 3.3.10). The BY lists keep the order in which they are
// written, entries named twice included; an empty list means that the part is absent. When COUNT
// and UNTIL are both there, the rule ends with whichever comes first.
struct Recur {
    Frequency frequency = Frequency::daily;
    std::int64_t interval = 1;
    std::optional<std::int64_t> count;
    std::optional<Until> until;
    std::vector<int> bySecond;
    std::vector<int> byMinute;
    std::vector<int> byHour;
    std::vector<WeekdayNumber> byDay;
    std::vector<int> byMonthDay;
    std::vector<int> byYearDay;
    std::vector<int> byWeekNumber;
    std::vector<int> byMonth;
    std::vector<int> bySetPosition;
    std::chrono::weekday weekStart = std::chrono::Monday;
    Skip skip = Skip::omit;

    bool operator==(const Recur&) const = default;
};

// Reads the value of an RRULE property. Returns nullopt when it is no valid rule. Letter case and
// the order of the parts do not matter, nor does white space around parts, values and entries of
// lists, and one semicolon may follow the last part.
//
// A rule is valid when it can only be understood in one way:
// - Every part is one of RFC 5545 section 3.3.10, written once, with values in the ranges given
//   there; INTERVAL and COUNT are 1 to 2^31, a list has at most 1,000 entries. Any other part, X-
//   parts included, makes a rule whose occurrences cannot be known.
// - RSCALE and SKIP (RFC 7529) may stand there, for the GREGORIAN calendar only. Another SKIP than
//   OMIT needs RSCALE. They are not kept where they ask for nothing new.
// - No part stands where the RFC gives it no meaning: BYWEEKNO outside YEARLY, BYYEARDAY in DAILY,
//   WEEKLY and MONTHLY, BYMONTHDAY in WEEKLY.
// What the RFC forbids although its meaning is plain is accepted: COUNT together with UNTIL,
// BYSETPOS without another BY part, and a BYDAY with a number outside MONTHLY and YEARLY or next to
// BYWEEKNO (no weekday comes twice in a week, so the number is passed over; outside MONTHLY and
// YEARLY it is not kept), and the number 0 in BYDAY, which counts to none and is passed over. UNTIL
// may be written as ISO 8601 has it, with hyphens and colons.
std::optional<Recur> parseRecur(std::string_view text);

// Writes the value of an RRULE property, parts in the order FREQ, INTERVAL (left out when 1),
// COUNT and UNTIL, the BY parts, WKST (left out when Monday), RSCALE and SKIP (left out when
// omitting). Reading it gives an equal rule.
std::string formatRecur(const Recur& recur);

} // namespace quenbrook::icalendar
