#pragma once

#include "tests/contract/StoreHarness.h"

#include <string>

namespace quenbrook::contract {

// The seed as a VEVENT, with its name as the UID, for stores that keep iCalendar.
std::string seedText(const EventSeed& seed);

} // namespace quenbrook::contract
