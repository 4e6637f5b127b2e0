#pragma once

#include <string>
#include <string_view>

namespace quenbrook::icalendar {

// A VEVENT whose yearly rules with a day of the month, and with no part that names a month, a week
// or a day of the week or year, are limited to the month of its DTSTART; the rest keeps its bytes.
// By the letter (RFC 5545 section 3.3.10) such a rule means that day of every month; libical reads
// it as that of one month, and Evolution Data Server relies on it: it writes the last day of
// February, for birthdays on its 29th, as "FREQ=YEARLY;BYMONTHDAY=-1".
std::string withYearlyRulesInMonthOfStart(std::string_view event);

} // namespace quenbrook::icalendar
