#include "icalendar/event/EventWriting.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace quenbrook::icalendar {
namespace {

using std::chrono::seconds;

// What readers hold a duration in.
constexpr double maximumAlarmOffset = std::numeric_limits<std::int32_t>::max();

struct TextProperty {
    std::string_view name;
    decltype(&model::EventChanges::title) text;
};
constexpr std::array<TextProperty, 3> textProperties = {{
    {"SUMMARY", &model::EventChanges::title},
    {"LOCATION", &model::EventChanges::location},
    {"DESCRIPTION", &model::EventChanges::notes},
}};

constexpr std::array<Frequency, 4> frequencies = {
    Frequency::daily, Frequency::weekly, Frequency::monthly, Frequency::yearly};

// Whole seconds of UTC.
LocalTime utcOf(model::Instant instant) {
    return LocalTime(std::chrono::floor<seconds>(instant).time_since_epoch());
}

bool isHoldable(const model::RecurrenceRule& rule) {
    const auto isBetween = [](std::int64_t low, std::int64_t high) {
        return [=](std::int64_t value) { return value >= low && value <= high && value != 0; };
    };
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    return rule.frequency >= 0 && rule.frequency < std::ssize(frequencies) && rule.interval >= 1 &&
           rule.interval <= most &&
           (!rule.end || (rule.end->endDate && isHeld(utcOf(*rule.end->endDate))) ||
               (!rule.end->endDate && rule.end->occurrenceCount >= 1 &&
                   rule.end->occurrenceCount <= most)) &&
           std::all_of(rule.daysOfTheWeek.begin(), rule.daysOfTheWeek.end(), isBetween(1, 7)) &&
           std::all_of(
               rule.daysOfTheMonth.begin(), rule.daysOfTheMonth.end(), isBetween(-31, 31)) &&
           std::all_of(rule.monthsOfTheYear.begin(), rule.monthsOfTheYear.end(), isBetween(1, 12));
}

std::string utcText(model::Instant instant) {
    return formatDateTime(utcOf(instant)) + "Z";
}

// `likeness` is written with another value where what it holds has the same form and zone.
std::string dateLine(std::string_view name, const DateTime& value, const ContentLine* likeness,
    const DateTime* likenessValue) {
    const bool isAlike = likeness && likenessValue && likenessValue->kind == value.kind &&
                         likenessValue->zoneIdentifier == value.zoneIdentifier;
    return isAlike ? withValue(*likeness, formatDateTime(value)) : dateTimeProperty(name, value);
}

// UNTIL has the form of DTSTART, but a time with a zone has it in UTC (RFC 5545 section 3.3.10).
Until untilOf(model::Instant date, const DateTime& start) {
    const auto whole = std::chrono::floor<seconds>(date);
    const LocalTime wall = std::clamp(start.zone.wallClockAt(whole), earliestTime, latestTime);
    if (start.isDate()) {
        return {std::chrono::floor<std::chrono::days>(wall), Until::Kind::date};
    }
    return start.kind == DateTime::Kind::floating ? Until{wall, Until::Kind::local}
                                                  : Until{utcOf(date), Until::Kind::utc};
}

std::int64_t sequenceOf(const Component& event) {
    return std::clamp<std::int64_t>(
        revisionOf(event).sequence, 0, std::numeric_limits<std::int32_t>::max() - 1);
}

Recur recurOf(const model::RecurrenceRule& rule, const DateTime& start) {
    Recur recur;
    recur.frequency = frequencies.at(static_cast<std::size_t>(rule.frequency));
    recur.interval = rule.interval;
    if (rule.end && rule.end->endDate) {
        recur.until = untilOf(*rule.end->endDate, start);
    } else if (rule.end) {
        recur.count = rule.end->occurrenceCount;
    }
    for (const std::int64_t day : rule.daysOfTheWeek) {
        recur.byDay.push_back({0, std::chrono::weekday(static_cast<unsigned>(day - 1))});
    }
    recur.byMonthDay.assign(rule.daysOfTheMonth.begin(), rule.daysOfTheMonth.end());
    recur.byMonth.assign(rule.monthsOfTheYear.begin(), rule.monthsOfTheYear.end());
    return recur;
}

// A date of the series under another name, with the parameters of DTSTART when it is alike.
std::string lineLikeStart(
    std::string_view name, const DateTime& value, const EventComponent& event) {
    const ContentLine likeness{name, event.component->first("DTSTART")->parameters, {}};
    return dateLine(name, value, &likeness, &event.start);
}

void writeDates(ComponentEdit& edit, const EventComponent& event, const PlannedDates& dates) {
    const Component& component = *event.component;
    if (dates.start) {
        edit.set(
            "DTSTART", dateLine("DTSTART", *dates.start, component.first("DTSTART"), &event.start));
    }
    if (dates.end || dates.endGoes) {
        edit.remove("DURATION");
    }
    if (dates.end) {
        edit.set("DTEND", dateLine("DTEND", *dates.end, component.first("DTEND"),
                              std::get_if<DateTime>(&event.extent)));
    } else if (dates.endGoes) {
        edit.remove("DTEND");
    }
}

void writeTexts(ComponentEdit& edit, const Component& event, const model::EventChanges& changes) {
    for (const TextProperty& property : textProperties) {
        const std::optional<std::string>& text = changes.*property.text;
        if (!text) {
            continue;
        }
        const Property* existing = event.first(property.name);
        const ContentLine line{existing ? existing->name : property.name,
            existing ? existing->parameters : std::string_view(), {}};
        edit.set(property.name, withValue(line, encodeText(*text)));
    }
}

void writeRules(ComponentEdit& edit, const DateTime& start, const model::EventChanges& changes) {
    if (!changes.recurrenceRules) {
        return;
    }
    for (const std::string_view name : {"RRULE", "RDATE", "EXDATE", "EXRULE"}) {
        edit.remove(name);
    }
    for (const model::RecurrenceRule& rule : *changes.recurrenceRules) {
        edit.add("RRULE:" + formatRecur(recurOf(rule, start)));
    }
}

void writeStamps(ComponentEdit& edit, const Component& event, model::Instant now) {
    edit.set("DTSTAMP", "DTSTAMP:" + utcText(now));
    edit.set("LAST-MODIFIED", "LAST-MODIFIED:" + utcText(now));
    edit.set("SEQUENCE", "SEQUENCE:" + std::to_string(sequenceOf(event) + 1));
}

void writeAlarms(
    ComponentEdit& edit, const model::EventChanges& changes, std::string_view lineEnd) {
    if (!changes.alarms) {
        return;
    }
    edit.removeComponents("VALARM");
    std::string alarms;
    for (const double offset : *changes.alarms) {
        const seconds trigger(static_cast<std::int64_t>(offset));
        for (const std::string& line : {std::string("BEGIN:VALARM"), std::string("ACTION:DISPLAY"),
                 std::string("DESCRIPTION:Reminder"), "TRIGGER:" + formatDuration(trigger),
                 std::string("END:VALARM")}) {
            alarms += foldLine(line, lineEnd);
        }
    }
    edit.addComponents(std::move(alarms));
}

} // namespace

