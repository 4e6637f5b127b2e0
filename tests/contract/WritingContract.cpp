#include "tests/contract/ContractSupport.h"
#include "tests/support/EventsOf.h"

#include <gmock/gmock.h>

#include <set>

namespace quenbrook::contract {

using model::Calendar;
using model::Event;
using model::EventChanges;
using model::RecurrenceEnd;
using model::RecurrenceRule;
using model::SavedEvent;
using stores::CalendarStore;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

Calendar workCalendar(StoreHarness& harness) {
    const auto identifier = harness.addCalendar({.name = "work", .title = "Work"});
    return harness.openStore()->calendar(identifier).value();
}

// As another run of the program would see it.
std::optional<Event> reread(StoreHarness& harness, const std::string& identifier) {
    return harness.openStore()->event(identifier);
}

// Another run finds the event at the instants that the save told.
void expectSavedAs(StoreHarness& harness, const SavedEvent& saved) {
    const auto found = reread(harness, saved.identifier.value());
    ASSERT_TRUE(found);
    EXPECT_EQ(found->start, saved.start);
    EXPECT_EQ(found->end, saved.end);
}

// An event with a value in every property.
EventSeed fullEvent() {
    auto seed = anEvent("full");
    seed.location = "Room 1";
    seed.notes = "Bring; the, \\notes\nand more";
    seed.participants = {{"mailto:zoe@example.com", "Zoe", 2}, {"mailto:a@example.com", {}, 1}};
    seed.alarms = {-900, -60};
    seed.availability = 1;
    return seed;
}

} // namespace

TEST_P(StoreContract, TellsWhatACreatedEventWasSavedAs) {
    const auto calendar = workCalendar(harness());
    auto changes = aNewEvent("Dentist");
    changes.location = "High Street";
    changes.notes = "Second floor";
    changes.alarms = {-900, 0, 300};
    changes.recurrenceRules = {
        {.frequency = 1, .interval = 2, .end = RecurrenceEnd::withOccurrenceCount(3)}};

    const auto store = harness().openStore();
    const auto created = store->create(calendar, changes);
    ASSERT_TRUE(created);
    ASSERT_TRUE(created->identifier);
    EXPECT_FALSE(created->identifier->empty());
    EXPECT_EQ(created->calendarIdentifier, calendar.identifier);
    EXPECT_EQ(created->start, changes.start);
    EXPECT_EQ(created->end, changes.end);

    const auto again = store->event(*created->identifier);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->identifier, created->identifier);
    EXPECT_EQ(*again->calendar, calendar);
    EXPECT_EQ(again->title, "Dentist");
    EXPECT_EQ(again->start, changes.start);
    EXPECT_EQ(again->end, changes.end);
    EXPECT_FALSE(again->isAllDay);
    EXPECT_EQ(again->location, "High Street");
    EXPECT_EQ(again->notes, "Second floor");
    EXPECT_TRUE(again->participants.empty());
    EXPECT_EQ(again->alarmCount, 3U);
    EXPECT_EQ(again->recurrenceRules, *changes.recurrenceRules);
    EXPECT_EQ(again->lastModified.has_value(), capabilities().stampsLastModified);
    const auto later = reread(harness(), *created->identifier);
    ASSERT_TRUE(later);
    EXPECT_EQ(describe(*later), describe(*again));
    const auto inRange =
        tests::eventsOf(*store, *changes.start, *changes.end, std::span(&calendar, 1));
    ASSERT_EQ(inRange.size(), 1U);
    EXPECT_EQ(describe(inRange[0]), describe(*again));
}

TEST_P(StoreContract, CreatesAnEventWithNoMoreThanItsTime) {
    const auto calendar = workCalendar(harness());
    const auto created = harness().openStore()->create(calendar, aNewEvent(""));
    ASSERT_TRUE(created);
    const auto event = reread(harness(), *created->identifier);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->title, asKept("", capabilities()));
    EXPECT_EQ(event->location, std::nullopt);
    EXPECT_EQ(event->notes, std::nullopt);
    EXPECT_EQ(event->alarmCount, 0U);
    EXPECT_TRUE(event->recurrenceRules.empty());
}

