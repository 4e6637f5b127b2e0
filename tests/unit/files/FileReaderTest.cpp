#include "files/FileReader.h"

#include "tests/unit/files/EveryDescriptor.h"
#include "tests/unit/files/Everything.h"

#include <gtest/gtest.h>

#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>

namespace quenbrook::files {
namespace {

using Kind = DirectoryEntry::Kind;

TEST(FileReaders, AreReadOneFileAfterTheOther) {
    const test::Everything everything;
    const test::Files& files = everything.files();
    files.write("empty.ics", "");
    const auto found = everything.entries();
    const Directory directory = files.open();
    FileReader reader;
    EXPECT_EQ(reader.read(directory, found.at("file.ics")), "file");
    EXPECT_EQ(reader.read(directory, found.at("link.ics")), "file");
    EXPECT_EQ(reader.read(directory, found.at("linkToLink.ics")), "file");
    EXPECT_EQ(reader.read(directory, found.at("empty.ics")), "");
    for (const char* name : {"directory.ics", "fifo.ics", "linkToDirectory.ics", "dangling.ics",
             "loop.ics", "device.ics", "tty.ics", "linkToFifo.ics"}) {
        EXPECT_FALSE(reader.read(directory, found.at(name))) << name;
    }
}

TEST(FileReaders, AreReadWithFewDescriptors) {
    const test::Files files;
    constexpr std::size_t count = 100;
    for (std::size_t i = 0; i < count; ++i) {
        files.write(std::to_string(i), "text " + std::to_string(i));
    }
    const Directory directory = files.open();
    for (const std::size_t free : {1U, 2U, 5U, 40U}) {
        test::EveryDescriptor others;
        others.giveBack(free);
        FileReader reader;
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_EQ(reader.read(directory, {std::to_string(i), Kind::file, false}),
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

TEST(FileReaders, KeepNoFileOpenThatWasRead) {
    const test::Files files;
    for (std::size_t i = 0; i < 40; ++i) {
        files.write(std::to_string(i), "text");
    }
    const Directory directory = files.open();
    const std::vector<int> before = openDescriptors();
    for (const std::size_t count : {1U, 2U, 15U, 16U, 17U, 40U}) {
        {
            FileReader reader;
            std::vector<FileDescriptor> others;
            for (std::size_t i = 0; i < count; ++i) {
                reader.read(directory, {std::to_string(i), Kind::file, false});
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
TEST(FileReaders, NeverWaitForWhatIsNoFile) {
    const test::Everything everything;
    const test::Files& files = everything.files();
    const Directory directory = files.open();
    FileReader reader;
    for (const char* name : {"directory.ics", "fifo.ics", "linkToDirectory.ics", "dangling.ics",
             "loop.ics", "device.ics", "tty.ics", "linkToFifo.ics", "nowhere.ics"}) {
        EXPECT_FALSE(reader.read(directory, {name, Kind::file, true})) << name;
    }
    EXPECT_FALSE(reader.read(directory, {"directory.ics", Kind::file, false}));
    EXPECT_EQ(reader.read(directory, {"fifo.ics", Kind::file, false}).value_or(""), "");
    // A link in the place of a file is not followed.
    EXPECT_FALSE(reader.read(directory, {"link.ics", Kind::file, false}));
    EXPECT_FALSE(reader.read(directory, {"device.ics", Kind::file, false}));
}

TEST(FileReaders, AreReadWholeHoweverLargeAFileIs) {
    const test::Files files;
    const Directory directory = files.open();
    FileReader reader;
    for (const std::size_t size : {std::size_t{1}, std::size_t{65'535}, std::size_t{65'536},
             std::size_t{65'537}, std::size_t{131'072}, std::size_t{1'000'003}, std::size_t{7}}) {
        std::string content;
        while (content.size() < size) {
            content += static_cast<char>('a' + content.size() % 26);
        }
        files.write("file", content);
        const auto read = reader.read(directory, {"file", Kind::file, false});
        ASSERT_TRUE(read) << size;
        EXPECT_TRUE(*read == content) << size;
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

TEST(FileReaders, AreNotReadBeyondALimit) {
    const test::Files files;
    const Directory directory = files.open();
    for (const LimitCase& row : limitCases) {
        const std::string content(row.size, 'x');
        files.write("file", content);
        FileReader reader;
        const auto read = reader.read(directory, {"file", Kind::file, true}, row.limit);
        EXPECT_EQ(read.has_value(), row.isRead) << row.size << " " << row.limit;
        EXPECT_TRUE(!read || *read == content) << row.size << " " << row.limit;
        EXPECT_EQ(reader.read(directory, {"file", Kind::file, false}), content);
    }
}

TEST(FileReaders, AreNotReadBeyondTheLargestFile) {
    const test::Files files;
    files.write("sparse.ics", "x");
    std::filesystem::resize_file(files.path("sparse.ics"), FileReader::maximumSize + 1);
    const Directory directory = files.open();
    FileReader reader;
    EXPECT_FALSE(reader.read(directory, {"sparse.ics", Kind::file, false}));
}

TEST(FileReaders, TellWhatIsGone) {
    const test::Files files;
    files.write("a", "text");
    const Directory directory = files.open();
    FileReader reader;
    EXPECT_FALSE(reader.read(directory, {"b", Kind::file, false}));
    EXPECT_TRUE(reader.isGone());
    EXPECT_EQ(reader.read(directory, {"a", Kind::file, false}), "text");
    EXPECT_FALSE(reader.isGone());
}

TEST(FileReaders, FailWhenTheyCannotTell) {
    const test::Files files;
    files.write("a", "text");
    const Directory directory = files.open();
    FileReader reader;
    test::EveryDescriptor others;
    EXPECT_THROW(reader.read(directory, {"a", Kind::file, false}), std::system_error);
    others.giveBack(1);
    EXPECT_EQ(reader.read(directory, {"a", Kind::file, false}), "text");
}

} // namespace
} // namespace quenbrook::files
