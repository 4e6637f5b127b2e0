#pragma once

#include "platform/icalendar/time/Zone.h"

#include <optional>
#include <string_view>

namespace quenbrook::platform::icalendar {

// The zone of a rule as POSIX has it for the TZ variable, "EST5EDT,M3.2.0,M11.1.0" or
// "<+0330>-3:30"; nothing when it does not begin with a name and an offset. Read as the GNU C
// library reads it, its indulgence included: without the rules the clocks change on the dates of
// the United States, what follows a rule that cannot be read is passed over, and before 1970 they
// do not change. Changes after the year 2200 are not looked at.
std::optional<Zone> readPosixZone(std::string_view rule);

} // namespace quenbrook::platform::icalendar