TEST_P(StoreContract, GivesEveryCreatedEventAnIdentifierOfItsOwn) {
    const auto calendar = workCalendar(harness());
    harness().addEvent(calendar.identifier, anEvent("seeded"));
    std::set<std::string> identifiers;
    for (int i = 0; i < 25; ++i) {
        const auto store = harness().openStore();
        identifiers.insert(store->create(calendar, aNewEvent())->identifier.value());
        identifiers.insert(store->create(calendar, aNewEvent())->identifier.value());
    }
    EXPECT_EQ(identifiers.size(), 50U);
    EXPECT_EQ(eventsOfJanuary(*harness().openStore()).size(), 51U);
}

TEST_P(StoreContract, CreatesInTheCalendarThatIsNamed) {
    const auto work = workCalendar(harness());
    const auto home = harness().addCalendar(
        {.name = "home", .title = "Home", .source = model::Source{"Account", 0}});
    const auto store = harness().openStore();
    const auto calendar = store->calendar(home).value();
    store->create(calendar, aNewEvent("At home"));
    EXPECT_THAT(titlesOf(tests::eventsOf(
                    *store, utc(2026, 1, 1), utc(2026, 2, 1), std::span(&calendar, 1))),
        ElementsAre("At home"));
    EXPECT_TRUE(
        tests::eventsOf(*store, utc(2026, 1, 1), utc(2026, 2, 1), std::span(&work, 1)).empty());
}

TEST_P(StoreContract, SavesEveryText) {
    const auto calendar = workCalendar(harness());
    for (const auto& [what, text] : texts()) {
        auto changes = aNewEvent(text);
        changes.location = text;
        changes.notes = text;
        const auto created = harness().openStore()->create(calendar, changes);
        ASSERT_TRUE(created) << what;
        const auto later = reread(harness(), *created->identifier);
        ASSERT_TRUE(later) << what;
        EXPECT_EQ(later->title, asKept(text, capabilities())) << what;
        EXPECT_EQ(later->location, asKept(text, capabilities())) << what;
        EXPECT_EQ(later->notes, asKept(text, capabilities())) << what;
    }
    EXPECT_EQ(eventsOfJanuary(*harness().openStore()).size(), texts().size());
}

TEST_P(StoreContract, KeepsOrRefusesNul) {
    const auto calendar = workCalendar(harness());
    const std::string text("a\0b", 3);
    const auto created = harness().openStore()->create(calendar, aNewEvent(text));
    ASSERT_EQ(created.has_value(), capabilities().keepsNul);
    if (created) {
        EXPECT_EQ(reread(harness(), *created->identifier)->title, text);
    } else {
        EXPECT_TRUE(eventsOfJanuary(*harness().openStore()).empty());
    }
}

TEST_P(StoreContract, SavesInstantsAsPreciselyAsItCan) {
    const auto calendar = workCalendar(harness());
    auto changes = aNewEvent();
    changes.start = utc(2026, 1, 5, 10, 0, 0, 250);
    changes.end = utc(2026, 1, 5, 11, 0, 59, 999);
    const auto created = harness().openStore()->create(calendar, changes);
    ASSERT_TRUE(created);
    const bool exact = capabilities().keepsFractionalSeconds;
    EXPECT_EQ(created->start, exact ? *changes.start : utc(2026, 1, 5, 10));
    EXPECT_EQ(created->end, exact ? *changes.end : utc(2026, 1, 5, 11, 0, 59));
    expectSavedAs(harness(), *created);
}

TEST_P(StoreContract, SavesInstantsOfEverySeason) {
    const auto calendar = workCalendar(harness());
    for (const auto start : {utc(1930, 6, 15, 12), utc(1969, 12, 31, 23, 59, 59),
             utc(2026, 3, 29, 1, 30), utc(2026, 4, 4, 15, 15), utc(2026, 7, 1, 0, 0, 1),
             utc(2026, 10, 25, 0, 30), utc(2026, 10, 25, 1, 30), utc(2026, 11, 1, 4, 15),
             utc(2040, 2, 29, 23, 59, 59), utc(2400, 8, 1, 6)}) {
        auto changes = aNewEvent();
        changes.start = start;
        changes.end = start + std::chrono::minutes{90};
        const auto created = harness().openStore()->create(calendar, changes);
        ASSERT_TRUE(created);
        EXPECT_EQ(created->start, start);
        EXPECT_EQ(created->end, *changes.end);
        expectSavedAs(harness(), *created);
    }
}

