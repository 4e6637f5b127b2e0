#pragma once

#include "platform/CalendarStore.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a store asks of the text of one calendar file (an iCalendar stream, RFC 5545 section 3.4).
// Anything broken in it is passed over; the rest is reported.
namespace quenbrook::platform::icalendar {

// What names one event of a file, or one occurrence of a series.
struct EventKey {
    std::string uid;
    // Where the recurrence set has the occurrence; absent for an event that does not recur.
    std::optional<std::chrono::sys_seconds> originalStart;
};

struct FoundEvent {
    EventKey key;
    // Identifier, calendar and handle are not set.
    Event event;
};

// The occurrences of a range, asked of many files. Files and events whose dates lie elsewhere are
// not parsed.
class RangeQuery {
  public:
    // The range as CalendarStore::events has it.
    RangeQuery(Instant from, Instant until);

    std::vector<FoundEvent> eventsIn(std::string_view text) const;

  private:
    Instant from_;
    Instant until_;
};

// The event of this UID: of a series, its first occurrence that still stands.
std::optional<FoundEvent> findEvent(std::string_view text, std::string_view uid);

} // namespace quenbrook::platform::icalendar
