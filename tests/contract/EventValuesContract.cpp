#include "tests/contract/ContractSupport.h"
#include "tests/support/EventsOf.h"

#include <gmock/gmock.h>

namespace quenbrook::contract {

using model::Participant;
using model::RecurrenceEnd;
using model::RecurrenceRule;

namespace {

// Puts one event in a calendar of its own and expects both ways of reading to give all of it.
void expectReadAsSeeded(StoreHarness& harness, const EventSeed& seed, std::string_view what) {
    static int calendars = 0;
    const auto calendarIdentifier =
        harness.addCalendar({.name = "values" + std::to_string(++calendars), .title = "Values"});
    const auto identifier = harness.addEvent(calendarIdentifier, seed);

    const auto store = harness.openStore();
    const auto calendar = store->calendar(calendarIdentifier);
    ASSERT_TRUE(calendar) << what;
    const auto description = expected(seed, identifier, *calendar, harness.capabilities());

    const auto byIdentifier = store->event(identifier);
    ASSERT_TRUE(byIdentifier) << what;
    EXPECT_EQ(describe(*byIdentifier), description) << what;
    EXPECT_EQ(*byIdentifier->calendar, *calendar) << what;

    const auto byRange = tests::eventsOf(*store, seed.start - std::chrono::hours{1},
        seed.start + std::chrono::hours{1}, std::span(&*calendar, 1));
    ASSERT_EQ(byRange.size(), 1U) << what;
    EXPECT_EQ(describe(byRange[0]), description) << what;
}

} // namespace

TEST_P(StoreContract, ReadsAnEventThatSaysLittle) {
    auto seed = anEvent();
    seed.title.reset();
    expectReadAsSeeded(harness(), seed, "no texts");
}

TEST_P(StoreContract, ReadsEveryText) {
    int number = 0;
    for (const auto& [what, text] : texts()) {
        auto seed = anEvent("text" + std::to_string(++number));
        seed.title = text;
        seed.location = text;
        seed.notes = text;
        expectReadAsSeeded(harness(), seed, what);
    }
}

TEST_P(StoreContract, ReadsParticipantsInTheirOrder) {
    auto seed = anEvent();
    seed.participants = {
        {"mailto:zoe@example.com", "Zoe", 2},
        {"mailto:Adam@example.com", std::nullopt, 1},
        {"MAILTO:loud@example.com", "Loud, Very; indeed: so", 3},
        {"https://example.com/people?id=4&x=%20", "Ωmega \xF0\x9F\x97\x93", 4},
        {"urn:uuid:f81d4fae-7dec-11d0-a765-00a0c91e6bf6", "Delegated", 5},
        {"mailto:done@example.com", "Completed", 6},
        {"mailto:busy@example.com", "In process", 7},
        {"mailto:zoe@example.com", "Zoe", 2},
    };
    expectReadAsSeeded(harness(), seed, "participants");
}

TEST_P(StoreContract, CountsAlarms) {
    int number = 0;
    for (const auto& alarms :
        std::vector<std::vector<double>>{{}, {-900}, {0}, {300, -86'400, 0, -900}}) {
        auto seed = anEvent("alarms" + std::to_string(++number));
        seed.alarms = alarms;
        expectReadAsSeeded(harness(), seed, std::to_string(alarms.size()) + " alarms");
    }
}

TEST_P(StoreContract, ReadsRecurrenceRules) {
    // Each yields the event's own start, Monday 5 January 2026, as its first occurrence.
    const std::vector<std::pair<const char*, std::vector<RecurrenceRule>>> cases{
        {"daily", {{.frequency = 0, .interval = 1}}},
        {"weekly", {{.frequency = 1, .interval = 2}}},
        {"monthly", {{.frequency = 2, .interval = 366}}},
        {"yearly", {{.frequency = 3, .interval = 1}}},
        {"a count",
            {{.frequency = 0, .interval = 3, .end = RecurrenceEnd::withOccurrenceCount(10)}}},
        {"an end date", {{.frequency = 0,
                            .interval = 3,
                            .end = RecurrenceEnd::withEndDate(utc(2026, 3, 1, 12, 30, 15))}}},
        {"days of the week", {{.frequency = 1, .interval = 1, .daysOfTheWeek = {2, 6, 4}}}},
        {"every day of the week",
            {{.frequency = 1, .interval = 1, .daysOfTheWeek = {1, 2, 3, 4, 5, 6, 7}}}},
        {"days of the month",
            {{.frequency = 2, .interval = 1, .daysOfTheMonth = {5, -1, 31, -31}}}},
        {"months of the year", {{.frequency = 3,
                                   .interval = 1,
                                   .daysOfTheMonth = {5},
                                   .monthsOfTheYear = {1, 12, 4}}}},
        {"two rules",
            {{.frequency = 1, .interval = 1, .end = RecurrenceEnd::withOccurrenceCount(2)},
                {.frequency = 2, .interval = 1, .end = RecurrenceEnd::withOccurrenceCount(3)}}},
    };
    int number = 0;
    for (const auto& [what, rules] : cases) {
        auto seed = anEvent("rules" + std::to_string(++number));
        seed.recurrenceRules = rules;
        expectReadAsSeeded(harness(), seed, what);
    }
}

TEST_P(StoreContract, ReadsAvailability) {
    for (std::int64_t availability = 0; availability <= 3; ++availability) {
        auto seed = anEvent("availability" + std::to_string(availability));
        seed.availability = availability;
        expectReadAsSeeded(harness(), seed, seed.name);
    }
}

TEST_P(StoreContract, ReadsTheInstantOfTheLastChange) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    auto changed = anEvent("changed");
    changed.lastModified = utc(2025, 12, 24, 18, 30, 59);
    const auto withInstant = harness().addEvent(calendar, changed);
    const auto without = harness().addEvent(calendar, anEvent("never"));

    const auto store = harness().openStore();
    if (capabilities().keepsLastModified) {
        EXPECT_EQ(store->event(withInstant)->lastModified, changed.lastModified);
        EXPECT_EQ(store->event(without)->lastModified, std::nullopt);
    } else {
        EXPECT_GT(store->event(withInstant)->lastModified, changed.lastModified);
        EXPECT_TRUE(store->event(without)->lastModified);
    }
}

TEST_P(StoreContract, ReadsAllDayEventsFromMidnightToTheLastSecond) {
    auto oneDay = anEvent("oneday");
    oneDay.isAllDay = true;
    oneDay.start = localMidnight(2026, 1, 5);
    oneDay.end = localMidnight(2026, 1, 6) - std::chrono::seconds{1};
    expectReadAsSeeded(harness(), oneDay, "one day");

    auto overLeapDay = anEvent("overleapday");
    overLeapDay.isAllDay = true;
    overLeapDay.start = localMidnight(2028, 2, 27);
    overLeapDay.end = localMidnight(2028, 3, 2) - std::chrono::seconds{1};
    expectReadAsSeeded(harness(), overLeapDay, "four days over a leap day");
}

TEST_P(StoreContract, ReadsInstantsFarAndNear) {
    int number = 0;
    for (const auto start : {utc(1600, 2, 29, 1), utc(1969, 12, 31, 23, 59, 59), utc(1970, 1, 1),
             utc(2038, 1, 19, 3, 14, 8), utc(2100, 2, 28, 23, 30), utc(9998, 12, 31, 12)}) {
        auto seed = anEvent("instant" + std::to_string(++number));
        seed.start = start;
        seed.end = start + std::chrono::minutes{45};
        expectReadAsSeeded(harness(), seed, seed.name);
    }
}

TEST_P(StoreContract, FindsAnEventByItsWholeIdentifierOnly) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    const auto identifier = harness().addEvent(calendar, anEvent("wanted"));
    harness().addEvent(calendar, anEvent("other"));

    const auto store = harness().openStore();
    for (const std::string& near : {std::string{}, std::string{":"}, identifier + "x",
             "x" + identifier, identifier.substr(0, identifier.size() - 1), identifier + " ",
             identifier + std::string(1, '\0'), calendar, calendar + ":", "../" + identifier,
             std::string(100'000, 'x')}) {
        EXPECT_FALSE(store->event(near)) << near.substr(0, 100);
    }
    EXPECT_EQ(store->event(identifier)->title, "Title of wanted");
}

TEST_P(StoreContract, LeadsToTheFirstOccurrenceOfASeries) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    auto seed = anEvent();
    seed.recurrenceRules = {{.frequency = 1, .interval = 1}};
    const auto identifier = harness().addEvent(calendar, seed);
    EXPECT_EQ(harness().openStore()->event(identifier)->start, seed.start);
}

} // namespace quenbrook::contract
