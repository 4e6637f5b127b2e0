#include "stores/vdir/VdirStore.h"

#include "tests/support/EventsOf.h"
#include "tests/support/ScopedVariable.h"
#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace quenbrook::stores::vdir {
namespace {

using Names = std::set<std::string>;

constexpr model::Instant day(int year, unsigned month, unsigned dayOfMonth) {
    return std::chrono::sys_days(
        std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(dayOfMonth));
}

std::string eventText(const std::string& uid, const std::string& title = "old") {
    return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTART:20260105T100000Z\r\nSUMMARY:" + title +
           "\r\nX-OWN:kept\r\nEND:VEVENT\r\n";
}

std::string fileText(const std::string& events) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + events + "END:VCALENDAR\r\n";
}

model::EventChanges titled(std::string title) {
    model::EventChanges changes;
    changes.title = std::move(title);
    return changes;
}

model::EventChanges newEvent(std::string title) {
    model::EventChanges changes = titled(std::move(title));
    changes.start = day(2026, 1, 7);
    changes.end = day(2026, 1, 8);
    changes.isAllDay = false;
    return changes;
}

class Stores : public testing::Test {
  protected:
    // Reads the directories afresh, as each run of the program does.
    std::unique_ptr<CalendarStore> store() const { return openVdirStore(files_.path()); }

    std::vector<std::string> titlesIn(CalendarStore& opened) const {
        std::vector<std::string> titles;
        for (const model::Event& event :
            tests::eventsOf(opened, day(2026, 1, 1), day(2026, 2, 1))) {
            titles.push_back(event.title.value_or("none"));
        }
        std::sort(titles.begin(), titles.end());
        return titles;
    }
    std::vector<std::string> titles() const { return titlesIn(*store()); }

    std::string titleOf(const std::string& identifier) const {
        const auto event = store()->event(identifier);
        return event ? event->title.value_or("none") : "nothing";
    }

    test::Files files_;
};

TEST_F(Stores, ReadEventFilesAndNothingElse) {
    for (const char* name : {"a.ics", "no name of a UID.ics", "x.ics.ics", "linked"}) {
        files_.write(std::string("c/") + name, fileText(eventText(name, name)));
    }
    for (const char* name : {".hidden.ics", "a.ics.tmp", ".quenbrook.tmp", "a.ICS", "a.ical", "ics",
             "a.ics~", "a.ics.bak"}) {
        files_.write(std::string("c/") + name, fileText(eventText(name, "never")));
    }
    files_.makeDirectory("account/d/directory.ics");
    files_.link("c/link.ics", "linked");
    files_.link("c/dangling.ics", "nowhere");
    files_.link("c/device.ics", "/dev/zero");
    ASSERT_EQ(::mkfifo(files_.path("c/fifo.ics").c_str(), 0600), 0);
    EXPECT_EQ(titles(),
        (std::vector<std::string>{"a.ics", "linked", "no name of a UID.ics", "x.ics.ics"}));
}

TEST_F(Stores, ReadWhatIsGoodBesideWhatIsBroken) {
    files_.write("c/good.ics", fileText(eventText("good", "good")));
    files_.write("c/two.ics", fileText(eventText("two", "two") + "BEGIN:VEVENT\r\nUID:cut"));
    files_.write("c/binary.ics", std::string(100'000, '\0'));
    files_.write("c/empty.ics", "");
    files_.write("c/text.ics", "hello\n");
    files_.write("c/html.ics", "<html>404</html>");
    const Names before = files_.names("c");
    EXPECT_EQ(titles(), (std::vector<std::string>{"good", "two"}));
    EXPECT_EQ(titleOf("c:two"), "two");
    EXPECT_EQ(titleOf("c:cut"), "nothing");
    EXPECT_EQ(files_.names("c"), before);
}

TEST_F(Stores, SetWhatTheCallerNeedsOfAnEvent) {
    files_.write("account/c/a.ics", fileText(eventText("uid")));
    const auto opened = store();
    const auto events = tests::eventsOf(*opened, day(2026, 1, 1), day(2026, 2, 1));
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].identifier, "account/c:uid");
    ASSERT_TRUE(events[0].calendar);
    EXPECT_EQ(*events[0].calendar, opened->calendars().at(0));
    const auto event = opened->event("account/c:uid");
    ASSERT_TRUE(event && event->calendar);
    EXPECT_EQ(event->identifier, "account/c:uid");
    EXPECT_EQ(*event->calendar, opened->calendars().at(0));
}

