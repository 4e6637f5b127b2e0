#pragma once

#include <string>

namespace quenbrook::icalendar {

// What the machine's own time zone is called, as far as the TZ variable or else the link
// /etc/localtime tells: a name of the zone data as a rule, but any text is possible. Empty when
// neither tells.
std::string localTimeZoneName();

} // namespace quenbrook::icalendar
