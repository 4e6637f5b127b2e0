#pragma once

#include "stores/CalendarStore.h"

#include <memory>

namespace quenbrook::stores::evolution {

// The store over Evolution Data Server, the service that keeps the calendars of a Linux desktop,
// reached through the session's message bus. Nothing is touched before the first operation; the
// calendars are listed once, by the first operation that needs them.
std::unique_ptr<CalendarStore> openEvolutionStore();

} // namespace quenbrook::stores::evolution