TEST_F(Stores, OrderEventsByStartEndAndIdentifier) {
    const auto timed = [](const std::string& uid, const std::string& start,
                           const std::string& end) {
        return fileText("BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTART:" + start + "\r\nDTEND:" + end +
                        "\r\nEND:VEVENT\r\n");
    };
    files_.write("b/1.ics", timed("x", "20260105T100000Z", "20260105T110000Z"));
    files_.write("a/2.ics", timed("z", "20260105T100000Z", "20260105T110000Z"));
    files_.write("a/3.ics", timed("y", "20260105T100000Z", "20260105T110000Z"));
    files_.write("a/4.ics", timed("long", "20260105T100000Z", "20260105T120000Z"));
    files_.write("b/5.ics", timed("early", "20260105T090000Z", "20260105T130000Z"));
    std::vector<std::string> found;
    for (const model::Event& event : tests::eventsOf(*store(), day(2026, 1, 1), day(2026, 2, 1))) {
        found.push_back(*event.identifier);
    }
    EXPECT_EQ(found, (std::vector<std::string>{"b:early", "a:y", "a:z", "b:x", "a:long"}));
}

struct IdentifierCase {
    std::string identifier;
    std::string title;
};

TEST_F(Stores, FindEventsWhateverTheirNamesHold) {
    files_.write("a/1.ics", fileText(eventText("b:c", "in a")));
    files_.write("a:b/1.ics", fileText(eventText("c", "shadowed") + eventText("d", "in a:b")));
    files_.write("a/2.ics", fileText(eventText("../a:b/1", "dots") + eventText("x/y", "slash")));
    files_.write("account/a/1.ics", fileText(eventText("c", "in account/a")));
    files_.write("ab/1.ics", fileText(eventText("c", "in ab")));
    files_.write("a/named.ics", fileText(eventText("other", "not named after it")));
    files_.write("a/other.ics", fileText(eventText("named", "the other way round")));
    files_.write("a/comma.ics", fileText(eventText("a\\,b", "comma")));
    files_.write("a/.dot.ics", fileText(eventText(".dot", "hidden")));
    const std::vector<IdentifierCase> cases{
        // In the order of calendars, a is asked before a:b.
        {"a:b:c", "in a"},
        {"a:b:d", "in a:b"},
        {"a:../a:b/1", "dots"},
        {"a:x/y", "slash"},
        {"account/a:c", "in account/a"},
        {"ab:c", "in ab"},
        {"a:other", "not named after it"},
        {"a:named", "the other way round"},
        {"a:a,b", "comma"},
        {"a:c", "nothing"},
        {"a:", "nothing"},
        {"a", "nothing"},
        {"", "nothing"},
        {":", "nothing"},
        {"a:B:C", "nothing"},
        {"account:a:c", "nothing"},
        {"account/a", "nothing"},
        {"a/named:other", "nothing"},
        {"a:named.ics", "nothing"},
        {"a:.dot", "nothing"},
        {"./a:other", "nothing"},
        {"a/:other", "nothing"},
        {"a/../a:other", "nothing"},
        {std::string("a:other\0", 8), "nothing"},
        {"a:" + std::string(100'000, 'x'), "nothing"},
    };
    for (const IdentifierCase& row : cases) {
        EXPECT_EQ(titleOf(row.identifier), row.title) << row.identifier.substr(0, 100);
    }
}

TEST_F(Stores, KeepApartCalendarsOfWhichOneBeginsLikeTheOther) {
    files_.write("a/1.ics", fileText(eventText("uid", "in a")));
    files_.write("ab/1.ics", fileText(eventText("uid", "in ab")));
    EXPECT_EQ(titleOf("a:uid"), "in a");
    EXPECT_EQ(titleOf("ab:uid"), "in ab");
    const auto opened = store();
    const std::vector<model::Calendar> wanted{*opened->calendar("a"), *opened->calendar("a")};
    const auto events = tests::eventsOf(*opened, day(2026, 1, 1), day(2026, 2, 1), wanted);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].title, "in a");
    EXPECT_TRUE(
        tests::eventsOf(*opened, day(2026, 1, 1), day(2026, 2, 1), std::vector<model::Calendar>{})
            .empty());
    EXPECT_TRUE(tests::eventsOf(*opened, day(2026, 1, 1), day(2026, 2, 1),
        std::vector<model::Calendar>{{.identifier = "b"}})
                    .empty());
}

