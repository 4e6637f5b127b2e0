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

class CreateEvent : public testing::Test {
  protected:
    CreateEvent() {
        store.add(calendarNamed("C"));
        store.add(calendarNamed("R", false));
        request.calendarId = "C";
        request.title = "Title";
        request.startISO = "2025-03-14T11:30:00+02:00";
        request.endISO = "2025-03-14T10:00:00.5Z";
    }

    std::string failure() {
        return failureOf([this] { client.createEvent(request); });
    }

    // The failure, which must have come before anything was saved.
    std::string failureWithoutSaving() {
        store.calls.clear();
        std::string text = failure();
        EXPECT_EQ(store.calls, Strings{"calendar(" + request.calendarId + ")"});
        return text;
    }

    InMemoryStore store;
    EventStoreClient client = clientOf(store);
    CreateEventRequest request;
};

const AttendeeRequestDTO good = {"a@b.cc", "Name"};
const AttendeeRequestDTO bad = {"a@b", std::nullopt};
const std::string badAddress = "INVALID_JSON: attendeesV2 contains an invalid email address.";

TEST_F(CreateEvent, AnswersWithWhatWasSaved) {
    EXPECT_EQ(client.createEvent(request),
        (CreateEventResponse{
            "EVENT-1", "C", "2025-03-14T09:30:00.000Z", "2025-03-14T10:00:00.500Z", std::nullopt}));
    EXPECT_EQ(store.calls, (Strings{"calendar(C)", "create(C)"}));
}

TEST_F(CreateEvent, SetsOnlyWhatTheRequestCarries) {
    client.createEvent(request);
    ASSERT_TRUE(store.lastChanges);
    EXPECT_EQ(store.lastChanges->title, "Title");
    EXPECT_EQ(store.lastChanges->start, at("2025-03-14T09:30:00Z"));
    EXPECT_EQ(store.lastChanges->end, at("2025-03-14T10:00:00.500Z"));
    EXPECT_EQ(store.lastChanges->isAllDay, false);
    EXPECT_EQ(store.lastChanges->location, std::nullopt);
    EXPECT_EQ(store.lastChanges->notes, std::nullopt);
    EXPECT_EQ(store.lastChanges->alarms, std::nullopt);
    EXPECT_EQ(store.lastChanges->recurrenceRules, std::nullopt);
}

TEST_F(CreateEvent, SetsEverythingTheRequestCarries) {
    request.title = "";
    request.isAllDay = true;
    request.location = "";
    request.notes = "velmoria\r\nnotes";
    request.alarmMinutes = {15, 0, -5};
    request.recurrenceRule = RecurrenceRuleDTO{"WEEKLY", 2, 3, std::nullopt};
    client.createEvent(request);
    ASSERT_TRUE(store.lastChanges);
    EXPECT_EQ(store.lastChanges->title, "");
    EXPECT_EQ(store.lastChanges->isAllDay, true);
    EXPECT_EQ(store.lastChanges->location, "");
    EXPECT_EQ(store.lastChanges->notes, "velmoria\r\nnotes");
    EXPECT_EQ(store.lastChanges->alarms, (std::vector<double>{-900, 0, 300}));
    EXPECT_EQ(store.lastChanges->recurrenceRules,
        (std::vector<model::RecurrenceRule>{
            {1, 2, model::RecurrenceEnd::withOccurrenceCount(3), {}, {}, {}}}));
}

TEST_F(CreateEvent, MakesATimedEventUnlessToldOtherwise) {
    for (const std::optional<bool> isAllDay : {std::optional<bool>(), std::optional(false)}) {
        request.isAllDay = isAllDay;
        client.createEvent(request);
        EXPECT_EQ(store.lastChanges->isAllDay, false);
    }
}

TEST_F(CreateEvent, SetsAnEmptyAlarmList) {
    request.alarmMinutes.emplace();
    client.createEvent(request);
    EXPECT_EQ(store.lastChanges->alarms, std::vector<double>{});
}