TEST_P(StoreContract, SavesAllDayEvents) {
    const auto calendar = workCalendar(harness());
    struct Case {
        const char* what;
        model::Instant start, end, alignedStart, alignedEnd;
    };
    const auto second = std::chrono::seconds{1};
    for (const auto& [what, start, end, alignedStart, alignedEnd] : std::vector<Case>{
             {"midnight to midnight", localMidnight(2026, 1, 5), localMidnight(2026, 1, 6),
                 localMidnight(2026, 1, 5), localMidnight(2026, 1, 6) - second},
             {"midnight to the last second", localMidnight(2026, 7, 5),
                 localMidnight(2026, 7, 6) - second, localMidnight(2026, 7, 5),
                 localMidnight(2026, 7, 6) - second},
             {"an instant at midnight", localMidnight(2026, 1, 5), localMidnight(2026, 1, 5),
                 localMidnight(2026, 1, 5), localMidnight(2026, 1, 6) - second},
             {"an hour at noon", localMidnight(2026, 1, 5) + std::chrono::hours{12},
                 localMidnight(2026, 1, 5) + std::chrono::hours{13}, localMidnight(2026, 1, 5),
                 localMidnight(2026, 1, 6) - second},
             {"noon to noon", localMidnight(2026, 1, 5) + std::chrono::hours{12},
                 localMidnight(2026, 1, 7) + std::chrono::hours{12}, localMidnight(2026, 1, 5),
                 localMidnight(2026, 1, 8) - second},
             {"a week over both changes of the clocks in the north", localMidnight(2026, 3, 6),
                 localMidnight(2026, 4, 6), localMidnight(2026, 3, 6),
                 localMidnight(2026, 4, 6) - second},
             {"a month over both changes of the clocks in the south", localMidnight(2026, 9, 28),
                 localMidnight(2026, 11, 9), localMidnight(2026, 9, 28),
                 localMidnight(2026, 11, 9) - second},
         }) {
        auto changes = aNewEvent();
        changes.isAllDay = true;
        changes.start = start;
        changes.end = end;
        const auto created = harness().openStore()->create(calendar, changes);
        ASSERT_TRUE(created) << what;
        const bool aligns = capabilities().alignsAllDayEvents;
        EXPECT_TRUE(reread(harness(), *created->identifier)->isAllDay) << what;
        EXPECT_EQ(created->start, aligns ? alignedStart : start) << what;
        EXPECT_EQ(created->end, aligns ? alignedEnd : end) << what;
        SCOPED_TRACE(what);
        expectSavedAs(harness(), *created);
    }
}

TEST_P(StoreContract, SavesAnEventOfNoLength) {
    const auto calendar = workCalendar(harness());
    auto changes = aNewEvent();
    changes.end = changes.start;
    const auto created = harness().openStore()->create(calendar, changes);
    ASSERT_TRUE(created);
    EXPECT_EQ(created->end, created->start);
}

TEST_P(StoreContract, RefusesAnEventThatEndsBeforeItStarts) {
    const auto calendar = workCalendar(harness());
    auto changes = aNewEvent();
    changes.end = *changes.start - std::chrono::seconds{1};
    EXPECT_FALSE(harness().openStore()->create(calendar, changes));
    EXPECT_TRUE(eventsOfJanuary(*harness().openStore()).empty());
}

TEST_P(StoreContract, SavesRecurrenceRules) {
    const auto calendar = workCalendar(harness());
    for (std::int64_t frequency = 0; frequency <= 3; ++frequency) {
        for (const std::optional<RecurrenceEnd>& end :
            {std::optional<RecurrenceEnd>{}, {RecurrenceEnd::withOccurrenceCount(1000)},
                {RecurrenceEnd::withEndDate(utc(2030, 6, 1, 12, 30, 15))}}) {
            for (const std::int64_t interval : {1, 2, 366}) {
                auto changes = aNewEvent();
                changes.recurrenceRules = {
                    {.frequency = frequency, .interval = interval, .end = end}};
                const auto created = harness().openStore()->create(calendar, changes);
                ASSERT_TRUE(created);
                EXPECT_EQ(reread(harness(), *created->identifier)->recurrenceRules,
                    *changes.recurrenceRules);
            }
        }
    }
}