bool canHold(const model::EventChanges& changes) {
    const bool texts = std::all_of(
        textProperties.begin(), textProperties.end(), [&](const TextProperty& property) {
            const std::optional<std::string>& text = changes.*property.text;
            return !text || canHoldText(*text);
        });
    const bool alarms = !changes.alarms ||
                        std::all_of(changes.alarms->begin(), changes.alarms->end(),
                            [](double offset) { return std::abs(offset) <= maximumAlarmOffset; });
    const bool rules = !changes.recurrenceRules || std::all_of(changes.recurrenceRules->begin(),
                                                       changes.recurrenceRules->end(), isHoldable);
    return texts && alarms && rules;
}

const DateTime* PlannedDates::zoned() const {
    for (const auto& date : {&start, &end}) {
        if (*date && (*date)->kind == DateTime::Kind::zoned) {
            return &**date;
        }
    }
    return nullptr;
}

std::optional<PlannedDates> planDates(const model::EventChanges& changes) {
    if (!changes.start || !changes.end || *changes.end < *changes.start) {
        return std::nullopt;
    }
    PlannedDates planned;
    if (changes.isAllDay.value_or(false)) {
        planned.start = firstDay(*changes.start);
        planned.end = dayAfterLast(*changes.start, *changes.end);
    } else {
        const WritingZone zone = WritingZone::local();
        planned.start = timedValue(*changes.start, zone);
        planned.end = timedValue(*changes.end, zone);
    }
    if (!planned.start || !planned.end) {
        return std::nullopt;
    }
    if (planned.end->instant() == planned.start->instant()) {
        planned.end.reset();
        planned.endGoes = true;
    }
    return planned;
}

