#pragma once

#include "icalendar/recurrence/RecurrenceRuleText.h"
#include "icalendar/text/Component.h"
#include "icalendar/time/DateTime.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>
#include <vector>

namespace quenbrook::icalendar {

// How long an event lasts, as its component says it: until DTEND, for DURATION, or not at all (then
// a date lasts one day and a time no time).
using Extent = std::variant<std::monostate, DateTime, Duration>;

// One value of RDATE; a period brings an extent of its own.
struct AddedDate {
    DateTime start;
    Extent extent;
};

struct TimeSpan {
    std::chrono::sys_seconds start;
    std::chrono::sys_seconds end;
};

// Which of two components is the later revision of one event: that with the higher SEQUENCE, else
// the later DTSTAMP (RFC 5546 section 2.1.5).
struct Revision {
    std::int64_t sequence = 0;
    LocalTime stamp{};

    bool operator<(const Revision& later) const {
        return std::tie(sequence, stamp) < std::tie(later.sequence, later.stamp);
    }
};
Revision revisionOf(const Component& event);

// The time of a property that is always in UTC (DTSTAMP, LAST-MODIFIED: RFC 5545 section 3.8.7),
// whether or not the "Z" was forgotten. Returns nullopt when there is none that can be read.
std::optional<LocalTime> utcStampOf(const Component& event, std::string_view name);

// No series that a person keeps has more rules and listed dates.
inline constexpr std::ptrdiff_t maximumListedValues = 200'000;

// A VEVENT with its dates and rules read. Values that cannot be read are passed over; a component
// without DTSTART is no event.
struct EventComponent {
    ParsedComponent component;
    // Empty when it has none.
    std::string uid;
    DateTime start;
    Extent extent;
    // Set for an override: the original start of the instance that it replaces, as it is written
    // until a series gives it its meaning.
    std::optional<DateTime> recurrenceId;
    // Whether it then speaks of the later ones too (RANGE=THISANDFUTURE).
    bool isThisAndFuture = false;
    std::vector<Recur> rules;
    std::vector<AddedDate> additions;
    std::vector<DateTime> exclusions;
    // EXRULE, which RFC 5545 has dropped and old files still have.
    std::vector<Recur> exclusionRules;

    std::ptrdiff_t listedValues() const {
        return std::ssize(rules) + std::ssize(additions) + std::ssize(exclusions) +
               std::ssize(exclusionRules);
    }
    bool recurs() const { return !rules.empty() || !additions.empty(); }
    // Its own start, or that of the instance that it replaces.
    const DateTime& originalStart() const { return recurrenceId ? *recurrenceId : start; }

    // What a value of RDATE, EXDATE or RECURRENCE-ID means in the recurrence set of this event. One
    // of whole days goes by the date that is written, whatever the time and the zone beside it; in
    // any other a time without a zone is one of the event's own clock.
    DateTime resolve(const DateTime& listed) const;

    // When an instance that starts at `from` starts and ends. An end of DTEND is one exact
    // time away for every instance, a DURATION one nominal time (RFC 5545 section 3.8.5.3).
    // A day ends one second before the next local midnight. Never ends before it starts.
    TimeSpan spanFrom(const DateTime& from) const;
    // When a value of RDATE starts and ends: a period is measured from its own start, a date lasts
    // as long as every other instance.
    TimeSpan spanOf(const AddedDate& added) const;
};

// Reads the component at this range. Returns nullopt when it is no event, is not properly nested,
// or has more than 200,000 rules and listed dates.
std::optional<EventComponent> readEventComponent(
    std::string_view text, TextRange range, TimeZones& zones);

} // namespace quenbrook::icalendar
