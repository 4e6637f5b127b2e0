#include "stores/vdir/EventFiles.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

namespace quenbrook::stores::vdir {
namespace {

constexpr files::ReadingThreads oneThread = {.most = 1};

class EventFileReading : public testing::Test {
  protected:
    // The texts by name, after `act` was called at the visit of the first file.
    std::map<std::string, std::string> read(const std::function<void()>& act = [] {}) const {
        const files::Directory directory = files_.open();
        EventFiles files(directory);
        std::map<std::string, std::string> found;
        bool isFirst = true;
        readEventFiles(
            {&files, 1}, oneThread,
            [&](std::size_t, const std::string& name, std::string_view text) {
                EXPECT_TRUE(found.emplace(name, text).second) << name;
                if (isFirst) {
                    isFirst = false;
                    act();
                }
                return true;
            },
            [&](std::size_t, const std::string& name) { EXPECT_EQ(found.erase(name), 1u); });
        return found;
    }

    test::Files files_;
};

using Texts = std::map<std::string, std::string>;

TEST_F(EventFileReading, VisitsEachEventFileOnce) {
    EXPECT_EQ(read(), Texts{});
    files_.write("a.ics", "a");
    files_.write("b.ics", "b");
    files_.write("c.txt", "c");
    files_.write(".d.ics", "d");
    files_.makeDirectory("e.ics");
    EXPECT_EQ(read(), (Texts{{"a.ics", "a"}, {"b.ics", "b"}}));
}

TEST_F(EventFileReading, FollowsAFileThatIsRenamed) {
    files_.write("a.ics", "a");
    files_.write("z.ics", "z");
    EXPECT_EQ(read([&] { std::filesystem::rename(files_.path("z.ics"), files_.path("b.ics")); }),
        (Texts{{"a.ics", "a"}, {"b.ics", "z"}}));
}

TEST_F(EventFileReading, FindsAFileOnceThatIsRenamedAfterItWasRead) {
    files_.write("a.ics", "a");
    files_.write("z.ics", "z");
    EXPECT_EQ(read([&] {
        std::filesystem::rename(files_.path("a.ics"), files_.path("b.ics"));
        std::filesystem::remove(files_.path("z.ics"));
    }),
        (Texts{{"b.ics", "a"}}));
}

TEST_F(EventFileReading, EndsWithTheFileBehindWhichNoneIsWanted) {
    for (const char* name : {"c.ics", "a.ics", "b.ics"}) {
        files_.write(name, name);
    }
    const files::Directory directory = files_.open();
    EventFiles files(directory);
    std::vector<std::string> visited;
    readEventFiles(
        {&files, 1}, oneThread,
        [&](std::size_t, const std::string& name, std::string_view) {
            visited.push_back(name);
            return name != "b.ics";
        },
        [](std::size_t, const std::string&) {});
    EXPECT_EQ(visited, (std::vector<std::string>{"a.ics", "b.ics"}));
}

// A program that renames each file as often as it is looked for: no answer would be true.
TEST_F(EventFileReading, FailsWhenFilesNeverComeToRest) {
    files_.write("a.ics", "a");
    files_.write("b0.ics", "b");
    const files::Directory directory = files_.open();
    int number = 0;
    EventFiles files(directory);
    const auto act = [&] {
        const std::string old = "b" + std::to_string(number) + ".ics";
        const std::string next = "b" + std::to_string(++number) + ".ics";
        std::filesystem::rename(files_.path(old), files_.path(next));
        files_.write("a" + std::to_string(number) + ".ics", "");
    };
    EXPECT_THROW(readEventFiles(
                     {&files, 1}, oneThread,
                     [&](std::size_t, const std::string&, std::string_view) {
                         act();
                         return true;
                     },
                     [](std::size_t, const std::string&) {}),
        std::system_error);
}

} // namespace
} // namespace quenbrook::stores::vdir