TEST_P(StoreContract, UpdatesOnlyWhatTheChangesCarry) {
    const auto calendar = workCalendar(harness());
    const std::vector<RecurrenceRule> rules{
        {.frequency = 0, .interval = 1, .end = RecurrenceEnd::withOccurrenceCount(2)}};
    struct Case {
        const char* what;
        EventChanges changes;
        std::function<void(EventSeed&)> effect;
    };
    const std::vector<Case> cases{
        {"nothing", {}, [](EventSeed&) {}},
        {"title", {.title = "Other"}, [](EventSeed& event) { event.title = "Other"; }},
        {"an empty title", {.title = ""}, [](EventSeed& event) { event.title = ""; }},
        {"start", {.start = utc(2026, 1, 5, 9, 15)},
            [](EventSeed& event) { event.start = utc(2026, 1, 5, 9, 15); }},
        {"end", {.end = utc(2026, 1, 6, 1, 45)},
            [](EventSeed& event) { event.end = utc(2026, 1, 6, 1, 45); }},
        {"both times", {.start = utc(2026, 1, 25, 1), .end = utc(2026, 1, 25, 2)},
            [](EventSeed& event) {
                event.start = utc(2026, 1, 25, 1);
                event.end = utc(2026, 1, 25, 2);
            }},
        {"the flag it has", {.isAllDay = false}, [](EventSeed&) {}},
        {"location", {.location = "Elsewhere"},
            [](EventSeed& event) { event.location = "Elsewhere"; }},
        {"an empty location", {.location = ""}, [](EventSeed& event) { event.location = ""; }},
        {"notes", {.notes = "Other\nnotes"},
            [](EventSeed& event) { event.notes = "Other\nnotes"; }},
        {"alarms", {.alarms = {{-300}}}, [](EventSeed& event) { event.alarms = {-300}; }},
        {"no alarms", {.alarms = std::vector<double>{}},
            [](EventSeed& event) { event.alarms.clear(); }},
        {"rules", {.recurrenceRules = rules},
            [&](EventSeed& event) { event.recurrenceRules = rules; }},
        {"no rules", {.recurrenceRules = std::vector<RecurrenceRule>{}}, [](EventSeed&) {}},
        {"everything",
            {.title = "All",
                .start = utc(2026, 1, 7, 8),
                .end = utc(2026, 1, 7, 9),
                .isAllDay = false,
                .location = "There",
                .notes = "Yes",
                .alarms = {{0, -60, -120}},
                .recurrenceRules = rules},
            [&](EventSeed& event) {
                event.title = "All";
                event.start = utc(2026, 1, 7, 8);
                event.end = utc(2026, 1, 7, 9);
                event.location = "There";
                event.notes = "Yes";
                event.alarms = {0, -60, -120};
                event.recurrenceRules = rules;
            }},
    };
    int number = 0;
    for (const auto& [what, changes, effect] : cases) {
        auto seed = fullEvent();
        seed.name += std::to_string(++number);
        const auto identifier = harness().addEvent(calendar.identifier, seed);
        const auto store = harness().openStore();
        ASSERT_TRUE(store->update(store->event(identifier).value(), changes)) << what;
        effect(seed);
        const auto description = expected(seed, identifier, calendar, capabilities());
        EXPECT_EQ(describe(store->event(identifier).value()), description) << what;
        EXPECT_EQ(describe(reread(harness(), identifier).value()), description) << what;
    }
}

TEST_P(StoreContract, FindsWhatAChangeTakes) {
    const auto calendar = workCalendar(harness());
    const auto identifier = harness().addEvent(calendar.identifier, fullEvent());
    const auto store = harness().openStore();
    const auto event = store->eventToChange(identifier);
    ASSERT_TRUE(event);
    EXPECT_EQ(*event->calendar, calendar);
    EXPECT_TRUE(store->update(*event, {.title = "Changed"}));
    EXPECT_EQ(reread(harness(), identifier)->title, "Changed");
    EXPECT_TRUE(store->remove(store->eventToChange(identifier).value()));
    EXPECT_FALSE(store->eventToChange(identifier));
}

