#pragma once

#include "json/JsonRecord.h"

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

// What is read of events. Fields that end in ISO hold wire dates (WireDates.h).
namespace quenbrook {

// An attendee as the store has it.
struct AttendeeInfoDTO {
    std::string email;
    std::string name;
    // pending, accepted, declined or unknown.
    std::string status;
};

template <>
inline constexpr auto json::recordFields<AttendeeInfoDTO> = std::tuple{
    json::field("email", &AttendeeInfoDTO::email), json::field("name", &AttendeeInfoDTO::name),
    json::field("status", &AttendeeInfoDTO::status)};

// A recurrence rule as the store has it.
struct RecurrenceRuleDTOFull {
    // daily, weekly, monthly or yearly.
    std::string frequency;
    std::int64_t interval = 0;
    std::optional<std::int64_t> count;
    std::optional<std::string> untilISO;
    // 1 Sunday to 7 Saturday.
    std::optional<std::vector<std::int64_t>> daysOfWeek;
    // 1 to 31, or negative to count from the end.
    std::optional<std::vector<std::int64_t>> daysOfMonth;
    // 1 January to 12 December.
    std::optional<std::vector<std::int64_t>> monthsOfYear;
};

template <>
inline constexpr auto json::recordFields<RecurrenceRuleDTOFull> =
    std::tuple{json::field("frequency", &RecurrenceRuleDTOFull::frequency),
        json::field("interval", &RecurrenceRuleDTOFull::interval),
        json::field("count", &RecurrenceRuleDTOFull::count),
        json::field("untilISO", &RecurrenceRuleDTOFull::untilISO),
        json::field("daysOfWeek", &RecurrenceRuleDTOFull::daysOfWeek),
        json::field("daysOfMonth", &RecurrenceRuleDTOFull::daysOfMonth),
        json::field("monthsOfYear", &RecurrenceRuleDTOFull::monthsOfYear)};

// One event, or one instance of a recurring event, as it stood when it was read.
struct EventInfoDTO {
    std::string id;
    std::string calendarId;
    std::string title;
    std::string startISO;
    std::string endISO;
    bool isAllDay = false;
    std::optional<std::string> location;
    std::optional<std::string> notes;
    std::vector<AttendeeInfoDTO> attendees;
    bool hasAlarms = false;
    // Always the length of `recurrenceRules`.
    std::int64_t recurrenceRuleCount = 0;
    std::vector<RecurrenceRuleDTOFull> recurrenceRules;
    std::optional<std::string> lastModifiedISO;
    // velmoria-sync, no-sync or both, read from the notes.
    std::optional<std::vector<std::string>> categories;
    // busy, free, tentative or unavailable.
    std::optional<std::string> availability;
};

template <>
inline constexpr auto json::recordFields<EventInfoDTO> = std::tuple{
    json::field("id", &EventInfoDTO::id), json::field("calendarId", &EventInfoDTO::calendarId),
    json::field("title", &EventInfoDTO::title), json::field("startISO", &EventInfoDTO::startISO),
    json::field("endISO", &EventInfoDTO::endISO), json::field("isAllDay", &EventInfoDTO::isAllDay),
    json::field("location", &EventInfoDTO::location), json::field("notes", &EventInfoDTO::notes),
    json::field("attendees", &EventInfoDTO::attendees),
    json::field("hasAlarms", &EventInfoDTO::hasAlarms),
    json::field("recurrenceRuleCount", &EventInfoDTO::recurrenceRuleCount),
    json::field("recurrenceRules", &EventInfoDTO::recurrenceRules),
    json::field("lastModifiedISO", &EventInfoDTO::lastModifiedISO),
    json::field("categories", &EventInfoDTO::categories),
    json::field("availability", &EventInfoDTO::availability)};

} // namespace quenbrook
