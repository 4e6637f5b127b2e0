#include "platform/vdir/Folder.h"

#include "platform/RandomUid.h"
#include "platform/vdir/FolderLock.h"
#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quenbrook::platform::vdir {
namespace {

using Kind = FolderEntry::Kind;

class Folders : public testing::Test {
  protected:
    void makeFifo(const std::string& name) const {
        ASSERT_EQ(::mkfifo(files_.path(name).c_str(), 0600), 0);
    }

    // One of every kind.
    void makeEverything() const {
        files_.write("file.ics", "file");
        files_.makeFolder("folder.ics");
        makeFifo("fifo.ics");
        files_.link("link.ics", "file.ics");
        files_.link("linkToLink.ics", "link.ics");
        files_.link("linkToFolder.ics", "folder.ics");
        files_.link("dangling.ics", "nowhere.ics");
        files_.link("loop.ics", "loop.ics");
        files_.link("device.ics", "/dev/zero");
        files_.link("tty.ics", "/dev/tty");
        files_.link("linkToFifo.ics", "fifo.ics");
        files_.write(".hidden.ics", "hidden");
    }

    std::map<std::string, FolderEntry> entries() const {
        std::map<std::string, FolderEntry> found;
        for (const FolderEntry& entry : files_.open().entries()) {
            found.emplace(entry.name, entry);
        }
        return found;
    }

    test::Files files_;
};

struct EntryCase {
    std::string name;
    Kind kind;
    bool isLink;
};

TEST_F(Folders, TellTheKindOfEveryEntryThatIsNotHidden) {
    makeEverything();
    const std::vector<EntryCase> cases{
        {"file.ics", Kind::file, false},
        {"folder.ics", Kind::folder, false},
        {"fifo.ics", Kind::other, false},
        {"link.ics", Kind::file, true},
        {"linkToLink.ics", Kind::file, true},
        {"linkToFolder.ics", Kind::folder, true},
        {"dangling.ics", Kind::other, true},
        {"loop.ics", Kind::other, true},
        {"device.ics", Kind::other, true},
        {"tty.ics", Kind::other, true},
        {"linkToFifo.ics", Kind::other, true},
    };
    const auto found = entries();
    EXPECT_EQ(found.size(), cases.size());
    for (const EntryCase& row : cases) {
        ASSERT_TRUE(found.contains(row.name)) << row.name;
        EXPECT_EQ(found.at(row.name).kind, row.kind) << row.name;
        EXPECT_EQ(found.at(row.name).isLink, row.isLink) << row.name;
    }
}

TEST_F(Folders, TellTheFoldersAmongTheirEntries) {
    makeEverything();
    files_.makeFolder(".hidden folder");
    std::vector<std::string> folders = files_.open().folders();
    std::sort(folders.begin(), folders.end());
    EXPECT_EQ(folders, (std::vector<std::string>{"folder.ics", "linkToFolder.ics"}));
}

TEST_F(Folders, CanBeListedMoreThanOnce) {
    files_.write("a", "");
    const Folder folder = files_.open();
    EXPECT_EQ(folder.entries().size(), 1u);
    EXPECT_EQ(folder.entries().size(), 1u);
    files_.write("b", "");
    EXPECT_EQ(folder.entries().size(), 2u);
}

TEST_F(Folders, AreOpenedOnlyWhenTheyAreFolders) {
    makeEverything();
    EXPECT_FALSE(Folder::open(files_.path("file.ics").string()));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(Folder::open(files_.path("nowhere").string()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Folder::open(files_.path("fifo.ics").string()));
    EXPECT_FALSE(Folder::open(""));
    const Folder folder = files_.open();
    EXPECT_TRUE(folder.openFolder("folder.ics"));
    EXPECT_TRUE(folder.openFolder("linkToFolder.ics"));
    for (const char* name : {"file.ics", "fifo.ics", "device.ics", "dangling.ics", "nowhere", ""}) {
        EXPECT_FALSE(folder.openFolder(name)) << name;
    }
}

TEST_F(Folders, AreReadOneFileAfterTheOther) {
    makeEverything();
    files_.write("empty.ics", "");
    const auto found = entries();
    const Folder folder = files_.open();
    FileReader reader;
    EXPECT_EQ(reader.read(folder, found.at("file.ics")), "file");
    EXPECT_EQ(reader.read(folder, found.at("link.ics")), "file");
    EXPECT_EQ(reader.read(folder, found.at("linkToLink.ics")), "file");
    EXPECT_EQ(reader.read(folder, found.at("empty.ics")), "");
    for (const char* name : {"folder.ics", "fifo.ics", "linkToFolder.ics", "dangling.ics",
             "loop.ics", "device.ics", "tty.ics", "linkToFifo.ics"}) {
        EXPECT_FALSE(reader.read(folder, found.at(name))) << name;
    }
}

// Holds descriptors until no more are left.
class EveryDescriptor {
  public:
    EveryDescriptor() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        rlimit few = before_;
        few.rlim_cur = 100;
        ::setrlimit(RLIMIT_NOFILE, &few);
        for (int taken = ::dup(0); taken >= 0; taken = ::dup(0)) {
            taken_.emplace_back(taken);
        }
    }
    EveryDescriptor(const EveryDescriptor&) = delete;
    EveryDescriptor& operator=(const EveryDescriptor&) = delete;
    ~EveryDescriptor() { ::setrlimit(RLIMIT_NOFILE, &before_); }

    void giveBack(std::size_t count) { taken_.resize(taken_.size() - count); }

  private:
    rlimit before_{};
    std::vector<FileDescriptor> taken_;
};

TEST_F(Folders, AreReadWithFewDescriptors) {
    constexpr std::size_t count = 100;
    for (std::size_t i = 0; i < count; ++i) {
        files_.write(std::to_string(i), "text " + std::to_string(i));
    }
    const Folder folder = files_.open();
    for (const std::size_t free : {1U, 2U, 5U, 40U}) {
        EveryDescriptor others;
        others.giveBack(free);
        FileReader reader;
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_EQ(reader.read(folder, {std::to_string(i), Kind::file, false}),
                "text " + std::to_string(i))
                << free;
        }
    }
}

