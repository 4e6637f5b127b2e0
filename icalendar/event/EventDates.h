#pragma once

#include "icalendar/event/EventComponent.h"
#include "model/Instant.h"

#include <chrono>
#include <optional>
#include <string>

namespace quenbrook::icalendar {

// What four digits of a year can hold.
constexpr LocalTime earliestTime = std::chrono::local_days(std::chrono::year(1) / 1 / 1);
constexpr LocalTime latestTime =
    std::chrono::local_days(std::chrono::year(10'000) / 1 / 1) - std::chrono::seconds(1);
constexpr bool isHeld(LocalTime time) {
    return time >= earliestTime && time <= latestTime;
}

// The zone in which new times are written: the machine's, by the name that the zone data has for
// it. One that has none there is given a name that stands for its rules, as long as its VTIMEZONE
// can tell them. Without a name, UTC.
struct WritingZone {
    Zone zone = Zone::utc();
    std::optional<std::string> name;

    static WritingZone local();
};

// A timed value for an instant, in the zone when the zone's wall clock tells it apart from every
// other (the second pass of a repeated hour it does not), else in UTC. Returns nullopt outside of
// the years 0001 to 9999.
std::optional<DateTime> timedValue(model::Instant instant, const WritingZone& zone);

// A value of the kind of an existing timed one, in its zone; UTC where that cannot tell.
std::optional<DateTime> timedValueLike(const DateTime& existing, model::Instant instant);

// The first day of an all-day event that starts at this instant.
std::optional<DateTime> firstDay(model::Instant start);

// The day after the last one of an all-day event: an end exactly at a local midnight after the
// start is exclusive already.
std::optional<DateTime> dayAfterLast(model::Instant start, model::Instant end);

} // namespace quenbrook::icalendar
