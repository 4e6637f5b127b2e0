#pragma once

#include "platform/JsonRecord.h"
#include "src/DTOs/EventSnapshotRecords.h"

#include <optional>
#include <string>
#include <tuple>
#include <vector>

// Requests and answers of the words that read events.
namespace quenbrook {

struct ListEventsRequest {
    std::string startISO;
    std::string endISO;
    std::optional<std::vector<std::string>> calendarIds;
};

template <>
inline constexpr auto platform::recordFields<ListEventsRequest> =
    std::tuple{platform::field("startISO", &ListEventsRequest::startISO),
        platform::field("endISO", &ListEventsRequest::endISO),
        platform::field("calendarIds", &ListEventsRequest::calendarIds)};

struct ListEventsResponse {
    std::vector<EventInfoDTO> events;
};

template <>
inline constexpr auto platform::recordFields<ListEventsResponse> =
    std::tuple{platform::field("events", &ListEventsResponse::events)};

struct GetEventRequest {
    std::string calendarId;
    std::string eventId;
};

template <>
inline constexpr auto platform::recordFields<GetEventRequest> =
    std::tuple{platform::field("calendarId", &GetEventRequest::calendarId),
        platform::field("eventId", &GetEventRequest::eventId)};

struct GetEventResponse {
    EventInfoDTO event;
};

template <>
inline constexpr auto platform::recordFields<GetEventResponse> =
    std::tuple{platform::field("event", &GetEventResponse::event)};

struct GetAttendeeStatusRequest {
    // The event's identifier.
    std::string id;
};

template <>
inline constexpr auto platform::recordFields<GetAttendeeStatusRequest> =
    std::tuple{platform::field("id", &GetAttendeeStatusRequest::id)};

struct GetAttendeeStatusResponse {
    // The event's identifier, as asked for.
    std::string id;
    std::vector<AttendeeInfoDTO> attendees;
};

template <>
inline constexpr auto platform::recordFields<GetAttendeeStatusResponse> =
    std::tuple{platform::field("id", &GetAttendeeStatusResponse::id),
        platform::field("attendees", &GetAttendeeStatusResponse::attendees)};

} // namespace quenbrook