TEST_F(Stores, CreateAFileOfItsOwnForEachEvent) {
    files_.write("c/kept.ics", "kept");
    const auto opened = store();
    const auto saved = opened->create(*opened->calendar("c"), newEvent("new"));
    ASSERT_TRUE(saved);
    ASSERT_TRUE(saved->identifier->starts_with("c:"));
    const std::string file = saved->identifier->substr(2) + ".ics";
    EXPECT_EQ(files_.names("c"), (Names{"kept.ics", file}));
    EXPECT_EQ(files_.read("c/kept.ics"), "kept");
    EXPECT_EQ(saved->start, day(2026, 1, 7));
    EXPECT_EQ(saved->calendarIdentifier, "c");
    EXPECT_EQ(titleOf(*saved->identifier), "new");
    // What it told can be worked with.
    EXPECT_TRUE(opened->update(*opened->event(*saved->identifier), titled("newer")));
    EXPECT_EQ(titleOf(*saved->identifier), "newer");
    EXPECT_TRUE(opened->remove(*opened->event(*saved->identifier)));
    EXPECT_EQ(files_.names("c"), Names{"kept.ics"});
}

TEST_F(Stores, ChangeTheFileThatHasTheEventAndKeepItsName) {
    const std::string other = eventText("other", "other");
    files_.write("c/some name.ics", fileText(eventText("uid") + other));
    files_.write("c/uid.ics", fileText(eventText("not uid")));
    const auto opened = store();
    EXPECT_TRUE(opened->update(*opened->event("c:uid"), titled("new")));
    EXPECT_EQ(files_.names("c"), (Names{"some name.ics", "uid.ics"}));
    EXPECT_EQ(files_.read("c/uid.ics"), fileText(eventText("not uid")));
    const std::string text = files_.read("c/some name.ics");
    EXPECT_NE(text.find("SUMMARY:new\r\nX-OWN:kept\r\n"), std::string::npos);
    EXPECT_NE(text.find(other), std::string::npos);
    EXPECT_TRUE(opened->remove(*opened->event("c:uid")));
    EXPECT_EQ(files_.read("c/some name.ics"), fileText(other));
    EXPECT_TRUE(opened->remove(*opened->event("c:other")));
    EXPECT_EQ(files_.names("c"), Names{"uid.ics"});
}

TEST_F(Stores, ChangeAnEventWhoseFileWasRenamedSinceItWasRead) {
    files_.write("c/before.ics", fileText(eventText("uid")));
    const auto opened = store();
    const auto event = opened->event("c:uid");
    ASSERT_TRUE(event);
    std::filesystem::rename(files_.path("c/before.ics"), files_.path("c/after.ics"));
    EXPECT_TRUE(opened->update(*event, titled("new")));
    EXPECT_EQ(titleOf("c:uid"), "new");
    EXPECT_EQ(files_.names("c"), Names{"after.ics"});
    // Another event took the name.
    files_.write("c/before.ics", fileText(eventText("other")));
    EXPECT_TRUE(opened->remove(*event));
    EXPECT_EQ(files_.names("c"), Names{"before.ics"});
}

