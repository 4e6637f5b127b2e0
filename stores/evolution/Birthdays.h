#pragma once

#include "stores/evolution/FactoryCalendar.h"

#include <string>

namespace quenbrook::stores::evolution {

// Waits until an open calendar of birthdays holds those of all contacts: the service makes them
// anew whenever it starts, in its own time. `addressBooks` is the name on the bus of what knows the
// contacts. Returns false when some are not there by the deadline, or when nobody tells whether
// there are any. An address book that the service cannot open has no contacts. Throws BusError when
// the calendar cannot be read. Not thread-safe.
// Source: e-cal-backend-contacts.c of EDS 3.46, which asks each address book the same question.
bool awaitBirthdays(
    Bus& bus, const std::string& addressBooks, FactoryCalendar& calendar, Deadline deadline);

} // namespace quenbrook::stores::evolution
