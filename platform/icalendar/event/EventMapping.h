#pragma once

#include "platform/CalendarStore.h"
#include "platform/icalendar/event/Series.h"

namespace quenbrook::platform::icalendar {

// One occurrence as the store hands it out; identifier, calendar and handle are left to the store.
// Every occurrence of a series carries the rules of the series, exceptions too.
Event eventOf(const Occurrence& occurrence);

} // namespace quenbrook::platform::icalendar
