#include "tests/eventkit/StoreTest.h"

#include <gmock/gmock.h>

namespace quenbrook::eventkit {

using model::EventChanges;
using model::RecurrenceEnd;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

constexpr auto saving = "EKEventStore saveEvent:span:commit:error: span=0 commit=YES";
constexpr auto removing = "EKEventStore removeEvent:span:commit:error: span=0 commit=YES";

EventChanges aNewEvent() {
    return {.title = "New", .start = ten, .end = eleven, .isAllDay = false};
}

} // namespace

class Writing : public StoreTest {
  protected:
    // The calls of a creation in a calendar that was looked up before.
    std::vector<std::string> callsOfCreating(const EventChanges& changes) {
        const auto calendar = store().calendar("C1").value();
        return withoutReading(
            callsOf([&] { EXPECT_TRUE(store().create(calendar, changes).has_value()); }));
    }
    std::vector<std::string> callsOfUpdating(const EventChanges& changes) {
        const auto event = store().event("E1").value();
        return callsOf([&] { EXPECT_TRUE(store().update(event, changes)); });
    }
};

TEST_F(Writing, CreatesWithTheseCallsInThisOrder) {
    addCalendar(u"C1");
    EXPECT_THAT(callsOfCreating(aNewEvent()),
        ElementsAre("EKEvent eventWithEventStore:", "EKEvent setCalendar:", "EKEvent setTitle: New",
            "EKEvent setStartDate: 1767607200", "EKEvent setEndDate: 1767610800",
            "EKEvent setAllDay: NO", "EKEvent setLocation: nil", "EKEvent setNotes: nil", saving));
}

TEST_F(Writing, CreatesWithEveryValueInThisOrder) {
    addCalendar(u"C1");
    auto changes = aNewEvent();
    changes.isAllDay = true;
    changes.location = "";
    changes.notes = "Notes";
    changes.alarms = {-900, 0, 300};
    changes.recurrenceRules = {
        {.frequency = 3, .interval = 366, .end = RecurrenceEnd::withOccurrenceCount(7)}};
    EXPECT_THAT(callsOfCreating(changes),
        ElementsAre("EKEvent eventWithEventStore:", "EKEvent setCalendar:", "EKEvent setTitle: New",
            "EKEvent setStartDate: 1767607200", "EKEvent setEndDate: 1767610800",
            "EKEvent setAllDay: YES", "EKEvent setLocation: ", "EKEvent setNotes: Notes",
            "EKAlarm alarmWithRelativeOffset: -900", "EKAlarm alarmWithRelativeOffset: 0",
            "EKAlarm alarmWithRelativeOffset: 300", "EKEvent setAlarms: 3",
            "EKRecurrenceEnd recurrenceEndWithOccurrenceCount: 7",
            "EKRecurrenceRule initRecurrenceWithFrequency:interval:end: 3 366",
            "EKEvent setRecurrenceRules: 1", saving));
}

TEST_F(Writing, CreatesWithAnEmptyListOfAlarmsWhenOneIsGiven) {
    addCalendar(u"C1");
    auto changes = aNewEvent();
    changes.alarms.emplace();
    EXPECT_THAT(callsOfCreating(changes), testing::Contains("EKEvent setAlarms: 0"));
    EXPECT_EQ(world_.events.at(0).alarms, std::vector<standin::Alarm>{});
}

TEST_F(Writing, StoresWhatWasCreatedAndGivesItBackAsSaved) {
    addCalendar(u"C1");
    auto changes = aNewEvent();
    changes.location = "High Street";
    changes.alarms = {-900};
    changes.recurrenceRules = {
        {.frequency = 0, .interval = 2, .end = RecurrenceEnd::withEndDate(eleven)}};
    const auto created = store().create(store().calendar("C1").value(), changes);
    ASSERT_TRUE(created);
    ASSERT_EQ(world_.events.size(), 1U);
    const auto& stored = world_.events[0];
    EXPECT_EQ(stored.calendar, u"C1");
    EXPECT_EQ(stored.title, u"New");
    EXPECT_EQ(stored.startDate, tenInSeconds);
    EXPECT_EQ(stored.endDate, tenInSeconds + 3600);
    EXPECT_EQ(stored.location, u"High Street");
    EXPECT_EQ(stored.notes, std::nullopt);
    EXPECT_THAT(stored.alarms.value(), ElementsAre(standin::Alarm{-900, std::nullopt}));
    EXPECT_THAT(stored.recurrenceRules.value(),
        ElementsAre(standin::Rule{
            .frequency = 0, .interval = 2, .end = standin::RuleEnd{0, tenInSeconds + 3600}}));

    EXPECT_FALSE(created->identifier->empty());
    EXPECT_EQ(created->calendarIdentifier, "C1");
    EXPECT_EQ(created->start, ten);
    EXPECT_EQ(created->end, eleven);
}