TEST_P(StoreContract, FindsTheParticipantsOfAnEvent) {
    const auto calendar = workCalendar(harness());
    const auto seed = fullEvent();
    const auto identifier = harness().addEvent(calendar.identifier, seed);
    const auto bare = harness().addEvent(calendar.identifier, anEvent("bare"));
    const auto store = harness().openStore();
    EXPECT_EQ(store->participants(identifier), store->event(identifier)->participants);
    EXPECT_EQ(store->participants(identifier)->size(), seed.participants.size());
    EXPECT_EQ(store->participants(bare), std::vector<model::Participant>{});
    EXPECT_EQ(store->participants(identifier + "x"), std::nullopt);
}

TEST_P(StoreContract, UpdatesTextsToEveryText) {
    const auto calendar = workCalendar(harness());
    const auto identifier = harness().addEvent(calendar.identifier, fullEvent());
    for (const auto& [what, text] : texts()) {
        const auto store = harness().openStore();
        ASSERT_TRUE(store->update(
            store->event(identifier).value(), {.title = text, .location = text, .notes = text}))
            << what;
        const auto later = reread(harness(), identifier).value();
        EXPECT_EQ(later.title, asKept(text, capabilities())) << what;
        EXPECT_EQ(later.location, asKept(text, capabilities())) << what;
        EXPECT_EQ(later.notes, asKept(text, capabilities())) << what;
        EXPECT_EQ(later.participants, fullEvent().participants) << what;
    }
}

TEST_P(StoreContract, ClearsRules) {
    const auto calendar = workCalendar(harness());
    auto seed = fullEvent();
    seed.recurrenceRules = {{.frequency = 0, .interval = 1}};
    const auto identifier = harness().addEvent(calendar.identifier, seed);
    const auto store = harness().openStore();
    ASSERT_TRUE(store->update(
        store->event(identifier).value(), {.recurrenceRules = std::vector<RecurrenceRule>{}}));
    seed.recurrenceRules.clear();
    EXPECT_EQ(describe(reread(harness(), identifier).value()),
        expected(seed, identifier, calendar, capabilities()));
    EXPECT_EQ(eventsOfJanuary(*harness().openStore()).size(), 1U);
}

TEST_P(StoreContract, ReplacesRules) {
    const auto calendar = workCalendar(harness());
    auto seed = fullEvent();
    seed.recurrenceRules = {
        {.frequency = 0, .interval = 1}, {.frequency = 2, .interval = 1, .daysOfTheMonth = {5}}};
    const auto identifier = harness().addEvent(calendar.identifier, seed);
    const auto store = harness().openStore();
    seed.recurrenceRules = {
        {.frequency = 1, .interval = 1, .end = RecurrenceEnd::withOccurrenceCount(2)}};
    ASSERT_TRUE(
        store->update(store->event(identifier).value(), {.recurrenceRules = seed.recurrenceRules}));
    EXPECT_EQ(describe(reread(harness(), identifier).value()),
        expected(seed, identifier, calendar, capabilities()));
    EXPECT_EQ(eventsOfJanuary(*harness().openStore()).size(), 2U);
}

TEST_P(StoreContract, MovesAnEventBetweenTimedAndAllDay) {
    const auto calendar = workCalendar(harness());
    const auto identifier = harness().addEvent(calendar.identifier, fullEvent());
    const auto store = harness().openStore();
    ASSERT_TRUE(store->update(store->event(identifier).value(),
        {.start = localMidnight(2026, 1, 8), .end = localMidnight(2026, 1, 9), .isAllDay = true}));
    const auto allDay = reread(harness(), identifier).value();
    EXPECT_TRUE(allDay.isAllDay);
    EXPECT_EQ(allDay.start, localMidnight(2026, 1, 8));
    EXPECT_EQ(allDay.end, localMidnight(2026, 1, 9) -
                              std::chrono::seconds{capabilities().alignsAllDayEvents ? 1 : 0});

    ASSERT_TRUE(store->update(store->event(identifier).value(),
        {.start = utc(2026, 1, 8, 14), .end = utc(2026, 1, 8, 15), .isAllDay = false}));
    const auto timed = reread(harness(), identifier).value();
    EXPECT_FALSE(timed.isAllDay);
    EXPECT_EQ(timed.start, utc(2026, 1, 8, 14));
    EXPECT_EQ(timed.end, utc(2026, 1, 8, 15));
    EXPECT_EQ(timed.participants, fullEvent().participants);
}

