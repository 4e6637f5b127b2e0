#pragma once

#include "icalendar/CalendarReader.h"
#include "stores/CalendarStore.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace quenbrook::test {

// Reads "2026-03-29T01:00:00Z". Throws std::invalid_argument when it is nothing of the kind.
std::chrono::sys_seconds at(std::string_view text);
// Reads the same as what a wall clock shows: the "Z" is in its place and means nothing.
std::chrono::local_seconds wall(std::string_view text);
// "2026-03-29T01:00:00Z".
std::string written(model::Instant instant);
// "2026-03-29T01:00:00Z/2026-03-29T02:00:00Z".
std::string spanOf(const model::Event& event);

// Lines that end in a line feed become lines that end in CRLF.
std::string crlf(std::string_view text);
// A stream with these lines in its VCALENDAR; every line ends in CRLF.
std::string stream(std::string_view lines);
// A stream with one event "e" that has these properties and components besides UID and DTSTAMP.
std::string eventStream(std::string_view lines);

// A VTIMEZONE of Tokyo's clock under this name, as lines for a stream.
std::string tokyoUnderTheName(std::string_view name);

// The spans of the events of a range, in the order of their starts.
std::vector<std::string> spansIn(
    std::string_view text, std::string_view from, std::string_view until);

// The physical lines, endings included.
std::vector<std::string> linesOf(std::string_view text);
// What a change made of a text, line by line: "-" before a line that is gone, "+" before one that
// is new, in their order, endings dropped. Lines that stayed are left out.
std::vector<std::string> differences(std::string_view before, std::string_view after);

} // namespace quenbrook::test