TEST_F(Writing, GivesBackTheDatesThatTheFrameworkMadeOfThem) {
    addCalendar(u"C1");
    auto changes = aNewEvent();
    changes.isAllDay = true;
    const auto created = store().create(store().calendar("C1").value(), changes);
    EXPECT_EQ(created->end - created->start, std::chrono::days{1} - std::chrono::seconds{1});
}

TEST_F(Writing, ReadsOfWhatItCreatedOnlyWhatItTells) {
    addCalendar(u"C1");
    const auto calendar = store().calendar("C1").value();
    const auto calls = callsOf([&] { store().create(calendar, aNewEvent()); });
    const auto saved = std::find(calls.begin(), calls.end(), saving);
    EXPECT_THAT(std::vector<std::string>(saved, calls.end()),
        ElementsAre(saving, "EKEvent eventIdentifier", "EKCalendar calendarIdentifier",
            "EKEvent startDate", "EKEvent endDate"));
}

TEST_F(Writing, TellsTheIdentifierThatTheSaveGave) {
    addCalendar(u"C1");
    addEvent(u"E1");
    world_.changesIdentifiers = true;
    const auto created = store().create(store().calendar("C1").value(), aNewEvent());
    ASSERT_EQ(world_.events.size(), 2U);
    EXPECT_TRUE(store().event(*created->identifier));
    EXPECT_TRUE(store().update(store().event("E1").value(), {.title = "New"}));
    EXPECT_FALSE(store().event("E1"));
}

// Seconds of an alarm beyond 32 bits and beyond what a float tells apart, and such counts.
TEST_F(Writing, KeepsNumbersOfEverySize) {
    addCalendar(u"C1");
    const auto calendar = store().calendar("C1").value();
    for (const std::int64_t number : {std::int64_t{16'777'217}, std::int64_t{2'147'483'649},
             std::int64_t{4'294'967'297}, std::int64_t{9'007'199'254'740'991}}) {
        world_.events.clear();
        auto changes = aNewEvent();
        changes.alarms = {static_cast<double>(-number), static_cast<double>(number)};
        changes.recurrenceRules = {{.frequency = 0,
            .interval = number,
            .end = RecurrenceEnd::withOccurrenceCount(number),
            .daysOfTheMonth = {number}}};
        const auto created = store().create(calendar, changes);
        ASSERT_TRUE(created);
        const auto& stored = world_.events.at(0);
        EXPECT_EQ(stored.alarms->at(0).relativeOffset, static_cast<double>(-number));
        EXPECT_EQ(stored.alarms->at(1).relativeOffset, static_cast<double>(number));
        EXPECT_EQ(stored.recurrenceRules->at(0).interval, number);
        EXPECT_EQ(stored.recurrenceRules->at(0).end->occurrenceCount, number);
        EXPECT_EQ(stored.recurrenceRules->at(0).daysOfTheMonth->at(0), number);
        EXPECT_EQ(store().event(*created->identifier)->recurrenceRules, *changes.recurrenceRules);
    }
}

TEST_F(Writing, CreatesRulesWithDaysAndMonths) {
    addCalendar(u"C1");
    auto changes = aNewEvent();
    changes.recurrenceRules = {{.frequency = 3,
        .interval = 1,
        .daysOfTheWeek = {2, 6},
        .daysOfTheMonth = {1, -1},
        .monthsOfTheYear = {3}}};
    ASSERT_TRUE(store().create(store().calendar("C1").value(), changes));
    EXPECT_THAT(
        world_.events.at(0).recurrenceRules.value(), ElementsAre(standin::Rule{.frequency = 3,
                                                         .interval = 1,
                                                         .daysOfTheWeek = {{{2, 0}, {6, 0}}},
                                                         .daysOfTheMonth = {{1, -1}},
                                                         .monthsOfTheYear = {{3}}}));
}

TEST_F(Writing, CreatesRulesWithDaysThatEnd) {
    addCalendar(u"C1");
    for (const auto& end :
        {RecurrenceEnd::withOccurrenceCount(7), RecurrenceEnd::withEndDate(ten)}) {
        auto changes = aNewEvent();
        changes.recurrenceRules = {
            {.frequency = 1, .interval = 1, .end = end, .daysOfTheWeek = {2, 6}}};
        const auto created = store().create(store().calendar("C1").value(), changes);
        EXPECT_EQ(store().event(*created->identifier)->recurrenceRules, *changes.recurrenceRules);
    }
}

TEST_F(Writing, DoesNotPassOnRulesThatAreNone) {
    addCalendar(u"C1");
    const auto calendar = store().calendar("C1").value();
    for (const auto& rule : std::vector<model::RecurrenceRule>{{.frequency = 4, .interval = 1},
             {.frequency = -1, .interval = 1}, {.frequency = 0, .interval = 0},
             {.frequency = 0, .interval = 1, .end = RecurrenceEnd::withOccurrenceCount(0)},
             {.frequency = 1, .interval = 1, .daysOfTheWeek = {8}},
             {.frequency = 1, .interval = 0, .daysOfTheWeek = {1}}}) {
        auto changes = aNewEvent();
        changes.recurrenceRules = {rule};
        EXPECT_THROW(store().create(calendar, changes), model::PlatformError);
    }
    EXPECT_THAT(world_.events, IsEmpty());
}

TEST_F(Writing, CreatesInACalendarOfAnotherRunAfterALookUp) {
    addCalendar(u"C1");
    const auto calendar = store().calendar("C1").value();
    closeStore();
    EXPECT_EQ(callsOf([&] { EXPECT_TRUE(store().create(calendar, aNewEvent())); }).front(),
        "EKEventStore calendarWithIdentifier: C1");
}

TEST_F(Writing, RefusesToCreateInACalendarThatIsGone) {
    addCalendar(u"C1");
    const auto calendar = store().calendar("C1").value();
    closeStore();
    world_.calendars.clear();
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(store().create(calendar, aNewEvent())); }),
        ElementsAre("EKEventStore calendarWithIdentifier: C1"));
}

