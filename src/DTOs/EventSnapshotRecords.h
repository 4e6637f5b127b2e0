#pragma once

#include "platform/JsonRecord.h"

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
inline constexpr auto platform::recordFields<AttendeeInfoDTO> =
    std::tuple{platform::field("email", &AttendeeInfoDTO::email),
        platform::field("name", &AttendeeInfoDTO::name),
        platform::field("status", &AttendeeInfoDTO::status)};

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
inline constexpr auto platform::recordFields<RecurrenceRuleDTOFull> =
    std::tuple{platform::field("frequency", &RecurrenceRuleDTOFull::frequency),
        platform::field("interval", &RecurrenceRuleDTOFull::interval),
        platform::field("count", &RecurrenceRuleDTOFull::count),
        platform::field("untilISO", &RecurrenceRuleDTOFull::untilISO),
        platform::field("daysOfWeek", &RecurrenceRuleDTOFull::daysOfWeek),
        platform::field("daysOfMonth", &RecurrenceRuleDTOFull::daysOfMonth),
        platform::field("monthsOfYear", &RecurrenceRuleDTOFull::monthsOfYear)};

// One event, or one occurrence of a recurring event, as it stood when it was read.
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
inline constexpr auto platform::recordFields<EventInfoDTO> =
    std::tuple{platform::field("id", &EventInfoDTO::id),
        platform::field("calendarId", &EventInfoDTO::calendarId),
        platform::field("title", &EventInfoDTO::title),
        platform::field("startISO", &EventInfoDTO::startISO),
        platform::field("endISO", &EventInfoDTO::endISO),
        platform::field("isAllDay", &EventInfoDTO::isAllDay),
        platform::field("location", &EventInfoDTO::location),
        platform::field("notes", &EventInfoDTO::notes),
        platform::field("attendees", &EventInfoDTO::attendees),
        platform::field("hasAlarms", &EventInfoDTO::hasAlarms),
        platform::field("recurrenceRuleCount", &EventInfoDTO::recurrenceRuleCount),
        platform::field("recurrenceRules", &EventInfoDTO::recurrenceRules),
        platform::field("lastModifiedISO", &EventInfoDTO::lastModifiedISO),
        platform::field("categories", &EventInfoDTO::categories),
        platform::field("availability", &EventInfoDTO::availability)};

} // namespace quenbrook
