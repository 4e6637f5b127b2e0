#include "tests/eventkit/StoreTest.h"
#include "tests/support/EventsOf.h"

#include <gmock/gmock.h>

namespace quenbrook::eventkit {

using model::Calendar;
using model::Instant;
using testing::ElementsAre;

class Events : public StoreTest {
  protected:
    std::vector<model::Event> eventsOfTheDay() {
        return tests::eventsOf(store(), ten - std::chrono::hours{10}, ten + std::chrono::hours{14});
    }
    std::vector<std::string> predicateFor(const std::vector<Calendar>& calendars) {
        auto calls = callsOf(
            [&] { tests::eventsOf(store(), ten, eleven, std::span<const Calendar>(calendars)); });
        std::erase_if(
            calls, [](const std::string& call) { return !call.starts_with("EKEventStore"); });
        return calls;
    }
};

TEST_F(Events, AreReadWithTheirProperties) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    world_.events.push_back(fullEvent(u"E1", u"C1"));
    const auto event = store().event("E1").value();
    EXPECT_EQ(event.identifier, "E1");
    EXPECT_EQ(*event.calendar, store().calendar("C1"));
    EXPECT_EQ(event.title, "Planning");
    EXPECT_EQ(event.start, ten);
    EXPECT_EQ(event.end, eleven);
    EXPECT_FALSE(event.isAllDay);
    EXPECT_EQ(event.location, "Room 1");
    EXPECT_EQ(event.notes, "Bring notes");
    EXPECT_THAT(
        event.participants, ElementsAre(model::Participant{"mailto:zoe@example.com", "Zoe", 2},
                                model::Participant{"mailto:a@example.com", std::nullopt, 1}));
    EXPECT_EQ(event.alarmCount, 2U);
    EXPECT_THAT(event.recurrenceRules,
        ElementsAre(model::RecurrenceRule{.frequency = 2,
                        .interval = 2,
                        .end = model::RecurrenceEnd::withOccurrenceCount(5),
                        .daysOfTheWeek = {6, 2},
                        .daysOfTheMonth = {1, -1},
                        .monthsOfTheYear = {3, 4}},
            model::RecurrenceRule{.frequency = 1,
                .interval = 1,
                .end = model::RecurrenceEnd::withEndDate(ten + std::chrono::days{10})}));
    EXPECT_EQ(event.lastModified, ten - std::chrono::seconds{100});
    EXPECT_EQ(event.availability, 1);
}

TEST_F(Events, AreReadWithoutWhatIsNil) {
    auto& stored = world_.events.emplace_back();
    stored.identifier = u"E1";
    stored.startDate = stored.endDate = tenInSeconds;
    stored.availability = -1;
    const auto event = store().event("E1").value();
    EXPECT_EQ(event.calendar, nullptr);
    EXPECT_EQ(event.title, std::nullopt);
    EXPECT_EQ(event.location, std::nullopt);
    EXPECT_EQ(event.notes, std::nullopt);
    EXPECT_TRUE(event.participants.empty());
    EXPECT_EQ(event.alarmCount, 0U);
    EXPECT_TRUE(event.recurrenceRules.empty());
    EXPECT_EQ(event.lastModified, std::nullopt);
    EXPECT_EQ(event.availability, -1);
}

TEST_F(Events, MayLackAnIdentifier) {
    addCalendar(u"C1");
    addEvent(u"").identifier = std::nullopt;
    EXPECT_EQ(eventsOfTheDay().at(0).identifier, std::nullopt);
}

TEST_F(Events, MayHaveParticipantsWithoutURL) {
    addCalendar(u"C1");
    addEvent(u"E1").attendees = {{std::nullopt, u"Nobody", 0}};
    EXPECT_THAT(
        store().event("E1")->participants, ElementsAre(model::Participant{"", "Nobody", 0}));
}

TEST_F(Events, KeepNumbersThatNobodyKnowsYet) {
    addCalendar(u"C1");
    auto& stored = addEvent(u"E1");
    stored.availability = 17;
    stored.attendees = {{"mailto:a@example.com", u"A", 42}};
    stored.recurrenceRules = {standin::Rule{.frequency = 9}};
    const auto event = store().event("E1").value();
    EXPECT_EQ(event.availability, 17);
    EXPECT_EQ(event.participants.at(0).status, 42);
    EXPECT_EQ(event.recurrenceRules.at(0).frequency, 9);
}

