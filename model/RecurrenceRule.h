#pragma once

#include "model/Instant.h"
#include "model/PlatformNumbers.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace quenbrook::model {

// When a recurrence rule stops. A rule ends by count or by date, never by both.
struct RecurrenceEnd {
    // 0 when the rule ends by date.
    std::int64_t occurrenceCount = 0;
    // Absent when the rule ends by count. The last instance starts at or before it.
    std::optional<Instant> endDate;

    static RecurrenceEnd withOccurrenceCount(std::int64_t count) { return {count, std::nullopt}; }
    static RecurrenceEnd withEndDate(Instant date) { return {0, date}; }

    bool operator==(const RecurrenceEnd&) const = default;
};

struct RecurrenceRule {
    // A RecurrenceFrequency; another number is possible on reading.
    std::int64_t frequency = RecurrenceFrequency::daily;
    std::int64_t interval = 1;
    // Absent: the rule repeats without limit.
    std::optional<RecurrenceEnd> end;
    // 1 Sunday to 7 Saturday, in the rule's own order; empty when the rule names none.
    std::vector<std::int64_t> daysOfTheWeek;
    // 1 to 31, or negative to count from the month's end.
    std::vector<std::int64_t> daysOfTheMonth;
    // 1 January to 12 December.
    std::vector<std::int64_t> monthsOfTheYear;

    bool operator==(const RecurrenceRule&) const = default;
};

} // namespace quenbrook::model