TEST_F(Writing, UpdatesWithNoMoreCallsThanThereAreChanges) {
    struct Case {
        EventChanges changes;
        std::vector<std::string> calls;
    };
    const auto rulesEnd = RecurrenceEnd::withEndDate(eleven);
    const EventChanges everything{
        .title = "T",
        .start = ten,
        .end = eleven,
        .isAllDay = false,
        .location = "L",
        .notes = "N",
        .alarms = {{-60}},
        .recurrenceRules = {{{.frequency = 1, .interval = 2, .end = rulesEnd}}},
    };
    addCalendar(u"C1");
    for (const auto& [changes, calls] :
        std::vector<Case>{
            {{}, {}},
            {{.title = "T"}, {"EKEvent setTitle: T"}},
            {{.title = ""}, {"EKEvent setTitle: "}},
            {{.start = ten - std::chrono::seconds{1}}, {"EKEvent setStartDate: 1767607199"}},
            {{.end = eleven + std::chrono::seconds{1}}, {"EKEvent setEndDate: 1767610801"}},
            {{.isAllDay = true}, {"EKEvent setAllDay: YES"}},
            {{.isAllDay = false}, {"EKEvent setAllDay: NO"}},
            {{.location = "L"}, {"EKEvent setLocation: L"}},
            {{.notes = "N"}, {"EKEvent setNotes: N"}},
            {{.alarms = std::vector<double>{}}, {"EKEvent setAlarms: 0"}},
            {{.alarms = {{-60}}}, {"EKAlarm alarmWithRelativeOffset: -60", "EKEvent setAlarms: 1"}},
            {{.recurrenceRules = std::vector<model::RecurrenceRule>{}},
                {"EKEvent setRecurrenceRules: nil"}},
            {everything, {"EKEvent setTitle: T", "EKEvent setStartDate: 1767607200",
                             "EKEvent setEndDate: 1767610800", "EKEvent setAllDay: NO",
                             "EKEvent setLocation: L", "EKEvent setNotes: N",
                             "EKAlarm alarmWithRelativeOffset: -60", "EKEvent setAlarms: 1",
                             "EKRecurrenceEnd recurrenceEndWithEndDate:",
                             "EKRecurrenceRule initRecurrenceWithFrequency:interval:end: 1 2",
                             "EKEvent setRecurrenceRules: 1"}},
        }) {
        world_.events.clear();
        addEvent(u"E1");
        auto expected = calls;
        expected.emplace_back(saving);
        const bool isAllThere = calls.empty() || calls.front() == "EKEvent setAllDay: NO";
        if (isAllThere) {
            expected.emplace_back("EKEvent hasChanges");
        }
        EXPECT_THAT(callsOfUpdating(changes), ElementsAreArray(expected));
    }
}

