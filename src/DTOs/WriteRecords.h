#pragma once

#include "json/JsonRecord.h"

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

// Requests and answers of the words that change events.
namespace quenbrook {

struct AttendeeRequestDTO {
    std::string email;
    std::optional<std::string> name;
};

template <>
inline constexpr auto json::recordFields<AttendeeRequestDTO> =
    std::tuple{json::field("email", &AttendeeRequestDTO::email),
        json::field("name", &AttendeeRequestDTO::name)};

// A recurrence rule as asked for. It ends by count or by date, or never.
struct RecurrenceRuleDTO {
    std::string frequency;
    std::int64_t interval = 0;
    std::optional<std::int64_t> count;
    std::optional<std::string> untilISO;
};

template <>
inline constexpr auto json::recordFields<RecurrenceRuleDTO> =
    std::tuple{json::field("frequency", &RecurrenceRuleDTO::frequency),
        json::field("interval", &RecurrenceRuleDTO::interval),
        json::field("count", &RecurrenceRuleDTO::count),
        json::field("untilISO", &RecurrenceRuleDTO::untilISO)};

// A remark on a change that was made. The program makes none, but readers must accept them.
struct CLIWarning {
    std::string code;
    std::string message;
    std::optional<std::string> detail;
};

template <>
inline constexpr auto json::recordFields<CLIWarning> =
    std::tuple{json::field("code", &CLIWarning::code), json::field("message", &CLIWarning::message),
        json::field("detail", &CLIWarning::detail)};

// What a new event and a change to one may say alike.
struct EventDetails {
    std::optional<bool> isAllDay;
    std::optional<std::string> location;
    std::optional<std::string> notes;
    // Accepted and without effect.
    std::optional<std::vector<std::string>> attendees;
    // Minutes before the start; negative after it.
    std::optional<std::vector<std::int64_t>> alarmMinutes;
    // Nobody is invited; of a new event the addresses are checked.
    std::optional<std::vector<AttendeeRequestDTO>> attendeesV2;
    // Accepted and without effect.
    std::optional<bool> sendInvitations;
    std::optional<RecurrenceRuleDTO> recurrenceRule;
};

template <>
inline constexpr auto json::recordFields<EventDetails> = std::tuple{
    json::field("isAllDay", &EventDetails::isAllDay),
    json::field("location", &EventDetails::location), json::field("notes", &EventDetails::notes),
    json::field("attendees", &EventDetails::attendees),
    json::field("alarmMinutes", &EventDetails::alarmMinutes),
    json::field("attendeesV2", &EventDetails::attendeesV2),
    json::field("sendInvitations", &EventDetails::sendInvitations),
    json::field("recurrenceRule", &EventDetails::recurrenceRule)};

struct CreateEventRequest : EventDetails {
    std::string calendarId;
    std::string title;
    std::string startISO;
    std::string endISO;
};

template <>
inline constexpr auto json::recordFields<CreateEventRequest> = [] {
    const std::tuple own{json::field("calendarId", &CreateEventRequest::calendarId),
        json::field("title", &CreateEventRequest::title),
        json::field("startISO", &CreateEventRequest::startISO),
        json::field("endISO", &CreateEventRequest::endISO)};
    return std::tuple_cat(own, json::recordFields<EventDetails>);
}();

struct CreateEventResponse {
    std::string id;
    std::string calendarId;
    std::string startISO;
    std::string endISO;
    std::optional<std::vector<CLIWarning>> warnings;
};

template <>
inline constexpr auto json::recordFields<CreateEventResponse> =
    std::tuple{json::field("id", &CreateEventResponse::id),
        json::field("calendarId", &CreateEventResponse::calendarId),
        json::field("startISO", &CreateEventResponse::startISO),
        json::field("endISO", &CreateEventResponse::endISO),
        json::field("warnings", &CreateEventResponse::warnings)};

// What is absent leaves that property of the event as it is.
struct UpdateEventPatch : EventDetails {
    std::optional<std::string> title;
    std::optional<std::string> startISO;
    std::optional<std::string> endISO;
    // Wins over `recurrenceRule`.
    std::optional<bool> clearRecurrenceRules;
};

template <>
inline constexpr auto json::recordFields<UpdateEventPatch> = std::tuple_cat(
    std::tuple{json::field("title", &UpdateEventPatch::title),
        json::field("startISO", &UpdateEventPatch::startISO),
        json::field("endISO", &UpdateEventPatch::endISO)},
    json::recordFields<EventDetails>,
    std::tuple{json::field("clearRecurrenceRules", &UpdateEventPatch::clearRecurrenceRules)});

struct UpdateEventRequest {
    std::string id;
    UpdateEventPatch patch;
};

template <>
inline constexpr auto json::recordFields<UpdateEventRequest> = std::tuple{
    json::field("id", &UpdateEventRequest::id), json::field("patch", &UpdateEventRequest::patch)};

struct UpdateEventResponse {
    std::string id;
    bool updated = false;
    std::optional<std::vector<CLIWarning>> warnings;
};

template <>
inline constexpr auto json::recordFields<UpdateEventResponse> =
    std::tuple{json::field("id", &UpdateEventResponse::id),
        json::field("updated", &UpdateEventResponse::updated),
        json::field("warnings", &UpdateEventResponse::warnings)};

struct CancelEventRequest {
    std::string id;
    // Accepted and without effect.
    std::optional<std::string> reason;
};

template <>
inline constexpr auto json::recordFields<CancelEventRequest> = std::tuple{
    json::field("id", &CancelEventRequest::id), json::field("reason", &CancelEventRequest::reason)};

struct CancelEventResponse {
    std::string id;
    bool cancelled = false;
};

template <>
inline constexpr auto json::recordFields<CancelEventResponse> =
    std::tuple{json::field("id", &CancelEventResponse::id),
        json::field("cancelled", &CancelEventResponse::cancelled)};

} // namespace quenbrook
