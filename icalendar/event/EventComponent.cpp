#include "icalendar/event/EventComponent.h"

#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>

namespace quenbrook::icalendar {
namespace {

using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_seconds;

std::optional<DateTime> readDate(
    const Component& component, std::string_view name, TimeZones& zones) {
    const Property* property = component.first(name);
    return property ? parseDateTimeValue(*property, property->value, zones) : std::nullopt;
}

Extent readExtent(const Component& component, TimeZones& zones) {
    if (const auto end = readDate(component, "DTEND", zones)) {
        return *end;
    }
    if (const Property* property = component.first("DURATION")) {
        if (const auto duration = parseDuration(property->value)) {
            return *duration;
        }
    }
    return {};
}

std::optional<AddedDate> readAddedDate(
    const Property& property, std::string_view value, TimeZones& zones) {
    const std::size_t slash = value.find('/');
    const auto start = parseDateTimeValue(property, value.substr(0, slash), zones);
    if (!start || slash == std::string_view::npos) {
        return start ? std::optional(AddedDate{*start, {}}) : std::nullopt;
    }
    const std::string_view rest = value.substr(slash + 1);
    if (const auto duration = parseDuration(rest)) {
        return AddedDate{*start, *duration};
    }
    if (const auto end = parseDateTimeValue(property, rest, zones)) {
        return AddedDate{*start, *end};
    }
    return std::nullopt;
}

void readAdditions(EventComponent& event, const Property& property, TimeZones& zones) {
    forEachValue(property.value, [&](std::string_view value) {
        if (auto added = readAddedDate(property, value, zones)) {
            added->start = event.resolve(added->start);
            auto* const end = std::get_if<DateTime>(&added->extent);
            if (end && !event.start.isDate()) {
                *end = event.resolve(*end);
            }
            event.additions.push_back(std::move(*added));
        }
    });
}

void readExclusions(EventComponent& event, const Property& property, TimeZones& zones) {
    forEachValue(property.value, [&](std::string_view value) {
        if (auto excluded = parseDateTimeValue(property, value, zones)) {
            event.exclusions.push_back(event.resolve(*excluded));
        }
    });
}

void readRule(EventComponent& event, const Property& property, TimeZones&) {
    if (auto rule = parseRecur(property.value)) {
        event.rules.push_back(std::move(*rule));
    }
}

void readExclusionRule(EventComponent& event, const Property& property, TimeZones&) {
    if (auto rule = parseRecur(property.value)) {
        event.exclusionRules.push_back(std::move(*rule));
    }
}

struct RecurrenceProperty {
    std::string_view name;
    void (*read)(EventComponent&, const Property&, TimeZones&);
};
constexpr std::array<RecurrenceProperty, 4> recurrenceProperties = {{
    {"RRULE", readRule},
    {"RDATE", readAdditions},
    {"EXDATE", readExclusions},
    {"EXRULE", readExclusionRule},
}};

// False when there is more than may be read of one event.
bool readRecurrence(EventComponent& event, TimeZones& zones) {
    std::ptrdiff_t values = 0;
    for (const Property& property : event.component->properties) {
        const auto* const known =
            std::find_if(recurrenceProperties.begin(), recurrenceProperties.end(),
                [&](const auto& each) { return equalsIgnoringCase(each.name, property.name); });
        if (known == recurrenceProperties.end()) {
            continue;
        }
        values += 1 + std::count(property.value.begin(), property.value.end(), ',');
        if (values > maximumListedValues) {
            return false;
        }
        known->read(event, property, zones);
    }
    return true;
}

bool namesLaterOnes(const Property& recurrenceId) {
    const auto range = parameterValue(recurrenceId, "RANGE");
    return range && equalsIgnoringCase(*range, "THISANDFUTURE");
}

// How many days an all-day event covers, at least one.
days dayCount(const DateTime& start, const Extent& extent) {
    days count{1};
    if (const auto* end = std::get_if<DateTime>(&extent)) {
        count = std::chrono::ceil<days>(end->time) - std::chrono::floor<days>(start.time);
    } else if (const auto* duration = std::get_if<Duration>(&extent)) {
        count = duration->days + std::chrono::ceil<days>(duration->seconds);
    }
    return std::max(count, days{1});
}

sys_seconds timedEnd(const DateTime& start, const DateTime& from, const Extent& lasting) {
    const sys_seconds begin = from.instant();
    if (const auto* end = std::get_if<DateTime>(&lasting)) {
        return begin + (end->instant() - start.instant());
    }
    if (const auto* duration = std::get_if<Duration>(&lasting)) {
        return from.zone.instantOf(from.time + duration->days) + duration->seconds;
    }
    return begin;
}

// What starts at `from` and lasts as what starts at `start` does.
TimeSpan spanLike(const DateTime& start, const Extent& extent, const DateTime& from) {
    const sys_seconds begin = from.instant();
    const sys_seconds end =
        from.isDate() ? from.zone.instantOf(from.time + dayCount(start, extent) - seconds(1))
                      : timedEnd(start, from, extent);
    return {begin, std::max(begin, end)};
}

} // namespace

std::optional<LocalTime> utcStampOf(const Component& event, std::string_view name) {
    const Property* stamp = event.first(name);
    return stamp ? parseDateTime(unicode::trimmed(stamp->value).substr(0, 15)) : std::nullopt;
}

Revision revisionOf(const Component& event) {
    Revision revision;
    if (const Property* sequence = event.first("SEQUENCE")) {
        const std::string_view digits = unicode::trimmed(sequence->value);
        std::from_chars(digits.data(), digits.data() + digits.size(), revision.sequence);
    }
    revision.stamp = utcStampOf(event, "DTSTAMP").value_or(LocalTime::min());
    return revision;
}

DateTime EventComponent::resolve(const DateTime& listed) const {
    if (start.isDate()) {
        return start.withTime(listed.day());
    }
    return listed.kind == DateTime::Kind::floating ? start.withTime(listed.time) : listed;
}

TimeSpan EventComponent::spanFrom(const DateTime& from) const {
    return spanLike(start, extent, from);
}

TimeSpan EventComponent::spanOf(const AddedDate& added) const {
    return std::holds_alternative<std::monostate>(added.extent)
               ? spanFrom(added.start)
               : spanLike(added.start, added.extent, added.start);
}

std::optional<EventComponent> readEventComponent(
    std::string_view text, TextRange range, TimeZones& zones) {
    auto component = ParsedComponent::parse(text, range);
    if (!component) {
        return std::nullopt;
    }
    const Property* uid = (*component)->first("UID");
    const auto start = readDate(**component, "DTSTART", zones);
    if (!start) {
        return std::nullopt;
    }
    EventComponent event{std::move(*component), uid ? decodeText(uid->value) : std::string(),
        *start, {}, {}, {}, {}, {}, {}, {}};
    event.extent = readExtent(*event.component, zones);
    event.recurrenceId = readDate(*event.component, "RECURRENCE-ID", zones);
    event.isThisAndFuture =
        event.recurrenceId && namesLaterOnes(*event.component->first("RECURRENCE-ID"));
    // An override does not recur by itself, whatever it carries (RFC 5545 section 3.8.4.4).
    if (!event.recurrenceId && !readRecurrence(event, zones)) {
        return std::nullopt;
    }
    return event;
}

} // namespace quenbrook::icalendar
