#pragma once

#include "platform/CalendarStore.h"

#include <string>
#include <vector>

namespace quenbrook::platform::evolution {

// Asks for every event of a calendar.
constexpr const char* everything = "#t";

// Queries whose answers together hold each event once that has an occurrence in the range, and some
// more; none when there is no narrower one than everything. The service's own idea of a range
// misses occurrences, those of moved and of zoned ones, a day or so around its ends; and to tell
// which series reach into it, it expands them from their beginnings, which takes it longer than all
// else. So events that recur are all fetched, and others from some days around.
std::vector<std::string> rangeQueries(Instant start, Instant end);

} // namespace quenbrook::platform::evolution
