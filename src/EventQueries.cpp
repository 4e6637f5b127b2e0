#include "src/DTOs/NotesCategories.h"
#include "src/DTOs/SnapshotMapping.h"
#include "src/DTOs/WireDates.h"
#include "src/ErrorCodes.h"
#include "src/EventStoreClient.h"

#include <span>
#include <utility>

namespace quenbrook {
namespace {

std::vector<platform::Calendar> knownCalendars(
    platform::CalendarStore& store, const std::optional<std::vector<std::string>>& identifiers) {
    std::vector<platform::Calendar> known;
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
    const platform::Instant start = parseISO8601(startISO);
    const platform::Instant end = parseISO8601(endISO);

    const std::vector<platform::Calendar> calendars = knownCalendars(*store_, calendarIds);
    std::optional<std::span<const platform::Calendar>> filter;
    if (!calendars.empty()) {
        filter = calendars;
    }
    NotesCategories categories;
    store_->forEachEvent(start, end, filter,
        [&](platform::Event event) { take(mapEvent(std::move(event), categories)); });
}

GetEventResponse EventStoreClient::getEvent(const GetEventRequest& request) {
    if (!store_->calendar(request.calendarId)) {
        throw QuenbrookError(ErrorCase::calendarNotFound, request.calendarId);
    }
    platform::Event event = eventNamed(request.eventId);
    if (!event.calendar || event.calendar->identifier != request.calendarId) {
        throw QuenbrookError(ErrorCase::eventNotFound, request.eventId);
    }
    NotesCategories categories;
    return {mapEvent(std::move(event), categories)};
}

GetAttendeeStatusResponse EventStoreClient::getAttendeeStatus(
    const GetAttendeeStatusRequest& request) {
    platform::Event event = eventNamed(request.id);
    GetAttendeeStatusResponse response{request.id, {}};
    response.attendees.reserve(event.participants.size());
    for (platform::Participant& participant : event.participants) {
        response.attendees.push_back(mapParticipant(std::move(participant)));
    }
    return response;
}

} // namespace quenbrook
