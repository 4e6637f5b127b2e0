#include "platform/vdir/DurableWrite.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace quenbrook::platform::vdir {
namespace {

using Names = std::set<std::string>;

class DurableWrites : public testing::Test {
  protected:
    struct stat statusOf(const std::string& name) const {
        struct stat status = {};
        EXPECT_EQ(::lstat(files_.path(name).c_str(), &status), 0) << name;
        return status;
    }

    FileContent contentOf(const std::string& name) const {
        return readForChange(folder_, name).value();
    }

    test::Files files_;
    Folder folder_ = files_.open();
};

// The temporary file of a writer that was killed.
constexpr const char* leftOver = ".quenbrook.tmp";

TEST_F(DurableWrites, MakeANewFileForItsOwnerOnly) {
    createDurably(folder_, "a.ics", "text");
    EXPECT_EQ(files_.read("a.ics"), "text");
    EXPECT_EQ(statusOf("a.ics").st_mode, S_IFREG | mode_t{0600});
    EXPECT_EQ(files_.names(), Names{"a.ics"});
}

TEST_F(DurableWrites, NeverReplaceWhenTheyMake) {
    files_.write("file", "kept");
    files_.makeFolder("folder");
    files_.link("link", "target");
    for (const char* name : {"file", "folder", "link"}) {
        EXPECT_THROW(createDurably(folder_, name, "text"), std::system_error) << name;
    }
    EXPECT_EQ(files_.read("file"), "kept");
    EXPECT_EQ(files_.names(), (Names{"file", "folder", "link"}));
}

TEST_F(DurableWrites, ReplaceAFileWithItsPermissionsAndOwner) {
    files_.write("a.ics", "old");
    ASSERT_EQ(::chmod(files_.path("a.ics").c_str(), 0640), 0);
    const bool isRoot = ::geteuid() == 0;
    ASSERT_EQ(::chown(files_.path("a.ics").c_str(), isRoot ? 12'345 : ::geteuid(),
                  isRoot ? 23'456 : ::getegid()),
        0);
    const struct stat before = statusOf("a.ics");
    EXPECT_TRUE(replaceDurably(folder_, "a.ics", "new", contentOf("a.ics")));
    const struct stat after = statusOf("a.ics");
    EXPECT_EQ(files_.read("a.ics"), "new");
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    // Renamed, never rewritten in place.
    EXPECT_NE(after.st_ino, before.st_ino);
    EXPECT_EQ(files_.names(), Names{"a.ics"});
}

TEST_F(DurableWrites, LeaveTheOtherNamesOfAReplacedFile) {
    files_.write("a.ics", "old");
    std::filesystem::create_hard_link(files_.path("a.ics"), files_.path("backup"));
    EXPECT_TRUE(replaceDurably(folder_, "a.ics", "new", contentOf("a.ics")));
    EXPECT_EQ(files_.read("a.ics"), "new");
    EXPECT_EQ(files_.read("backup"), "old");
}

TEST_F(DurableWrites, LeaveAFileThatChangedMeanwhile) {
    files_.write("a.ics", "old");
    const FileContent content = contentOf("a.ics");
    files_.write("a.ics", "somebody else's");
    EXPECT_FALSE(replaceDurably(folder_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(folder_, "a.ics", content));
    EXPECT_EQ(files_.read("a.ics"), "somebody else's");
    EXPECT_EQ(files_.names(), Names{"a.ics"});
}

TEST_F(DurableWrites, LeaveAFileThatWasReplacedByAnotherOfTheSameSize) {
    files_.write("a.ics", "one");
    const FileContent content = contentOf("a.ics");
    files_.write("b", "two");
    std::filesystem::rename(files_.path("b"), files_.path("a.ics"));
    EXPECT_FALSE(replaceDurably(folder_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(folder_, "a.ics", content));
    EXPECT_EQ(files_.read("a.ics"), "two");
}

TEST_F(DurableWrites, DoNotBringBackAFileThatIsGone) {
    files_.write("a.ics", "old");
    const FileContent content = contentOf("a.ics");
    std::filesystem::remove(files_.path("a.ics"));
    EXPECT_FALSE(replaceDurably(folder_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(folder_, "a.ics", content));
    EXPECT_EQ(files_.names(), Names{});
}

TEST_F(DurableWrites, DoNotFollowALinkThatTookTheNamesPlace) {
    files_.write("target", "kept");
    files_.write("a.ics", "old");
    const FileContent content = contentOf("target");
    std::filesystem::remove(files_.path("a.ics"));
    files_.link("a.ics", "target");
    EXPECT_FALSE(replaceDurably(folder_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(folder_, "a.ics", content));
    EXPECT_EQ(files_.read("target"), "kept");
}

TEST_F(DurableWrites, RemoveAFile) {
    files_.write("a.ics", "old");
    files_.write("b.ics", "kept");
    EXPECT_TRUE(removeDurably(folder_, "a.ics", contentOf("a.ics")));
    EXPECT_EQ(files_.names(), Names{"b.ics"});
}

TEST_F(DurableWrites, TakeThePlaceOfATemporaryFileThatWasLeft) {
    files_.write(leftOver, "half a fi");
    createDurably(folder_, "a.ics", "text");
    EXPECT_EQ(files_.read("a.ics"), "text");
    files_.write(leftOver, std::string(100'000, 'x'));
    EXPECT_TRUE(replaceDurably(folder_, "a.ics", "new", contentOf("a.ics")));
    EXPECT_EQ(files_.read("a.ics"), "new");
    EXPECT_EQ(files_.names(), Names{"a.ics"});
}

TEST_F(DurableWrites, DoNotFollowALinkInThePlaceOfTheTemporaryFile) {
    files_.write("target", "kept");
    files_.link(leftOver, "target");
    createDurably(folder_, "a.ics", "text");
    EXPECT_EQ(files_.read("target"), "kept");
    EXPECT_EQ(files_.read("a.ics"), "text");
    files_.link(leftOver, "nowhere");
    EXPECT_TRUE(replaceDurably(folder_, "a.ics", "new", contentOf("a.ics")));
    EXPECT_EQ(files_.names(), (Names{"a.ics", "target"}));
}

TEST_F(DurableWrites, ChangeNothingWhenTheTemporaryFileCannotBeMade) {
    files_.write("a.ics", "old");
    files_.write(std::string(leftOver) + "/kept", "");
    const FileContent content = contentOf("a.ics");
    EXPECT_THROW(createDurably(folder_, "b.ics", "text"), std::system_error);
    EXPECT_THROW(replaceDurably(folder_, "a.ics", "new", content), std::system_error);
    EXPECT_EQ(files_.read("a.ics"), "old");
    EXPECT_EQ(files_.names(), (Names{"a.ics", leftOver}));
    EXPECT_EQ(files_.names(leftOver), Names{"kept"});
}

TEST_F(DurableWrites, ChangeNothingWhenAFolderTookTheNamesPlace) {
    files_.write("a.ics/kept", "");
    const FileContent content{"", FileIdentity(statusOf("a.ics"))};
    EXPECT_FALSE(replaceDurably(folder_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(folder_, "a.ics", content));
    EXPECT_EQ(files_.names(), Names{"a.ics"});
    EXPECT_EQ(files_.names("a.ics"), Names{"kept"});
}

TEST_F(DurableWrites, HoldEveryByteOfALargeText) {
    std::string text;
    for (int i = 0; i < 1'000'000; ++i) {
        text += static_cast<char>(i * 7);
    }
    createDurably(folder_, "a.ics", text);
    EXPECT_TRUE(files_.read("a.ics") == text);
    createDurably(folder_, "empty.ics", "");
    EXPECT_EQ(files_.read("empty.ics"), "");
}

TEST_F(DurableWrites, FailInAFolderThatIsGone) {
    files_.makeFolder("gone");
    const Folder gone = files_.open("gone");
    std::filesystem::remove(files_.path("gone"));
    EXPECT_THROW(createDurably(gone, "a.ics", "text"), std::system_error);
}

} // namespace
} // namespace quenbrook::platform::vdir
