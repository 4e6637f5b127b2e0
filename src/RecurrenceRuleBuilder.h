#pragma once

#include "src/DTOs/WriteRecords.h"
#include "stores/CalendarStore.h"

namespace quenbrook {

// The platform's form of a rule that a request asks for: every so many days, weeks, months or
// years, with an end by count, by date, or none. Throws invalidJSON for the first of frequency,
// interval (1 to 366), count (1 to 1000, and not together with an end date) that is wrong, and
// invalidDate for the end date.
model::RecurrenceRule buildRecurrenceRule(const RecurrenceRuleDTO& rule);

} // namespace quenbrook