TEST_P(StoreContract, RefusesAnUpdateThatEndsBeforeTheStart) {
    const auto calendar = workCalendar(harness());
    const auto seed = fullEvent();
    const auto identifier = harness().addEvent(calendar.identifier, seed);
    for (const EventChanges& changes :
        {EventChanges{.title = "Lost", .end = seed.start - std::chrono::hours{1}},
            EventChanges{.title = "Lost", .start = seed.end + std::chrono::seconds{1}},
            EventChanges{.title = "Lost", .start = utc(2026, 2, 1), .end = utc(2026, 1, 31)}}) {
        const auto store = harness().openStore();
        EXPECT_FALSE(store->update(store->event(identifier).value(), changes));
        const auto description = expected(seed, identifier, calendar, capabilities());
        EXPECT_EQ(describe(reread(harness(), identifier).value()), description);
        EXPECT_EQ(describe(store->event(identifier).value()), description);
    }
}

TEST_P(StoreContract, FindsAnUpdatedEventInItsNewRange) {
    const auto calendar = workCalendar(harness());
    const auto identifier = harness().addEvent(calendar.identifier, anEvent());
    const auto store = harness().openStore();
    ASSERT_TRUE(store->update(store->event(identifier).value(),
        {.start = utc(2027, 6, 1, 10), .end = utc(2027, 6, 1, 11)}));
    EXPECT_TRUE(eventsOfJanuary(*store).empty());
    EXPECT_EQ(tests::eventsOf(*store, utc(2027, 6, 1), utc(2027, 6, 2)).size(), 1U);
}

TEST_P(StoreContract, LeavesOtherEventsAlone) {
    const auto calendar = workCalendar(harness());
    const auto changed = harness().addEvent(calendar.identifier, anEvent("changed"));
    const auto removed = harness().addEvent(calendar.identifier, anEvent("removed"));
    const auto kept = fullEvent();
    const auto keptIdentifier = harness().addEvent(calendar.identifier, kept);
    const auto store = harness().openStore();
    ASSERT_TRUE(store->update(store->event(changed).value(), {.title = "Changed"}));
    ASSERT_TRUE(store->remove(store->event(removed).value()));
    EXPECT_THAT(titlesOf(eventsOfJanuary(*harness().openStore())),
        UnorderedElementsAre("Changed", "Title of full"));
    EXPECT_EQ(describe(reread(harness(), keptIdentifier).value()),
        expected(kept, keptIdentifier, calendar, capabilities()));
}

TEST_P(StoreContract, FindsARemovedEventNoMore) {
    const auto calendar = workCalendar(harness());
    const auto identifier = harness().addEvent(calendar.identifier, fullEvent());
    const auto store = harness().openStore();
    ASSERT_TRUE(store->remove(store->event(identifier).value()));
    EXPECT_FALSE(store->event(identifier));
    EXPECT_TRUE(eventsOfJanuary(*store).empty());
    EXPECT_FALSE(reread(harness(), identifier));
    EXPECT_TRUE(eventsOfJanuary(*harness().openStore()).empty());
}

TEST_P(StoreContract, RefusesToWriteAnEventThatIsGone) {
    const auto calendar = workCalendar(harness());
    const auto identifier = harness().addEvent(calendar.identifier, anEvent());
    const auto store = harness().openStore();
    const auto event = store->event(identifier).value();
    ASSERT_TRUE(store->remove(event));
    EXPECT_FALSE(store->remove(event));
    EXPECT_TRUE(eventsOfJanuary(*harness().openStore()).empty());

    const bool isRefused = capabilities().refusesChangesOfGoneEvents;
    EXPECT_EQ(store->update(event, {.title = "Back again"}), !isRefused);
    EXPECT_THAT(titlesOf(eventsOfJanuary(*harness().openStore())),
        testing::ElementsAreArray(
            isRefused ? std::vector<std::string>{} : std::vector<std::string>{"Back again"}));
}

