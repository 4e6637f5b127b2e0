#include "src/DTOs/SnapshotMapping.h"

#include "src/DTOs/NotesCategories.h"
#include "src/DTOs/WireDates.h"
#include "src/DTOs/WordTable.h"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quenbrook {
namespace {

// By ParticipantStatus; what is further in it has no word.
constexpr std::array<std::string_view, 5> participantStatusWords = {
    "unknown", "pending", "accepted", "declined", "pending"};

// By Availability.
constexpr std::array<std::string_view, 4> availabilityWords = {
    "busy", "free", "tentative", "unavailable"};

std::string dateText(model::Instant date) {
    return isoFormatterWithFractional().stringFromDate(date);
}

std::optional<std::string> dateText(const std::optional<model::Instant>& date) {
    return date ? std::optional(dateText(*date)) : std::nullopt;
}

std::optional<std::vector<std::int64_t>> unlessEmpty(std::vector<std::int64_t> numbers) {
    return numbers.empty() ? std::nullopt : std::optional(std::move(numbers));
}

template <class To, class From, class Map>
std::vector<To> mapEach(std::vector<From>& values, const Map& map) {
    std::vector<To> mapped;
    mapped.reserve(values.size());
    for (From& value : values) {
        mapped.push_back(map(std::move(value)));
    }
    return mapped;
}

} // namespace

EventInfoDTO mapEvent(model::Event event, NotesCategories& categories) {
    EventInfoDTO info;
    info.id = std::move(event.identifier).value_or("");
    info.calendarId = event.calendar ? event.calendar->identifier : "";
    info.title = std::move(event.title).value_or("");
    info.startISO = dateText(event.start);
    info.endISO = dateText(event.end);
    info.isAllDay = event.isAllDay;
    info.location = std::move(event.location);
    info.notes = std::move(event.notes);
    info.attendees = mapEach<AttendeeInfoDTO>(event.participants, mapParticipant);
    info.hasAlarms = event.alarmCount != 0;
    info.recurrenceRules = mapEach<RecurrenceRuleDTOFull>(event.recurrenceRules, mapRecurrenceRule);
    info.recurrenceRuleCount = static_cast<std::int64_t>(info.recurrenceRules.size());
    info.lastModifiedISO = dateText(event.lastModified);
    info.categories = categories.fromNotes(info.notes);
    info.availability = wordAt(availabilityWords, event.availability);
    return info;
}

AttendeeInfoDTO mapParticipant(model::Participant participant) {
    constexpr std::string_view mailto = "mailto:";
    AttendeeInfoDTO info;
    info.email = std::move(participant.url);
    if (info.email.starts_with(mailto)) {
        info.email.erase(0, mailto.size());
    }
    info.name = std::move(participant.name).value_or("");
    info.status = participantStatusWord(participant.status);
    return info;
}

RecurrenceRuleDTOFull mapRecurrenceRule(model::RecurrenceRule rule) {
    RecurrenceRuleDTOFull info;
    info.frequency = wordAt(frequencyWords, rule.frequency).value_or("daily");
    info.interval = rule.interval;
    if (rule.end && rule.end->occurrenceCount >= 1) {
        info.count = rule.end->occurrenceCount;
    }
    if (rule.end) {
        info.untilISO = dateText(rule.end->endDate);
    }
    info.daysOfWeek = unlessEmpty(std::move(rule.daysOfTheWeek));
    info.daysOfMonth = unlessEmpty(std::move(rule.daysOfTheMonth));
    info.monthsOfYear = unlessEmpty(std::move(rule.monthsOfTheYear));
    return info;
}

std::string_view participantStatusWord(std::int64_t status) {
    return wordAt(participantStatusWords, status).value_or("unknown");
}

} // namespace quenbrook
