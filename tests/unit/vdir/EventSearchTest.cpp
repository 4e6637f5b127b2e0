#include "stores/vdir/EventSearch.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

namespace quenbrook::stores::vdir {
namespace {

class EventSearches : public testing::Test {
  protected:
    void put(const std::string& file, const std::string& uid) const {
        files_.write(
            "calendar/" + file, "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:" + uid +
                                    "\nDTSTART:20260105T100000Z\nEND:VEVENT\nEND:VCALENDAR\n");
    }

    // The name of the file that has it.
    std::optional<std::string> fileOf(const std::string& uid) const {
        const auto found =
            searchEvent(files_.open("calendar"), uid, {.most = 2, .filesForEach = 1});
        return found ? std::optional(found->file) : std::nullopt;
    }

    test::Files files_;
};

TEST_F(EventSearches, PreferTheFileNamedAfterTheUid) {
    put("a.ics", "uid");
    put("uid.ics", "uid");
    EXPECT_EQ(fileOf("uid"), "uid.ics");
}

TEST_F(EventSearches, TakeTheFirstFileByName) {
    put("c.ics", "uid");
    put("b.ics", "uid");
    put("a.ics", "other");
    EXPECT_EQ(fileOf("uid"), "b.ics");
    EXPECT_EQ(fileOf("none"), std::nullopt);
    EXPECT_EQ(fileOf(""), std::nullopt);
}

TEST_F(EventSearches, LookOnWhereTheFileNamedAfterTheUidHasAnother) {
    put("uid.ics", "other");
    put("z.ics", "uid");
    EXPECT_EQ(fileOf("uid"), "z.ics");
}

// What a request names is never a path.
TEST_F(EventSearches, OpenNoFileOutsideOfTheDirectory) {
    put("../outside.ics", "../outside");
    put("below/it.ics", "below/it");
    put(".hidden.ics", ".hidden");
    for (const char* uid : {"../outside", "below/it", ".hidden"}) {
        EXPECT_EQ(fileOf(uid), std::nullopt) << uid;
    }
    put("a.ics", "below/it");
    EXPECT_EQ(fileOf("below/it"), "a.ics");
}

} // namespace
} // namespace quenbrook::stores::vdir
