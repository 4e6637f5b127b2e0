#pragma once

#include "src/DTOs.h"
#include "stores/CalendarStore.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quenbrook {

// The program's one gateway to the calendar store. Its operations throw QuenbrookError; a failure
// of the platform passes through unchanged. Each operation is in the source file of its name, but
// for the three queries, which share EventQueries.cpp.
class EventStoreClient {
  public:
    explicit EventStoreClient(std::unique_ptr<stores::CalendarStore> store);

    // Returns once the program has full access to events, asking the user if that was never done.
    // Throws accessDenied. Must come before every other operation.
    void requestAccess();

    // Every calendar, in the store's order.
    std::vector<CalendarInfoDTO> listCalendars();

    // The events of a range, in the store's order. Identifiers that the store does not know are
    // passed over; when it knows none of them, or none is given, every calendar is searched.
    // Each is handed to `take` as soon as it is mapped. Throws invalidDate, and what `take` throws.
    void listEvents(std::string_view startISO, std::string_view endISO,
        const std::optional<std::vector<std::string>>& calendarIds,
        const std::function<void(const EventInfoDTO&)>& take);

    // Saves a new event and answers with what the store then holds. Throws calendarNotFound,
    // readOnlyCalendar, invalidJSON, invalidDate, eventStoreSaveFailed. An alarm that does not fit
    // into 64 bits of seconds ends the process.
    CreateEventResponse createEvent(const CreateEventRequest& request);

    // Applies a patch to one event. Throws eventNotFound, readOnlyCalendar, invalidDate,
    // invalidJSON, eventStoreSaveFailed; the event is then as it was. Alarms as with createEvent.
    UpdateEventResponse updateEvent(const UpdateEventRequest& request);

    // One event of one calendar. Throws calendarNotFound, then eventNotFound, which an event of
    // another calendar is reported as, too.
    GetEventResponse getEvent(const GetEventRequest& request);

    // The attendees of one event of any calendar. Throws eventNotFound.
    GetAttendeeStatusResponse getAttendeeStatus(const GetAttendeeStatusRequest& request);

    // Removes one event. Throws eventNotFound, readOnlyCalendar, eventStoreRemoveFailed.
    CancelEventResponse cancelEvent(const CancelEventRequest& request);

  private:
    // Throws eventNotFound.
    model::Event eventNamed(const std::string& identifier);

    // Throws eventNotFound.
    std::vector<model::Participant> participantsOf(const std::string& identifier);

    // As far as changing it takes. Throws eventNotFound, then readOnlyCalendar unless its calendar
    // allows changes; an event without a calendar is taken for read-only.
    model::Event changeableEventNamed(const std::string& identifier);

    std::unique_ptr<stores::CalendarStore> store_;
};

} // namespace quenbrook
