#include "stores/evolution/SeriesText.h"

#include "tests/unit/evolution/ScriptedFactory.h"

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* notFoundName =
    "org.gtk.GDBus.UnmappedGError.Quark._e_2dcal_2dclient_2derror_2dquark.Code1";
constexpr const char* outOfSyncName =
    "org.gtk.GDBus.UnmappedGError.Quark._e_2dclient_2derror_2dquark.Code21";

const std::string master = "BEGIN:VEVENT\r\nUID:one\r\nDTSTART:20260105T100000Z\r\n"
                           "RRULE:FREQ=DAILY\r\nSUMMARY:Series\r\nEND:VEVENT\r\n";
const std::string moved = "BEGIN:VEVENT\r\nUID:one\r\nDTSTART:20260106T120000Z\r\n"
                          "RECURRENCE-ID:20260106T100000Z\r\nSUMMARY:Moved\r\nEND:VEVENT\r\n";

std::string calendarOf(const std::string& components) {
    return "BEGIN:VCALENDAR\r\n" + components + "END:VCALENDAR\r\n";
}

// Answers GetObject, and GetTimezone with a definition.
ScriptedFactory::Script holding(std::string components) {
    return [=](const ScriptedCall& call) -> std::optional<ScriptedReply> {
        if (call.method == "GetObject") {
            return ScriptedReply::of({components});
        }
        if (call.method == "GetTimezone") {
            return ScriptedReply::of(
                {"BEGIN:VTIMEZONE\r\nTZID:" + call.texts.front() +
                    "\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\nTZOFFSETFROM:+0130\r\n"
                    "TZOFFSETTO:+0130\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n"});
        }
        return std::nullopt;
    };
}

// What a change makes of a calendar's series: its calls, each with the last of its texts but the
// events'.
std::vector<std::string> callsOfChange(
    const std::string& after, SeriesText::Dropped dropped, bool isRemote) {
    ScriptedFactory factory(holding(calendarOf(master + moved)), workCalendar(isRemote));
    factory.open();
    const auto series = SeriesText::read(factory.calendar, "one", inTheEnd());
    CalendarWrite write(factory.calendar, inTheEnd());
    series.value().replace(write, after, dropped);
    EXPECT_TRUE(write.mayHaveChanged());
    std::vector<std::string> calls;
    for (const ScriptedCall& call : factory.services.calls()) {
        if (call.method.ends_with("Objects")) {
            calls.push_back(call.method + " " + call.texts.back());
        }
    }
    return calls;
}

TEST(SeriesText, IsAllThatTheCalendarHasOfAUid) {
    ScriptedFactory factory(holding(calendarOf(master + moved)));
    factory.open();
    const auto series = SeriesText::read(factory.calendar, "one", inTheEnd());
    EXPECT_EQ(series.value().uid(), "one");
    EXPECT_THAT(series->stream(), HasSubstr("SUMMARY:Series"));
    EXPECT_THAT(series->stream(), HasSubstr("SUMMARY:Moved"));
    EXPECT_THAT(factory.services.calls().back().texts, ElementsAre("one", ""));
}

TEST(SeriesText, IsMissingOnlyWhenTheServiceSaysSo) {
    for (const char* error : {notFoundName, outOfSyncName, DBUS_ERROR_NO_REPLY}) {
        ScriptedFactory factory(failing("GetObject", error));
        factory.open();
        if (error == notFoundName) {
            EXPECT_FALSE(SeriesText::read(factory.calendar, "one", inTheEnd()));
        } else {
            EXPECT_THROW(SeriesText::read(factory.calendar, "one", inTheEnd()), BusError) << error;
        }
    }
}

TEST(SeriesText, HoldsTheZonesOfTheCalendar) {
    const std::string event = "BEGIN:VEVENT\r\nUID:one\r\nDTSTART;TZID=Own:20260105T100000\r\n"
                              "END:VEVENT\r\n";
    ScriptedFactory factory(holding(event));
    factory.open();
    const auto series = SeriesText::read(factory.calendar, "one", inTheEnd());
    EXPECT_THAT(series.value().stream(), HasSubstr("TZID:Own"));
    CalendarWrite write(factory.calendar, inTheEnd());
    std::string changed = series->stream();
    changed.replace(changed.find("T100000"), 7, "T110000");
    series->replace(write, changed, SeriesText::Dropped::forgotten);
    EXPECT_THAT(factory.services.methods(), ElementsAre("OpenCalendar", "Open", "GetObject",
                                                "GetTimezone", "AddTimezone", "ModifyObjects"));
}