TEST_F(Events, KeepEveryCharacterOfTheirTexts) {
    struct Case {
        std::u16string stored;
        std::string read;
    };
    addCalendar(u"C1");
    for (const auto& [stored, read] : std::vector<Case>{
             {u"", ""},
             {u"\xD83D\xDDD3 Café \x03A9", "\xF0\x9F\x97\x93 Café Ω"},
             {std::u16string(u"a\0b\0", 4), std::string("a\0b\0", 4)},
             {std::u16string(u"\0", 1), std::string("\0", 1)},
             {u"\xFEFF text", "\xEF\xBB\xBF text"},
             {u"\xFFFE\xFFFF", "\xEF\xBF\xBE\xEF\xBF\xBF"},
             {u"lone \xD83D high", "lone \xEF\xBF\xBD high"},
             {u"lone \xDDD3 low", "lone \xEF\xBF\xBD low"},
             {u"at the end \xD83D", "at the end \xEF\xBF\xBD"},
             {u"\xDDD3\xD83D", "\xEF\xBF\xBD\xEF\xBF\xBD"},
             {std::u16string(100'000, u'\x20AC'),
                 [] {
                     std::string euros;
                     for (int i = 0; i < 100'000; ++i) {
                         euros += "€";
                     }
                     return euros;
                 }()},
         }) {
        world_.events.clear();
        auto& event = addEvent(u"E1");
        event.title = event.location = event.notes = stored;
        event.attendees = {{"mailto:a@example.com", stored, 1}};
        const auto found = store().event("E1").value();
        EXPECT_EQ(found.title, read);
        EXPECT_EQ(found.location, read);
        EXPECT_EQ(found.notes, read);
        EXPECT_EQ(found.participants.at(0).name, read);
    }
}

TEST_F(Events, HaveInstantsToTheMillisecond) {
    struct Case {
        double stored;
        std::int64_t milliseconds;
    };
    addCalendar(u"C1");
    for (const auto& [stored, milliseconds] :
        std::vector<Case>{{0, 0}, {0.001, 1}, {1.999, 1999}, {-0.001, -1}, {-1.5, -1500},
            {1767607200.123, 1767607200123}, {1767607200.999, 1767607200999},
            {-62135596800, -62135596800000}, {253402300799.999, 253402300799999}}) {
        world_.events.clear();
        auto& event = addEvent(u"E1");
        event.startDate = event.endDate = event.lastModifiedDate = stored;
        const auto found = store().event("E1").value();
        const Instant expected{std::chrono::milliseconds{milliseconds}};
        EXPECT_EQ(found.start, expected);
        EXPECT_EQ(found.end, expected);
        EXPECT_EQ(found.lastModified, expected);
    }
}

TEST_F(Events, AreReadWithTheseCallsInThisOrder) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    auto event = fullEvent(u"E1", u"C1");
    event.attendees->resize(1);
    event.recurrenceRules->resize(1);
    event.recurrenceRules->at(0).daysOfTheWeek = {{{6, -1}}};
    world_.events.push_back(event);
    EXPECT_THAT(callsOf([&] { store().event("E1"); }),
        ElementsAre("EKEventStore eventWithIdentifier: E1", "EKEvent eventIdentifier",
            "EKEvent calendar", "EKCalendar calendarIdentifier",
            "EKCalendar allowsContentModifications", "EKEvent title", "EKEvent startDate",
            "EKEvent endDate", "EKEvent isAllDay", "EKEvent location", "EKEvent notes",
            "EKEvent attendees", "EKParticipant URL", "EKParticipant name",
            "EKParticipant participantStatus", "EKEvent alarms", "EKEvent recurrenceRules",
            "EKRecurrenceRule frequency", "EKRecurrenceRule interval",
            "EKRecurrenceRule recurrenceEnd", "EKRecurrenceEnd occurrenceCount",
            "EKRecurrenceEnd endDate", "EKRecurrenceRule daysOfTheWeek",
            "EKRecurrenceDayOfWeek dayOfTheWeek", "EKRecurrenceRule daysOfTheMonth",
            "EKRecurrenceRule monthsOfTheYear", "EKEvent lastModifiedDate",
            "EKEvent availability"));
}

