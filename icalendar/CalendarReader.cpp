#include "icalendar/CalendarReader.h"

#include "icalendar/event/EventMapping.h"
#include "icalendar/stream/ParsedStream.h"

#include <algorithm>
#include <unordered_map>

namespace quenbrook::icalendar {
namespace {

DayRange daysAround(model::Instant from, model::Instant until) {
    return {std::chrono::floor<std::chrono::days>(from) - zoneRoom,
        std::chrono::floor<std::chrono::days>(until) + zoneRoom};
}

std::optional<std::chrono::sys_seconds> originalStartOf(
    const Series& series, const Instance& instance) {
    return series.recurs() ? std::optional(instance.originalStart.instant()) : std::nullopt;
}

constexpr std::size_t sizeOfValue = 256;

std::size_t sizeOf(const std::optional<std::string>& text) {
    return text ? text->size() : 0;
}

std::size_t sizeOf(const model::RecurrenceRule& rule) {
    return sizeOfValue +
           sizeof(std::int64_t) * (rule.daysOfTheWeek.size() + rule.daysOfTheMonth.size() +
                                      rule.monthsOfTheYear.size());
}

std::size_t sizeOf(const std::string& uid, const model::Event& event) {
    std::size_t size = sizeOfValue + uid.size() + sizeOf(event.title) + sizeOf(event.location) +
                       sizeOf(event.notes);
    for (const model::Participant& participant : event.participants) {
        size += sizeOfValue + participant.url.size() + sizeOf(participant.name);
    }
    for (const model::RecurrenceRule& rule : event.recurrenceRules) {
        size += sizeOf(rule);
    }
    return size;
}

FoundEvent found(const Series& series, const Instance& instance) {
    const std::string& uid = instance.component->uid;
    model::Event event = eventOf(instance);
    const std::size_t size = sizeOf(uid, event);
    return {{uid, originalStartOf(series, instance)}, std::move(event), size};
}

// What the instances of series, and all events that are large, may take of one file: an event of
// megabytes can recur for ever.
constexpr std::size_t maximumSize = std::size_t{256} << 20;

using Summaries = std::vector<const EventSummary*>;

// The components by UID, in the order in which the UIDs appear, each without UID by itself; a group
// of which no component can touch the range is left out.
std::vector<Summaries> candidates(
    std::string_view text, const StreamScan& scan, const DayRange& wanted) {
    if (scan.events.size() == 1) {
        const EventSummary& only = scan.events.front();
        return only.mayOverlap(wanted) ? std::vector<Summaries>{{&only}} : std::vector<Summaries>{};
    }
    std::vector<Summaries> groups;
    std::unordered_map<std::string, std::size_t> places;
    for (const EventSummary& event : scan.events) {
        std::string uid = uidOf(text, event);
        if (uid.empty()) {
            groups.push_back({&event});
            continue;
        }
        const auto [place, isNew] = places.emplace(std::move(uid), groups.size());
        if (isNew) {
            groups.emplace_back();
        }
        groups[place->second].push_back(&event);
    }
    std::erase_if(groups, [&](const Summaries& group) {
        return std::none_of(group.begin(), group.end(),
            [&](const EventSummary* event) { return event->mayOverlap(wanted); });
    });
    return groups;
}

} // namespace

const std::int64_t RangeQuery::modestSteps = isBuiltToBeFuzzed ? 1'000 : 1'000'000;

RangeQuery::RangeQuery(model::Instant from, model::Instant until)
    : from_(from)
    , until_(until) {}

FoundInstances RangeQuery::instancesIn(std::string_view text) const {
    return find(text, ParsedStream::mostSteps);
}

FoundInstances RangeQuery::instancesOfModestSteps(std::string_view text) const {
    return find(text, modestSteps);
}

FoundInstances RangeQuery::find(std::string_view text, std::int64_t steps) const {
    FoundInstances all;
    ParsedStream stream(text, steps);
    std::size_t size = 0;
    std::size_t sizeOfLarge = 0;
    for (const Summaries& group : candidates(text, stream.scan(), daysAround(from_, until_))) {
        const auto series = stream.series(group);
        if (!series) {
            continue;
        }
        std::shared_ptr<FoundEvent> event;
        const EventComponent* described = nullptr;
        bool isFirst = true;
        for (const Instance& instance : series->instancesIn(from_, until_)) {
            if (instance.component != described || instance.isAllDay != event->event.isAllDay) {
                event = std::make_shared<FoundEvent>(found(*series, instance));
                described = instance.component;
            }
            if (isFirst && event->isLarge()) {
                sizeOfLarge += event->size;
                if (sizeOfLarge > maximumSize) {
                    break;
                }
            }
            all.instances.push_back({event, originalStartOf(*series, instance), instance.span.start,
                instance.span.end, isFirst});
            isFirst = false;
            size += event->size;
            // One of each that is not large is found in any case.
            if (size > maximumSize) {
                break;
            }
        }
    }
    all.steps = stream.steps();
    return all;
}

std::vector<FoundEvent> RangeQuery::eventsIn(std::string_view text) const {
    std::vector<FoundEvent> events;
    for (const FoundInstance& instance : instancesIn(text).instances) {
        FoundEvent& event = events.emplace_back(*instance.event);
        event.key.originalStart = instance.originalStart;
        event.event.start = instance.start;
        event.event.end = instance.end;
    }
    return events;
}

std::optional<FoundEvent> findEvent(std::string_view text, std::string_view uid) {
    ParsedStream stream(text);
    const auto series = stream.series(uid);
    const auto first = series ? series->firstStanding() : std::nullopt;
    return first ? std::optional(found(*series, *first)) : std::nullopt;
}

} // namespace quenbrook::icalendar
