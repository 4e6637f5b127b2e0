#pragma once

#include "icalendar/CalendarReader.h"
#include "model/EventChanges.h"
#include "model/Instant.h"

#include <optional>
#include <string>
#include <string_view>

// The changes a store makes to the text of one calendar file. Each takes the text as the file has
// it and answers with the whole text that is to take its place; writing it, and finding out whether
// the file is still what was read, is the store's part. Everything that a change does not carry
// keeps its bytes, line endings included.
//
// Returns nullopt when the change is refused: the event is not there (any more), stands
// outside of a VCALENDAR, ends before it starts, or would hold what iCalendar cannot (a text with
// control characters other than tab and line breaks; an alarm more than 2^31 - 1 seconds away; an
// instant outside of the years 0001 to 9999; more than is read of one event), or more would change
// with it than that one event. Instants are cut to whole seconds. Only a lack of memory throws.
//
// `key` is what CalendarReader.h has handed out for the event, from this text or an earlier one.
// `now` is the moment of the change, for the stamps.
namespace quenbrook::icalendar {

// A new stream with one event, its lines ending in CRLF. `uid` is the caller's, unique in the world
// (RFC 7986 section 5.3); the changes must carry a start and an end. `now` becomes DTSTAMP, CREATED
// and LAST-MODIFIED. Timed events carry the machine's zone with its VTIMEZONE, so that a series
// keeps its wall-clock time over daylight saving.
std::optional<std::string> newStream(
    std::string_view uid, const model::EventChanges& changes, model::Instant now);

// The stream with the changes applied to this event only. Of a series: makes or changes the
// override for the instance, unless the changes bring other rules; these rewrite the series from
// the instance on and drop its overrides.
std::optional<std::string> updatedStream(std::string_view text, const EventKey& key,
    const model::EventChanges& changes, model::Instant now);

// The stream without this event; of a series, with the instance excluded. An empty text means
// that nothing is left in the stream and the file has to go. Refused when it cannot be told whether
// anything is left of the series.
std::optional<std::string> streamWithout(
    std::string_view text, const EventKey& key, model::Instant now);

} // namespace quenbrook::icalendar
