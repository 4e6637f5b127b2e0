#include "stores/vdir/VdirStore.h"

#include "tests/support/EventsOf.h"
#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quenbrook::stores::vdir {
namespace {

using std::chrono::sys_days;

// A directory gives its names in an order of its own, which nobody must see.
TEST(StableOrder, OfEventsThatAreAlikeIsThatOfTheirFiles) {
    const test::Files files;
    std::vector<std::string> expected;
    for (char letter = 'z'; letter >= 'a'; --letter) {
        const std::string name(1, letter);
        expected.insert(expected.begin(), name);
        files.write("calendar/" + name + ".ics",
            "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:same\r\nDTSTART:20260105T100000Z\r\n"
            "SUMMARY:" +
                name + "\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n");
    }
    const std::chrono::year year(2026);
    std::vector<std::string> titles;
    for (const model::Event& event : tests::eventsOf(
             *openVdirStore(files.path()), sys_days(year / 1 / 1), sys_days(year / 2 / 1), {})) {
        titles.push_back(event.title.value_or(""));
    }
    EXPECT_EQ(titles, expected);
}

TEST(StableOrder, OfCalendarsIsThatOfTheIdentifiersTheyAreKnownBy) {
    const test::Files files;
    const std::string emoji = "\xF0\x9F\x97\x93";
    files.makeDirectory(emoji);
    files.makeDirectory("\xFF");
    std::vector<std::string> identifiers;
    for (const model::Calendar& calendar : openVdirStore(files.path())->calendars()) {
        identifiers.push_back(calendar.identifier);
    }
    EXPECT_EQ(identifiers, (std::vector<std::string>{"\xEF\xBF\xBD", emoji}));
}

} // namespace
} // namespace quenbrook::stores::vdir
