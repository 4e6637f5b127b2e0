#include "tests/contract/ContractSupport.h"
#include "tests/support/EventsOf.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace quenbrook::contract {

using model::Calendar;
using model::Instant;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

struct RangeCase {
    const char* what;
    Instant start;
    Instant end;
    bool isFound;
};

Instant at(int hour, int minute = 0, int second = 0) {
    return utc(2026, 1, 5, hour, minute, second);
}

void expectFound(
    stores::CalendarStore& store, const std::vector<RangeCase>& cases, const char* event) {
    for (const RangeCase& range : cases) {
        const auto found = tests::eventsOf(store, range.start, range.end);
        EXPECT_EQ(found.size(), range.isFound ? 1U : 0U) << event << ", " << range.what;
    }
}

} // namespace

TEST_P(StoreContract, FindsAnEventThatSharesTimeWithTheRange) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    harness().addEvent(calendar, anEvent());
    const auto store = harness().openStore();
    expectFound(*store,
        {
            {"a day around it", at(0), at(23), true},
            {"exactly its time", at(10), at(11), true},
            {"a part of it", at(10, 15), at(10, 45), true},
            {"its beginning", at(9), at(10, 0, 1), true},
            {"its end", at(10, 59, 59), at(12), true},
            {"an instant within it", at(10, 30), at(10, 30), true},
            {"up to its start", at(9), at(10), false},
            {"from its end", at(11), at(12), false},
            {"long before", utc(2025, 1, 1), utc(2025, 12, 31), false},
            {"long after", utc(2026, 2, 1), utc(2026, 3, 1), false},
            {"the instant of its start", at(10), at(10), false},
            {"the instant of its end", at(11), at(11), false},
            {"a range that ends before it starts", at(10, 45), at(10, 15), false},
            {"a reversed range around it", at(23), at(0), false},
            {"four years before it", utc(2022, 1, 5, 11), utc(2026, 1, 5, 11), true},
            {"every year from its own on", utc(2026, 1, 1), utc(9999, 12, 31), true},
            {"every year there is", utc(1, 1, 1), utc(9999, 12, 31),
                capabilities().searchesLongRanges},
            {"more than four years before it", utc(2022, 1, 5, 9), utc(2026, 1, 5, 12),
                capabilities().searchesLongRanges},
        },
        "from 10 to 11");
}

TEST_P(StoreContract, PassesOnWhatIsThrownWhileEventsAreHandedOver) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    harness().addEvent(calendar, anEvent());
    const auto store = harness().openStore();
    const auto refuse = [](const model::Event&) { throw std::runtime_error("enough"); };
    EXPECT_THROW(store->forEachEvent(utc(2026, 1, 1), utc(2026, 2, 1), std::nullopt, refuse),
        std::runtime_error);
}

TEST_P(StoreContract, FindsAnEventOfNoLengthByItsStart) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    auto seed = anEvent();
    seed.end = seed.start;
    harness().addEvent(calendar, seed);
    const auto store = harness().openStore();
    expectFound(*store,
        {
            {"a range around it", at(9), at(11), true},
            {"a range that starts with it", at(10), at(11), true},
            {"a range that ends with it", at(9), at(10), false},
            {"a range after it", at(10, 0, 1), at(11), false},
            {"a reversed range around it", at(11), at(9), false},
        },
        "at 10");
}

TEST_P(StoreContract, FindsAnEventThatOutlastsTheRange) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    auto seed = anEvent();
    seed.start = utc(2024, 3, 1, 12);
    seed.end = utc(2027, 8, 1, 12);
    harness().addEvent(calendar, seed);
    EXPECT_EQ(eventsOfJanuary(*harness().openStore()).size(), 1U);
}

TEST_P(StoreContract, FindsEventsOfAllCalendarsOrOfTheNamedOnes) {
    const auto work = harness().addCalendar({.name = "work", .title = "Work"});
    const auto home = harness().addCalendar(
        {.name = "home", .title = "Home", .source = model::Source{"Account", 0}});
    const auto empty = harness().addCalendar({.name = "empty", .title = "Empty"});
    harness().addEvent(work, anEvent("meeting"));
    harness().addEvent(home, anEvent("dinner"));

    const auto store = harness().openStore();
    const auto found = [&](const std::vector<std::string>& identifiers) {
        std::vector<Calendar> calendars;
        for (const auto& identifier : identifiers) {
            calendars.push_back(store->calendar(identifier).value());
        }
        return titlesOf(
            tests::eventsOf(*store, at(0), at(23), std::span<const Calendar>(calendars)));
    };
    EXPECT_THAT(titlesOf(tests::eventsOf(*store, at(0), at(23))),
        UnorderedElementsAre("Title of meeting", "Title of dinner"));
    EXPECT_THAT(found({work}), ElementsAre("Title of meeting"));
    EXPECT_THAT(found({home}), ElementsAre("Title of dinner"));
    EXPECT_THAT(found({empty}), ElementsAre());
    EXPECT_THAT(found({work, work, work}), ElementsAre("Title of meeting"));
    EXPECT_THAT(found({home, work}), UnorderedElementsAre("Title of meeting", "Title of dinner"));
    EXPECT_THAT(found({work, home, empty, work}),
        UnorderedElementsAre("Title of meeting", "Title of dinner"));
}

