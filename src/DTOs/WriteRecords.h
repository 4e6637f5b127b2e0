#pragma once

#include "platform/JsonRecord.h"

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
inline constexpr auto platform::recordFields<AttendeeRequestDTO> =
    std::tuple{platform::field("email", &AttendeeRequestDTO::email),
        platform::field("name", &AttendeeRequestDTO::name)};

// A recurrence rule as asked for. It ends by count or by date, or never.
struct RecurrenceRuleDTO {
    std::string frequency;
    std::int64_t interval = 0;
    std::optional<std::int64_t> count;
    std::optional<std::string> untilISO;
};

template <>
inline constexpr auto platform::recordFields<RecurrenceRuleDTO> =
    std::tuple{platform::field("frequency", &RecurrenceRuleDTO::frequency),
        platform::field("interval", &RecurrenceRuleDTO::interval),
        platform::field("count", &RecurrenceRuleDTO::count),
        platform::field("untilISO", &RecurrenceRuleDTO::untilISO)};

// A remark on a change that was made. The program makes none, but readers must accept them.
struct CLIWarning {
    std::string code;
    std::string message;
    std::optional<std::string> detail;
};

template <>
inline constexpr auto platform::recordFields<CLIWarning> = std::tuple{
    platform::field("code", &CLIWarning::code), platform::field("message", &CLIWarning::message),
    platform::field("detail", &CLIWarning::detail)};

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
inline constexpr auto platform::recordFields<EventDetails> =
    std::tuple{platform::field("isAllDay", &EventDetails::isAllDay),
        platform::field("location", &EventDetails::location),
        platform::field("notes", &EventDetails::notes),
        platform::field("attendees", &EventDetails::attendees),
        platform::field("alarmMinutes", &EventDetails::alarmMinutes),
        platform::field("attendeesV2", &EventDetails::attendeesV2),
        platform::field("sendInvitations", &EventDetails::sendInvitations),
        platform::field("recurrenceRule", &EventDetails::recurrenceRule)};

struct CreateEventRequest : EventDetails {
    std::string calendarId;
    std::string title;
    std::string startISO;
    std::string endISO;
};

template <>
inline constexpr auto platform::recordFields<CreateEventRequest> = [] {
    const std::tuple own{platform::field("calendarId", &CreateEventRequest::calendarId),
        platform::field("title", &CreateEventRequest::title),
        platform::field("startISO", &CreateEventRequest::startISO),
        platform::field("endISO", &CreateEventRequest::endISO)};
    return std::tuple_cat(own, platform::recordFields<EventDetails>);
}();

struct CreateEventResponse {
    std::string id;
    std::string calendarId;
    std::string startISO;
    std::string endISO;
    std::optional<std::vector<CLIWarning>> warnings;
};

template <>
inline constexpr auto platform::recordFields<CreateEventResponse> =
    std::tuple{platform::field("id", &CreateEventResponse::id),
        platform::field("calendarId", &CreateEventResponse::calendarId),
        platform::field("startISO", &CreateEventResponse::startISO),
        platform::field("endISO", &CreateEventResponse::endISO),
        platform::field("warnings", &CreateEventResponse::warnings)};

// What is absent leaves that property of the event as it is.
struct UpdateEventPatch : EventDetails {
    std::optional<std::string> title;
    std::optional<std::string> startISO;
    std::optional<std::string> endISO;
    // Wins over `recurrenceRule`.
    std::optional<bool> clearRecurrenceRules;
};

template <>
inline constexpr auto platform::recordFields<UpdateEventPatch> = std::tuple_cat(
    std::tuple{platform::field("title", &UpdateEventPatch::title),
        platform::field("startISO", &UpdateEventPatch::startISO),
        platform::field("endISO", &UpdateEventPatch::endISO)},
    platform::recordFields<EventDetails>,
    std::tuple{platform::field("clearRecurrenceRules", &UpdateEventPatch::clearRecurrenceRules)});

struct UpdateEventRequest {
    std::string id;
    UpdateEventPatch patch;
};

template <>
inline constexpr auto platform::recordFields<UpdateEventRequest> =
    std::tuple{platform::field("id", &UpdateEventRequest::id),
        platform::field("patch", &UpdateEventRequest::patch)};

struct UpdateEventResponse {
    std::string id;
    bool updated = false;
    std::optional<std::vector<CLIWarning>> warnings;
};

template <>
inline constexpr auto platform::recordFields<UpdateEventResponse> =
    std::tuple{platform::field("id", &UpdateEventResponse::id),
        platform::field("updated", &UpdateEventResponse::updated),
        platform::field("warnings", &UpdateEventResponse::warnings)};

struct CancelEventRequest {
    std::string id;
    // Accepted and without effect.
    std::optional<std::string> reason;
};

template <>
inline constexpr auto platform::recordFields<CancelEventRequest> =
    std::tuple{platform::field("id", &CancelEventRequest::id),
        platform::field("reason", &CancelEventRequest::reason)};

struct CancelEventResponse {
    std::string id;
    bool cancelled = false;
};

template <>
inline constexpr auto platform::recordFields<CancelEventResponse> =
    std::tuple{platform::field("id", &CancelEventResponse::id),
        platform::field("cancelled", &CancelEventResponse::cancelled)};

} // namespace quenbrook
