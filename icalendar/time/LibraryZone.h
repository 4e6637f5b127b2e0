#pragma once

#include "icalendar/time/LocalTime.h"
#include "icalendar/time/Zone.h"

#include <chrono>
#include <optional>

// The machine's zone as the C library has it: a rule in the TZ variable ("EST5EDT,M3.2.0,M11.1.0",
// "<+0330>-3:30": POSIX, Base Definitions 8.3) means what localtime_r() takes it for. Before the
// first question, and after the variable has changed, useLibraryZone() must be called. Several
// threads may ask at once. Nothing here fails: a rule that the library does not understand is UTC.
namespace quenbrook::icalendar {

// Makes the library read the variable as it is now.
void useLibraryZone();

std::chrono::seconds libraryOffsetAt(std::chrono::sys_seconds instant);

// A wall-clock time that occurs twice means the first; one that is skipped is read with the offset
// before the gap.
std::chrono::sys_seconds libraryInstantOf(LocalTime time);

// The first change after an instant, looked for up to the year 2200, and the last one at or before
// it, looked for back to 1970: the library has no changes before. Changes less than a week
// apart may not be found. Returns nullopt when there is none.
std::optional<OffsetChange> libraryChangeAfter(std::chrono::sys_seconds instant);
std::optional<OffsetChange> libraryChangeUpTo(std::chrono::sys_seconds instant);

} // namespace quenbrook::icalendar
