#include "src/DTOs/NotesCategories.h"
#include "src/DTOs/SnapshotMapping.h"
#include "src/DTOs/WireDates.h"
#include "src/ErrorCodes.h"
#include "src/EventStoreClient.h"

#include <span>
#include <utility>

namespace quenbrook {
namespace {

std::vector<model::Calendar> knownCalendars(
    stores::CalendarStore& store, const std::optional<std::vector<std::string>>& identifiers) {
    std::vector<model::Calendar> known;
    if (identifiers) {
        for (const std::string& identifier : *identifiers) {
            if (auto calendar = store.calendar(identifier)) {
                known.push_back(std::move(*calendar));
            }
        }
    }
    return known;
}

} // namespace

void EventStoreClient::listEvents(std::string_view startISO, std::string_view endISO,
    const std::optional<std::vector<std::string>>& calendarIds,
    const std::function<void(const EventInfoDTO&)>& take) {
    const model::Instant start = parseISO8601(startISO);
    const model::Instant end = parseISO8601(endISO);

    const std::vector<model::Calendar> calendars = knownCalendars(*store_, calendarIds);
    std::optional<std::span<const model::Calendar>> filter;
    if (!calendars.empty()) {
        filter = calendars;
    }
    NotesCategories categories;
    store_->forEachEvent(start, end, filter,
        [&](model::Event event) { take(mapEvent(std::move(event), categories)); });
}

GetEventResponse EventStoreClient::getEvent(const GetEventRequest& request) {
    if (!store_->calendar(request.calendarId)) {
        throw QuenbrookError(ErrorCase::calendarNotFound, request.calendarId);
    }
    model::Event event = eventNamed(request.eventId);
    if (!event.calendar || event.calendar->identifier != request.calendarId) {
        throw QuenbrookError(ErrorCase::eventNotFound, request.eventId);
    }
    NotesCategories categories;
    return {mapEvent(std::move(event), categories)};
}

GetAttendeeStatusResponse EventStoreClient::getAttendeeStatus(
    const GetAttendeeStatusRequest& request) {
    std::vector<model::Participant> participants = participantsOf(request.id);
    GetAttendeeStatusResponse response{request.id, {}};
    response.attendees.reserve(participants.size());
    for (model::Participant& participant : participants) {
        response.attendees.push_back(mapParticipant(std::move(participant)));
    }
    return response;
}

} // namespace quenbrook
