#include "icalendar/EventTexts.h"

#include "icalendar/CalendarReader.h"

#include <gmock/gmock.h>

namespace quenbrook::icalendar {
namespace {

using testing::ElementsAre;

std::string lines(const std::vector<std::string>& each) {
    std::string text;
    for (const std::string& line : each) {
        text += line + "\r\n";
    }
    return text;
}

std::string event(const std::vector<std::string>& content) {
    std::vector<std::string> all{"BEGIN:VEVENT", "UID:one"};
    all.insert(all.end(), content.begin(), content.end());
    all.push_back("END:VEVENT");
    return lines(all);
}

std::string zone(const std::string& name) {
    return lines({"BEGIN:VTIMEZONE", "TZID:" + name, "BEGIN:STANDARD", "DTSTART:19700101T000000",
        "TZOFFSETFROM:+0130", "TZOFFSETTO:+0130", "END:STANDARD", "END:VTIMEZONE"});
}

std::optional<std::string_view> sameValue(std::string_view value) {
    return value;
}

TEST(StreamAssembly, WrapsWhatItIsGiven) {
    StreamAssembly assembly;
    EXPECT_EQ(assembly.stream(), lines({"BEGIN:VCALENDAR", "END:VCALENDAR"}));
    assembly.add(event({"SUMMARY:a"}));
    assembly.add("BEGIN:VEVENT\nUID:two\nEND:VEVENT");
    EXPECT_EQ(assembly.stream(), "BEGIN:VCALENDAR\r\n" + event({"SUMMARY:a"}) +
                                     "BEGIN:VEVENT\nUID:two\nEND:VEVENT\r\nEND:VCALENDAR\r\n");
}

TEST(StreamAssembly, TakesEventsAndZonesOutOfAStream) {
    StreamAssembly assembly;
    assembly.add(lines({"BEGIN:VCALENDAR", "VERSION:2.0", "X-A:b"}) + event({"SUMMARY:a"}) +
                 zone("Own") + lines({"BEGIN:VTODO", "END:VTODO", "END:VCALENDAR"}));
    EXPECT_EQ(assembly.stream(),
        lines({"BEGIN:VCALENDAR"}) + zone("Own") + event({"SUMMARY:a"}) + lines({"END:VCALENDAR"}));
}

TEST(StreamAssembly, NamesTheZonesThatNobodyDefines) {
    StreamAssembly assembly;
    assembly.add(event({"DTSTART;TZID=Own:20260105T100000",
        "DTEND;TZID=\"Quoted: yes\":20260105T11", "RDATE;VALUE=DATE-TIME;TZID=Fol",
        " ded/Name:20260105T100000", "SUMMARY;TZID=No:TZID=No",
        "EXDATE;TZID=Europe/Berlin:20260105T100000", "DESCRIPTION:TZID=No", "dtstart;tzid=Own:1"}));
    EXPECT_THAT(assembly.undefinedZones(), ElementsAre("Folded/Name", "Own", "Quoted: yes"));
    assembly.add(zone(" Own "));
    assembly.add(zone("Quoted: yes"));
    EXPECT_THAT(assembly.undefinedZones(), ElementsAre("Folded/Name"));
}

TEST(StreamAssembly, MakesOwnZonesKnownToTheEvents) {
    StreamAssembly assembly;
    assembly.add(event({"DTSTART;TZID=Own:20260105T100000"}));
    assembly.add(zone("Own"));
    const auto found = findEvent(assembly.stream(), "one");
    ASSERT_TRUE(found);
    const auto midnight = std::chrono::sys_days(std::chrono::year(2026) / 1 / 5);
    EXPECT_EQ(found->event.start, model::Instant(midnight + std::chrono::minutes(8 * 60 + 30)));
}

TEST(EventTexts, AreThoseOfOneUid) {
    const std::string master = event({"SUMMARY:a"});
    const std::string exception = event({"RECURRENCE-ID;TZID=Own:20260105T100000", "SUMMARY:b"});
    const std::string other = lines({"BEGIN:VEVENT", "UID:two", "END:VEVENT"});
    const auto found = eventTexts(lines({"BEGIN:VCALENDAR"}) + zone("Own") + master + other +
                                      exception + lines({"END:VCALENDAR"}),
        "one", sameValue);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].recurrenceId, "");
    EXPECT_EQ(found[0].text, master);
    EXPECT_EQ(found[1].recurrenceId, "20260105T100000");
    EXPECT_EQ(found[1].text, exception);
    EXPECT_TRUE(eventTexts("", "one", sameValue).empty());
}

TEST(EventTexts, HaveTheValuesThatTheCallerMakesOfTheirs) {
    const auto found =
        eventTexts(lines({"BEGIN:VCALENDAR"}) +
                       event({"SUMMARY:drop", "X-A:shorten", "X-B;C=d:shor", " ten", "X-E:keep  ",
                           "BEGIN:VALARM", "DESCRIPTION:drop", "ACTION:DISPLAY", "END:VALARM"}) +
                       lines({"END:VCALENDAR"}),
            "one", [](std::string_view value) -> std::optional<std::string_view> {
                if (value == "drop") {
                    return std::nullopt;
                }
                return value == "shorten" ? value.substr(0, 5) : value;
            });
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].text, event({"X-A:short", "X-B;C=d:short", "X-E:keep  ", "BEGIN:VALARM",
                                 "ACTION:DISPLAY", "END:VALARM"}));
}

} // namespace
} // namespace quenbrook::icalendar
