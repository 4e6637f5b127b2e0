#pragma once

#include "model/Instant.h"
#include "model/RecurrenceRule.h"

#include <optional>
#include <string>
#include <vector>

namespace quenbrook::model {

// Values to set on an event. What is absent is not touched: a store never rewrites a property that
// the changes do not carry, so that what this interface does not model survives.
struct EventChanges {
    std::optional<std::string> title;
    std::optional<Instant> start;
    std::optional<Instant> end;
    std::optional<bool> isAllDay;
    std::optional<std::string> location;
    std::optional<std::string> notes;
    // Replaces all alarms: seconds relative to the start, negative before it.
    std::optional<std::vector<double>> alarms;
    // Replaces all rules; an empty list makes the event a single one.
    std::optional<std::vector<RecurrenceRule>> recurrenceRules;
};

} // namespace quenbrook::model
