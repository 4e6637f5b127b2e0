#include "icalendar/time/DateTime.h"

#include "unicode/Text.h"

namespace quenbrook::icalendar {

std::chrono::sys_seconds DateTime::instant() const {
    if (!known || known->time != time) {
        known = {time, zone.instantOf(time)};
    }
    return known->instant;
}

DateTime DateTime::withTime(LocalTime other) const {
    DateTime changed = *this;
    changed.time = other;
    return changed;
}

DateTime DateTime::withInstant(std::chrono::sys_seconds instant) const {
    const LocalTime wall = zone.wallClockAt(instant);
    return withTime(isDate() ? LocalTime(std::chrono::floor<std::chrono::days>(wall)) : wall);
}

std::optional<DateTime> parseDateTimeValue(
    const ContentLine& line, std::string_view value, TimeZones& zones) {
    value = unicode::trimmed(value);
    if (const auto date = parseDate(value)) {
        return DateTime{
            LocalTime(date->time_since_epoch()), DateTime::Kind::date, zones.local(), {}};
    }
    const bool utc = value.ends_with('Z') || value.ends_with('z');
    const auto time = parseDateTime(utc ? value.substr(0, value.size() - 1) : value);
    if (!time) {
        return std::nullopt;
    }
    if (utc) {
        return DateTime{*time, DateTime::Kind::utc, Zone::utc(), {}};
    }
    const std::optional<std::string> identifier = parameterValue(line, "TZID");
    if (!identifier || identifier->empty()) {
        return DateTime{*time, DateTime::Kind::floating, zones.local(), {}};
    }
    const auto zone = zones.named(*identifier);
    return DateTime{
        *time, DateTime::Kind::zoned, zone.value_or(zones.local()), *identifier, zone.has_value()};
}

std::string formatDateTime(const DateTime& value) {
    if (value.isDate()) {
        return formatDate(value.time);
    }
    return formatDateTime(value.time) + (value.kind == DateTime::Kind::utc ? "Z" : "");
}

std::string dateTimeProperty(std::string_view name, const DateTime& value) {
    std::string property(name);
    if (value.isDate()) {
        property += ";VALUE=DATE";
    }
    if (value.kind == DateTime::Kind::zoned) {
        property += ";TZID=" + encodeParameter(value.zoneIdentifier);
    }
    return property + ":" + formatDateTime(value);
}

} // namespace quenbrook::icalendar
