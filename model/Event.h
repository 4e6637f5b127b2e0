#pragma once

#include "model/Calendar.h"
#include "model/Instant.h"
#include "model/PlatformNumbers.h"
#include "model/RecurrenceRule.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quenbrook::model {

struct Participant {
    // The absolute URL text, its scheme included ("mailto:…" as a rule).
    std::string url;
    std::optional<std::string> name;
    // A ParticipantStatus or another number.
    std::int64_t status = ParticipantStatus::unknown;

    bool operator==(const Participant&) const = default;
};

// What a store keeps with an event it hands out, to find that very event (and instance) again.
// Only the store that made it looks inside.
class EventHandle {
  public:
    EventHandle() = default;
    EventHandle(const EventHandle&) = delete;
    EventHandle& operator=(const EventHandle&) = delete;
    virtual ~EventHandle() = default;
};

// One event, or one instance of a recurring event, as it stood when it was read.
struct Event {
    // Shared by all instances of a series.
    std::optional<std::string> identifier;
    // Null: the event belongs to no calendar.
    std::shared_ptr<const Calendar> calendar;
    std::optional<std::string> title;
    Instant start;
    Instant end;
    bool isAllDay = false;
    std::optional<std::string> location;
    std::optional<std::string> notes;
    std::vector<Participant> participants;
    std::size_t alarmCount = 0;
    std::vector<RecurrenceRule> recurrenceRules;
    std::optional<Instant> lastModified;
    // An Availability or another number.
    std::int64_t availability = Availability::busy;
    std::shared_ptr<const EventHandle> handle;
};

// What there is to tell of an event once it has been saved.
struct SavedEvent {
    std::optional<std::string> identifier;
    // Empty: the event belongs to no calendar.
    std::string calendarIdentifier;
    // As saved, which may differ from what was to be saved.
    Instant start;
    Instant end;

    static SavedEvent of(const Event& event) {
        return {event.identifier, event.calendar ? event.calendar->identifier : std::string(),
            event.start, event.end};
    }
};

} // namespace quenbrook::model