std::vector<int> openDescriptors() {
    std::vector<int> open;
    for (int descriptor = 0; descriptor < 200; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) != -1) {
            open.push_back(descriptor);
        }
    }
    return open;
}

TEST_F(Folders, KeepNoFileOpenThatWasRead) {
    for (std::size_t i = 0; i < 40; ++i) {
        files_.write(std::to_string(i), "text");
    }
    const Folder folder = files_.open();
    const std::vector<int> before = openDescriptors();
    for (const std::size_t count : {1U, 2U, 15U, 16U, 17U, 40U}) {
        {
            FileReader reader;
            std::vector<FileDescriptor> others;
            for (std::size_t i = 0; i < count; ++i) {
                reader.read(folder, {std::to_string(i), Kind::file, false});
                // What another part of the program opens in between stays open.
                if (i % 7 == 3) {
                    others.emplace_back(::dup(0));
                }
            }
            for (const FileDescriptor& other : others) {
                EXPECT_NE(::fcntl(other.get(), F_GETFD), -1);
            }
        }
        EXPECT_EQ(openDescriptors(), before) << count;
    }
}

// As for a name that was not listed, and for one that became something else since.
TEST_F(Folders, NeverWaitForWhatIsNoFile) {
    makeEverything();
    const Folder folder = files_.open();
    FileReader reader;
    for (const char* name : {"folder.ics", "fifo.ics", "linkToFolder.ics", "dangling.ics",
             "loop.ics", "device.ics", "tty.ics", "linkToFifo.ics", "nowhere.ics"}) {
        EXPECT_FALSE(reader.read(folder, {name, Kind::file, true})) << name;
    }
    EXPECT_FALSE(reader.read(folder, {"folder.ics", Kind::file, false}));
    EXPECT_EQ(reader.read(folder, {"fifo.ics", Kind::file, false}).value_or(""), "");
    // A link in the place of a file is not followed.
    EXPECT_FALSE(reader.read(folder, {"link.ics", Kind::file, false}));
    EXPECT_FALSE(reader.read(folder, {"device.ics", Kind::file, false}));
}

TEST_F(Folders, AreReadWholeHoweverLargeAFileIs) {
    const Folder folder = files_.open();
    FileReader reader;
    for (const std::size_t size : {std::size_t{1}, std::size_t{65'535}, std::size_t{65'536},
             std::size_t{65'537}, std::size_t{131'072}, std::size_t{1'000'003}, std::size_t{7}}) {
        std::string content;
        while (content.size() < size) {
            content += static_cast<char>('a' + content.size() % 26);
        }
        files_.write("file", content);
        const auto read = reader.read(folder, {"file", Kind::file, false});
        ASSERT_TRUE(read) << size;
        EXPECT_TRUE(*read == content) << size;
        const auto forChange = readForChange(folder, "file");
        ASSERT_TRUE(forChange) << size;
        EXPECT_TRUE(forChange->text == content) << size;
    }
}

