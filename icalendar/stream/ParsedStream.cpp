#include "icalendar/stream/ParsedStream.h"

#include <algorithm>

namespace quenbrook::icalendar {
namespace {

// Enough for a rule that only has to be found, so that a series is not hidden by those before it.
constexpr std::int64_t stepsForEachSeries = 1'000;

} // namespace

ParsedStream::ParsedStream(std::string_view text, std::int64_t steps)
    : text_(text)
    , scan_(scanStream(text))
    , budget_(steps) {}

std::unique_ptr<const Series> ParsedStream::series(
    std::span<const EventSummary* const> components) {
    std::vector<EventComponent> events;
    std::ptrdiff_t values = 0;
    for (const EventSummary* component : components) {
        auto event = readEventComponent(text_, component->range, zones());
        if (!event) {
            continue;
        }
        values += 1 + event->listedValues();
        if (values > maximumListedValues) {
            return nullptr;
        }
        events.push_back(std::move(*event));
    }
    if (events.empty()) {
        return nullptr;
    }
    budget_.grant(stepsForEachSeries);
    return std::make_unique<const Series>(std::move(events), budget_);
}

std::unique_ptr<const Series> ParsedStream::series(std::string_view uid) {
    // Events without UID have nothing to do with each other.
    if (uid.empty()) {
        return nullptr;
    }
    std::vector<const EventSummary*> components;
    for (const EventSummary& event : scan_.events) {
        if (uidOf(text_, event) == uid) {
            components.push_back(&event);
        }
    }
    return series(components);
}

bool ParsedStream::holdsInCalendar(std::string_view uid) const {
    return std::all_of(scan_.events.begin(), scan_.events.end(), [&](const EventSummary& event) {
        return event.isInCalendar || uidOf(text_, event) != uid;
    });
}

TimeZones& ParsedStream::zones() {
    if (!zones_) {
        zones_.emplace(Zone::local(), text_, scan_.timeZones);
    }
    return *zones_;
}

} // namespace quenbrook::icalendar
