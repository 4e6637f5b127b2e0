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

FoundEvent found(const Series& series, const Instance& instance) {
    return {{instance.component->uid, originalStartOf(series, instance)}, eventOf(instance)};
}

// What all the instances that one file yields may take: an event of megabytes can recur for ever.
constexpr std::size_t maximumSize = std::size_t{256} << 20;
constexpr std::size_t sizeOfValue = 256;

// About what it takes to hand an instance out.
std::size_t sizeOf(const Instance& instance, const model::Event& event) {
    const TextRange& text = (*instance.component->component).range;
    const std::size_t values = 1 + event.participants.size() + event.recurrenceRules.size();
    return text.end - text.begin + values * sizeOfValue;
}

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
            all.instances.push_back({event, originalStartOf(*series, instance), instance.span.start,
                instance.span.end, isFirst});
            isFirst = false;
            size += sizeOf(instance, event->event);
            // One of each is found in any case.
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
