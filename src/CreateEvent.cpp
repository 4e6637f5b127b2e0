#include "src/AlarmOffsets.h"
#include "src/DTOs/WireDates.h"
#include "src/EmailAddress.h"
#include "src/ErrorCodes.h"
#include "src/EventStoreClient.h"
#include "src/RecurrenceRuleBuilder.h"

namespace quenbrook {
namespace {

model::EventChanges newEvent(const CreateEventRequest& request) {
    model::EventChanges event;
    event.title = request.title;
    event.start = parseISO8601(request.startISO);
    event.end = parseISO8601(request.endISO);
    event.isAllDay = request.isAllDay.value_or(false);
    event.location = request.location;
    event.notes = request.notes;
    if (request.alarmMinutes) {
        event.alarms = alarmOffsets(*request.alarmMinutes);
    }
    if (request.recurrenceRule) {
        event.recurrenceRules = {buildRecurrenceRule(*request.recurrenceRule)};
    }
    return event;
}

} // namespace

CreateEventResponse EventStoreClient::createEvent(const CreateEventRequest& request) {
    const std::optional<model::Calendar> calendar = store_->calendar(request.calendarId);
    if (!calendar) {
        throw QuenbrookError(ErrorCase::calendarNotFound, request.calendarId);
    }
    if (!calendar->allowsContentModifications) {
        throw QuenbrookError(
            ErrorCase::readOnlyCalendar, "Calendar " + request.calendarId + " is read-only.");
    }
    if (request.attendeesV2 && !areEmailAddresses(*request.attendeesV2)) {
        throw QuenbrookError(
            ErrorCase::invalidJSON, "attendeesV2 contains an invalid email address.");
    }

    const std::optional<model::SavedEvent> saved = store_->create(*calendar, newEvent(request));
    if (!saved) {
        throw QuenbrookError(ErrorCase::eventStoreSaveFailed, "EventKit save failed");
    }
    CreateEventResponse response;
    response.id = saved->identifier.value_or("");
    response.calendarId = saved->calendarIdentifier;
    response.startISO = isoFormatterWithFractional().stringFromDate(saved->start);
    response.endISO = isoFormatterWithFractional().stringFromDate(saved->end);
    return response;
}

} // namespace quenbrook
