#pragma once

#include "platform/icalendar/text/Component.h"
#include "platform/icalendar/time/DateTime.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>
#include <vector>

namespace quenbrook::platform::icalendar {

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
// whether or not the "Z" was forgotten; nothing when there is none that can be read.
std::optional<LocalTime> utcStampOf(const Component& event, std::string_view name);

// A VEVENT with its dates and rules read. Values that cannot be read are passed over; a component
// without UID or DTSTART is no event.
struct EventComponent {
    ParsedComponent component;
    std::string uid;
    DateTime start;
    Extent extent;
    // Set for an exception: the original start of the occurrence that it replaces, as it is written
    // until a series gives it its meaning.
    std::optional<DateTime> recurrenceId;
    // Whether it then speaks of the later ones too (RANGE=THISANDFUTURE).
    bool isThisAndFuture = false;
    std::vector<Recur> rules;
    std::vector<AddedDate> additions;
    std::vector<DateTime> exclusions;
    // EXRULE, which RFC 5545 has dropped and old files still have.
    std::vector<Recur> exclusionRules;

    std::size_t listedValues() const {
        return rules.size() + additions.size() + exclusions.size() + exclusionRules.size();
    }
    bool recurs() const { return !rules.empty() || !additions.empty(); }
    // Its own start, or that of the occurrence that it replaces.
    const DateTime& originalStart() const { return recurrenceId ? *recurrenceId : start; }

    // What a value of RDATE, EXDATE or RECURRENCE-ID means in the recurrence set of this event. One
    // of whole days goes by the date that is written, whatever the time and the zone beside it; in
    // any other a time without a zone is one of the event's own clock.
    DateTime meant(const DateTime& listed) const;

    // When an occurrence that starts at `from` starts and ends. An end of DTEND is the same exact
    // time away for every occurrence, a DURATION the same nominal one (RFC 5545 section 3.8.5.3).
    // A day ends one second before the next local midnight. Never ends before it starts.
    TimeSpan spanFrom(const DateTime& from, const Extent& lasting) const;
};

// Nothing when the component is no event, is not properly nested, or has more than 200,000 rules
// and listed dates.
std::optional<EventComponent> readEventComponent(
    std::string_view text, TextRange range, TimeZones& zones);

} // namespace quenbrook::platform::icalendar
