#include "stores/vdir/CalendarDirectories.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <array>

#include <sys/stat.h>

namespace quenbrook::stores::vdir {
namespace {

class CalendarListings : public testing::Test {
  protected:
    std::vector<model::Calendar> listed() const {
        std::vector<model::Calendar> calendars;
        const files::Directory root = files_.open();
        for (const CalendarDirectory& directory : CalendarDirectories(root).all()) {
            calendars.push_back(*directory.calendar);
        }
        return calendars;
    }

    std::vector<std::string> identifiers() const {
        std::vector<std::string> found;
        for (const model::Calendar& calendar : listed()) {
            found.push_back(calendar.identifier);
        }
        return found;
    }

    model::Calendar only() const {
        const std::vector<model::Calendar> calendars = listed();
        return calendars.size() == 1 ? calendars.front()
                                     : model::Calendar{.identifier = "not one calendar"};
    }

    test::Files files_;
};

TEST_F(CalendarListings, OfNothingAreEmpty) {
    EXPECT_TRUE(listed().empty());
    files_.write("file", "");
    files_.write("event.ics", "");
    EXPECT_TRUE(listed().empty());
}

TEST_F(CalendarListings, TellAccountsFromCalendars) {
    files_.makeDirectory("account/one");
    files_.makeDirectory("account/two");
    files_.write("account/event", "");
    files_.write("alone/event.ics", "");
    files_.makeDirectory("empty");
    const std::vector<model::Calendar> calendars = listed();
    ASSERT_EQ(calendars.size(), 4u);
    EXPECT_EQ(calendars[0],
        (model::Calendar{"account/one", "one", true, model::Source{"account", 0}, {}}));
    EXPECT_EQ(calendars[1],
        (model::Calendar{"account/two", "two", true, model::Source{"account", 0}, {}}));
    EXPECT_EQ(calendars[2], (model::Calendar{"alone", "alone", true, {}, {}}));
    EXPECT_EQ(calendars[3], (model::Calendar{"empty", "empty", true, {}, {}}));
}

// A directory that comes to lie in a calendar does not hide its events.
TEST_F(CalendarListings, TakeWhatHoldsEventsForACalendar) {
    files_.write("work/event.ics", "");
    files_.makeDirectory("work/d.ics");
    files_.makeDirectory("work/attachments");
    files_.write("linked.ics", "");
    files_.link("other/event.ics", "../linked.ics");
    files_.makeDirectory("other/attachments");
    // No event files.
    files_.makeDirectory("account/d.ics");
    files_.write("account/.hidden.ics", "");
    files_.link("account/dangling.ics", "nowhere");
    EXPECT_EQ(identifiers(), (std::vector<std::string>{"account/d.ics", "other", "work"}));
}

TEST_F(CalendarListings, AreAskedForOneCalendarOrAnEventsCalendars) {
    for (const char* name : {"a", "a:b", "b/a", "b/a:c", "b-c"}) {
        files_.makeDirectory(name);
    }
    const files::Directory root = files_.open();
    CalendarDirectories directories(root);
    for (const char* identifier : {"a", "a:b", "b/a", "b/a:c", "b-c"}) {
        const auto found = directories.find(identifier);
        ASSERT_TRUE(found) << identifier;
        EXPECT_EQ(found->calendar->identifier, identifier);
    }
    for (const char* identifier : {"", "b", "b/", "/", "b/a/", "a/", "A", "a:", "..", "b/.."}) {
        EXPECT_FALSE(directories.find(identifier)) << identifier;
    }
    const auto ofEvent = [&](std::string_view identifier) {
        std::vector<std::string> found;
        for (const CalendarDirectory& directory : directories.ofEvent(identifier)) {
            found.push_back(directory.calendar->identifier);
        }
        return found;
    };
    using Identifiers = std::vector<std::string>;
    EXPECT_EQ(ofEvent("a:b:c"), (Identifiers{"a", "a:b"}));
    EXPECT_EQ(ofEvent("b/a:c:d"), (Identifiers{"b/a", "b/a:c"}));
    EXPECT_EQ(ofEvent("b-c:"), Identifiers{"b-c"});
    EXPECT_EQ(ofEvent("b:x"), Identifiers{});
    EXPECT_EQ(ofEvent("a"), Identifiers{});
}

TEST_F(CalendarListings, EndTwoLevelsDeep) {
    files_.makeDirectory("account/calendar/deeper/still");
    EXPECT_EQ(identifiers(), std::vector<std::string>{"account/calendar"});
}

TEST_F(CalendarListings, PassOverNamesThatBeginWithADot) {
    files_.makeDirectory(".hidden/calendar");
    files_.makeDirectory("account/.hidden");
    files_.makeDirectory("account/shown");
    // With nothing but a hidden directory it is no account.
    files_.makeDirectory("alone/.git");
    EXPECT_EQ(identifiers(), (std::vector<std::string>{"account/shown", "alone"}));
}

TEST_F(CalendarListings, FollowLinksToDirectories) {
    files_.makeDirectory("elsewhere/calendar");
    files_.makeDirectory("root/account");
    files_.link("root/account/linked", "../../elsewhere/calendar");
    files_.link("root/linked", "../elsewhere");
    files_.link("root/dangling", "nowhere");
    files_.link("root/file", "/dev/null");
    files_.link("root/loop", "loop");
    std::vector<std::string> found;
    const files::Directory root = files_.open("root");
    for (const CalendarDirectory& directory : CalendarDirectories(root).all()) {
        found.push_back(directory.calendar->identifier);
    }
    EXPECT_EQ(found, (std::vector<std::string>{"account/linked", "linked/calendar"}));
}

TEST_F(CalendarListings, ComeToAnEndWhenLinksLeadInCircles) {
    files_.makeDirectory("account/calendar");
    files_.link("account/up", "..");
    files_.link("self", ".");
    EXPECT_EQ(identifiers(),
        (std::vector<std::string>{"account/calendar", "account/up", "self/account", "self/self"}));
}

TEST_F(CalendarListings, AreOrderedByIdentifierBytewise) {
    for (const char* name :
        {"b", "a", "B", "A", "a/z", "a-b", "a b", "\xC3\xA4", "z", "10", "9", "a/Z"}) {
        files_.makeDirectory(name);
    }
    EXPECT_EQ(identifiers(), (std::vector<std::string>{"10", "9", "A", "B", "a b", "a-b", "a/Z",
                                 "a/z", "b", "z", "\xC3\xA4"}));
}

TEST_F(CalendarListings, RepairNamesThatAreNoUtf8) {
    files_.makeDirectory("caf\xE9");
    const files::Directory root = files_.open();
    const auto directories = CalendarDirectories(root).all();
    ASSERT_EQ(directories.size(), 1u);
    EXPECT_EQ(directories[0].calendar->identifier, "caf\xEF\xBF\xBD");
    EXPECT_EQ(directories[0].calendar->title, "caf\xEF\xBF\xBD");
    EXPECT_EQ(directories[0].path, "caf\xE9");
}

struct NameCase {
    std::string content;
    std::string title;
};

TEST_F(CalendarListings, TakeTitlesFromDisplaynameElseFromTheDirectory) {
    const std::vector<NameCase> cases{
        {"Work", "Work"},
        {"Work\n", "Work"},
        {" \t\r\n Work at home \xC2\xA0\xE2\x80\xA8\r\n", "Work at home"},
        {"B\xC3\xBCro \xF0\x9F\x98\x80", "B\xC3\xBCro \xF0\x9F\x98\x80"},
        {"two\nlines", "two\nlines"},
        {"", "directory"},
        {" \n", "directory"},
        {"B\xFCro", "directory"},
        {std::string(4096, 'x'), std::string(4096, 'x')},
        {std::string(4097, 'x'), "directory"},
        {std::string(65'536, 'x'), "directory"},
        {std::string(200'000, 'x'), "directory"},
    };
    for (const NameCase& row : cases) {
        files_.write("directory/calendar/displayname", row.content);
        files_.write("directory/displayname", row.content);
        const model::Calendar calendar = only();
        EXPECT_EQ(calendar.title, row.title == "directory" ? "calendar" : row.title);
        ASSERT_TRUE(calendar.source);
        EXPECT_EQ(calendar.source->title, row.title);
    }
}

TEST_F(CalendarListings, DoNotWaitForPropertiesThatAreNoFiles) {
    files_.makeDirectory("directory/calendar");
    files_.makeDirectory("directory/calendar/displayname");
    ASSERT_EQ(::mkfifo(files_.path("directory/displayname").c_str(), 0600), 0);
    files_.link("directory/type", "/dev/zero");
    ASSERT_EQ(::mkfifo(files_.path("directory/calendar/color").c_str(), 0600), 0);
    EXPECT_EQ(only(), (model::Calendar{"directory/calendar", "calendar", true,
                          model::Source{"directory", 0}, {}}));
}

TEST_F(CalendarListings, ReadPropertiesThroughSymlinks) {
    files_.write("directory/calendar/event.ics", "");
    files_.write("directory/name", "Linked");
    files_.link("directory/calendar/displayname", "../name");
    EXPECT_EQ(only().title, "Linked");
}

struct ColorCase {
    std::string content;
    std::optional<std::array<int, 3>> color;
};

TEST_F(CalendarListings, ReadColours) {
    const std::vector<ColorCase> cases{
        {"#1BADF8", {{0x1B, 0xAD, 0xF8}}},
        {"#1badf8\n", {{0x1B, 0xAD, 0xF8}}},
        {"  #000000  ", {{0, 0, 0}}},
        {"#FFFFFF", {{255, 255, 255}}},
        {"#1BADF880", {{0x1B, 0xAD, 0xF8}}},
        {"#1BADF800", {{0x1B, 0xAD, 0xF8}}},
        {"", {}},
        {"#", {}},
        {"1BADF8", {}},
        {"#1BADF", {}},
        {"#1BADF8F", {}},
        {"#1BADF8FFF", {}},
        {"#1BADG8", {}},
        {"#1BADF8GG", {}},
        {"# BADF8", {}},
        {"#-1BADF", {}},
        {"red", {}},
        {"#1BADF8 #1BADF8", {}},
        {"#1BAD\xEF\xBC\xA6", {}},
    };
    for (const ColorCase& row : cases) {
        files_.write("calendar/color", row.content);
        const model::Calendar calendar = only();
        ASSERT_EQ(calendar.color.has_value(), row.color.has_value()) << row.content;
        for (std::size_t i = 0; row.color && i < 3; ++i) {
            EXPECT_DOUBLE_EQ((*calendar.color)[i], (*row.color)[i] / 255.0) << row.content;
        }
    }
}

struct TypeCase {
    std::string content;
    // Absent: any number outside of the table.
    std::optional<std::int64_t> number;
    bool isWritable;
};

TEST_F(CalendarListings, TellTypesOfAccountsAndWhatMayBeWrittenTo) {
    const std::vector<TypeCase> cases{
        {"local", 0, true},
        {"exchange", 1, true},
        {"caldav", 2, true},
        {"mobileme", 3, true},
        {"subscription", 4, false},
        {"birthdays", 5, false},
        {" subscription\r\n", 4, false},
        {"other", std::nullopt, true},
        {"locality", std::nullopt, true},
        {"4", std::nullopt, true},
    };
    files_.makeDirectory("account/calendar");
    EXPECT_EQ(only().source, (model::Source{"account", 0}));
    for (const TypeCase& row : cases) {
        files_.write("account/type", row.content);
        const model::Calendar calendar = only();
        ASSERT_TRUE(calendar.source);
        const std::int64_t type = calendar.source->type;
        EXPECT_TRUE(row.number ? type == *row.number : type < 0 || type > 5) << row.content;
        EXPECT_EQ(calendar.allowsContentModifications, row.isWritable) << row.content;
    }
}

// "type" is a file of accounts. A calendar without an account has none.
TEST_F(CalendarListings, TakeTypesOfAccountsOnly) {
    files_.write("calendar/type", "subscription");
    EXPECT_EQ(only(), (model::Calendar{"calendar", "calendar", true, {}, {}}));
}

} // namespace
} // namespace quenbrook::stores::vdir
