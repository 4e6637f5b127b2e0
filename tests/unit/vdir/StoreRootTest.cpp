#include "stores/vdir/StoreRoot.h"

#include "stores/vdir/VdirStore.h"
#include "tests/support/EventsOf.h"
#include "tests/support/ScopedVariable.h"
#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <system_error>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace quenbrook::stores::vdir {
namespace {

using Names = std::set<std::string>;
using Variable = std::optional<std::string>;

struct RootCase {
    Variable data;
    Variable home;
    std::optional<std::filesystem::path> root;
};

TEST(TheDefaultRoot, FollowsTheEnvironment) {
    const std::vector<RootCase> cases{
        {"/data", "/home/j", "/data/quenbrook/calendars"},
        {"/data/", "/home/j", "/data/quenbrook/calendars"},
        {"/data", std::nullopt, "/data/quenbrook/calendars"},
        {std::nullopt, "/home/j", "/home/j/.local/share/quenbrook/calendars"},
        {"", "/home/j", "/home/j/.local/share/quenbrook/calendars"},
        {"data", "/home/j", "/home/j/.local/share/quenbrook/calendars"},
        {"./data", "/home/j", "/home/j/.local/share/quenbrook/calendars"},
        {"~/data", "/home/j", "/home/j/.local/share/quenbrook/calendars"},
        {std::nullopt, std::nullopt, std::nullopt},
        {std::nullopt, "", std::nullopt},
        {"", "home", std::nullopt},
    };
    for (const RootCase& row : cases) {
        const support::ScopedVariable data("XDG_DATA_HOME", row.data);
        const support::ScopedVariable home("HOME", row.home);
        EXPECT_EQ(defaultStoreRoot(), row.root)
            << row.data.value_or("none") << " " << row.home.value_or("none");
    }
}

class NewRoots : public testing::Test {
  protected:
    mode_t modeOf(const std::string& name) const {
        struct stat status = {};
        EXPECT_EQ(::lstat(files_.path(name).c_str(), &status), 0) << name;
        return status.st_mode & 07777;
    }

    void expectInitialCalendar(const std::string& root) const {
        EXPECT_EQ(files_.names(root), Names{"local"});
        EXPECT_EQ(files_.names(root + "/local"), (Names{"calendar", "displayname"}));
        EXPECT_EQ(files_.names(root + "/local/calendar"), (Names{"color", "displayname"}));
        EXPECT_EQ(files_.read(root + "/local/displayname"), "Quenbrook");
        EXPECT_EQ(files_.read(root + "/local/calendar/displayname"), "Calendar");
        EXPECT_EQ(files_.read(root + "/local/calendar/color"), "#1BADF8");
    }

    std::unique_ptr<CalendarStore> store(const std::string& root) const {
        return openVdirStore(files_.path(root));
    }

