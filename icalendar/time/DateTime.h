#pragma once

#include "icalendar/text/ContentLine.h"
#include "icalendar/time/TimeText.h"
#include "icalendar/time/Zone.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace quenbrook::icalendar {

// A DATE or DATE-TIME value (RFC 5545 sections 3.3.4, 3.3.5) with what it means.
struct DateTime {
    enum class Kind { date, floating, utc, zoned };

    // Midnight for a date.
    LocalTime time;
    Kind kind = Kind::utc;
    // What `time` is the wall clock of; the machine's local zone for a date, a floating time or one
    // whose zone is not known.
    Zone zone;
    // The TZID as written; empty unless Kind::zoned.
    std::string zoneIdentifier;
    // Whether anything here knows what the TZID means. To others it may well mean another zone.
    bool isZoneKnown = true;

    bool isDate() const { return kind == Kind::date; }
    // Not thread-safe.
    std::chrono::sys_seconds instant() const;
    LocalTime day() const { return std::chrono::floor<std::chrono::days>(time); }

    // A value of this kind, in this zone, at another wall-clock time or instant.
    DateTime withTime(LocalTime other) const;
    DateTime withInstant(std::chrono::sys_seconds instant) const;

    // The last answer of instant() and the time that it was for: it is asked many times for one,
    // and a zone takes long to answer.
    struct KnownInstant {
        LocalTime time;
        std::chrono::sys_seconds instant;
    };
    mutable std::optional<KnownInstant> known{};
};

// Reads one value of a property that holds dates; its VALUE and TZID parameters count. A value of
// eight digits is a date whatever VALUE says. Returns nullopt when the value is none.
std::optional<DateTime> parseDateTimeValue(
    const ContentLine& line, std::string_view value, TimeZones& zones);

// The digits of the value, with a final "Z" for Kind::utc.
std::string formatDateTime(const DateTime& value);

// A whole property, "NAME;PARAMETERS:VALUE", not folded.
std::string dateTimeProperty(std::string_view name, const DateTime& value);

} // namespace quenbrook::icalendar
