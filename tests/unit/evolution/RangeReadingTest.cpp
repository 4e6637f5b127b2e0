#include "stores/evolution/RangeReading.h"

#include "tests/unit/evolution/ScriptedFactory.h"

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using std::chrono::sys_days;
using std::chrono::year;
using testing::ElementsAre;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr sys_days january{year(2026) / 1 / 1};
constexpr sys_days february{year(2026) / 2 / 1};

std::string eventText(const std::string& uid, const std::string& start = "20260105T100000Z",
    const std::string& more = "") {
    return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTART" + (start.front() == ';' ? "" : ":") +
           start + "\r\n" + more + "END:VEVENT\r\n";
}

struct RangeRead {
    std::vector<std::string> uids;
    std::optional<std::string> error;
    bool isEmpty;
};

RangeRead readRange(
    ScriptedFactory& factory, model::Instant start = january, model::Instant end = february) {
    RangeReading reading(factory.calendar, start, end);
    factory.bus.serveUntil(inTheEnd(), [&] { return reading.isDone(); });
    RangeRead read{{}, std::nullopt, reading.isEmpty()};
    for (const icalendar::FoundEvent& found : reading.events()) {
        read.uids.push_back(found.key.uid);
    }
    if (reading.error()) {
        read.error = reading.error()->name();
    }
    return read;
}

std::vector<std::string> queriesOf(const ScriptedFactory& factory) {
    std::vector<std::string> queries;
    for (const ScriptedCall& call : factory.services.calls()) {
        if (call.method == "GetObjectList") {
            queries.push_back(call.texts.front());
        }
    }
    return queries;
}

// A calendar with a recurring event, and another one.
std::optional<ScriptedReply> twoEvents(const ScriptedCall& call) {
    if (call.method != "GetObjectList") {
        return std::nullopt;
    }
    const bool isOfRules = call.texts.front() == "(has-recurrences?)";
    return ScriptedReply::array({isOfRules ? eventText("rule") : eventText("single")});
}

TEST(RangeReading, AsksForWhatRecursAndForWhatLiesThere) {
    ScriptedFactory factory(twoEvents);
    const RangeRead read = readRange(factory);
    EXPECT_THAT(read.uids, UnorderedElementsAre("rule", "single"));
    EXPECT_EQ(read.error, std::nullopt);
    EXPECT_FALSE(read.isEmpty);
    EXPECT_THAT(factory.services.methods(),
        ElementsAre("OpenCalendar", "Open", "Get", "GetObjectList", "GetObjectList", "Get"));
    EXPECT_THAT(queriesOf(factory), ElementsAre("(has-recurrences?)", StartsWith("(and (not")));
}

TEST(RangeReading, OfAnEmptyCalendarSaysSo) {
    ScriptedFactory factory;
    const RangeRead read = readRange(factory);
    EXPECT_THAT(read.uids, ElementsAre());
    EXPECT_TRUE(read.isEmpty);
    EXPECT_EQ(read.error, std::nullopt);
}

TEST(RangeReading, AsksForAllWhenTheCalendarChangesMeanwhile) {
    ScriptedFactory factory(
        [revision = 0](const ScriptedCall& call) mutable -> std::optional<ScriptedReply> {
            if (call.method == "Get") {
                return ScriptedReply::variant(std::to_string(++revision));
            }
            if (call.method == "GetObjectList" && call.texts.front() == "#t") {
                return ScriptedReply::array({eventText("after")});
            }
            return twoEvents(call);
        });
    EXPECT_THAT(readRange(factory).uids, ElementsAre("after"));
    EXPECT_EQ(queriesOf(factory).size(), 3);
}

TEST(RangeReading, AsksForAllWhereTheServiceCountsTimeDifferently) {
    ScriptedFactory factory;
    readRange(factory, sys_days{year(1900) / 1 / 1});
    EXPECT_THAT(factory.services.methods(), ElementsAre("OpenCalendar", "Open", "GetObjectList"));
    EXPECT_THAT(queriesOf(factory), ElementsAre("#t"));
}

TEST(RangeReading, FetchesTheZonesOfTheCalendar) {
    const std::string own =
        "BEGIN:VTIMEZONE\r\nTZID:Own\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\n"
        "TZOFFSETFROM:+0130\r\nTZOFFSETTO:+0130\r\nEND:STANDARD\r\n"
        "END:VTIMEZONE\r\n";
    ScriptedFactory factory([&](const ScriptedCall& call) -> std::optional<ScriptedReply> {
        if (call.method == "GetTimezone") {
            return call.texts.front() == "Own" ? ScriptedReply::of({own})
                                               : ScriptedReply::error("some.Error");
        }
        if (call.method == "GetObjectList" && call.texts.front() == "(has-recurrences?)") {
            return ScriptedReply::array({eventText("own", ";TZID=Own:20260105T100000"),
                eventText("lost", ";TZID=Lost:20260105T100000")});
        }
        return std::nullopt;
    });
    RangeReading reading(factory.calendar, january, february);
    factory.bus.serveUntil(inTheEnd(), [&] { return reading.isDone(); });
    ASSERT_EQ(reading.events().size(), 2);
    for (const icalendar::FoundEvent& found : reading.events()) {
        if (found.key.uid == "own") {
            EXPECT_EQ(found.event.start,
                sys_days{year(2026) / 1 / 5} + std::chrono::minutes(8 * 60 + 30));
        }
    }
}

TEST(RangeReading, BeginsAnewOnceWhenTheFactoryGoesAway) {
    // The calls of a reading, the opening left out.
    for (int lost = 0; lost < 4; ++lost) {
        for (const int times : {1, 2}) {
            ScriptedFactory factory(
                [lost, times, count = 0](
                    const ScriptedCall& call) mutable -> std::optional<ScriptedReply> {
                    const bool isOpening = call.method == "OpenCalendar" || call.method == "Open";
                    if (!isOpening && count++ == lost) {
                        return ScriptedReply::error(DBUS_ERROR_UNKNOWN_METHOD);
                    }
                    const bool isSecondTry = count > lost + 1;
                    if (!isOpening && isSecondTry && times == 2) {
                        return ScriptedReply::error(DBUS_ERROR_NO_REPLY);
                    }
                    return twoEvents(call);
                });
            const RangeRead read = readRange(factory);
            if (times == 1) {
                EXPECT_THAT(read.uids, UnorderedElementsAre("rule", "single")) << lost;
                EXPECT_EQ(read.error, std::nullopt);
            } else {
                EXPECT_THAT(read.uids, ElementsAre());
                EXPECT_EQ(read.error, DBUS_ERROR_NO_REPLY) << lost;
            }
        }
    }
}

TEST(RangeReading, EndsWithWhatTheServiceSays) {
    for (const std::string method : {"Open", "Get", "GetObjectList"}) {
        ScriptedFactory factory(failing(method, "some.Error"));
        const RangeRead read = readRange(factory);
        EXPECT_EQ(read.error, "some.Error") << method;
        EXPECT_THAT(read.uids, ElementsAre());
    }
}

TEST(RangeReading, MayBeGoneBeforeItsCalendarIsOpen) {
    ScriptedFactory factory;
    { const RangeReading reading(factory.calendar, january, february); }
    factory.open();
    factory.calendar.call(inTheEnd(), "Refresh");
    EXPECT_THAT(factory.services.methods(), ElementsAre("OpenCalendar", "Open", "Refresh"));
}

} // namespace
} // namespace quenbrook::stores::evolution
