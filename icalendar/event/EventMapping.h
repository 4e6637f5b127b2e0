#pragma once

#include "icalendar/event/Series.h"
#include "model/Event.h"

namespace quenbrook::icalendar {

// One instance as the store hands it out; identifier, calendar and handle are left to the store.
// Every instance of a series carries the rules of the series, overrides too.
model::Event eventOf(const Instance& instance);

} // namespace quenbrook::icalendar
