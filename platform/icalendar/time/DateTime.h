#pragma once

#include "platform/icalendar/text/ContentLine.h"
#include "platform/icalendar/time/Zone.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace quenbrook::platform::icalendar {

// A DATE or DATE-TIME value (RFC 5545 sections 3.3.4, 3.3.5) with what it means.
struct DateTime {
    enum class Form { date, floating, utc, zoned };

    // Midnight for a date.
    LocalTime time;
    Form form = Form::utc;
    // What `time` is the wall clock of; the machine's local zone for a date, a floating time or one
    // whose zone is not known.
    Zone zone;
    // The TZID as written; empty unless Form::zoned.
    std::string zoneIdentifier;
    // Whether anything here knows what the TZID means. To others it may well mean another zone.
    bool isZoneKnown = true;

    bool isDate() const { return form == Form::date; }
    // Not to be asked by two threads at once.
    std::chrono::sys_seconds instant() const;
    LocalTime day() const { return std::chrono::floor<std::chrono::days>(time); }

    // The same kind of value, in the same zone, at another wall-clock time or instant.
    DateTime withTime(LocalTime other) const;
    DateTime withInstant(std::chrono::sys_seconds instant) const;

    // The last answer of instant() and the time that it was for: it is asked many times for the
    // same, and a zone takes long to answer.
    struct KnownInstant {
        LocalTime time;
        std::chrono::sys_seconds instant;
    };
    mutable std::optional<KnownInstant> known{};
};

// A DURATION value (section 3.3.6): days are nominal (a day may have 23 or 25 hours), seconds
// exact.
struct Duration {
    std::chrono::days days{0};
    std::chrono::seconds seconds{0};
};

// Eight digits; nothing when they are no date of the years 0001 to 9999.
std::optional<std::chrono::sys_days> parseDate(std::string_view text);

// The wall-clock part of a DATE-TIME, without a final "Z". A 60th second counts as the 59th.
std::optional<LocalTime> parseDateTime(std::string_view text);

// A signed UTC-OFFSET (section 3.3.14). Around this and what follows white space is passed over.
std::optional<std::chrono::seconds> parseUtcOffset(std::string_view text);

// Nothing also for a duration of more than 10,000 years.
std::optional<Duration> parseDuration(std::string_view text);

// Reads one value of a property that holds dates; its VALUE and TZID parameters count. A value of
// eight digits is a date whatever VALUE says.
std::optional<DateTime> parseDateTimeValue(
    const ContentLine& line, std::string_view value, TimeZones& zones);

// The digits of the value, with a final "Z" for Form::utc.
std::string formatDateTime(const DateTime& value);

// A whole property, "NAME;PARAMETERS:VALUE", not folded.
std::string dateTimeProperty(std::string_view name, const DateTime& value);

// Seconds as a DURATION, signed.
std::string formatDuration(std::chrono::seconds duration);

} // namespace quenbrook::platform::icalendar
