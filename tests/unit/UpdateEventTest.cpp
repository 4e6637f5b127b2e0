#include "src/EventStoreClient.h"

#include "tests/support/InMemoryStore.h"
#include "tests/unit/UnitSupport.h"

#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

using Strings = std::vector<std::string>;
using support::InMemoryStore;

class UpdateEvent : public testing::Test {
  protected:
    UpdateEvent() {
        store.add(calendarNamed("C"));
        model::Event event = eventNamed("E", calendarNamed("C"));
        event.location = "Room";
        event.notes = "Notes";
        event.alarmCount = 2;
        event.recurrenceRules = {{0, 1, std::nullopt, {}, {}, {}}};
        store.add(event);
        request.id = "E";
    }

    std::string failure() {
        return failureOf([this] { client.updateEvent(request); });
    }

    EventInfoDTO stored() { return client.getEvent({"C", "E"}).event; }

    InMemoryStore store;
    EventStoreClient client = clientOf(store);
    UpdateEventRequest request;
};

TEST_F(UpdateEvent, SavesEvenAnEmptyPatch) {
    const EventInfoDTO before = stored();
    store.calls.clear();
    EXPECT_EQ(client.updateEvent(request), (UpdateEventResponse{"E", true, std::nullopt}));
    EXPECT_EQ(store.calls, (Strings{"event(E)", "update(E)"}));
    ASSERT_TRUE(store.lastChanges);
    EXPECT_FALSE(store.lastChanges->title);
    EXPECT_FALSE(store.lastChanges->start);
    EXPECT_FALSE(store.lastChanges->end);
    EXPECT_FALSE(store.lastChanges->isAllDay);
    EXPECT_FALSE(store.lastChanges->location);
    EXPECT_FALSE(store.lastChanges->notes);
    EXPECT_FALSE(store.lastChanges->alarms);
    EXPECT_FALSE(store.lastChanges->recurrenceRules);
    EXPECT_EQ(stored().title, before.title);
}

TEST_F(UpdateEvent, SetsEveryFieldOfThePatch) {
    request.patch.title = "New";
    request.patch.startISO = "2025-04-01T02:00:00+02:00";
    request.patch.endISO = "2025-04-01T01:00:00.75Z";
    request.patch.isAllDay = true;
    request.patch.location = "Elsewhere";
    request.patch.notes = "no-sync";
    request.patch.alarmMinutes = {15, 0, -5};
    request.patch.recurrenceRule = RecurrenceRuleDTO{"Monthly", 4, {}, "2026-01-01T00:00:00Z"};
    client.updateEvent(request);
    ASSERT_TRUE(store.lastChanges);
    EXPECT_EQ(store.lastChanges->title, "New");
    EXPECT_EQ(store.lastChanges->start, at("2025-04-01T00:00:00Z"));
    EXPECT_EQ(store.lastChanges->end, at("2025-04-01T01:00:00.750Z"));
    EXPECT_EQ(store.lastChanges->isAllDay, true);
    EXPECT_EQ(store.lastChanges->location, "Elsewhere");
    EXPECT_EQ(store.lastChanges->notes, "no-sync");
    EXPECT_EQ(store.lastChanges->alarms, (std::vector<double>{-900, 0, 300}));
    EXPECT_EQ(store.lastChanges->recurrenceRules,
        (std::vector<model::RecurrenceRule>{
            {2, 4, model::RecurrenceEnd::withEndDate(at("2026-01-01T00:00:00Z")), {}, {}, {}}}));
}

TEST_F(UpdateEvent, SetsEmptyTextsAsEmptyTexts) {
    request.patch.title = "";
    request.patch.location = "";
    request.patch.notes = "";
    client.updateEvent(request);
    EXPECT_EQ(store.lastChanges->title, "");
    EXPECT_EQ(store.lastChanges->location, "");
    EXPECT_EQ(store.lastChanges->notes, "");
}

