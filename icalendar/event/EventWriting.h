#pragma once

#include "icalendar/event/EventDates.h"
#include "icalendar/event/Series.h"
#include "icalendar/text/ComponentEdit.h"
#include "model/EventChanges.h"
#include "model/Instant.h"
#include "model/RecurrenceRule.h"

#include <optional>
#include <string>

namespace quenbrook::icalendar {

// Whether iCalendar can hold the texts, the alarms and the rules of the changes. All that is below
// takes only changes that it can.
bool canHold(const model::EventChanges& changes);

// What a change makes of the dates of an event: each is set only when it is to be written.
struct PlannedDates {
    std::optional<DateTime> start;
    std::optional<DateTime> end;
    // DTEND and DURATION are to go, because the event has no length.
    bool endGoes = false;

    // A date in a zone with a name; null when there is none. Start and end name one zone,
    // unless one of them needs UTC.
    const DateTime* zoned() const;
};

// For a new event: both dates. Returns nullopt when one is missing, the event would end before it
// starts or lie outside of the years that can be held.
std::optional<PlannedDates> planDates(const model::EventChanges& changes);

// For an instance that is there. Returns nullopt as above. `all` asks for both dates whatever the
// changes carry;
// `recurs` tells whether the component will recur.
//
// A date keeps its form and zone, unless it would then mean another instant to anybody: it is
// written in UTC instead. A zone that is not known here means something to others, so that no date
// that is asked for is written under its name, and none beside it keeps it: they are in UTC, of an
// event that recurs in the machine's zone.
std::optional<PlannedDates> planDates(
    const Instance& instance, const model::EventChanges& changes, bool all, bool recurs);

// A whole new VEVENT, its lines ending in `lineEnd`. `now` becomes its DTSTAMP, CREATED and
// LAST-MODIFIED. Returns nullopt when the dates lack a start.
std::optional<std::string> newEventComponent(std::string_view uid, const PlannedDates& dates,
    const model::EventChanges& changes, model::Instant now, std::string_view lineEnd);

// Changes to one component, collected in an edit of the text that it was read from. Properties that
// are not named by a change keep their bytes, those that are keep their parameters where these
// still hold.
class EventWriter {
  public:
    // The text, the component and the edit must outlive this.
    EventWriter(std::string_view text, const EventComponent& event, TextEdit& edit);

    // Everything that the changes carry, with the dates as planned, and the stamps of a change made
    // `now`.
    void update(const PlannedDates& dates, const model::EventChanges& changes, model::Instant now);
    // Takes an instance out of the recurrence set (EXDATE), with the stamps.
    void exclude(const DateTime& originalStart, model::Instant now);
    // Makes the component the override (RECURRENCE-ID) for this instance of its own set.
    void becomeOverrideFor(const DateTime& originalStart);
    // Makes an override an event of its own.
    void becomeMaster();

  private:
    const EventComponent& event_;
    ComponentEdit edit_;
    std::string_view lineEnd_;
};

// Whether the component has these rules already, as they would be written.
bool hasRules(const EventComponent& event, std::span<const model::RecurrenceRule> rules);

} // namespace quenbrook::icalendar