struct LimitCase {
    std::size_t size;
    std::size_t limit;
    bool isRead;
};
constexpr LimitCase limitCases[] = {
    {0, 0, true},
    {1, 0, false},
    {4096, 4096, true},
    {4097, 4096, false},
    {65'535, 4096, false},
    {65'536, 4096, false},
    {70'000, 4096, false},
    {200'000, 4096, false},
    {65'536, 65'535, false},
    {65'536, 65'536, true},
    {65'537, 65'536, false},
    {131'072, 131'072, true},
    {131'073, 131'072, false},
    {1'000'000, 131'072, false},
};

TEST_F(Folders, AreNotReadBeyondALimit) {
    const Folder folder = files_.open();
    for (const LimitCase& row : limitCases) {
        const std::string content(row.size, 'x');
        files_.write("file", content);
        FileReader reader;
        const auto read = reader.read(folder, {"file", Kind::file, true}, row.limit);
        EXPECT_EQ(read.has_value(), row.isRead) << row.size << " " << row.limit;
        EXPECT_TRUE(!read || *read == content) << row.size << " " << row.limit;
        EXPECT_EQ(reader.read(folder, {"file", Kind::file, false}), content);
    }
}

TEST_F(Folders, AreNotReadBeyondTheLargestFile) {
    files_.write("sparse.ics", "x");
    std::filesystem::resize_file(files_.path("sparse.ics"), FileReader::maximumSize + 1);
    const Folder folder = files_.open();
    FileReader reader;
    EXPECT_FALSE(reader.read(folder, {"sparse.ics", Kind::file, false}));
    EXPECT_THROW(readForChange(folder, "sparse.ics"), std::system_error);
}

TEST_F(Folders, GiveForAChangeOnlyAFileOfThatName) {
    makeEverything();
    const Folder folder = files_.open();
    const auto content = readForChange(folder, "file.ics");
    ASSERT_TRUE(content);
    EXPECT_EQ(content->text, "file");
    EXPECT_EQ(content->identity.size, 4);
    EXPECT_FALSE(readForChange(folder, "nowhere.ics"));
    for (const char* name : {"link.ics", "linkToLink.ics", "linkToFolder.ics", "dangling.ics",
             "loop.ics", "device.ics", "fifo.ics", "folder.ics", "linkToFifo.ics"}) {
        EXPECT_THROW(readForChange(folder, name), std::system_error) << name;
    }
}

TEST_F(Folders, TellApartTheStatesOfAFile) {
    const Folder folder = files_.open();
    files_.write("file", "one");
    const auto first = readForChange(folder, "file");
    EXPECT_EQ(readForChange(folder, "file")->identity, first->identity);
    files_.write("file", "four");
    EXPECT_NE(readForChange(folder, "file")->identity, first->identity);
    // The same bytes in another file of that name.
    files_.write("other", "one");
    std::filesystem::rename(files_.path("other"), files_.path("file"));
    EXPECT_NE(readForChange(folder, "file")->identity, first->identity);
    const auto moved = readForChange(folder, "file");
    std::filesystem::permissions(files_.path("file"), std::filesystem::perms::owner_read);
    EXPECT_NE(readForChange(folder, "file")->identity, moved->identity);
}

TEST_F(Folders, AreLockedByOneWriterAtATime) {
    const Folder one = files_.open();
    const Folder two = files_.open();
    auto lock = std::make_unique<FolderLock>(one);
    EXPECT_EQ(::flock(two.descriptor(), LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    std::thread waiting([&] { const FolderLock second(two); });
    lock.reset();
    waiting.join();
    EXPECT_EQ(::flock(one.descriptor(), LOCK_EX | LOCK_NB), 0);
}

TEST(RandomUids, AreUuidsOfVersion4InUpperCase) {
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    std::set<char> characters;
    for (int i = 0; i < 1'000; ++i) {
        const std::string uid = randomUid();
        EXPECT_TRUE(std::regex_match(uid, form)) << uid;
        EXPECT_TRUE(seen.insert(uid).second) << uid;
        characters.insert(uid.begin(), uid.end());
    }
    EXPECT_EQ(characters.size(), 17u);
}

} // namespace
} // namespace quenbrook::platform::vdir