TEST_F(UpdateEvent, SetsFalseAsFalse) {
    request.patch.isAllDay = false;
    client.updateEvent(request);
    EXPECT_EQ(store.lastChanges->isAllDay, false);
}

TEST_F(UpdateEvent, RemovesAllAlarmsForAnEmptyList) {
    request.patch.alarmMinutes.emplace();
    client.updateEvent(request);
    EXPECT_EQ(store.lastChanges->alarms, std::vector<double>{});
    EXPECT_FALSE(stored().hasAlarms);
}

TEST_F(UpdateEvent, KeepsTheAlarmsWithoutAList) {
    client.updateEvent(request);
    EXPECT_TRUE(stored().hasAlarms);
}

TEST_F(UpdateEvent, ClearsTheRulesWhateverRuleComesWithIt) {
    request.patch.clearRecurrenceRules = true;
    request.patch.recurrenceRule = RecurrenceRuleDTO{"never", -1, -1, "soon"};
    client.updateEvent(request);
    EXPECT_EQ(store.lastChanges->recurrenceRules, std::vector<model::RecurrenceRule>{});
    EXPECT_EQ(stored().recurrenceRuleCount, 0);
}

TEST_F(UpdateEvent, ReplacesTheRulesWhenTheyAreNotCleared) {
    request.patch.clearRecurrenceRules = false;
    request.patch.recurrenceRule = RecurrenceRuleDTO{"yearly", 1, {}, {}};
    client.updateEvent(request);
    ASSERT_EQ(stored().recurrenceRules.size(), 1U);
    EXPECT_EQ(stored().recurrenceRules[0].frequency, "yearly");
}

TEST_F(UpdateEvent, KeepsTheRulesWhenClearingIsFalse) {
    request.patch.clearRecurrenceRules = false;
    client.updateEvent(request);
    EXPECT_EQ(store.lastChanges->recurrenceRules, std::nullopt);
}

TEST_F(UpdateEvent, TakesNoNoticeOfAttendeesAndInvitations) {
    request.patch.attendees = {"not an address"};
    request.patch.attendeesV2 = {AttendeeRequestDTO{"not an address", std::nullopt}};
    request.patch.sendInvitations = true;
    EXPECT_EQ(failure(), "");
}

TEST_F(UpdateEvent, ReportsTheFirstFaultOfThePatchAndSavesNothing) {
    request.patch.title = "New";
    request.patch.recurrenceRule = RecurrenceRuleDTO{"daily", 367, {}, {}};
    request.patch.endISO = "bad end";
    request.patch.startISO = "bad start";
    store.calls.clear();
    EXPECT_EQ(failure(), badDate + "bad start");
    request.patch.startISO.reset();
    EXPECT_EQ(failure(), badDate + "bad end");
    request.patch.endISO.reset();
    EXPECT_EQ(failure(), "INVALID_JSON: recurrenceRule.interval must be 1–366, got 367");
    EXPECT_EQ(store.calls, (Strings{"event(E)", "event(E)", "event(E)"}));
    EXPECT_EQ(stored().title, "Event E");
}

TEST_F(UpdateEvent, ReportsARefusedSave) {
    store.refusesSaves = true;
    EXPECT_EQ(failure(), "EVENT_STORE_SAVE_FAILED: EventKit save failed");
}

TEST_F(UpdateEvent, EndsTheProcessForAnAlarmBeyond64BitsAndSavesNothing) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    request.patch.alarmMinutes = {INT64_MIN};
    // A rule that would fail comes after the alarms.
    request.patch.recurrenceRule = RecurrenceRuleDTO{"day", 0, {}, {}};
    EXPECT_EXIT(client.updateEvent(request), testing::KilledBySignal(SIGABRT), "^$");
    EXPECT_FALSE(store.lastChanges);
}

TEST_F(UpdateEvent, AnswersWithTheIdentifierAsReceived) {
    LenientStore lenient(store);
    request.id = "e";
    EXPECT_EQ(clientOf(lenient).updateEvent(request).id, "e");
}

} // namespace
} // namespace quenbrook::tests
