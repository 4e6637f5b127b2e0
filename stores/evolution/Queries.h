#pragma once

#include "stores/CalendarStore.h"

#include <string>
#include <vector>

namespace quenbrook::stores::evolution {

// Asks for every event of a calendar.
constexpr const char* everyEvent = "#t";

// Queries whose answers together hold each event once that has an occurrence in the range, and some
// more. Returns no query when every event has to be asked for. The service's own idea of a range
// misses occurrences, those of moved and of zoned ones, a day or so around its ends; and to tell
// which series reach into it, it expands them from their beginnings, which takes it longer than all
// else. So events that recur are all fetched, and others from some days around.
std::vector<std::string> rangeQueries(model::Instant start, model::Instant end);

} // namespace quenbrook::stores::evolution
