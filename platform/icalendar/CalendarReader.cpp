#include "platform/icalendar/CalendarReader.h"

#include "platform/icalendar/CalendarStream.h"
#include "platform/icalendar/event/EventMapping.h"

#include <algorithm>
#include <unordered_map>

namespace quenbrook::platform::icalendar {
namespace {

// Wall clocks are at most a day from UTC, and a day of an all-day event ends a day later.
constexpr std::chrono::days zoneRoom{2};

DayRange daysAround(Instant from, Instant until) {
    return {std::chrono::floor<std::chrono::days>(from) - zoneRoom,
        std::chrono::floor<std::chrono::days>(until) + zoneRoom};
}

std::optional<std::chrono::sys_seconds> originalStartOf(
    const Series& series, const Occurrence& occurrence) {
    return series.recurs() ? std::optional(occurrence.originalStart.instant()) : std::nullopt;
}

FoundEvent found(const Series& series, const Occurrence& occurrence) {
    return {{occurrence.component->uid, originalStartOf(series, occurrence)}, eventOf(occurrence)};
}

// What all the occurrences that one file yields may take: an event of megabytes can recur for ever.
constexpr std::size_t maximumSize = std::size_t{256} << 20;
constexpr std::size_t sizeOfValue = 256;

// About what it takes to hand an occurrence out.
std::size_t sizeOf(const Occurrence& occurrence, const Event& event) {
    const TextRange& text = (*occurrence.component->component).range;
    const std::size_t values = 1 + event.participants.size() + event.recurrenceRules.size();
    return text.end - text.begin + values * sizeOfValue;
}

using Summaries = std::vector<const EventSummary*>;

// The components by UID, in the order in which the UIDs appear; a UID of which no component can
// touch the range is left out.
std::vector<Summaries> candidates(
    std::string_view text, const Outline& outline, const DayRange& wanted) {
    if (outline.events.size() == 1) {
        const EventSummary& only = outline.events.front();
        return only.mayTouch(wanted) ? std::vector<Summaries>{{&only}} : std::vector<Summaries>{};
    }
    std::vector<Summaries> groups;
    std::unordered_map<std::string, std::size_t> places;
    for (const EventSummary& event : outline.events) {
        const auto [place, isNew] = places.emplace(uidOf(text, event), groups.size());
        if (isNew) {
            groups.emplace_back();
        }
        groups[place->second].push_back(&event);
    }
    std::erase_if(groups, [&](const Summaries& group) {
        return std::none_of(group.begin(), group.end(),
            [&](const EventSummary* event) { return event->mayTouch(wanted); });
    });
    return groups;
}

} // namespace

RangeQuery::RangeQuery(Instant from, Instant until)
    : from_(from)
    , until_(until) {}

std::vector<FoundOccurrence> RangeQuery::occurrencesIn(std::string_view text) const {
    std::vector<FoundOccurrence> occurrences;
    CalendarStream stream(text);
    std::size_t size = 0;
    for (const Summaries& group : candidates(text, stream.outline(), daysAround(from_, until_))) {
        const auto series = stream.series(group);
        if (!series) {
            continue;
        }
        std::shared_ptr<FoundEvent> event;
        const EventComponent* described = nullptr;
        for (const Occurrence& occurrence : series->occurrencesIn(from_, until_)) {
            if (occurrence.component != described || occurrence.isAllDay != event->event.isAllDay) {
                event = std::make_shared<FoundEvent>(found(*series, occurrence));
                described = occurrence.component;
            }
            occurrences.push_back({event, originalStartOf(*series, occurrence),
                occurrence.span.start, occurrence.span.end});
            size += sizeOf(occurrence, event->event);
            // One of each is found in any case.
            if (size > maximumSize) {
                break;
            }
        }
    }
    return occurrences;
}

std::vector<FoundEvent> RangeQuery::eventsIn(std::string_view text) const {
    std::vector<FoundEvent> events;
    for (const FoundOccurrence& occurrence : occurrencesIn(text)) {
        FoundEvent& event = events.emplace_back(*occurrence.event);
        event.key.originalStart = occurrence.originalStart;
        event.event.start = occurrence.start;
        event.event.end = occurrence.end;
    }
    return events;
}

std::optional<FoundEvent> findEvent(std::string_view text, std::string_view uid) {
    CalendarStream stream(text);
    const auto series = stream.series(uid);
    const auto first = series ? series->firstStanding() : std::nullopt;
    return first ? std::optional(found(*series, *first)) : std::nullopt;
}

} // namespace quenbrook::platform::icalendar
