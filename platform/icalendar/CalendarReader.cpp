#include "platform/icalendar/CalendarReader.h"

#include "platform/icalendar/EventMapping.h"
#include "platform/icalendar/SeriesReading.h"

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

FoundEvent found(const Series& series, const Occurrence& occurrence) {
    FoundEvent event{{occurrence.component->uid, std::nullopt}, eventOf(series, occurrence)};
    if (series.recurs())
        event.key.originalStart = occurrence.originalStart.instant();
    return event;
}

using Summaries = std::vector<const EventSummary*>;

// The components by UID, in the order in which the UIDs appear; a UID of which no component can
// touch the range is left out.
std::vector<Summaries> candidates(const Outline& outline, const DayRange& wanted) {
    if (outline.events.size() == 1) {
        const EventSummary& only = outline.events.front();
        return only.mayTouch(wanted) ? std::vector<Summaries>{{&only}} : std::vector<Summaries>{};
    }
    std::vector<Summaries> groups;
    std::unordered_map<std::string_view, std::size_t> places;
    for (const EventSummary& event : outline.events) {
        const auto [place, isNew] = places.emplace(event.uid, groups.size());
        if (isNew)
            groups.emplace_back();
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

std::vector<FoundEvent> RangeQuery::eventsIn(std::string_view text) const {
    std::vector<FoundEvent> events;
    const Outline outline = outlineOf(text);
    const std::vector<Summaries> groups = candidates(outline, daysAround(from_, until_));
    if (groups.empty())
        return events;
    TimeZones zones(Zone::local(), text, outline.timeZones);
    for (const Summaries& group : groups) {
        const auto series = readSeries(text, group, zones);
        if (!series)
            continue;
        for (const Occurrence& occurrence : series->occurrencesIn(from_, until_))
            events.push_back(found(*series, occurrence));
    }
    return events;
}

std::optional<FoundEvent> findEvent(std::string_view text, std::string_view uid) {
    const Outline outline = outlineOf(text);
    // Most files that are asked do not have it, and must not cost more than the question.
    if (std::none_of(outline.events.begin(), outline.events.end(),
            [&](const EventSummary& event) { return event.uid == uid; }))
        return std::nullopt;
    TimeZones zones(Zone::local(), text, outline.timeZones);
    const auto series = readSeriesOf(text, outline, uid, zones);
    const auto first = series ? series->firstStanding() : std::nullopt;
    return first ? std::optional(found(*series, *first)) : std::nullopt;
}

} // namespace quenbrook::platform::icalendar
