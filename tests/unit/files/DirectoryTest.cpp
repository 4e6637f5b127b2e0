#include "files/Directory.h"

#include "tests/support/ScopedVariable.h"
#include "tests/unit/files/EveryDescriptor.h"
#include "tests/unit/files/Everything.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <set>
#include <system_error>
#include <thread>
#include <vector>

namespace quenbrook::files {
namespace {

using Kind = DirectoryEntry::Kind;

// With less, a file whose inode number or time does not fit cannot be looked at.
static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8 && sizeof(time_t) == 8);

struct EntryCase {
    std::string name;
    Kind kind;
    bool isSymlink;
};

TEST(Directories, TellTheKindOfEveryEntryThatIsNotHidden) {
    const test::Everything everything;
    const std::vector<EntryCase> cases{
        {"file.ics", Kind::file, false},
        {"directory.ics", Kind::directory, false},
        {"fifo.ics", Kind::other, false},
        {"link.ics", Kind::file, true},
        {"linkToLink.ics", Kind::file, true},
        {"linkToDirectory.ics", Kind::directory, true},
        {"dangling.ics", Kind::other, true},
        {"loop.ics", Kind::other, true},
        {"device.ics", Kind::other, true},
        {"tty.ics", Kind::other, true},
        {"linkToFifo.ics", Kind::other, true},
    };
    const auto found = everything.entries();
    EXPECT_EQ(found.size(), cases.size());
    for (const EntryCase& row : cases) {
        ASSERT_TRUE(found.contains(row.name)) << row.name;
        EXPECT_EQ(found.at(row.name).kind, row.kind) << row.name;
        EXPECT_EQ(found.at(row.name).isSymlink, row.isSymlink) << row.name;
    }
}

TEST(Directories, CanBeListedMoreThanOnce) {
    const test::Files files;
    files.write("a", "");
    const Directory directory = files.open();
    EXPECT_EQ(directory.list().entries.size(), 1u);
    EXPECT_EQ(directory.list().entries.size(), 1u);
    files.write("b", "");
    EXPECT_EQ(directory.list().entries.size(), 2u);
}

// Right after a change the next one may not show in the times: the listing cannot know.
TEST(Directories, AreSnapshotsWhenNobodyHasChangedThemOfLate) {
    const test::Files files;
    files.write("a", "");
    const Directory directory = files.open();
    EXPECT_FALSE(directory.list().isSnapshot);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(directory.list().isSnapshot);
    EXPECT_EQ(directory.list().entries.size(), 1u);
}

TEST(Directories, EndTheirListingWhenNoMoreIsWanted) {
    const test::Files files;
    for (int i = 0; i < 20; ++i) {
        files.write(std::to_string(i), "");
    }
    int taken = 0;
    files.open().forEachEntry([&](const DirectoryEntry&) { return ++taken < 3; });
    EXPECT_EQ(taken, 3);
}

// On a file system in memory entries move behind a listing that is under way.
std::string memory() {
    const char* const memory = "/dev/shm";
    return std::filesystem::is_directory(memory) ? memory
                                                 : std::filesystem::temp_directory_path().string();
}

// While others exchange them all the time, none is missing and none comes twice.
TEST(Directories, ListWhatIsBeingExchanged) {
    constexpr int count = 1'500;
    const support::ScopedVariable place("TMPDIR", memory());
    const test::Files files;
    for (int i = 0; i < count; ++i) {
        files.write(std::to_string(i) + ".ics", "");
    }
    const Directory directory = files.open();
    std::atomic<bool> isOver = false;
    std::thread writer([&] {
        for (int i = 0; !isOver; i = (i + 7) % count) {
            const std::string name = std::to_string(i) + ".ics";
            files.write(".new", "");
            ::renameat(directory.descriptor(), ".new", directory.descriptor(), name.c_str());
        }
    });
    for (int round = 0; round < 30; ++round) {
        std::set<std::string> names;
        const Listing listing = directory.list();
        for (const DirectoryEntry& entry : listing.entries) {
            EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
        }
        EXPECT_EQ(names.size(), static_cast<std::size_t>(count));
    }
    isOver = true;
    writer.join();
}

// It is told under one of its names, or the directory is too busy to be listed.
TEST(Directories, NeverListTwiceWhatIsMovedAllTheTime) {
    const support::ScopedVariable place("TMPDIR", memory());
    const test::Files files;
    files.write("here.ics", "");
    const Directory directory = files.open();
    std::atomic<bool> isOver = false;
    std::thread mover([&] {
        const int folder = directory.descriptor();
        while (!isOver) {
            ::renameat(folder, "here.ics", folder, "there.ics");
            ::renameat(folder, "there.ics", folder, "here.ics");
        }
    });
    for (int round = 0; round < 200; ++round) {
        try {
            EXPECT_EQ(directory.list().entries.size(), 1u);
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::errc::device_or_resource_busy);
        }
    }
    isOver = true;
    mover.join();
}

TEST(Directories, AreEmptyOnceTheyAreRemoved) {
    const test::Files files;
    files.makeDirectory("gone");
    const Directory gone = files.open("gone");
    std::filesystem::remove(files.path("gone"));
    EXPECT_TRUE(gone.list().entries.empty());
}

TEST(Directories, AreOpenedOnlyWhenTheyAreDirectories) {
    const test::Everything everything;
    const test::Files& files = everything.files();
    EXPECT_FALSE(Directory::open(files.path("file.ics").string()));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(Directory::open(files.path("nowhere").string()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Directory::open(files.path("fifo.ics").string()));
    EXPECT_FALSE(Directory::open(""));
    const Directory directory = files.open();
    EXPECT_TRUE(directory.openDirectory("directory.ics"));
    EXPECT_TRUE(directory.openDirectory("linkToDirectory.ics"));
    for (const char* name : {"file.ics", "fifo.ics", "device.ics", "dangling.ics", "nowhere", ""}) {
        EXPECT_FALSE(directory.openDirectory(name)) << name;
    }
}

TEST(Directories, TellNothingWithoutDescriptors) {
    const test::Files files;
    files.makeDirectory("directory");
    const Directory directory = files.open();
    test::EveryDescriptor others;
    EXPECT_THROW(Directory::open(files.path().string()), std::system_error);
    EXPECT_THROW(directory.openDirectory("directory"), std::system_error);
    EXPECT_THROW(directory.list(), std::system_error);
}

} // namespace
} // namespace quenbrook::files
