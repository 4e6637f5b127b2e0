#include "icalendar/event/EventDates.h"

#include "icalendar/time/VTimeZone.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace quenbrook::icalendar {
namespace {

using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_seconds;

std::optional<DateTime> ifInRange(DateTime value) {
    return isHeld(value.time) ? std::optional(std::move(value)) : std::nullopt;
}

std::optional<DateTime> utcValue(sys_seconds instant) {
    return ifInRange({LocalTime(instant.time_since_epoch()), DateTime::Kind::utc, Zone::utc(), {}});
}

std::optional<DateTime> dateValue(LocalTime day) {
    return ifInRange({day, DateTime::Kind::date, Zone::local(), {}});
}

constexpr sys_seconds writtenFrom = std::chrono::sys_days(std::chrono::year(1970) / 1 / 1);

// FNV-1a: the same rules have the same name on every machine.
std::uint32_t hashOf(std::string_view text) {
    std::uint32_t hash = 2'166'136'261U;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16'777'619U;
    }
    return hash;
}

// The zone as those have it who read its definition.
WritingZone withoutName(const Zone& zone) {
    if (zone.offsetAt(writtenFrom) == seconds(0) && !zone.changeAfter(writtenFrom)) {
        return {};
    }
    const std::string definition = writeVTimeZone("", zone, writtenFrom, "\n");
    const auto component = ParsedComponent::parse(definition, {0, definition.size()});
    const auto read = component ? readVTimeZone(**component) : std::nullopt;
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "Quenbrook/%08X", hashOf(definition));
    return read ? WritingZone{*read, name.data()} : WritingZone{};
}

} // namespace

WritingZone WritingZone::local() {
    const auto name = localZoneName();
    const auto zone = name ? Zone::system(*name) : std::nullopt;
    return zone ? WritingZone{*zone, name} : withoutName(Zone::local());
}

std::optional<DateTime> timedValue(model::Instant instant, const WritingZone& zone) {
    const sys_seconds whole = std::chrono::floor<seconds>(instant);
    if (!zone.name) {
        return utcValue(whole);
    }
    return timedValueLike({{}, DateTime::Kind::zoned, zone.zone, *zone.name}, whole);
}

std::optional<DateTime> timedValueLike(const DateTime& existing, model::Instant instant) {
    const sys_seconds whole = std::chrono::floor<seconds>(instant);
    if (existing.kind == DateTime::Kind::utc) {
        return utcValue(whole);
    }
    const auto value = ifInRange(existing.withInstant(whole));
    const bool isCertain = value && value->instant() == whole && existing.zone.isCertainAt(whole);
    return isCertain ? value : utcValue(whole);
}

std::optional<DateTime> firstDay(model::Instant start) {
    const LocalTime wall = Zone::local().wallClockAt(std::chrono::floor<seconds>(start));
    return dateValue(std::chrono::floor<days>(wall));
}

std::optional<DateTime> dayAfterLast(model::Instant start, model::Instant end) {
    const Zone zone = Zone::local();
    const sys_seconds whole = std::chrono::floor<seconds>(end);
    const LocalTime lastDay = std::chrono::floor<days>(zone.wallClockAt(whole));
    const bool exclusive = end > start && end == zone.instantOf(lastDay);
    return dateValue(exclusive ? lastDay : lastDay + days(1));
}

} // namespace quenbrook::icalendar
