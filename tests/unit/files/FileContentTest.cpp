#include "files/FileContent.h"

#include "files/FileReader.h"
#include "tests/unit/files/Everything.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <system_error>

namespace quenbrook::files {
namespace {

TEST(FileContents, GiveForAChangeOnlyAFileOfThatName) {
    const test::Everything everything;
    const test::Files& files = everything.files();
    const Directory directory = files.open();
    const auto content = readForChange(directory, "file.ics");
    ASSERT_TRUE(content);
    EXPECT_EQ(content->text, "file");
    EXPECT_EQ(content->identity.size, 4);
    EXPECT_FALSE(readForChange(directory, "nowhere.ics"));
    for (const char* name : {"link.ics", "linkToLink.ics", "linkToDirectory.ics", "dangling.ics",
             "loop.ics", "device.ics", "fifo.ics", "directory.ics", "linkToFifo.ics"}) {
        EXPECT_THROW(readForChange(directory, name), std::system_error) << name;
    }
}

TEST(FileContents, TellApartTheStatesOfAFile) {
    const test::Files files;
    const Directory directory = files.open();
    files.write("file", "one");
    const auto first = readForChange(directory, "file");
    EXPECT_EQ(readForChange(directory, "file")->identity, first->identity);
    files.write("file", "four");
    EXPECT_NE(readForChange(directory, "file")->identity, first->identity);
    // The same bytes in another file of that name.
    files.write("other", "one");
    std::filesystem::rename(files.path("other"), files.path("file"));
    EXPECT_NE(readForChange(directory, "file")->identity, first->identity);
    const auto moved = readForChange(directory, "file");
    std::filesystem::permissions(files.path("file"), std::filesystem::perms::owner_read);
    EXPECT_NE(readForChange(directory, "file")->identity, moved->identity);
}

TEST(FileContents, AreWholeHoweverLargeTheFileIs) {
    const test::Files files;
    const Directory directory = files.open();
    for (const std::size_t size : {0U, 1U, 65'535U, 65'536U, 65'537U, 1'000'003U}) {
        std::string content;
        while (content.size() < size) {
            content += static_cast<char>('a' + content.size() % 26);
        }
        files.write("file", content);
        EXPECT_TRUE(readForChange(directory, "file").value().text == content) << size;
    }
    std::filesystem::resize_file(files.path("file"), FileReader::maximumSize + 1);
    EXPECT_THROW(readForChange(directory, "file"), std::system_error);
}

} // namespace
} // namespace quenbrook::files
