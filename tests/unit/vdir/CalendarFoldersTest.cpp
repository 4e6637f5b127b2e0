#include "platform/vdir/CalendarFolders.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <array>

#include <sys/stat.h>

namespace quenbrook::platform::vdir {
namespace {

class CalendarListings : public testing::Test {
  protected:
    std::vector<Calendar> listed() const {
        std::vector<Calendar> calendars;
        for (const CalendarFolder& folder : calendarFolders(files_.open())) {
            calendars.push_back(*folder.calendar);
        }
        return calendars;
    }

    std::vector<std::string> identifiers() const {
        std::vector<std::string> found;
        for (const Calendar& calendar : listed()) {
            found.push_back(calendar.identifier);
        }
        return found;
    }

    Calendar only() const {
        const std::vector<Calendar> calendars = listed();
        return calendars.size() == 1 ? calendars.front()
                                     : Calendar{.identifier = "not one calendar"};
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
    files_.makeFolder("account/one");
    files_.makeFolder("account/two");
    files_.write("account/event.ics", "");
    files_.write("alone/event.ics", "");
    files_.makeFolder("empty");
    const std::vector<Calendar> calendars = listed();
    ASSERT_EQ(calendars.size(), 4u);
    EXPECT_EQ(calendars[0], (Calendar{"account/one", "one", true, Source{"account", 0}, {}}));
    EXPECT_EQ(calendars[1], (Calendar{"account/two", "two", true, Source{"account", 0}, {}}));
    EXPECT_EQ(calendars[2], (Calendar{"alone", "alone", true, {}, {}}));
    EXPECT_EQ(calendars[3], (Calendar{"empty", "empty", true, {}, {}}));
}

TEST_F(CalendarListings, EndTwoLevelsDeep) {
    files_.makeFolder("account/calendar/deeper/still");
    EXPECT_EQ(identifiers(), std::vector<std::string>{"account/calendar"});
}

TEST_F(CalendarListings, PassOverNamesThatBeginWithADot) {
    files_.makeFolder(".hidden/calendar");
    files_.makeFolder("account/.hidden");
    files_.makeFolder("account/shown");
    // With nothing but a hidden folder it is no account.
    files_.makeFolder("alone/.git");
    EXPECT_EQ(identifiers(), (std::vector<std::string>{"account/shown", "alone"}));
}

TEST_F(CalendarListings, FollowLinksToFolders) {
    files_.makeFolder("elsewhere/calendar");
    files_.makeFolder("root/account");
    files_.link("root/account/linked", "../../elsewhere/calendar");
    files_.link("root/linked", "../elsewhere");
    files_.link("root/dangling", "nowhere");
    files_.link("root/file", "/dev/null");
    files_.link("root/loop", "loop");
    std::vector<std::string> found;
    for (const CalendarFolder& folder : calendarFolders(files_.open("root"))) {
        found.push_back(folder.calendar->identifier);
    }
    EXPECT_EQ(found, (std::vector<std::string>{"account/linked", "linked/calendar"}));
}

TEST_F(CalendarListings, ComeToAnEndWhenLinksLeadInCircles) {
    files_.makeFolder("account/calendar");
    files_.link("account/up", "..");
    files_.link("self", ".");
    EXPECT_EQ(identifiers(),
        (std::vector<std::string>{"account/calendar", "account/up", "self/account", "self/self"}));
}

TEST_F(CalendarListings, AreOrderedByIdentifierBytewise) {
    for (const char* name :
        {"b", "a", "B", "A", "a/z", "a-b", "a b", "\xC3\xA4", "z", "10", "9", "a/Z"}) {
        files_.makeFolder(name);
    }
    EXPECT_EQ(identifiers(), (std::vector<std::string>{"10", "9", "A", "B", "a b", "a-b", "a/Z",
                                 "a/z", "b", "z", "\xC3\xA4"}));
}

TEST_F(CalendarListings, RepairNamesThatAreNoUtf8) {
    files_.makeFolder("caf\xE9");
    const auto folders = calendarFolders(files_.open());
    ASSERT_EQ(folders.size(), 1u);
    EXPECT_EQ(folders[0].calendar->identifier, "caf\xEF\xBF\xBD");
    EXPECT_EQ(folders[0].calendar->title, "caf\xEF\xBF\xBD");
    EXPECT_EQ(folders[0].path, "caf\xE9");
}

struct NameCase {
    std::string content;
    std::string title;
};

TEST_F(CalendarListings, TakeTitlesFromDisplaynameElseFromTheFolder) {
    const std::vector<NameCase> cases{
        {"Work", "Work"},
        {"Work\n", "Work"},
        {" \t\r\n Work at home \xC2\xA0\xE2\x80\xA8\r\n", "Work at home"},
        {"B\xC3\xBCro \xF0\x9F\x98\x80", "B\xC3\xBCro \xF0\x9F\x98\x80"},
        {"two\nlines", "two\nlines"},
        {"", "folder"},
        {" \n", "folder"},
        {"B\xFCro", "folder"},
        {std::string(4096, 'x'), std::string(4096, 'x')},
        {std::string(4097, 'x'), "folder"},
        {std::string(65'536, 'x'), "folder"},
        {std::string(200'000, 'x'), "folder"},
    };
    for (const NameCase& row : cases) {
        files_.write("folder/calendar/displayname", row.content);
        files_.write("folder/displayname", row.content);
        const Calendar calendar = only();
        EXPECT_EQ(calendar.title, row.title == "folder" ? "calendar" : row.title);
        ASSERT_TRUE(calendar.source);
        EXPECT_EQ(calendar.source->title, row.title);
    }
}

TEST_F(CalendarListings, DoNotWaitForPropertiesThatAreNoFiles) {
    files_.makeFolder("folder/calendar");
    files_.makeFolder("folder/calendar/displayname");
    ASSERT_EQ(::mkfifo(files_.path("folder/displayname").c_str(), 0600), 0);
    files_.link("folder/type", "/dev/zero");
    ASSERT_EQ(::mkfifo(files_.path("folder/calendar/color").c_str(), 0600), 0);
    EXPECT_EQ(only(), (Calendar{"folder/calendar", "calendar", true, Source{"folder", 0}, {}}));
}

TEST_F(CalendarListings, ReadPropertiesThroughLinks) {
    files_.write("folder/calendar/event.ics", "");
    files_.write("folder/name", "Linked");
    files_.link("folder/calendar/displayname", "../name");
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
        const Calendar calendar = only();
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
    files_.makeFolder("account/calendar");
    EXPECT_EQ(only().source, (Source{"account", 0}));
    for (const TypeCase& row : cases) {
        files_.write("account/type", row.content);
        const Calendar calendar = only();
        ASSERT_TRUE(calendar.source);
        const std::int64_t type = calendar.source->type;
        EXPECT_TRUE(row.number ? type == *row.number : type < 0 || type > 5) << row.content;
        EXPECT_EQ(calendar.allowsContentModifications, row.isWritable) << row.content;
    }
}

// The file of an account says nothing of a calendar that has none.
TEST_F(CalendarListings, TakeTypesOfAccountsOnly) {
    files_.write("calendar/type", "subscription");
    EXPECT_EQ(only(), (Calendar{"calendar", "calendar", true, {}, {}}));
}

} // namespace
} // namespace quenbrook::platform::vdir
