#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "icalendar/recurrence/RecurrenceRuleText.h"

namespace quenbrook::test {

// One case of a table in tests/data/recurrence; rfc5545.txt describes the format.
struct RecurrenceCase {
    std::string file;
    int line = 0;
    std::string reason;
    std::vector<std::string> rules;
    icalendar::LocalTime start;
    std::vector<icalendar::LocalTime> occurrences;
    bool goesOn = false;
};

std::ostream& operator<<(std::ostream& out, const RecurrenceCase& recurrenceCase);

// Throws std::runtime_error when the table is missing or malformed.
std::vector<RecurrenceCase> readRecurrenceCases(const std::string& fileName);

} // namespace quenbrook::test