    test::Files files_;
};

TEST_F(NewRoots, HoldOneCalendarForTheirOwnerOnly) {
    createStoreRoot(files_.path("a/b/root"));
    expectInitialCalendar("a/b/root");
    for (const char* directory : {"a/b/root", "a/b/root/local", "a/b/root/local/calendar"}) {
        EXPECT_EQ(modeOf(directory), mode_t{0700}) << directory;
    }
    EXPECT_EQ(files_.names("a/b"), Names{"root"});
}

TEST_F(NewRoots, NeverTakeThePlaceOfWhatIsThere) {
    files_.makeDirectory("empty");
    files_.write("full/kept", "kept");
    files_.write("file", "kept");
    files_.link("link", "nowhere");
    for (const char* name : {"empty", "full", "file", "link"}) {
        EXPECT_THROW(createStoreRoot(files_.path(name)), std::system_error) << name;
    }
    EXPECT_EQ(files_.names("empty"), Names{});
    EXPECT_EQ(files_.names("full"), Names{"kept"});
    EXPECT_EQ(files_.read("file"), "kept");
    EXPECT_EQ(files_.names(), (Names{"empty", "file", "full", "link"}));
}

TEST_F(NewRoots, TakeThePlaceOfWhatAKilledRunHasBegun) {
    files_.write(".unfinished-root/local/calendar/color", "#");
    createStoreRoot(files_.path("root"));
    expectInitialCalendar("root");
    EXPECT_EQ(files_.names(), Names{"root"});
}

TEST_F(NewRoots, FailWhereNoDirectoryCanBeMade) {
    files_.write("file", "kept");
    EXPECT_THROW(createStoreRoot(files_.path("file/root")), std::system_error);
    EXPECT_THROW(createStoreRoot(files_.path("file/deeper/root")), std::system_error);
    EXPECT_EQ(files_.names(), Names{"file"});
}

TEST_F(NewRoots, AreMadeByTheFirstOperationNotByOpening) {
    const auto opened = store("root");
    EXPECT_EQ(files_.names(), Names{});
    EXPECT_EQ(opened->authorizationStatus(), 3);
    expectInitialCalendar("root");
    const std::vector<model::Calendar> calendars = opened->calendars();
    ASSERT_EQ(calendars.size(), 1u);
    EXPECT_EQ(calendars[0],
        (model::Calendar{"local/calendar", "Calendar", true, model::Source{"Quenbrook", 0},
            model::Color{0x1B / 255.0, 0xAD / 255.0, 0xF8 / 255.0}}));
}

TEST_F(NewRoots, AreMadeOnceByManyAtATime) {
    std::vector<std::thread> threads;
    std::vector<std::size_t> counts(8);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        threads.emplace_back([&, i] { counts[i] = store("root")->calendars().size(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counts, std::vector<std::size_t>(8, 1));
    expectInitialCalendar("root");
    EXPECT_EQ(files_.names(), Names{"root"});
}

TEST_F(NewRoots, AreNotMadeWhereOneIs) {
    files_.makeDirectory("root");
    EXPECT_EQ(store("root")->authorizationStatus(), 3);
    EXPECT_TRUE(store("root")->calendars().empty());
    EXPECT_EQ(files_.names("root"), Names{});
}

struct AccessCase {
    std::string root;
    std::int64_t status;
};

TEST_F(NewRoots, TellTheAccessThatThereIs) {
    files_.makeDirectory("directory");
    files_.write("file", "");
    files_.link("link", "directory");
    files_.link("dangling", "nowhere");
    files_.link("linkToFile", "file");
    ASSERT_EQ(::mkfifo(files_.path("fifo").c_str(), 0600), 0);
    const std::vector<AccessCase> cases{
        {"directory", 3},
        {"link", 3},
        {"new", 3},
        {"new/below/new", 3},
        {"file", 2},
        {"file/below", 2},
        {"dangling", 2},
        {"linkToFile", 2},
        {"fifo", 2},
    };
    for (const AccessCase& row : cases) {
        EXPECT_EQ(store(row.root)->authorizationStatus(), row.status) << row.root;
        bool granted = row.status != 3;
        store(row.root)->requestFullAccess([&](bool isGranted, const auto& error) {
            granted = isGranted;
            EXPECT_FALSE(error);
        });
        EXPECT_EQ(granted, row.status == 3) << row.root;
    }
    EXPECT_EQ(openVdirStore(std::nullopt)->authorizationStatus(), 1);
}

TEST_F(NewRoots, WithoutAccessHoldNothing) {
    files_.write("file", "");
    for (const auto& root :
        {std::optional(files_.path("file")), std::optional<std::filesystem::path>()}) {
        const auto opened = openVdirStore(root);
        EXPECT_TRUE(opened->calendars().empty());
        EXPECT_FALSE(opened->calendar("local/calendar"));
        EXPECT_FALSE(opened->event("local/calendar:x"));
        EXPECT_TRUE(tests::eventsOf(*opened, model::Instant::min(), model::Instant::max()).empty());
        model::EventChanges changes;
        changes.title = "x";
        changes.start = changes.end = model::Instant();
        changes.isAllDay = false;
        EXPECT_FALSE(opened->create(model::Calendar{.identifier = "local/calendar"}, changes));
    }
}

} // namespace
} // namespace quenbrook::stores::vdir