std::optional<PlannedDates> planDates(
    const Instance& instance, const model::EventChanges& changes, bool all, bool recurs) {
    const EventComponent& event = *instance.component;
    const model::Instant start = changes.start.value_or(model::Instant(instance.span.start));
    const model::Instant end = changes.end.value_or(model::Instant(instance.span.end));
    if (end < start) {
        return std::nullopt;
    }
    const bool wasAllDay = instance.isAllDay;
    const bool isAllDay = changes.isAllDay.value_or(wasAllDay);
    const bool both = all || isAllDay != wasAllDay;
    const DateTime* explicitEnd = std::get_if<DateTime>(&event.extent);
    const bool asked = changes.start || changes.end;
    const auto leavesZone = [&](const DateTime& date) { return asked && !date.isZoneKnown; };
    const bool startChanges = both || changes.start || leavesZone(event.start);
    // An end that follows from the start must be written when the start moves and the end does not.
    const bool endChanges = both || changes.end || (changes.start && !explicitEnd) ||
                            (explicitEnd && leavesZone(*explicitEnd));

    const auto timed = [&](model::Instant instant, const DateTime& like) {
        if (like.isDate() || leavesZone(like)) {
            return timedValue(
                instant, like.isDate() || recurs ? WritingZone::local() : WritingZone{});
        }
        return timedValueLike(like, instant);
    };
    const bool endIsLikeStart =
        !explicitEnd || (leavesZone(*explicitEnd) && event.start.isZoneKnown);
    PlannedDates planned;
    if (startChanges) {
        planned.start = isAllDay ? firstDay(start) : timed(start, event.start);
    }
    planned.endGoes = !isAllDay && endChanges &&
                      std::chrono::floor<seconds>(start) == std::chrono::floor<seconds>(end);
    if (endChanges && !planned.endGoes) {
        planned.end = isAllDay ? dayAfterLast(start, end)
                               : timed(end, endIsLikeStart ? event.start : *explicitEnd);
    }
    const bool held =
        (!startChanges || planned.start) && (!endChanges || planned.endGoes || planned.end);
    return held ? std::optional(planned) : std::nullopt;
}

std::optional<std::string> newEventComponent(std::string_view uid, const PlannedDates& dates,
    const model::EventChanges& changes, model::Instant now, std::string_view lineEnd) {
    if (!dates.start) {
        return std::nullopt;
    }
    const std::string stamp = utcText(now);
    std::string text;
    const auto add = [&](const std::string& line) { text += foldLine(line, lineEnd); };
    add("BEGIN:VEVENT");
    add("UID:" + encodeText(uid));
    add("DTSTAMP:" + stamp);
    add("CREATED:" + stamp);
    add("LAST-MODIFIED:" + stamp);
    add("SEQUENCE:0");
    add(dateTimeProperty("DTSTART", *dates.start));
    // An event without length has no DTEND: it would have to be later (RFC 5545 section 3.8.2.2).
    if (dates.end) {
        add(dateTimeProperty("DTEND", *dates.end));
    }
    add("END:VEVENT");

    const auto component = ParsedComponent::parse(text, {0, text.size()});
    if (!component) {
        return std::nullopt;
    }
    TextEdit edit(text);
    ComponentEdit properties(text, **component, edit);
    writeTexts(properties, **component, changes);
    writeRules(properties, *dates.start, changes);
    writeAlarms(properties, changes, lineEnd);
    return edit.result();
}

EventWriter::EventWriter(std::string_view text, const EventComponent& event, TextEdit& edit)
    : event_(event)
    , edit_(text, *event.component, edit)
    , lineEnd_(lineEndOf(text)) {}

void EventWriter::update(
    const PlannedDates& dates, const model::EventChanges& changes, model::Instant now) {
    const Component& component = *event_.component;
    writeDates(edit_, event_, dates);
    writeTexts(edit_, component, changes);
    writeRules(edit_, dates.start.value_or(event_.start), changes);
    writeStamps(edit_, component, now);
    // Components come after all properties (RFC 5545 section 3.6.1).
    writeAlarms(edit_, changes, lineEnd_);
}

void EventWriter::exclude(const DateTime& originalStart, model::Instant now) {
    edit_.add(lineLikeStart("EXDATE", originalStart, event_));
    writeStamps(edit_, *event_.component, now);
}

void EventWriter::becomeOverrideFor(const DateTime& originalStart) {
    edit_.set("RECURRENCE-ID", lineLikeStart("RECURRENCE-ID", originalStart, event_));
}

void EventWriter::becomeMaster() {
    edit_.remove("RECURRENCE-ID");
}

bool hasRules(const EventComponent& event, std::span<const model::RecurrenceRule> rules) {
    return std::equal(rules.begin(), rules.end(), event.rules.begin(), event.rules.end(),
        [&](const model::RecurrenceRule& rule, const Recur& present) {
            return formatRecur(recurOf(rule, event.start)) == formatRecur(present);
        });
}

} // namespace quenbrook::icalendar