TEST(SeriesText, StandsWithoutAZoneThatNobodyKnowsButNotWithoutAnAnswer) {
    for (const char* error : {"some.Error", DBUS_ERROR_TIMEOUT}) {
        const auto event = holding("BEGIN:VEVENT\r\nUID:one\r\nDTSTART;TZID=Own:20260105T100000\r\n"
                                   "END:VEVENT\r\n");
        ScriptedFactory factory([&](const ScriptedCall& call) {
            return call.method == "GetTimezone" ? ScriptedReply::error(error) : event(call);
        });
        factory.open();
        if (error == std::string_view("some.Error")) {
            EXPECT_THAT(SeriesText::read(factory.calendar, "one", inTheEnd()).value().stream(),
                Not(HasSubstr("VTIMEZONE")));
        } else {
            EXPECT_THROW(SeriesText::read(factory.calendar, "one", inTheEnd()), BusError);
        }
    }
}

TEST(SeriesText, SendsWhatHasChangedOnly) {
    std::string renamed = moved;
    renamed.replace(renamed.find("Moved"), 5, "Other");
    ScriptedFactory factory(holding(calendarOf(master + moved)));
    factory.open();
    const auto series = SeriesText::read(factory.calendar, "one", inTheEnd());
    CalendarWrite write(factory.calendar, inTheEnd());
    series.value().replace(write, calendarOf(master + renamed), SeriesText::Dropped::forgotten);
    const ScriptedCall sent = factory.services.calls().back();
    EXPECT_EQ(sent.method, "ModifyObjects");
    ASSERT_EQ(sent.texts.size(), 2);
    EXPECT_THAT(sent.texts.front(), HasSubstr("SUMMARY:Other"));
    EXPECT_EQ(sent.texts.back(), "this");
}

TEST(SeriesText, OfNothingIsRemovedWhole) {
    for (const bool isRemote : {false, true}) {
        EXPECT_THAT(callsOfChange("", SeriesText::Dropped::excluded, isRemote),
            ElementsAre("RemoveObjects all"));
    }
}

TEST(SeriesText, IsChangedBeforeItsExceptionsGo) {
    std::string excluding = master;
    excluding.insert(excluding.find("SUMMARY"), "EXDATE:20260106T100000Z\r\n");
    const std::string after = calendarOf(excluding);
    using Dropped = SeriesText::Dropped;
    EXPECT_THAT(callsOfChange(after, Dropped::forgotten, false),
        ElementsAre("ModifyObjects this", "RemoveObjects only-this"));
    EXPECT_THAT(callsOfChange(after, Dropped::excluded, false),
        ElementsAre("ModifyObjects this", "RemoveObjects only-this"));
    EXPECT_THAT(callsOfChange(after, Dropped::excluded, true),
        ElementsAre("ModifyObjects this", "RemoveObjects this"));
    EXPECT_THAT(callsOfChange(after, Dropped::forgotten, true),
        ElementsAre("ModifyObjects this", "RemoveObjects only-this", "ModifyObjects this"));
}

TEST(SeriesText, WaitsUntilTheServiceKnowsOfAnother) {
    ScriptedFactory factory(
        [asked = 0](const ScriptedCall& call) mutable -> std::optional<ScriptedReply> {
            if (call.method != "GetObject") {
                return std::nullopt;
            }
            return ScriptedReply::of({++asked < 4 ? master : moved});
        });
    factory.open();
    const auto series = SeriesText::read(factory.calendar, "one", inTheEnd());
    const auto start = Clock::now();
    series.value().awaitOther(factory.calendar, inTheEnd());
    const auto methods = factory.services.methods();
    EXPECT_EQ(methods[3], "Refresh");
    if (methods.size() < 7) {
        // A machine that is too slow.
        EXPECT_GE(Clock::now() - start, std::chrono::seconds(2));
    }
    EXPECT_LE(methods.size(), 7);
}

TEST(SeriesText, IsInDoubtAfterACallThatNobodyAnswered) {
    for (const char* error : {DBUS_ERROR_UNKNOWN_METHOD, DBUS_ERROR_NO_REPLY, outOfSyncName}) {
        ScriptedFactory factory(failing("CreateObjects", error));
        factory.open();
        CalendarWrite write(factory.calendar, inTheEnd());
        try {
            createEvent(write, master);
            ADD_FAILURE() << error;
        } catch (const BusError& thrown) {
            EXPECT_EQ(thrown.name(), error);
            EXPECT_EQ(isConflict(thrown), error == outOfSyncName);
        }
        EXPECT_EQ(write.mayHaveChanged(), error == std::string_view(DBUS_ERROR_NO_REPLY)) << error;
    }
}

} // namespace
} // namespace quenbrook::stores::evolution
