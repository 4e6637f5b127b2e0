#include "src/DTOs.h"
#include "json/JsonReader.h"
#include "json/JsonWriter.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook {
namespace {

using json::decodeJson;
using json::encodeJson;
using json::JsonFailure;

template <class Record>
std::string failureOf(std::string_view text) {
    const auto decoded = decodeJson<Record>(text);
    const auto* failure = std::get_if<JsonFailure>(&decoded);
    return failure == nullptr ? "" : failure->path + " " + failure->reason;
}

template <class Record>
Record read(std::string_view text) {
    return std::get<Record>(decodeJson<Record>(text));
}

// What is read from the text is written as the same text.
template <class Record>
void roundTrips(std::string_view text) {
    EXPECT_EQ(encodeJson(read<Record>(text)), text);
    EXPECT_EQ(read<Record>(text), read<Record>(text));
    EXPECT_NE(read<Record>(text), Record{});
}

constexpr std::string_view fullRule =
    R"({"count":3,"frequency":"weekly","interval":2,"untilISO":"u"})";
constexpr std::string_view fullRuleRead =
    R"({"count":3,"daysOfMonth":[1,-1],"daysOfWeek":[1,7],"frequency":"weekly","interval":2,)"
    R"("monthsOfYear":[3,4],"untilISO":"u"})";

std::string fullEvent() {
    return R"({"attendees":[{"email":"e","name":"n","status":"s"}],"availability":"busy",)"
           R"("calendarId":"c","categories":["velmoria-sync","no-sync"],"endISO":"e",)"
           R"("hasAlarms":true,"id":"i","isAllDay":true,"lastModifiedISO":"m","location":"l",)"
           R"("notes":"n","recurrenceRuleCount":1,"recurrenceRules":[)" +
           std::string(fullRuleRead) + R"(],"startISO":"s","title":"t"})";
}

const std::string fullCreate =
    R"({"alarmMinutes":[15,0,-5],"attendees":["a"],"attendeesV2":[{"email":"e","name":"n"}],)"
    R"("calendarId":"c","endISO":"e","isAllDay":true,"location":"l","notes":"n","recurrenceRule":)" +
    std::string(fullRule) + R"(,"sendInvitations":false,"startISO":"s","title":"t"})";
const std::string fullPatch =
    R"({"alarmMinutes":[],"attendees":[],"attendeesV2":[],"clearRecurrenceRules":true,)"
    R"("endISO":"e","isAllDay":false,"location":"","notes":"","recurrenceRule":)" +
    std::string(fullRule) + R"(,"sendInvitations":true,"startISO":"s","title":""})";

TEST(Records, ReadAndWriteEveryFieldWithSortedKeys) {
    roundTrips<ErrorResponse>(R"({"code":"c","details":"d","error":"e"})");
    roundTrips<ErrorResponse>(R"({"code":"c","error":""})");
    roundTrips<CalendarInfoDTO>(
        R"({"color":"#FF3B30","id":"i","name":"n","source":"s","sourceType":"local","writable":true})");
    roundTrips<CalendarInfoDTO>(R"({"id":"i","name":"n","writable":false})");
    roundTrips<ListCalendarsResponse>(
        R"({"calendars":[{"id":"i","name":"n","writable":true},{"id":"j","name":"n","writable":true}]})");
    roundTrips<AttendeeInfoDTO>(R"({"email":"e","name":"n","status":"s"})");
    roundTrips<RecurrenceRuleDTOFull>(fullRuleRead);
    roundTrips<RecurrenceRuleDTOFull>(R"({"frequency":"daily","interval":1})");
    roundTrips<EventInfoDTO>(fullEvent());
    roundTrips<ListEventsRequest>(R"({"calendarIds":["a"],"endISO":"e","startISO":"s"})");
    roundTrips<ListEventsRequest>(R"({"calendarIds":[],"endISO":"e","startISO":"s"})");
    roundTrips<ListEventsRequest>(R"({"endISO":"e","startISO":"s"})");
    roundTrips<ListEventsResponse>("{\"events\":[" + fullEvent() + "," + fullEvent() + "]}");
    roundTrips<GetEventRequest>(R"({"calendarId":"c","eventId":"e"})");
    roundTrips<GetEventResponse>("{\"event\":" + fullEvent() + "}");
    roundTrips<GetAttendeeStatusRequest>(R"({"id":"i"})");
    roundTrips<GetAttendeeStatusResponse>(
        R"({"attendees":[{"email":"e","name":"","status":"s"}],"id":"i"})");
    roundTrips<GetAttendeeStatusResponse>(R"({"attendees":[],"id":"i"})");
    roundTrips<AttendeeRequestDTO>(R"({"email":"e","name":"n"})");
    roundTrips<AttendeeRequestDTO>(R"({"email":"e"})");
    roundTrips<RecurrenceRuleDTO>(fullRule);
    roundTrips<CLIWarning>(R"({"code":"c","detail":"d","message":"m"})");
    roundTrips<CLIWarning>(R"({"code":"c","message":"m"})");
    roundTrips<CreateEventRequest>(fullCreate);
    roundTrips<CreateEventRequest>(R"({"calendarId":"c","endISO":"e","startISO":"s","title":"t"})");
    roundTrips<CreateEventResponse>(
        R"({"calendarId":"c","endISO":"e","id":"i","startISO":"s","warnings":[{"code":"c","message":"m"}]})");
    roundTrips<CreateEventResponse>(R"({"calendarId":"c","endISO":"e","id":"i","startISO":"s"})");
    roundTrips<UpdateEventPatch>(fullPatch);
    roundTrips<UpdateEventRequest>("{\"id\":\"i\",\"patch\":" + fullPatch + "}");
    roundTrips<UpdateEventRequest>(R"({"id":"E1","patch":{}})");
    roundTrips<UpdateEventResponse>(R"({"id":"i","updated":true,"warnings":[]})");
    roundTrips<UpdateEventResponse>(R"({"id":"i","updated":true})");
    roundTrips<CancelEventRequest>(R"({"id":"i","reason":"r"})");
    roundTrips<CancelEventRequest>(R"({"id":"i"})");
    roundTrips<CancelEventResponse>(R"({"cancelled":true,"id":"i"})");
}

TEST(Records, WriteEmptyListsWhereTheyAreRequired) {
    EXPECT_EQ(encodeJson(ListCalendarsResponse{}), R"({"calendars":[]})");
    EXPECT_EQ(encodeJson(ListEventsResponse{}), R"({"events":[]})");
    EXPECT_EQ(encodeJson(UpdateEventPatch{}), "{}");
}

TEST(Records, WriteASnapshotWithoutItsAbsentFields) {
    EXPECT_EQ(encodeJson(EventInfoDTO{}),
        R"({"attendees":[],"calendarId":"","endISO":"","hasAlarms":false,"id":"",)"
        R"("isAllDay":false,"recurrenceRuleCount":0,"recurrenceRules":[],"startISO":"","title":""})");
}

TEST(Records, ReadNullLikeAnAbsentKey) {
    EXPECT_EQ(read<ListEventsRequest>(R"({"startISO":"s","endISO":"e","calendarIds":null})"),
        read<ListEventsRequest>(R"({"startISO":"s","endISO":"e"})"));
    EXPECT_EQ(read<CancelEventRequest>(R"({"id":"i","reason":null})"),
        read<CancelEventRequest>(R"({"id":"i"})"));
    EXPECT_EQ(read<UpdateEventPatch>(
                  R"({"title":null,"startISO":null,"endISO":null,"isAllDay":null,"location":null,)"
                  R"("notes":null,"attendees":null,"alarmMinutes":null,"attendeesV2":null,)"
                  R"("sendInvitations":null,"recurrenceRule":null,"clearRecurrenceRules":null})"),
        UpdateEventPatch{});
}

TEST(Records, ReadARuleWithoutAnEnd) {
    const auto rule = read<RecurrenceRuleDTO>(R"({"frequency":"weekly","interval":2})");
    EXPECT_EQ(rule.count, std::nullopt);
    EXPECT_EQ(rule.untilISO, std::nullopt);
}

TEST(Records, RequireTheirKeys) {
    const std::string missingString = "is missing, expected a string";
    EXPECT_EQ(failureOf<GetEventRequest>(R"({"eventId":"X"})"), "calendarId " + missingString);
    EXPECT_EQ(failureOf<GetEventRequest>(R"({"id":"X"})"), "calendarId " + missingString);
    EXPECT_EQ(failureOf<GetEventRequest>(R"({"calendarId":"X"})"), "eventId " + missingString);
    EXPECT_EQ(failureOf<ListEventsRequest>(R"({"endISO":"e"})"), "startISO " + missingString);
    EXPECT_EQ(failureOf<ListEventsRequest>(R"({"startISO":"s"})"), "endISO " + missingString);
    EXPECT_EQ(failureOf<GetAttendeeStatusRequest>("{}"), "id " + missingString);
    EXPECT_EQ(failureOf<CancelEventRequest>("{}"), "id " + missingString);
    EXPECT_EQ(failureOf<UpdateEventRequest>(R"({"patch":{}})"), "id " + missingString);
    EXPECT_EQ(
        failureOf<UpdateEventRequest>(R"({"id":"E1"})"), "patch is missing, expected an object");
    EXPECT_EQ(failureOf<RecurrenceRuleDTO>(R"({"frequency":"weekly"})"),
        "interval is missing, expected a 64-bit integer");
    EXPECT_EQ(failureOf<RecurrenceRuleDTO>(R"({"interval":1})"), "frequency " + missingString);
    EXPECT_EQ(failureOf<AttendeeRequestDTO>(R"({"name":"n"})"), "email " + missingString);
    for (const std::string key : {"calendarId", "title", "startISO", "endISO"}) {
        std::string text = R"({"calendarId":"c","endISO":"e","startISO":"s","title":"t"})";
        text.replace(text.find(key), key.size(), "other");
        EXPECT_EQ(failureOf<CreateEventRequest>(text), key + " " + missingString);
    }
}

TEST(Records, EnforceTypesInNestedRecordsAndInFieldsWithoutEffect) {
    const std::string start = R"({"id":"i","patch":{)";
    EXPECT_EQ(failureOf<UpdateEventRequest>(start + R"("recurrenceRule":{"frequency":"weekly"}}})"),
        "patch.recurrenceRule.interval is missing, expected a 64-bit integer");
    EXPECT_EQ(
        failureOf<UpdateEventRequest>(start + R"("attendeesV2":[{"email":"e"},{"name":"n"}]}})"),
        "patch.attendeesV2[1].email is missing, expected a string");
    EXPECT_EQ(failureOf<UpdateEventRequest>(start + R"("sendInvitations":1}})"),
        "patch.sendInvitations is an integer, expected true or false");
    EXPECT_EQ(failureOf<UpdateEventRequest>(start + R"("attendees":[1]}})"),
        "patch.attendees[0] is an integer, expected a string");
    EXPECT_EQ(failureOf<CancelEventRequest>(R"({"id":"i","reason":false})"),
        "reason is a boolean, expected a string");
}

} // namespace
} // namespace quenbrook