TEST_F(Writing, LeavesWhatTheChangesDoNotCarry) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    world_.events.push_back(fullEvent(u"E1", u"C1"));
    callsOfUpdating({.title = "Other"});
    auto expected = fullEvent(u"E1", u"C1");
    expected.title = u"Other";
    auto stored = world_.events.at(0);
    expected.lastModifiedDate = stored.lastModifiedDate;
    EXPECT_EQ(stored, expected);
    // An alarm at an instant of its own, and what of the rules the interface has no words for.
    EXPECT_EQ(stored.alarms->at(1).absoluteDate, tenInSeconds - 86400);
    EXPECT_EQ(stored.recurrenceRules->at(0).setPositions, std::vector<std::int64_t>{-1});
}

TEST_F(Writing, SavesWhatIsUnchanged) {
    addCalendar(u"C1");
    addEvent(u"E1");
    const auto before = world_.events.at(0);
    EXPECT_THAT(callsOfUpdating({}), ElementsAre(saving, "EKEvent hasChanges"));
    EXPECT_THAT(callsOfUpdating({.title = "Title"}),
        ElementsAre("EKEvent setTitle: Title", saving, "EKEvent hasChanges"));
    EXPECT_EQ(world_.events.at(0), before);
}

TEST_F(Writing, KeepsEveryCharacterOfTexts) {
    struct Case {
        std::string given;
        std::u16string stored;
    };
    addCalendar(u"C1");
    addEvent(u"E1");
    const auto calendar = store().calendar("C1").value();
    for (const auto& [given, stored] : std::vector<Case>{
             {"", u""},
             {"\xF0\x9F\x97\x93 Café Ω", u"\xD83D\xDDD3 Café \x03A9"},
             {std::string("a\0b\0", 4), std::u16string(u"a\0b\0", 4)},
             {"\xEF\xBB\xBFtext", u"\xFEFFtext"},
             {"\xEF\xBF\xBE\xEF\xBF\xBF", u"\xFFFE\xFFFF"},
             {"e\xCC\x81", u"e\x0301"},
         }) {
        const EventChanges texts{.title = given, .location = given, .notes = given};
        ASSERT_TRUE(store().update(store().event("E1").value(), texts));
        auto changes = aNewEvent();
        changes.title = changes.location = changes.notes = given;
        ASSERT_TRUE(store().create(calendar, changes));
        for (const standin::Event* event : {&world_.events.front(), &world_.events.back()}) {
            EXPECT_EQ(event->title, stored);
            EXPECT_EQ(event->location, stored);
            EXPECT_EQ(event->notes, stored);
        }
    }
}

TEST_F(Writing, RefusesWhenTheFrameworkDoes) {
    addCalendar(u"C1");
    addEvent(u"E1");
    const auto calendar = store().calendar("C1").value();
    const auto event = store().event("E1").value();
    const auto before = world_.events;
    world_.refusesSaves = true;
    world_.refusesRemovals = true;
    EXPECT_FALSE(store().create(calendar, aNewEvent()));
    EXPECT_FALSE(store().update(event, {.title = "Other"}));
    EXPECT_FALSE(store().update(event, {}));
    EXPECT_FALSE(store().remove(event));
    EXPECT_EQ(world_.events, before);
}

TEST_F(Writing, RefusesANewEventThatWasNotSavedForWhateverReason) {
    addCalendar(u"C1");
    const auto calendar = store().calendar("C1").value();
    world_.savesNothingWithoutError = true;
    EXPECT_FALSE(store().create(calendar, aNewEvent()));
}

TEST_F(Writing, RefusesAnUpdateThatWasNotSavedForWhateverReason) {
    addCalendar(u"C1");
    addEvent(u"E1");
    const auto event = store().event("E1").value();
    world_.savesNothingWithoutError = true;
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(store().update(event, {.title = "Other"})); }),
        ElementsAre("EKEvent setTitle: Other", saving, "EKEvent hasChanges", "EKEvent rollback"));
    EXPECT_TRUE(store().update(event, {}));
    EXPECT_EQ(world_.events[0].title, u"Title");
}

TEST_F(Writing, RefusesARemovalThatWasNotMadeForWhateverReason) {
    addCalendar(u"C1");
    addEvent(u"E1");
    world_.removesNothingWithoutError = true;
    EXPECT_FALSE(store().remove(store().event("E1").value()));
    EXPECT_EQ(world_.events.size(), 1U);
}

TEST_F(Writing, TakesBackWhatWasRefused) {
    addCalendar(u"C1");
    addEvent(u"E1");
    const auto event = store().event("E1").value();
    world_.refusesSaves = true;
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(store().update(event, {.title = "Refused"})); }),
        ElementsAre("EKEvent setTitle: Refused", saving, "EKEvent rollback"));
    world_.refusesSaves = false;
    ASSERT_TRUE(store().update(store().event("E1").value(), {.location = "Saved"}));
    EXPECT_EQ(world_.events.at(0).title, u"Title");
    EXPECT_EQ(world_.events.at(0).location, u"Saved");
}

