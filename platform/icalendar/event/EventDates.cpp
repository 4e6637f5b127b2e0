#include "platform/icalendar/event/EventDates.h"

namespace quenbrook::platform::icalendar {
namespace {

using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_seconds;

std::optional<DateTime> ifInRange(DateTime value) {
    const bool inRange = value.time >= earliestTime && value.time <= latestTime;
    return inRange ? std::optional(std::move(value)) : std::nullopt;
}

std::optional<DateTime> utcValue(sys_seconds instant) {
    return ifInRange({LocalTime(instant.time_since_epoch()), DateTime::Form::utc, Zone::utc(), {}});
}

std::optional<DateTime> dateValue(LocalTime day) {
    return ifInRange({day, DateTime::Form::date, Zone::local(), {}});
}

} // namespace

WritingZone WritingZone::local() {
    const auto name = localZoneName();
    const auto zone = name ? Zone::system(*name) : std::nullopt;
    return zone ? WritingZone{*zone, name} : WritingZone{};
}

std::optional<DateTime> timedValue(Instant instant, const WritingZone& zone) {
    const sys_seconds whole = std::chrono::floor<seconds>(instant);
    if (!zone.name) {
        return utcValue(whole);
    }
    return timedValueLike({{}, DateTime::Form::zoned, zone.zone, *zone.name}, whole);
}

std::optional<DateTime> timedValueLike(const DateTime& existing, Instant instant) {
    const sys_seconds whole = std::chrono::floor<seconds>(instant);
    if (existing.form == DateTime::Form::utc) {
        return utcValue(whole);
    }
    const auto value = ifInRange(existing.withInstant(whole));
    return value && value->instant() == whole ? value : utcValue(whole);
}

std::optional<DateTime> firstDay(Instant start) {
    const LocalTime wall = Zone::local().wallClockAt(std::chrono::floor<seconds>(start));
    return dateValue(std::chrono::floor<days>(wall));
}

std::optional<DateTime> dayAfterLast(Instant start, Instant end) {
    const Zone zone = Zone::local();
    const sys_seconds whole = std::chrono::floor<seconds>(end);
    const LocalTime lastDay = std::chrono::floor<days>(zone.wallClockAt(whole));
    const bool exclusive = end > start && end == zone.instantOf(lastDay);
    return dateValue(exclusive ? lastDay : lastDay + days(1));
}

} // namespace quenbrook::platform::icalendar
