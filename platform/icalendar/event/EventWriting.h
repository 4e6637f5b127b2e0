#pragma once

#include "platform/CalendarStore.h"
#include "platform/icalendar/event/EventDates.h"
#include "platform/icalendar/text/ComponentEdit.h"

#include <optional>
#include <string>

namespace quenbrook::platform::icalendar {

// Whether iCalendar can hold the texts, the alarms and the rules of the changes.
bool canHold(const EventChanges& changes);

// What a change makes of the dates of an event: each is set only when it is to be written.
struct PlannedDates {
    std::optional<DateTime> start;
    std::optional<DateTime> end;
    // DTEND and DURATION are to go, because the event has no length.
    bool endGoes = false;
};

// Nothing when the event would end before it starts or leave the years that can be held.
// `span` is when the occurrence takes place; `all` asks for both dates whatever the changes carry.
std::optional<PlannedDates> planDates(
    const EventComponent& event, const TimeSpan& span, const EventChanges& changes, bool all);

// Each writes one group of properties of `event` through `edit`.
void writeDates(ComponentEdit& edit, const EventComponent& event, const PlannedDates& dates);
void writeTexts(ComponentEdit& edit, const Component& event, const EventChanges& changes);
void writeAlarms(ComponentEdit& edit, const EventChanges& changes, std::string_view lineEnd);
void writeRules(ComponentEdit& edit, const DateTime& start, const EventChanges& changes);
void writeStamps(ComponentEdit& edit, const Component& event, Instant now);

// The rule as it is written for an event that starts like this; the rule must be one that canHold.
Recur recurOf(const RecurrenceRule& rule, const DateTime& start);

// "NAME;PARAMETERS:VALUE" with the name and parameters of an existing property.
std::string withValue(const ContentLine& existing, std::string_view value);

// An instant as these properties have it: whole seconds in UTC.
std::string utcText(Instant instant);

} // namespace quenbrook::platform::icalendar
