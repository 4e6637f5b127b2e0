#pragma once

#include "icalendar/recurrence/RecurrenceRuleText.h"

#include <optional>
#include <vector>

namespace quenbrook::test {

// What a rule yields from `start` up to `until`, found in the slowest way: every day, hour, minute
// and second is asked whether each part of the rule lets it pass (RFC 5545 section 3.3.10). UNTIL
// is not looked at. Returns nullopt when one period holds more than can be gathered in good time.
std::optional<std::vector<icalendar::LocalTime>> occurrencesByPredicates(
    const icalendar::Recur& rule, icalendar::LocalTime start, icalendar::LocalTime until);

} // namespace quenbrook::test
