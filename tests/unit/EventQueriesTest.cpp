#include "src/EventStoreClient.h"

#include "tests/support/InMemoryStore.h"
#include "tests/unit/UnitSupport.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

using Strings = std::vector<std::string>;
using support::InMemoryStore;

constexpr std::string_view dayStart = "2025-03-14T00:00:00Z";
constexpr std::string_view dayEnd = "2025-03-15T00:00:00Z";

std::vector<EventInfoDTO> listedBy(EventStoreClient& client, std::string_view start,
    std::string_view end, const std::optional<Strings>& calendarIds) {
    std::vector<EventInfoDTO> events;
    client.listEvents(
        start, end, calendarIds, [&](const EventInfoDTO& event) { events.push_back(event); });
    return events;
}

std::vector<EventInfoDTO> listedBy(EventStoreClient&& client, std::string_view start,
    std::string_view end, const std::optional<Strings>& calendarIds) {
    return listedBy(client, start, end, calendarIds);
}

class EventQueries : public testing::Test {
  protected:
    EventQueries() {
        store.add(calendarNamed("A"));
        store.add(calendarNamed("B"));
        // Not in the order of their identifiers or times.
        model::Event late = eventNamed("late", calendarNamed("A"));
        late.start += std::chrono::hours(3);
        late.end += std::chrono::hours(3);
        store.add(late);
        store.add(eventNamed("early", calendarNamed("A")));
        store.add(eventNamed("other", calendarNamed("B")));
    }

    Strings listed(const std::optional<Strings>& calendarIds) {
        Strings identifiers;
        for (const EventInfoDTO& event : listedBy(client, dayStart, dayEnd, calendarIds)) {
            identifiers.push_back(event.id);
        }
        return identifiers;
    }

    InMemoryStore store;
    EventStoreClient client = clientOf(store);
};

using ListEvents = EventQueries;
using GetEvent = EventQueries;
using GetAttendeeStatus = EventQueries;

TEST_F(ListEvents, WidensToEveryCalendarWhenNoIdentifierIsKnown) {
    const Strings all = {"late", "early", "other"};
    EXPECT_EQ(listed(std::nullopt), all);
    EXPECT_EQ(store.calls, Strings{"events(all)"});

    store.calls.clear();
    EXPECT_EQ(listed(Strings{}), all);
    EXPECT_EQ(store.calls, Strings{"events(all)"});

    store.calls.clear();
    EXPECT_EQ(listed(Strings{"X", "", "a"}), all);
    EXPECT_EQ(store.calls, (Strings{"calendar(X)", "calendar()", "calendar(a)", "events(all)"}));
}

TEST_F(ListEvents, SearchesTheKnownCalendarsOnly) {
    EXPECT_EQ(listed(Strings{"X", "B"}), Strings{"other"});
    EXPECT_EQ(store.calls, (Strings{"calendar(X)", "calendar(B)", "events(B)"}));
}

TEST_F(ListEvents, LooksUpEachIdentifierInTheGivenOrder) {
    listed(Strings{"B", "A", "A"});
    EXPECT_EQ(store.calls, (Strings{"calendar(B)", "calendar(A)", "calendar(A)", "events(B,A,A)"}));
}

TEST_F(ListEvents, KeepsTheOrderOfTheStore) {
    EXPECT_EQ(listed(Strings{"A"}), (Strings{"late", "early"}));
}

TEST_F(ListEvents, LeavesOutNoEventHoweverManyThereAre) {
    InMemoryStore crowded;
    crowded.add(calendarNamed("A"));
    for (int number = 0; number < 5000; ++number) {
        crowded.add(eventNamed(std::to_string(number), calendarNamed("A")));
    }
    EXPECT_EQ(listedBy(clientOf(crowded), dayStart, dayEnd, std::nullopt).size(), 5000U);
}

TEST_F(ListEvents, LeavesOutNoEventForWantOfAnIdentifierOrACalendar) {
    InMemoryStore bare;
    model::Event event = eventNamed("E", calendarNamed("A"));
    event.identifier.reset();
    event.calendar.reset();
    bare.add(event);
    bare.add(event);
    EXPECT_EQ(listedBy(clientOf(bare), dayStart, dayEnd, std::nullopt).size(), 2U);
}

TEST_F(ListEvents, IsEmptyForARangeWithoutEvents) {
    EXPECT_TRUE(
        listedBy(client, "2020-01-01T00:00:00Z", "2020-01-02T00:00:00Z", std::nullopt).empty());
}

TEST_F(ListEvents, PassesAnEndBeforeTheStartOn) {
    EXPECT_TRUE(listedBy(client, dayEnd, dayStart, std::nullopt).empty());
    EXPECT_EQ(store.calls, Strings{"events(all)"});
}

