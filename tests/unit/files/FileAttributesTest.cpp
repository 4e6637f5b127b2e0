#include "files/FileAttributes.h"

#include "files/FileReader.h"
#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <string>

#include <sys/stat.h>
#include <sys/xattr.h>

namespace quenbrook::files {
namespace {

// Version 2; read and write for the owner, read for user 54321, nothing for the group, a mask of
// read, nothing for others.
const std::string accessList("\2\0\0\0"
                             "\1\0\6\0\xFF\xFF\xFF\xFF"
                             "\2\0\4\0\x31\xD4\0\0"
                             "\4\0\0\0\xFF\xFF\xFF\xFF"
                             "\x10\0\4\0\xFF\xFF\xFF\xFF"
                             "\x20\0\0\0\xFF\xFF\xFF\xFF",
    44);
constexpr const char* accessName = "system.posix_acl_access";

class Attributes : public testing::Test {
  protected:
    void set(const std::string& name, const char* attribute, const std::string& value) const {
        const std::string path = files_.path(name).string();
        ASSERT_EQ(::setxattr(path.c_str(), attribute, value.data(), value.size(), 0), 0);
    }

    FileDescriptor open(const std::string& name) const {
        return openToRead(files_.open(), name, false);
    }

    FileAttributes of(const std::string& name) const { return attributesOf(open(name)); }

    test::Files files_;
};

TEST_F(Attributes, AreNoneOfAPlainFile) {
    files_.write("a", "");
    EXPECT_EQ(of("a"), FileAttributes());
    EXPECT_FALSE(hasAccessList(of("a")));
}

TEST_F(Attributes, AreAccessListsAndWhatPeopleNote) {
    files_.write("a", "");
    set("a", "user.note", "mine");
    set("a", "user.empty", "");
    EXPECT_FALSE(hasAccessList(of("a")));
    set("a", accessName, accessList);
    EXPECT_EQ(of("a"),
        (FileAttributes{{accessName, accessList}, {"user.empty", ""}, {"user.note", "mine"}}));
    EXPECT_TRUE(hasAccessList(of("a")));
}

TEST_F(Attributes, AreSetOnAnotherFile) {
    files_.write("a", "");
    files_.write("b", "");
    set("a", "user.note", std::string(1'000, 'x'));
    set("a", accessName, accessList);
    setAttributes(open("b"), of("a"));
    EXPECT_EQ(of("b"), of("a"));
}

// What a directory gives to its new files must not let anybody in who was not let in before.
TEST_F(Attributes, TakeAwayTheAccessListThatADirectoryGave) {
    files_.write("a", "");
    files_.write("b", "");
    set("b", accessName, accessList);
    setAttributes(open("b"), of("a"));
    EXPECT_EQ(of("b"), FileAttributes());
}

} // namespace
} // namespace quenbrook::files