TEST_F(Writing, TakesNoEventOfAnotherStore) {
    addCalendar(u"C1");
    addEvent(u"E1");
    const auto event = store().event("E1").value();
    const auto other = stores::openCalendarStore();
    EXPECT_THROW(other->update(event, {.title = "Other"}), model::PlatformError);
    EXPECT_THROW(other->remove(event), model::PlatformError);
    EXPECT_EQ(world_.events.at(0).title, u"Title");
}

TEST_F(Writing, RefusesEverythingWithoutFullAccess) {
    addCalendar(u"C1");
    addEvent(u"E1");
    const auto calendar = store().calendar("C1").value();
    const auto event = store().event("E1").value();
    const auto before = world_.events;
    for (const std::int64_t status : {0, 1, 2, 4}) {
        world_.authorizationStatus = status;
        EXPECT_FALSE(store().create(calendar, aNewEvent()));
        EXPECT_FALSE(store().update(event, {.title = "Other"}));
        EXPECT_FALSE(store().remove(event));
        EXPECT_EQ(world_.events, before);
    }
}

TEST_F(Writing, RefusesReadOnlyCalendarsAndReversedTimes) {
    addCalendar(u"C1");
    addEvent(u"E1");
    auto changes = aNewEvent();
    changes.end = ten - std::chrono::seconds{1};
    const auto calendar = store().calendar("C1").value();
    EXPECT_FALSE(store().create(calendar, changes));
    EXPECT_FALSE(store().update(store().event("E1").value(), {.end = changes.end}));
    world_.calendars.at(0).allowsContentModifications = false;
    EXPECT_FALSE(store().create(calendar, aNewEvent()));
    EXPECT_FALSE(store().update(store().event("E1").value(), {.title = "Other"}));
    EXPECT_FALSE(store().remove(store().event("E1").value()));
    ASSERT_EQ(world_.events.size(), 1U);
    EXPECT_EQ(world_.events[0].title, u"Title");
}

TEST_F(Writing, RemovesWithOneCall) {
    addCalendar(u"C1");
    addEvent(u"E1");
    addEvent(u"E2");
    const auto event = store().event("E1").value();
    EXPECT_THAT(callsOf([&] { EXPECT_TRUE(store().remove(event)); }),
        ElementsAre("EKEvent hasRecurrenceRules", removing));
    ASSERT_EQ(world_.events.size(), 1U);
    EXPECT_EQ(world_.events[0].identifier, u"E2");
    EXPECT_FALSE(store().event("E1"));
}

TEST_F(Writing, RemovesOneOccurrenceAfterTheOther) {
    for (const bool apart : {false, true}) {
        world_.namesOccurrencesApart = apart;
        world_.calendars.clear();
        addCalendar(u"C1");
        addEvent(u"E1").recurrenceRules = {
            {.frequency = 1, .interval = 1, .end = standin::RuleEnd{3, std::nullopt}}};
        for (int left = 3; left > 0; --left) {
            EXPECT_TRUE(store().remove(store().eventToChange("E1").value())) << left;
        }
        EXPECT_THAT(world_.events, IsEmpty());
    }
}

// When the identifier leads to what was removed before.
TEST_F(Writing, RefusesToRemoveAnOccurrenceTwice) {
    for (const bool apart : {false, true}) {
        world_.leadsToRemovedOccurrences = true;
        world_.namesOccurrencesApart = apart;
        world_.calendars.clear();
        world_.events.clear();
        addCalendar(u"C1");
        addEvent(u"E1").recurrenceRules = {{.frequency = 1, .interval = 1}};
        // At the instant of the removed one, but another event.
        addEvent(u"E2");
        EXPECT_TRUE(store().remove(store().eventToChange("E1").value()));
        const auto before = world_.events;
        const auto event = store().eventToChange("E1").value();
        const auto calls = callsOf([&] { EXPECT_FALSE(store().remove(event)); });
        EXPECT_THAT(calls, testing::Not(testing::Contains(removing)));
        EXPECT_EQ(world_.events, before);
    }
}

TEST_F(Writing, RemovesAnEventThatItCreated) {
    addCalendar(u"C1");
    const auto created = store().create(store().calendar("C1").value(), aNewEvent());
    EXPECT_TRUE(store().remove(store().event(*created->identifier).value()));
    EXPECT_THAT(world_.events, IsEmpty());
}

} // namespace quenbrook::eventkit