TEST_F(Events, ShareTheirCalendar) {
    addCalendar(u"C1");
    for (const char16_t* identifier : {u"E1", u"E2", u"E3"}) {
        addEvent(identifier);
    }
    const auto found = eventsOfTheDay();
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].calendar, found[1].calendar);
    EXPECT_EQ(found[0].calendar, found[2].calendar);
}

TEST_F(Events, HaveTheirOwnCalendarOrNone) {
    addCalendar(u"C1");
    addCalendar(u"C2").title = u"Other";
    addEvent(u"E1");
    addEvent(u"E2").calendar = u"C2";
    addEvent(u"E3").calendar.reset();
    addEvent(u"E4");
    addEvent(u"E5").calendar = u"C2";
    const auto found = eventsOfTheDay();
    ASSERT_EQ(found.size(), 5U);
    EXPECT_EQ(*found[0].calendar, store().calendar("C1"));
    EXPECT_EQ(*found[1].calendar, store().calendar("C2"));
    EXPECT_EQ(found[2].calendar, nullptr);
    EXPECT_EQ(*found[3].calendar, store().calendar("C1"));
    EXPECT_EQ(*found[4].calendar, store().calendar("C2"));
}

// One pool drained for each event, and none of the objects that reading it made is left: with what
// the list itself holds, no more are alive at any time than one event takes.
TEST_F(Events, LeaveNothingBehindWhileALongListIsRead) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    for (int i = 0; i < 50; ++i) {
        world_.events.push_back(fullEvent(u"E1", u"C1"));
    }
    std::map<std::string, int> objects;
    world_.atEachCall = [&] {
        for (const auto& [kind, count] : standin::liveObjects()) {
            objects[kind] = std::max(objects[kind], count);
        }
    };
    EXPECT_EQ(eventsOfTheDay().size(), 50U);
    world_.atEachCall = nullptr;
    EXPECT_EQ(objects.at("EKEvent"), 50);
    EXPECT_LE(objects.at("EKParticipant"), 2);
    EXPECT_LE(objects.at("EKRecurrenceRule"), 2);
    EXPECT_LE(objects.at("EKAlarm"), 2);
}

TEST_F(Events, AreNoneWithoutFullAccess) {
    addCalendar(u"C1");
    addEvent(u"E1");
    for (const std::int64_t status : {0, 1, 2, 4}) {
        world_.authorizationStatus = status;
        EXPECT_TRUE(eventsOfTheDay().empty());
        EXPECT_FALSE(store().event("E1"));
        EXPECT_TRUE(store().calendars().empty());
        EXPECT_FALSE(store().calendar("C1"));
    }
}

TEST_F(Events, ComeInTheOrderOfTheFramework) {
    addCalendar(u"C1");
    for (const char16_t* identifier : {u"E3", u"E1", u"E2"}) {
        addEvent(identifier);
    }
    std::vector<std::string> identifiers;
    for (const auto& event : eventsOfTheDay()) {
        identifiers.push_back(event.identifier.value());
    }
    EXPECT_THAT(identifiers, ElementsAre("E3", "E1", "E2"));
}

TEST_F(Events, AreNoneWhenTheFrameworkAnswersNil) {
    addCalendar(u"C1");
    addEvent(u"E1");
    world_.answersNilForLists = true;
    EXPECT_TRUE(eventsOfTheDay().empty());
}

TEST_F(Events, OfEveryCalendarAreAskedForWithANilList) {
    addCalendar(u"C1");
    EXPECT_THAT(callsOf([&] { eventsOfTheDay(); }),
        ElementsAre("EKEventStore predicateForEventsWithStartDate:endDate:calendars: nil",
            "EKEventStore eventsMatchingPredicate:"));
}

TEST_F(Events, OfNamedCalendarsAreAskedForWithThoseThatWereLookedUp) {
    addCalendar(u"C1");
    addCalendar(u"C2");
    const auto one = store().calendar("C1").value();
    const auto two = store().calendar("C2").value();
    EXPECT_THAT(predicateFor({two, one, two}),
        ElementsAre("EKEventStore predicateForEventsWithStartDate:endDate:calendars: C2 C1 C2",
            "EKEventStore eventsMatchingPredicate:"));
}

