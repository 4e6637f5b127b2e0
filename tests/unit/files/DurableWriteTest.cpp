#include "files/DurableWrite.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <system_error>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace quenbrook::files {
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
        return readForChange(directory_, name).value();
    }

    test::Files files_;
    Directory directory_ = files_.open();
};

// The temporary file of a writer that was killed.
constexpr const char* leftOver = ".quenbrook.tmp";

TEST_F(DurableWrites, MakeANewFileForItsOwnerOnly) {
    createDurably(directory_, "a.ics", "text");
    EXPECT_EQ(files_.read("a.ics"), "text");
    EXPECT_EQ(statusOf("a.ics").st_mode, S_IFREG | mode_t{0600});
    EXPECT_EQ(files_.names(), Names{"a.ics"});
}

TEST_F(DurableWrites, NeverReplaceWhenTheyMake) {
    files_.write("file", "kept");
    files_.makeDirectory("directory");
    files_.link("link", "target");
    for (const char* name : {"file", "directory", "link"}) {
        EXPECT_THROW(createDurably(directory_, name, "text"), std::system_error) << name;
    }
    EXPECT_EQ(files_.read("file"), "kept");
    EXPECT_EQ(files_.names(), (Names{"file", "directory", "link"}));
}

TEST_F(DurableWrites, ReplaceAFileWithItsPermissionsAndOwner) {
    files_.write("a.ics", "old");
    ASSERT_EQ(::chmod(files_.path("a.ics").c_str(), 0640), 0);
    const bool isRoot = ::geteuid() == 0;
    ASSERT_EQ(::chown(files_.path("a.ics").c_str(), isRoot ? 12'345 : ::geteuid(),
                  isRoot ? 23'456 : ::getegid()),
        0);
    const struct stat before = statusOf("a.ics");
    EXPECT_TRUE(replaceDurably(directory_, "a.ics", "new", contentOf("a.ics")));
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
    EXPECT_TRUE(replaceDurably(directory_, "a.ics", "new", contentOf("a.ics")));
    EXPECT_EQ(files_.read("a.ics"), "new");
    EXPECT_EQ(files_.read("backup"), "old");
}

TEST_F(DurableWrites, LeaveAFileThatChangedMeanwhile) {
    files_.write("a.ics", "old");
    const FileContent content = contentOf("a.ics");
    files_.write("a.ics", "somebody else's");
    EXPECT_FALSE(replaceDurably(directory_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(directory_, "a.ics", content));
    EXPECT_EQ(files_.read("a.ics"), "somebody else's");
    EXPECT_EQ(files_.names(), Names{"a.ics"});
}

TEST_F(DurableWrites, LeaveAFileThatWasReplacedByAnotherOfTheSameSize) {
    files_.write("a.ics", "one");
    const FileContent content = contentOf("a.ics");
    files_.write("b", "two");
    std::filesystem::rename(files_.path("b"), files_.path("a.ics"));
    EXPECT_FALSE(replaceDurably(directory_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(directory_, "a.ics", content));
    EXPECT_EQ(files_.read("a.ics"), "two");
}

TEST_F(DurableWrites, DoNotBringBackAFileThatIsGone) {
    files_.write("a.ics", "old");
    const FileContent content = contentOf("a.ics");
    std::filesystem::remove(files_.path("a.ics"));
    EXPECT_FALSE(replaceDurably(directory_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(directory_, "a.ics", content));
    EXPECT_EQ(files_.names(), Names{});
}

TEST_F(DurableWrites, DoNotFollowALinkThatTookTheNamesPlace) {
    files_.write("target", "kept");
    files_.write("a.ics", "old");
    const FileContent content = contentOf("target");
    std::filesystem::remove(files_.path("a.ics"));
    files_.link("a.ics", "target");
    EXPECT_FALSE(replaceDurably(directory_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(directory_, "a.ics", content));
    EXPECT_EQ(files_.read("target"), "kept");
}

TEST_F(DurableWrites, RemoveAFile) {
    files_.write("a.ics", "old");
    files_.write("b.ics", "kept");
    EXPECT_TRUE(removeDurably(directory_, "a.ics", contentOf("a.ics")));
    EXPECT_EQ(files_.names(), Names{"b.ics"});
}

TEST_F(DurableWrites, TakeThePlaceOfATemporaryFileThatWasLeft) {
    files_.write(leftOver, "half a fi");
    createDurably(directory_, "a.ics", "text");
    EXPECT_EQ(files_.read("a.ics"), "text");
    files_.write(leftOver, std::string(100'000, 'x'));
    EXPECT_TRUE(replaceDurably(directory_, "a.ics", "new", contentOf("a.ics")));
    EXPECT_EQ(files_.read("a.ics"), "new");
    EXPECT_EQ(files_.names(), Names{"a.ics"});
}

TEST_F(DurableWrites, DoNotFollowALinkInThePlaceOfTheTemporaryFile) {
    files_.write("target", "kept");
    files_.link(leftOver, "target");
    createDurably(directory_, "a.ics", "text");
    EXPECT_EQ(files_.read("target"), "kept");
    EXPECT_EQ(files_.read("a.ics"), "text");
    files_.link(leftOver, "nowhere");
    EXPECT_TRUE(replaceDurably(directory_, "a.ics", "new", contentOf("a.ics")));
    EXPECT_EQ(files_.names(), (Names{"a.ics", "target"}));
}

TEST_F(DurableWrites, TakeAnotherNameWhenSomethingStandsInTheWay) {
    files_.write("a.ics", "old");
    files_.write(std::string(leftOver) + "/kept", "");
    createDurably(directory_, "b.ics", "text");
    EXPECT_TRUE(replaceDurably(directory_, "a.ics", "new", contentOf("a.ics")));
    EXPECT_EQ(files_.read("a.ics"), "new");
    EXPECT_EQ(files_.read("b.ics"), "text");
    EXPECT_EQ(files_.names(), (Names{"a.ics", "b.ics", leftOver}));
    EXPECT_EQ(files_.names(leftOver), Names{"kept"});
}

// Names of the kind that writes use, in whatever form: they mean nothing.
TEST_F(DurableWrites, TrustNothingThatWasPlanted) {
    const Names planted{".quenbrook.taken.tmp", ".quenbrook.quarantine-X.tmp"};
    for (const std::string& name : planted) {
        files_.write(name, "planted");
    }
    files_.link(".quenbrook.note.tmp", "3:0 - a.ics");
    files_.write("a.ics", "old");
    createDurably(directory_, "b.ics", "text");
    EXPECT_TRUE(replaceDurably(directory_, "a.ics", "new", contentOf("a.ics")));
    EXPECT_TRUE(removeDurably(directory_, "b.ics", contentOf("b.ics")));
    EXPECT_EQ(files_.read("a.ics"), "new");
    for (const std::string& name : planted) {
        EXPECT_EQ(files_.read(name), "planted");
    }
    EXPECT_EQ(files_.names().size(), planted.size() + 2);
}

TEST_F(DurableWrites, KeepWhatPeopleHaveNotedOnAFile) {
    files_.write("a.ics", "old");
    const std::string path = files_.path("a.ics").string();
    ASSERT_EQ(::setxattr(path.c_str(), "user.note", "mine", 4, 0), 0);
    EXPECT_TRUE(replaceDurably(directory_, "a.ics", "new", contentOf("a.ics")));
    EXPECT_EQ(contentOf("a.ics").attributes, (FileAttributes{{"user.note", "mine"}}));
}

// What another program sets after the file was read is not undone.
TEST_F(DurableWrites, LeaveAFileWhosePermissionsChangedMeanwhile) {
    files_.write("a.ics", "old");
    const FileContent content = contentOf("a.ics");
    ASSERT_EQ(::chmod(files_.path("a.ics").c_str(), 0640), 0);
    EXPECT_FALSE(replaceDurably(directory_, "a.ics", "new", content));
    EXPECT_EQ(files_.read("a.ics"), "old");
}

TEST_F(DurableWrites, ChangeNothingWhenADirectoryTookTheNamesPlace) {
    files_.write("a.ics/kept", "");
    const FileContent content{"", FileIdentity(statusOf("a.ics")), {}};
    EXPECT_FALSE(replaceDurably(directory_, "a.ics", "new", content));
    EXPECT_FALSE(removeDurably(directory_, "a.ics", content));
    EXPECT_EQ(files_.names(), Names{"a.ics"});
    EXPECT_EQ(files_.names("a.ics"), Names{"kept"});
}

TEST_F(DurableWrites, HoldEveryByteOfALargeText) {
    std::string text;
    for (int i = 0; i < 1'000'000; ++i) {
        text += static_cast<char>(i * 7);
    }
    createDurably(directory_, "a.ics", text);
    EXPECT_TRUE(files_.read("a.ics") == text);
    createDurably(directory_, "empty.ics", "");
    EXPECT_EQ(files_.read("empty.ics"), "");
}

TEST_F(DurableWrites, FailInADirectoryThatIsGone) {
    files_.makeDirectory("gone");
    const Directory gone = files_.open("gone");
    std::filesystem::remove(files_.path("gone"));
    EXPECT_THROW(createDurably(gone, "a.ics", "text"), std::system_error);
}

} // namespace
} // namespace quenbrook::files
