#pragma once

#include "stores/evolution/Bus.h"

#include <string>
#include <string_view>

namespace quenbrook::stores::evolution {

// Waits until the file in which the service keeps a calendar holds a revision of it, or a later
// one, and is safe on the disk. False when that could not be seen by the deadline.
bool waitUntilSaved(const std::string& file, std::string_view revision, Deadline deadline);

// Whether a revision of a calendar, as the service names it ("2026-01-05T10:00:00.000000Z(7)"), is
// this one or a later one.
bool isAtLeast(std::string_view revision, std::string_view wanted);

} // namespace quenbrook::stores::evolution
