#include "icalendar/event/EventMapping.h"

#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace quenbrook::icalendar {
namespace {

using model::Availability;
using model::ParticipantStatus;

struct NumberedWord {
    std::string_view word;
    std::int64_t number;
};

template <std::size_t Size>
std::int64_t numberOf(
    const std::array<NumberedWord, Size>& table, std::string_view word, std::int64_t otherwise) {
    word = unicode::trimmed(word);
    const auto found = std::find_if(table.begin(), table.end(),
        [&](const NumberedWord& row) { return equalsIgnoringCase(row.word, word); });
    return found == table.end() ? otherwise : found->number;
}

constexpr std::array<NumberedWord, 7> participationStatuses = {{
    {"NEEDS-ACTION", ParticipantStatus::pending},
    {"ACCEPTED", ParticipantStatus::accepted},
    {"DECLINED", ParticipantStatus::declined},
    {"TENTATIVE", ParticipantStatus::tentative},
    {"DELEGATED", ParticipantStatus::delegated},
    {"COMPLETED", ParticipantStatus::completed},
    {"IN-PROCESS", ParticipantStatus::inProcess},
}};

constexpr std::array<NumberedWord, 4> busyStatuses = {{
    {"BUSY", Availability::busy},
    {"FREE", Availability::free},
    {"TENTATIVE", Availability::tentative},
    {"OOF", Availability::unavailable},
}};
constexpr std::array<NumberedWord, 2> transparencies = {{
    {"OPAQUE", Availability::busy},
    {"TRANSPARENT", Availability::free},
}};

// Frequencies finer than daily lie outside of the platform's table.
constexpr std::array<std::int64_t, 7> platformFrequencies = {-3, -2, -1, 0, 1, 2, 3};

std::optional<std::string> textOf(const Component& component, std::string_view name) {
    const Property* property = component.first(name);
    return property ? std::optional(decodeText(property->value)) : std::nullopt;
}

std::vector<model::Participant> participantsOf(const Component& component) {
    std::vector<model::Participant> participants;
    for (const Property& property : component.properties) {
        if (!equalsIgnoringCase(property.name, "ATTENDEE")) {
            continue;
        }
        const auto status = parameterValue(property, "PARTSTAT");
        participants.push_back({unicode::repairedUTF8(unicode::trimmed(property.value)),
            parameterValue(property, "CN"),
            numberOf(participationStatuses, status.value_or("NEEDS-ACTION"),
                ParticipantStatus::unknown)});
    }
    return participants;
}

// An ACTION of NONE is how some programs say that there is no alarm, not even their usual one.
bool isAlarm(const Component& component) {
    const Property* action = component.first("ACTION");
    const bool isNone = action && equalsIgnoringCase(unicode::trimmed(action->value), "NONE");
    return equalsIgnoringCase(component.name, "VALARM") && !isNone;
}

std::int64_t availabilityOf(const Component& component) {
    if (const Property* status = component.first("X-MICROSOFT-CDO-BUSYSTATUS")) {
        return numberOf(busyStatuses, status->value, Availability::busy);
    }
    const Property* transparency = component.first("TRANSP");
    return transparency ? numberOf(transparencies, transparency->value, Availability::busy)
                        : std::int64_t{Availability::busy};
}

std::optional<model::Instant> lastModifiedOf(const Component& component) {
    const auto time = utcStampOf(component, "LAST-MODIFIED");
    return time ? std::optional<model::Instant>(model::Instant(time->time_since_epoch()))
                : std::nullopt;
}

// The last instant at which an instance may start.
model::Instant endDateOf(const Until& until, const DateTime& start) {
    const LocalTime day = std::chrono::floor<std::chrono::days>(until.time);
    if (start.isDate()) {
        return start.zone.instantOf(day);
    }
    if (until.kind == Until::Kind::date) {
        return start.zone.instantOf(day + std::chrono::days(1) - std::chrono::seconds(1));
    }
    const bool isInstant = until.kind == Until::Kind::utc && start.kind != DateTime::Kind::floating;
    return (isInstant ? Zone::utc() : start.zone).instantOf(until.time);
}

std::optional<model::RecurrenceEnd> endOf(const Recur& rule, const DateTime& start) {
    if (rule.count) {
        return model::RecurrenceEnd::withOccurrenceCount(*rule.count);
    }
    if (!rule.until) {
        return std::nullopt;
    }
    return model::RecurrenceEnd::withEndDate(endDateOf(*rule.until, start));
}

model::RecurrenceRule ruleOf(const Recur& rule, const DateTime& start) {
    model::RecurrenceRule mapped;
    mapped.frequency = platformFrequencies.at(static_cast<std::size_t>(rule.frequency));
    mapped.interval = rule.interval;
    mapped.end = endOf(rule, start);
    for (const WeekdayNumber& each : rule.byDay) {
        mapped.daysOfTheWeek.push_back(static_cast<std::int64_t>(each.day.c_encoding()) + 1);
    }
    mapped.daysOfTheMonth.assign(rule.byMonthDay.begin(), rule.byMonthDay.end());
    mapped.monthsOfTheYear.assign(rule.byMonth.begin(), rule.byMonth.end());
    return mapped;
}

std::vector<model::RecurrenceRule> rulesOf(const EventComponent& master) {
    std::vector<model::RecurrenceRule> rules;
    rules.reserve(master.rules.size());
    for (const Recur& rule : master.rules) {
        rules.push_back(ruleOf(rule, master.start));
    }
    return rules;
}

} // namespace

model::Event eventOf(const Instance& instance) {
    const Component& component = *instance.component->component;
    model::Event event;
    event.title = textOf(component, "SUMMARY");
    event.start = instance.span.start;
    event.end = instance.span.end;
    event.isAllDay = instance.isAllDay;
    event.location = textOf(component, "LOCATION");
    event.notes = textOf(component, "DESCRIPTION");
    event.participants = participantsOf(component);
    event.alarmCount = static_cast<std::size_t>(
        std::count_if(component.components.begin(), component.components.end(), isAlarm));
    if (instance.master) {
        event.recurrenceRules = rulesOf(*instance.master);
    }
    event.lastModified = lastModifiedOf(component);
    event.availability = availabilityOf(component);
    return event;
}

} // namespace quenbrook::icalendar
