#include "tests/eventkit/EventKitHarness.h"

#include <gmock/gmock.h>
#include <unicode/unistr.h>

namespace quenbrook::eventkit {
namespace {

std::u16string utf16(const std::string& text) {
    const auto units = icu::UnicodeString::fromUTF8(text);
    return {units.getBuffer(), static_cast<std::size_t>(units.length())};
}

std::optional<std::u16string> utf16(const std::optional<std::string>& text) {
    return text ? std::optional(utf16(*text)) : std::nullopt;
}

double seconds(model::Instant instant) {
    return std::chrono::duration<double>(instant.time_since_epoch()).count();
}

std::optional<double> seconds(const std::optional<model::Instant>& instant) {
    return instant ? std::optional(seconds(*instant)) : std::nullopt;
}

// The framework gives nil rather than an empty list.
std::optional<std::vector<std::int64_t>> listOrNil(const std::vector<std::int64_t>& numbers) {
    return numbers.empty() ? std::nullopt : std::optional(numbers);
}

standin::Rule toRule(const model::RecurrenceRule& rule) {
    standin::Rule result{.frequency = rule.frequency, .interval = rule.interval};
    if (rule.end) {
        result.end = {
            static_cast<std::uint64_t>(rule.end->occurrenceCount), seconds(rule.end->endDate)};
    }
    for (const std::int64_t day : rule.daysOfTheWeek) {
        if (!result.daysOfTheWeek) {
            result.daysOfTheWeek.emplace();
        }
        result.daysOfTheWeek->push_back({day, 0});
    }
    result.daysOfTheMonth = listOrNil(rule.daysOfTheMonth);
    result.monthsOfTheYear = listOrNil(rule.monthsOfTheYear);
    return result;
}

} // namespace

EventKitHarness::~EventKitHarness() {
    EXPECT_THAT(standin::liveObjects(), testing::IsEmpty());
    EXPECT_EQ(world_.objectsThatOutlivedTheirStore, 0);
}

contract::StoreCapabilities EventKitHarness::capabilities() const {
    contract::StoreCapabilities capabilities;
    capabilities.searchesLongRanges = false;
    capabilities.refusesChangesOfGoneEvents = false;
    return capabilities;
}

std::string EventKitHarness::addCalendar(const contract::CalendarSeed& seed) {
    const std::string identifier = "calendar-" + seed.name;
    standin::Calendar calendar;
    calendar.identifier = utf16(identifier);
    calendar.title = utf16(seed.title);
    calendar.allowsContentModifications = seed.writable;
    if (seed.source) {
        calendar.source = {utf16(seed.source->title), seed.source->type};
    }
    if (seed.color) {
        calendar.color = standin::Color{{seed.color->begin(), seed.color->end()}};
    }
    world_.calendars.push_back(calendar);
    return identifier;
}

std::string EventKitHarness::addEvent(
    const std::string& calendarIdentifier, const contract::EventSeed& seed) {
    const std::string identifier = calendarIdentifier + "-" + seed.name;
    standin::Event event;
    event.identifier = utf16(identifier);
    event.calendar = utf16(calendarIdentifier);
    event.title = utf16(seed.title);
    event.startDate = seconds(seed.start);
    event.endDate = seconds(seed.end);
    event.isAllDay = seed.isAllDay;
    event.location = utf16(seed.location);
    event.notes = utf16(seed.notes);
    for (const model::Participant& participant : seed.participants) {
        if (!event.attendees) {
            event.attendees.emplace();
        }
        event.attendees->push_back({participant.url, utf16(participant.name), participant.status});
    }
    for (const double offset : seed.alarms) {
        if (!event.alarms) {
            event.alarms.emplace();
        }
        event.alarms->push_back({offset, std::nullopt});
    }
    event.recurrenceRules.emplace();
    for (const model::RecurrenceRule& rule : seed.recurrenceRules) {
        event.recurrenceRules->push_back(toRule(rule));
    }
    event.lastModifiedDate = seconds(seed.lastModified);
    event.availability = seed.availability;
    world_.events.push_back(event);
    return identifier;
}

std::unique_ptr<stores::CalendarStore> EventKitHarness::openStore() {
    return stores::openCalendarStore();
}

} // namespace quenbrook::eventkit
