#pragma once

#include "src/DTOs/EventSnapshotRecords.h"
#include "json/JsonRecord.h"

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
inline constexpr auto json::recordFields<ListEventsRequest> =
    std::tuple{json::field("startISO", &ListEventsRequest::startISO),
        json::field("endISO", &ListEventsRequest::endISO),
        json::field("calendarIds", &ListEventsRequest::calendarIds)};

struct ListEventsResponse {
    std::vector<EventInfoDTO> events;
};

template <>
inline constexpr auto json::recordFields<ListEventsResponse> =
    std::tuple{json::field("events", &ListEventsResponse::events)};

struct GetEventRequest {
    std::string calendarId;
    std::string eventId;
};

template <>
inline constexpr auto json::recordFields<GetEventRequest> =
    std::tuple{json::field("calendarId", &GetEventRequest::calendarId),
        json::field("eventId", &GetEventRequest::eventId)};

struct GetEventResponse {
    EventInfoDTO event;
};

template <>
inline constexpr auto json::recordFields<GetEventResponse> =
    std::tuple{json::field("event", &GetEventResponse::event)};

struct GetAttendeeStatusRequest {
    // The event's identifier.
    std::string id;
};

template <>
inline constexpr auto json::recordFields<GetAttendeeStatusRequest> =
    std::tuple{json::field("id", &GetAttendeeStatusRequest::id)};

struct GetAttendeeStatusResponse {
    // The event's identifier, as asked for.
    std::string id;
    std::vector<AttendeeInfoDTO> attendees;
};

template <>
inline constexpr auto json::recordFields<GetAttendeeStatusResponse> =
    std::tuple{json::field("id", &GetAttendeeStatusResponse::id),
        json::field("attendees", &GetAttendeeStatusResponse::attendees)};

} // namespace quenbrook