TEST_F(ListEvents, ReportsTheFirstBadDateBeforeItAsksTheStore) {
    const std::optional<Strings> calendars = Strings{"A"};
    EXPECT_EQ(failureOf([&] { listedBy(client, "bad start", "bad end", calendars); }),
        "INVALID_DATE: Cannot parse ISO 8601 date: bad start");
    EXPECT_EQ(failureOf([&] { listedBy(client, dayStart, "bad end", calendars); }),
        "INVALID_DATE: Cannot parse ISO 8601 date: bad end");
    EXPECT_TRUE(store.calls.empty());
}

TEST_F(ListEvents, GivesEachOccurrenceItsOwnSnapshot) {
    InMemoryStore series;
    series.add(calendarNamed("A"));
    model::Event daily = eventNamed("daily", calendarNamed("A"));
    daily.recurrenceRules.push_back(
        {0, 1, model::RecurrenceEnd::withOccurrenceCount(3), {}, {}, {}});
    series.add(daily);
    Strings starts;
    for (const EventInfoDTO& event :
        listedBy(clientOf(series), "2025-03-01T00:00:00Z", "2025-04-01T00:00:00Z", std::nullopt)) {
        EXPECT_EQ(event.id, "daily");
        starts.push_back(event.startISO);
    }
    EXPECT_EQ(starts, (Strings{"2025-03-14T09:00:00.000Z", "2025-03-15T09:00:00.000Z",
                          "2025-03-16T09:00:00.000Z"}));
}

TEST_F(GetEvent, ReadsTheEvent) {
    const GetEventResponse response = client.getEvent({"A", "early"});
    EXPECT_EQ(response.event.id, "early");
    EXPECT_EQ(response.event.calendarId, "A");
    EXPECT_EQ(response.event.title, "Event early");
    EXPECT_EQ(store.calls, (Strings{"calendar(A)", "event(early)"}));
}

TEST_F(GetEvent, ReportsAnUnknownCalendarWhateverTheEvent) {
    for (const std::string event : {"early", "nothing"}) {
        store.calls.clear();
        EXPECT_EQ(failureOf([&] { client.getEvent({"X", event}); }), "CALENDAR_NOT_FOUND: X");
        EXPECT_EQ(store.calls, Strings{"calendar(X)"});
    }
}

TEST_F(GetEvent, ReportsAnUnknownEvent) {
    EXPECT_EQ(failureOf([&] { client.getEvent({"A", "nothing"}); }), "EVENT_NOT_FOUND: nothing");
}

TEST_F(GetEvent, ReportsAnEventOfAnotherCalendarAsNotFound) {
    EXPECT_EQ(failureOf([&] { client.getEvent({"B", "early"}); }), "EVENT_NOT_FOUND: early");
}

TEST_F(GetEvent, ReportsAnEventWithoutACalendarAsNotFound) {
    model::Event stray = eventNamed("stray", calendarNamed("A"));
    stray.calendar = nullptr;
    store.add(stray);
    EXPECT_EQ(failureOf([&] { client.getEvent({"A", "stray"}); }), "EVENT_NOT_FOUND: stray");
}

TEST_F(GetAttendeeStatus, MapsEachAttendeeInOrder) {
    model::Event event = eventNamed("meeting", calendarNamed("A"));
    event.participants = {{"mailto:b@c.dd", "B", 4}, {"MAILTO:a@c.dd", std::nullopt, 5}};
    store.add(event);
    EXPECT_EQ(client.getAttendeeStatus({"meeting"}),
        (GetAttendeeStatusResponse{
            "meeting", {{"b@c.dd", "B", "pending"}, {"MAILTO:a@c.dd", "", "unknown"}}}));
    EXPECT_EQ(store.calls, Strings{"event(meeting)"});
}

TEST_F(GetAttendeeStatus, AnswersForAnEventWithoutAttendeesOrCalendar) {
    model::Event stray = eventNamed("stray", calendarNamed("A"));
    stray.calendar = nullptr;
    store.add(stray);
    EXPECT_EQ(client.getAttendeeStatus({"stray"}), (GetAttendeeStatusResponse{"stray", {}}));
}

TEST_F(GetAttendeeStatus, ReportsAnUnknownEvent) {
    EXPECT_EQ(
        failureOf([&] { client.getAttendeeStatus({"nothing"}); }), "EVENT_NOT_FOUND: nothing");
}

TEST_F(GetAttendeeStatus, AnswersWithTheIdentifierAsAskedFor) {
    LenientStore lenient(store);
    EXPECT_EQ(clientOf(lenient).getAttendeeStatus({"EARLY"}).id, "EARLY");
}

} // namespace
} // namespace quenbrook::tests