TEST_F(Events, OfNamedCalendarsAreAskedForWithThoseThatWereListed) {
    addCalendar(u"C1");
    EXPECT_THAT(predicateFor(store().calendars()),
        ElementsAre("EKEventStore predicateForEventsWithStartDate:endDate:calendars: C1",
            "EKEventStore eventsMatchingPredicate:"));
}

TEST_F(Events, OfACalendarOfAnotherRunAreAskedForAfterALookUp) {
    addCalendar(u"C1");
    const auto calendar = store().calendar("C1").value();
    closeStore();
    EXPECT_THAT(predicateFor({calendar}),
        ElementsAre("EKEventStore calendarWithIdentifier: C1",
            "EKEventStore predicateForEventsWithStartDate:endDate:calendars: C1",
            "EKEventStore eventsMatchingPredicate:"));
}

TEST_F(Events, OfCalendarsThatAreGoneAreNone) {
    addCalendar(u"C1");
    addEvent(u"E1");
    const auto calendar = store().calendar("C1").value();
    closeStore();
    world_.calendars.clear();
    EXPECT_THAT(predicateFor({calendar}), ElementsAre("EKEventStore calendarWithIdentifier: C1"));
}

TEST_F(Events, OfNoCalendarAreNone) {
    addCalendar(u"C1");
    addEvent(u"E1");
    EXPECT_TRUE(tests::eventsOf(store(), ten, eleven, std::span<const Calendar>{}).empty());
    EXPECT_THAT(predicateFor({}), ElementsAre());
}

TEST_F(Events, MayOutliveTheirStore) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    world_.events.push_back(fullEvent(u"E1", u"C1"));
    const auto event = store().event("E1");
    closeStore();
    EXPECT_EQ(event->title, "Planning");
}

TEST_F(Events, AreFoundForAChangeWithNothingButTheirCalendar) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    world_.events.push_back(fullEvent(u"E1", u"C1"));
    EXPECT_THAT(callsOf([&] { EXPECT_TRUE(store().eventToChange("E1")->handle); }),
        ElementsAre("EKEventStore eventWithIdentifier: E1", "EKEvent calendar",
            "EKCalendar calendarIdentifier", "EKCalendar allowsContentModifications"));
    EXPECT_FALSE(store().eventToChange("E2"));
    world_.events[0].calendar.reset();
    EXPECT_EQ(store().eventToChange("E1")->calendar, nullptr);
}

TEST_F(Events, AreAskedForTheirParticipantsAndNothingElse) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    world_.events.push_back(fullEvent(u"E1", u"C1"));
    world_.events[0].attendees->resize(1);
    EXPECT_THAT(callsOf([&] { EXPECT_EQ(store().participants("E1")->size(), 1U); }),
        ElementsAre("EKEventStore eventWithIdentifier: E1", "EKEvent attendees",
            "EKParticipant URL", "EKParticipant name", "EKParticipant participantStatus"));
    EXPECT_FALSE(store().participants("E2"));
}

TEST_F(Events, MayLackDatesWhenTheyAreChanged) {
    addCalendar(u"C1");
    addEvent(u"E1").startDate.reset();
    addEvent(u"E2").endDate.reset();
    for (const char* identifier : {"E1", "E2"}) {
        EXPECT_FALSE(store().update(store().eventToChange(identifier).value(), {.title = "New"}));
        EXPECT_TRUE(store().update(
            store().eventToChange(identifier).value(), {.start = ten, .end = eleven}));
        EXPECT_TRUE(store().participants(identifier));
        EXPECT_TRUE(store().remove(store().eventToChange(identifier).value()));
    }
}

using EventsDeathTest = Events;

TEST_F(EventsDeathTest, EndTheProcessWithoutAStartOrAnEnd) {
    addCalendar(u"C1");
    addEvent(u"E1").startDate.reset();
    addEvent(u"E2").endDate.reset();
    store();
    EXPECT_EXIT(store().event("E1"), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(store().event("E2"), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(eventsOfTheDay(), testing::KilledBySignal(SIGABRT), "");
}

} // namespace quenbrook::eventkit
