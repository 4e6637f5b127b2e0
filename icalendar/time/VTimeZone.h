#pragma once

#include "icalendar/text/Component.h"
#include "icalendar/time/Zone.h"

#include <chrono>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quenbrook::icalendar {

// The zone that a VTIMEZONE component (RFC 5545 section 3.6.5) defines. Returns nullopt when none
// of its observances can be read. Changes after the year 2200, and more than 2,500 of one
// observance or 10,000 of all, are not looked at: a zone may not cost more than that, and is not
// certain from there on.
std::optional<Zone> readVTimeZone(const Component& component);

// The VTIMEZONE components at these ranges of a stream by their TZID, decoded; of several with one
// TZID the first. Those without one and those that are not properly nested are left out.
std::map<std::string, TextRange> definedZones(
    std::string_view text, std::span<const TextRange> ranges);

// Writes the VTIMEZONE of a zone, right from `from` on: the observance then in
// force, the changes after it one by one as long as they are irregular, and the yearly rules that
// hold from then on. DAYLIGHT is what puts the clock forward until the next change puts it back;
// all else is STANDARD. Lines end in `lineEnd`.
std::string writeVTimeZone(std::string_view name, const Zone& zone, std::chrono::sys_seconds from,
    std::string_view lineEnd);

} // namespace quenbrook::icalendar