TEST_F(Stores, ApplyAChangeToWhatTheFileHoldsByNow) {
    files_.write("c/a.ics", fileText(eventText("uid")));
    const auto opened = store();
    const auto event = opened->event("c:uid");
    ASSERT_TRUE(event);
    files_.write("c/a.ics", fileText(eventText("uid", "theirs") + eventText("added", "added")));
    model::EventChanges notes;
    notes.notes = "ours";
    EXPECT_TRUE(opened->update(*event, notes));
    EXPECT_EQ(titles(), (std::vector<std::string>{"added", "theirs"}));
    EXPECT_EQ(store()->event("c:uid")->notes, "ours");
}

TEST_F(Stores, RefuseToChangeWhatIsGone) {
    files_.write("c/a.ics", fileText(eventText("uid")));
    files_.write("c/b.ics", fileText(eventText("other")));
    const auto opened = store();
    const auto event = opened->event("c:uid");
    ASSERT_TRUE(event);
    files_.write("c/a.ics", fileText(eventText("stranger")));
    EXPECT_FALSE(opened->update(*event, titled("new")));
    EXPECT_FALSE(opened->remove(*event));
    EXPECT_EQ(files_.read("c/a.ics"), fileText(eventText("stranger")));
    std::filesystem::remove_all(files_.path("c"));
    EXPECT_FALSE(opened->update(*event, titled("new")));
    EXPECT_FALSE(opened->remove(*event));
    EXPECT_FALSE(opened->create(*opened->calendar("c"), newEvent("new")));
    EXPECT_EQ(files_.names(), Names{});
}

TEST_F(Stores, ReadThroughALinkButRefuseToChangeIt) {
    files_.write("elsewhere.txt", fileText(eventText("uid")));
    files_.link("c/a.ics", "../elsewhere.txt");
    const auto opened = store();
    const auto event = opened->event("c:uid");
    ASSERT_TRUE(event);
    EXPECT_EQ(event->title, "old");
    EXPECT_FALSE(opened->update(*event, titled("new")));
    EXPECT_FALSE(opened->remove(*event));
    EXPECT_EQ(files_.read("elsewhere.txt"), fileText(eventText("uid")));
    EXPECT_TRUE(std::filesystem::is_symlink(files_.path("c/a.ics")));
    EXPECT_EQ(files_.names("c"), Names{"a.ics"});
}

TEST_F(Stores, RefuseToChangeAFileThatBecameSomethingElse) {
    files_.write("c/a.ics", fileText(eventText("uid")));
    const auto opened = store();
    const auto event = opened->event("c:uid");
    ASSERT_TRUE(event);
    std::filesystem::remove(files_.path("c/a.ics"));
    ASSERT_EQ(::mkfifo(files_.path("c/a.ics").c_str(), 0600), 0);
    EXPECT_FALSE(opened->update(*event, titled("new")));
    std::filesystem::remove(files_.path("c/a.ics"));
    files_.makeDirectory("c/a.ics");
    EXPECT_FALSE(opened->remove(*event));
}

TEST_F(Stores, NeverWriteToSubscriptionsAndBirthdays) {
    for (const char* type : {"subscription", "birthdays"}) {
        files_.write("account/type", type);
        files_.write("account/c/a.ics", fileText(eventText("uid")));
        const auto opened = store();
        const auto event = opened->event("account/c:uid");
        ASSERT_TRUE(event);
        EXPECT_FALSE(opened->update(*event, titled("new"))) << type;
        EXPECT_FALSE(opened->remove(*event)) << type;
        model::Calendar calendar = *opened->calendar("account/c");
        EXPECT_FALSE(opened->create(calendar, newEvent("new"))) << type;
        // What the caller says of the calendar does not count.
        calendar.allowsContentModifications = true;
        EXPECT_FALSE(opened->create(calendar, newEvent("new"))) << type;
        EXPECT_EQ(files_.names("account/c"), Names{"a.ics"});
        EXPECT_EQ(files_.read("account/c/a.ics"), fileText(eventText("uid")));
    }
}

