#pragma once

#include "icalendar/text/TextRange.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include <absl/container/inlined_vector.h>

namespace quenbrook::icalendar {

// Whole days, both ends included.
struct DayRange {
    std::chrono::sys_days first;
    std::chrono::sys_days last;
};

// What one quick pass over a VEVENT tells, without parsing it.
struct EventSummary {
    TextRange range;
    // Empty when there is no UID.
    TextRange uidLine;
    // The dates written in DTSTART and DTEND or after DURATION, whatever their zones; absent when
    // they must be parsed to be known.
    std::optional<DayRange> days;
    // The date written in UNTIL, when there is one rule and it has one.
    std::optional<std::chrono::sys_days> until;
    // Whether it stands in a VCALENDAR, as it must (RFC 5545 section 3.4).
    bool isInCalendar = true;
    bool hasRule = false;
    bool hasAddedDates = false;
    // It is an override that moves others, too.
    bool movesOthers = false;

    // Whether an instance may overlap these days: false only when none can. The caller leaves room
    // for the difference between zones.
    bool mayOverlap(const DayRange& wanted) const;
};

// Where the components of an iCalendar stream (RFC 5545 section 3.4) stand, in a VCALENDAR or
// not, found in one pass that parses nothing; ranges are of the text that was looked at.
// Components that are not closed, or not closed properly, are passed over.
struct StreamScan {
    // Nearly every file has one of each.
    absl::InlinedVector<EventSummary, 1> events;
    absl::InlinedVector<TextRange, 1> timeZones;
    // How many other complete components (VTODO, VJOURNAL, …) there are.
    std::size_t others = 0;
    // How many components were begun and never properly ended.
    std::size_t broken = 0;
};
StreamScan scanStream(std::string_view text);

// The UID, decoded, of an event in the scan of this text; empty when there is none.
std::string uidOf(std::string_view text, const EventSummary& event);

} // namespace quenbrook::icalendar