TEST_P(StoreContract, TellsEachEventsOwnCalendarInOneList) {
    const auto work = harness().addCalendar({.name = "work", .title = "Work"});
    const auto home = harness().addCalendar(
        {.name = "home", .title = "Home", .source = model::Source{"Account", 0}});
    for (const char* name : {"a", "b", "c"}) {
        harness().addEvent(work, anEvent(std::string("at-work-") + name));
        harness().addEvent(home, anEvent(std::string("at-home-") + name));
    }
    const auto store = harness().openStore();
    const auto found = eventsOfJanuary(*store);
    EXPECT_EQ(found.size(), 6U);
    for (const auto& event : found) {
        const bool isAtWork = event.title->starts_with("Title of at-work");
        EXPECT_EQ(*event.calendar, store->calendar(isAtWork ? work : home)) << *event.title;
    }
}

TEST_P(StoreContract, ReportsEventsInTheSameOrderEachTime) {
    const auto one = harness().addCalendar({.name = "one", .title = "One"});
    const auto two = harness().addCalendar({.name = "two", .title = "Two"});
    for (int i = 0; i < 20; ++i) {
        auto seed = anEvent("event" + std::to_string(i * 7 % 20));
        seed.start += std::chrono::hours{i * 3 % 5};
        seed.end += std::chrono::hours{i % 7 + 5};
        harness().addEvent(i % 2 == 0 ? one : two, seed);
    }
    const auto store = harness().openStore();
    const auto titles = titlesOf(eventsOfJanuary(*store));
    EXPECT_EQ(titles.size(), 20U);
    EXPECT_EQ(titlesOf(eventsOfJanuary(*store)), titles);
    EXPECT_EQ(titlesOf(eventsOfJanuary(*harness().openStore())), titles);
}

TEST_P(StoreContract, FindsEveryOccurrenceOfASeriesInTheRange) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    auto seed = anEvent();
    seed.recurrenceRules = {
        {.frequency = 0, .interval = 2, .end = model::RecurrenceEnd::withOccurrenceCount(4)}};
    const auto identifier = harness().addEvent(calendar, seed);

    const auto store = harness().openStore();
    const auto found = eventsOfJanuary(*store);
    EXPECT_THAT(startsOf(found), ElementsAre(utc(2026, 1, 5, 10), utc(2026, 1, 7, 10),
                                     utc(2026, 1, 9, 10), utc(2026, 1, 11, 10)));
    for (const auto& occurrence : found) {
        EXPECT_EQ(occurrence.identifier, identifier);
        EXPECT_EQ(occurrence.end - occurrence.start, std::chrono::hours{1});
        EXPECT_EQ(occurrence.title, seed.title);
    }
    EXPECT_THAT(startsOf(tests::eventsOf(*store, utc(2026, 1, 7), utc(2026, 1, 10))),
        ElementsAre(utc(2026, 1, 7, 10), utc(2026, 1, 9, 10)));
}

TEST_P(StoreContract, EndsASeriesWithTheLastOccurrenceThatStartsByItsEndDate) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    auto seed = anEvent();
    seed.recurrenceRules = {{.frequency = 1,
        .interval = 1,
        .end = model::RecurrenceEnd::withEndDate(utc(2026, 1, 19, 10))}};
    harness().addEvent(calendar, seed);
    const auto found = startsOf(eventsOfJanuary(*harness().openStore()));
    EXPECT_THAT(
        found, ElementsAre(utc(2026, 1, 5, 10), utc(2026, 1, 12, 10), utc(2026, 1, 19, 10)));
}

TEST_P(StoreContract, FindsASeriesWithoutEndLongAfterItsStart) {
    const auto calendar = harness().addCalendar({.name = "work", .title = "Work"});
    auto seed = anEvent();
    seed.start = utc(1990, 1, 5, 10);
    seed.end = utc(1990, 1, 5, 11);
    seed.recurrenceRules = {{.frequency = 3, .interval = 1}};
    harness().addEvent(calendar, seed);
    const auto found = startsOf(eventsOfJanuary(*harness().openStore()));
    EXPECT_THAT(found, ElementsAre(utc(2026, 1, 5, 10)));
}

} // namespace quenbrook::contract
