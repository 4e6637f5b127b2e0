#pragma once

#include "icalendar/time/Zone.h"

#include <optional>
#include <string_view>

namespace quenbrook::icalendar {

// The zone of a TZID that is no name of the system's zone data and that the file does not define,
// as other programs write them. The first of these counts:
// - a name that Windows has ("Eastern Standard Time", as the Unicode CLDR maps it);
// - a name of the zone data behind a slash ("/vendor/version/Europe/Berlin");
// - a name of the zone data, whole or behind a slash, without regard to case ("america/new_york",
// "tzone://Microsoft/Utc");
// - a name as Exchange and Outlook show it, with the offset from UTC that it states or without one:
//   the zone of Windows that its words name ("(UTC-05:00) Eastern Time (US & Canada)"), or that of
//   a city among them ("(GMT+10:00) Canberra, Melbourne, Sydney"), when it has that offset in
//   summer or in winter;
// - the stated offset itself, the whole year ("UTC-03:00", "GMT+0100", "(GMT +01:00)").
//
// Returns nullopt when it is none of them. Several threads may ask at once.
std::optional<Zone> zoneOfForeignName(std::string_view name);

} // namespace quenbrook::icalendar