TEST_F(CreateEvent, ReportsAnUnknownCalendarByItsIdentifier) {
    request.calendarId = "un known";
    request.attendeesV2 = {bad};
    request.startISO = "bad";
    EXPECT_EQ(failureWithoutSaving(), "CALENDAR_NOT_FOUND: un known");
}

TEST_F(CreateEvent, ReportsAReadOnlyCalendarBeforeABadAddress) {
    request.calendarId = "R";
    request.attendeesV2 = {bad};
    request.startISO = "bad";
    EXPECT_EQ(failureWithoutSaving(), "READ_ONLY_CALENDAR: Calendar R is read-only.");
}

TEST_F(CreateEvent, ReportsABadAddressBeforeABadDate) {
    request.attendeesV2 = {good, bad};
    request.startISO = "bad";
    EXPECT_EQ(failureWithoutSaving(), badAddress);
}

TEST_F(CreateEvent, ReportsABadStartThenABadEndThenABadRule) {
    request.recurrenceRule = RecurrenceRuleDTO{"daily", 0, {}, {}};
    request.endISO = "bad end";
    request.startISO = "bad start";
    EXPECT_EQ(failureWithoutSaving(), badDate + "bad start");
    request.startISO = "2025-03-14T09:00:00Z";
    EXPECT_EQ(failureWithoutSaving(), badDate + "bad end");
    request.endISO = "2025-03-14T09:00:00Z";
    EXPECT_EQ(failureWithoutSaving(), "INVALID_JSON: recurrenceRule.interval must be 1–366, got 0");
}

TEST_F(CreateEvent, TakesNoNoticeOfThePlainAttendeesAndInvitations) {
    request.attendees = {"not an address", ""};
    request.sendInvitations = true;
    request.attendeesV2 = {good};
    const CreateEventResponse response = client.createEvent(request);
    EXPECT_TRUE(client.getAttendeeStatus({response.id}).attendees.empty());
}

TEST_F(CreateEvent, SkipsTheAddressCheckForAnEmptyList) {
    request.attendeesV2.emplace();
    EXPECT_EQ(failure(), "");
}

TEST_F(CreateEvent, LeavesAnEndBeforeTheStartToTheStore) {
    request.endISO = "2025-03-14T09:29:59Z";
    EXPECT_EQ(failure(), "EVENT_STORE_SAVE_FAILED: EventKit save failed");
    EXPECT_EQ(store.calls, (Strings{"calendar(C)", "create(C)"}));
}

TEST_F(CreateEvent, ReportsARefusedSave) {
    store.refusesSaves = true;
    EXPECT_EQ(failure(), "EVENT_STORE_SAVE_FAILED: EventKit save failed");
}

TEST_F(CreateEvent, EndsTheProcessForAnAlarmBeyond64BitsAndSavesNothing) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    request.alarmMinutes = {15, INT64_MAX};
    // A rule that would fail comes after the alarms.
    request.recurrenceRule = RecurrenceRuleDTO{"day", 0, {}, {}};
    EXPECT_EXIT(client.createEvent(request), testing::KilledBySignal(SIGABRT), "^$");
    EXPECT_FALSE(store.lastChanges);
}

// A store that keeps something else than it was given.
class AdjustingStore final : public ForwardingStore {
  public:
    using ForwardingStore::ForwardingStore;
    std::optional<model::Calendar> calendar(std::string_view) override {
        return calendarNamed("C");
    }
    std::optional<model::SavedEvent> create(
        const model::Calendar& calendar, const model::EventChanges& changes) override {
        auto event = ForwardingStore::create(calendar, changes);
        event->start = std::chrono::floor<std::chrono::seconds>(event->start);
        event->end = std::chrono::floor<std::chrono::seconds>(event->end);
        event->identifier.reset();
        return event;
    }
};

TEST_F(CreateEvent, ReadsTheAnswerBackFromTheStore) {
    AdjustingStore adjusting(store);
    request.calendarId = "c";
    EXPECT_EQ(clientOf(adjusting).createEvent(request),
        (CreateEventResponse{
            "", "C", "2025-03-14T09:30:00.000Z", "2025-03-14T10:00:00.000Z", std::nullopt}));
}

} // namespace
} // namespace quenbrook::tests