TEST_P(StoreContract, UpdatesOneOccurrenceOfASeries) {
    const auto calendar = workCalendar(harness());
    auto seed = fullEvent();
    seed.recurrenceRules = {
        {.frequency = 1, .interval = 1, .end = RecurrenceEnd::withOccurrenceCount(3)}};
    const auto identifier = harness().addEvent(calendar.identifier, seed);
    const auto store = harness().openStore();
    ASSERT_TRUE(store->update(store->event(identifier).value(),
        {.title = "Moved", .start = utc(2026, 1, 6, 10), .end = utc(2026, 1, 6, 12)}));

    const auto found = eventsOfJanuary(*harness().openStore());
    EXPECT_THAT(startsOf(found),
        ElementsAre(utc(2026, 1, 6, 10), utc(2026, 1, 12, 10), utc(2026, 1, 19, 10)));
    EXPECT_THAT(titlesOf(found), ElementsAre("Moved", "Title of full", "Title of full"));
    for (const Event& occurrence : found) {
        EXPECT_EQ(occurrence.identifier, identifier);
        EXPECT_EQ(occurrence.participants, seed.participants);
        EXPECT_EQ(occurrence.alarmCount, 2U);
        EXPECT_EQ(occurrence.recurrenceRules, seed.recurrenceRules);
    }
    EXPECT_EQ(reread(harness(), identifier)->title, "Moved");

    // A second change meets the same occurrence and keeps the first.
    const auto again = harness().openStore();
    ASSERT_TRUE(again->update(again->event(identifier).value(), {.location = "New room"}));
    const auto later = eventsOfJanuary(*harness().openStore());
    EXPECT_THAT(titlesOf(later), ElementsAre("Moved", "Title of full", "Title of full"));
    EXPECT_EQ(later[0].location, "New room");
    EXPECT_EQ(later[0].end, utc(2026, 1, 6, 12));
    EXPECT_EQ(later[1].location, "Room 1");
}

TEST_P(StoreContract, RemovesTheOccurrencesOfASeriesOneByOne) {
    const auto calendar = workCalendar(harness());
    auto seed = anEvent();
    seed.recurrenceRules = {
        {.frequency = 0, .interval = 3, .end = RecurrenceEnd::withOccurrenceCount(3)}};
    const auto identifier = harness().addEvent(calendar.identifier, seed);
    std::vector<model::Instant> standing{
        utc(2026, 1, 5, 10), utc(2026, 1, 8, 10), utc(2026, 1, 11, 10)};
    while (!standing.empty()) {
        const auto store = harness().openStore();
        EXPECT_EQ(startsOf(eventsOfJanuary(*store)), standing);
        const auto first = store->event(identifier);
        ASSERT_TRUE(first);
        EXPECT_EQ(first->start, standing.front());
        ASSERT_TRUE(store->remove(*first));
        standing.erase(standing.begin());
    }
    EXPECT_FALSE(reread(harness(), identifier));
    EXPECT_TRUE(eventsOfJanuary(*harness().openStore()).empty());
}

TEST_P(StoreContract, RemovesAChangedOccurrenceForGood) {
    const auto calendar = workCalendar(harness());
    auto seed = anEvent();
    seed.recurrenceRules = {
        {.frequency = 0, .interval = 1, .end = RecurrenceEnd::withOccurrenceCount(2)}};
    const auto identifier = harness().addEvent(calendar.identifier, seed);
    const auto store = harness().openStore();
    ASSERT_TRUE(store->update(store->event(identifier).value(), {.title = "Changed"}));
    ASSERT_TRUE(store->remove(store->event(identifier).value()));
    const auto left = eventsOfJanuary(*harness().openStore());
    EXPECT_THAT(titlesOf(left), ElementsAre("Title of event"));
    EXPECT_THAT(startsOf(left), ElementsAre(utc(2026, 1, 6, 10)));
}

} // namespace quenbrook::contract
