#pragma once

#include "platform/CalendarStore.h"
#include "platform/icalendar/CalendarReader.h"

#include <optional>
#include <string>
#include <string_view>

// The changes a store makes to the text of one calendar file. Everything that a change does not
// carry keeps its bytes. Nothing as an answer means that the change is refused: the event is not
// there (any more), ends before it starts, or would hold what iCalendar cannot (a text with control
// characters other than tab and line feed; an alarm more than 2^31 - 1 seconds away; an instant
// outside of the years 0001 to 9999; more than is read of one event).
namespace quenbrook::platform::icalendar {

// A new stream with one event. `now` becomes its DTSTAMP, CREATED and LAST-MODIFIED. Timed events
// carry the machine's zone, so that a series keeps its wall-clock time over daylight saving.
std::optional<std::string> newStream(
    std::string_view uid, const EventChanges& changes, Instant now);

// The stream with the changes applied to this event only. Of a series: makes or changes the
// exception for the occurrence, unless the changes bring other rules; these rewrite the series from
// the occurrence on and drop its exceptions.
std::optional<std::string> updatedStream(
    std::string_view text, const EventKey& key, const EventChanges& changes, Instant now);

// The stream without this event; of a series, with the occurrence excluded. An empty text means
// that nothing is left in the stream and the file has to go.
std::optional<std::string> streamWithout(std::string_view text, const EventKey& key, Instant now);

} // namespace quenbrook::platform::icalendar