TEST_F(Stores, RefuseToCreateWhatCannotBeHeldOrHasNoCalendar) {
    files_.makeDirectory("c");
    const auto opened = store();
    const model::Calendar calendar = *opened->calendar("c");
    EXPECT_FALSE(opened->create(calendar, newEvent(std::string("a\0b", 3))));
    model::EventChanges backwards = newEvent("x");
    std::swap(backwards.start, backwards.end);
    EXPECT_FALSE(opened->create(calendar, backwards));
    EXPECT_FALSE(opened->create(model::Calendar{.identifier = "../c"}, newEvent("x")));
    EXPECT_FALSE(opened->create(model::Calendar{.identifier = "c/"}, newEvent("x")));
    EXPECT_FALSE(opened->create(model::Calendar{.identifier = ""}, newEvent("x")));
    EXPECT_EQ(files_.names("c"), Names{});
    EXPECT_EQ(files_.names(), Names{"c"});
}

TEST_F(Stores, WriteBesideADirectoryThatIsCalledLikeATemporaryFile) {
    files_.write("c/a.ics", fileText(eventText("uid")));
    files_.write("c/.quenbrook.tmp/kept", "");
    const auto opened = store();
    EXPECT_TRUE(opened->update(*opened->event("c:uid"), titled("new")));
    EXPECT_EQ(titles(), std::vector<std::string>{"new"});
    EXPECT_EQ(files_.names("c"), (Names{".quenbrook.tmp", "a.ics"}));
    EXPECT_EQ(files_.names("c/.quenbrook.tmp"), Names{"kept"});
}

TEST_F(Stores, KeepThePermissionsOfAChangedFile) {
    files_.write("c/a.ics", fileText(eventText("uid")));
    ASSERT_EQ(::chmod(files_.path("c/a.ics").c_str(), 0664), 0);
    const auto opened = store();
    EXPECT_TRUE(opened->update(*opened->event("c:uid"), titled("new")));
    struct stat status = {};
    ASSERT_EQ(::stat(files_.path("c/a.ics").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0664});
}

TEST_F(Stores, LoseNoChangeOfWritersAtTheSameTime) {
    files_.write("c/a.ics", fileText(eventText("uid")));
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([&, writer] {
            const auto opened = store();
            for (int i = 0; i < 10; ++i) {
                EXPECT_TRUE(opened->create(*opened->calendar("c"), newEvent("created")));
                model::EventChanges changes;
                (writer % 2 == 0 ? changes.title : changes.notes) = "last";
                EXPECT_TRUE(opened->update(*opened->event("c:uid"), changes));
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    std::vector<std::string> expected(40, "created");
    expected.push_back("last");
    EXPECT_EQ(titles(), expected);
    EXPECT_EQ(store()->event("c:uid")->notes, "last");
    EXPECT_NE(files_.read("c/a.ics").find("SEQUENCE:40\r\n"), std::string::npos);
    EXPECT_EQ(files_.names("c").size(), 41u);
}

TEST_F(Stores, FindTwoFilesOfOneUidAndChangeTheOneThatWasRead) {
    files_.write("c/1.ics", fileText(eventText("uid", "one")));
    files_.write("c/2.ics", fileText(eventText("uid", "two")));
    EXPECT_EQ(titles(), (std::vector<std::string>{"one", "two"}));
    const auto opened = store();
    for (const model::Event& event : tests::eventsOf(*opened, day(2026, 1, 1), day(2026, 2, 1))) {
        if (event.title == "two") {
            EXPECT_TRUE(opened->update(event, titled("changed")));
        }
    }
    EXPECT_EQ(titles(), (std::vector<std::string>{"changed", "one"}));
    EXPECT_EQ(titleOf("c:uid"), "one");
}

} // namespace
} // namespace quenbrook::stores::vdir
