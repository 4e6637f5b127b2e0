#include "platform/vdir/NotedChange.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <system_error>
#include <vector>

#include <sys/stat.h>

namespace quenbrook::platform::vdir {
namespace {

using Names = std::set<std::string>;
using Contents = std::map<std::string, std::string>;

std::string noted(const std::string& content) {
    const Fingerprint fingerprint = fingerprintOf(content);
    std::ostringstream text;
    text << fingerprint.size << ":" << std::hex << fingerprint.hash;
    return text.str();
}

const std::string replacement = noted("before") + " " + noted("after it") + " a.ics";
const std::string removal = noted("before") + " - a.ics";
const std::string reservation = "- " + noted("after it") + " a.ics";

class InterruptedChanges : public testing::Test {
  protected:
    // What is in the folder; under "kept" what is under a name that nothing clears away.
    Contents contents() const {
        Contents found;
        for (const std::string& name : files_.names()) {
            found[name.starts_with(".quenbrook.kept-") ? "kept" : name] = files_.read(name);
        }
        return found;
    }

    test::Files files_;
    Folder folder_ = files_.open();
};

struct LeftOver {
    const char* what;
    std::string note;
    Contents before;
    Contents after;
};

TEST_F(InterruptedChanges, AreFinishedOrUndone) {
    const std::string taken = takenName;
    const std::vector<LeftOver> cases{
        {"nothing was done", replacement, {{"a.ics", "before"}}, {{"a.ics", "before"}}},
        {"not exchanged", replacement, {{"a.ics", "before"}, {taken, "after it"}},
            {{"a.ics", "before"}}},
        {"not exchanged, and theirs came", replacement, {{"a.ics", "theirs"}, {taken, "after it"}},
            {{"a.ics", "theirs"}}},
        {"exchanged", replacement, {{"a.ics", "after it"}, {taken, "before"}},
            {{"a.ics", "after it"}}},
        {"exchanged for theirs", replacement, {{"a.ics", "after it"}, {taken, "theirs"}},
            {{"a.ics", "theirs"}}},
        {"exchanged for theirs of the same size", replacement,
            {{"a.ics", "after it"}, {taken, "befort"}}, {{"a.ics", "befort"}}},
        {"exchanged for an empty one", replacement, {{"a.ics", "after it"}, {taken, ""}},
            {{"a.ics", ""}}},
        {"exchanged, and theirs came", replacement, {{"a.ics", "theirs"}, {taken, "before"}},
            {{"a.ics", "theirs"}}},
        {"exchanged, and it was removed", replacement, {{taken, "before"}}, {}},
        {"exchanged for theirs, and others came", replacement,
            {{"a.ics", "others"}, {taken, "theirs"}}, {{"a.ics", "others"}, {"kept", "theirs"}}},
        {"exchanged for theirs, and it was removed", replacement, {{taken, "theirs"}},
            {{"kept", "theirs"}}},
        {"put back", replacement, {{"a.ics", "theirs"}, {taken, "after it"}},
            {{"a.ics", "theirs"}}},
        {"not removed", removal, {{"a.ics", "before"}}, {{"a.ics", "before"}}},
        {"removed", removal, {{taken, "before"}}, {}},
        {"removed, and theirs came", removal, {{"a.ics", "theirs"}, {taken, "before"}},
            {{"a.ics", "theirs"}}},
        {"theirs was removed", removal, {{taken, "theirs"}}, {{"a.ics", "theirs"}}},
        {"theirs was removed, and others came", removal, {{"a.ics", "others"}, {taken, "theirs"}},
            {{"a.ics", "others"}, {"kept", "theirs"}}},
        {"not reserved", reservation, {}, {}},
        {"reserved", reservation, {{"a.ics", ""}}, {}},
        {"reserved and filled", reservation, {{"a.ics", "after it"}}, {{"a.ics", "after it"}}},
        {"reserved and filled by others", reservation, {{"a.ics", "o"}}, {{"a.ics", "o"}}},
        {"a note that says nothing", "nothing", {{"a.ics", "x"}, {taken, "y"}},
            {{"a.ics", "x"}, {"kept", "y"}}},
        {"a note of numbers that are none", "6:g 8:1 a.ics", {{taken, "y"}}, {{"kept", "y"}}},
        {"a note of nothing that was or is to be", "- - a.ics", {{"a.ics", ""}}, {{"a.ics", ""}}},
    };
    for (const LeftOver& row : cases) {
        for (const std::string& name : files_.names()) {
            std::filesystem::remove(files_.path(name));
        }
        for (const auto& [name, content] : row.before) {
            files_.write(name, content);
        }
        files_.link(noteName, row.note);
        endInterruptedChange(folder_);
        EXPECT_EQ(contents(), row.after) << row.what;
        // Nothing is left to be done.
        endInterruptedChange(folder_);
        EXPECT_EQ(contents(), row.after) << row.what;
    }
}

TEST_F(InterruptedChanges, KeepWhatWasTakenOutWithoutANote) {
    files_.write(takenName, "somebody's");
    endInterruptedChange(folder_);
    EXPECT_EQ(contents(), (Contents{{"kept", "somebody's"}}));
}

TEST_F(InterruptedChanges, PutBackWhatIsNoFile) {
    files_.write("a.ics", "after it");
    files_.write(std::string(takenName) + "/kept", "");
    files_.link(noteName, replacement);
    endInterruptedChange(folder_);
    EXPECT_EQ(files_.names(), Names{"a.ics"});
    EXPECT_EQ(files_.names("a.ics"), Names{"kept"});
}

TEST_F(InterruptedChanges, FollowNoLinks) {
    files_.write("target", "before");
    files_.write("a.ics", "after it");
    files_.link(takenName, "target");
    files_.link(noteName, replacement);
    endInterruptedChange(folder_);
    EXPECT_EQ(files_.names(), (Names{"a.ics", "target"}));
    EXPECT_TRUE(std::filesystem::is_symlink(files_.path("a.ics")));
    EXPECT_EQ(files_.read("target"), "before");
}

TEST_F(InterruptedChanges, NeverLeaveTheFolder) {
    files_.write("outside.ics", "after it");
    files_.write("c/.hidden", "after it");
    const Folder inside = files_.open("c");
    for (const char* name : {"../outside.ics", ".", "..", ".hidden", "", "/etc/passwd", "x/../y"}) {
        files_.write("c/" + std::string(takenName), "theirs");
        files_.link(
            "c/" + std::string(noteName), noted("before") + " " + noted("after it") + " " + name);
        endInterruptedChange(inside);
        EXPECT_EQ(files_.read("outside.ics"), "after it") << name;
        EXPECT_EQ(files_.read("c/.hidden"), "after it") << name;
        EXPECT_FALSE(files_.names("c").contains(takenName)) << name;
        EXPECT_FALSE(files_.names("c").contains(noteName)) << name;
    }
    EXPECT_EQ(files_.names("c").size(), 8u);
}

TEST_F(InterruptedChanges, ClearAwayWhatStandsInTheNotesPlace) {
    files_.write(noteName, "no link");
    endInterruptedChange(folder_);
    EXPECT_EQ(files_.names(), Names{});
}

TEST_F(InterruptedChanges, LeaveNoNoteWhenTheyAreNotInterrupted) {
    files_.write("a.ics", "after it");
    files_.write(takenName, "before");
    NotedChange change(folder_, {"a.ics", fingerprintOf("before"), fingerprintOf("after it")});
    EXPECT_EQ(std::filesystem::read_symlink(files_.path(noteName)), replacement);
    EXPECT_TRUE(change.end());
    EXPECT_EQ(contents(), (Contents{{"a.ics", "after it"}}));
}

TEST_F(InterruptedChanges, AreUndoneWhenAnErrorEndsThem) {
    files_.write("a.ics", "after it");
    files_.write(takenName, "before");
    {
        const NotedChange change(
            folder_, {"a.ics", fingerprintOf("before"), fingerprintOf("after it")});
    }
    EXPECT_EQ(contents(), (Contents{{"a.ics", "before"}}));
}

TEST_F(InterruptedChanges, KeepTheNextFromBeginning) {
    files_.link(noteName, replacement);
    EXPECT_THROW(
        NotedChange(folder_, {"a.ics", fingerprintOf("x"), std::nullopt}), std::system_error);
}

} // namespace
} // namespace quenbrook::platform::vdir
