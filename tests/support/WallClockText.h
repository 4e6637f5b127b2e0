#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "icalendar/recurrence/RecurrenceExpansion.h"

namespace quenbrook::test {

// Reads and writes wall-clock times as "2024-01-31 09:00:00".
std::optional<icalendar::LocalTime> parseWallClock(std::string_view text);
std::string formatWallClock(icalendar::LocalTime time);

// The first occurrences, at most `limit`; UNTIL is compared as a wall-clock time.
std::vector<icalendar::LocalTime> firstOccurrences(
    const icalendar::Recur& recur, icalendar::LocalTime start, std::size_t limit);

} // namespace quenbrook::test
