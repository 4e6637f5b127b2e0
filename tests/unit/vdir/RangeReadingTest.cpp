#include "stores/vdir/RangeReading.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace quenbrook::stores::vdir {
namespace {

using Keys = std::vector<FileKey>;

class RangeReadings : public testing::Test {
  protected:
    // A calendar that may have no directory.
    void addCalendar(const std::string& path) {
        calendars_.push_back({std::make_shared<const model::Calendar>(), path});
    }

    void put(const std::string& file, const std::string& date = "20260105") const {
        files_.write(file, "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:u\nDTSTART:" + date +
                               "T100000Z\nEND:VEVENT\nEND:VCALENDAR\n");
    }

    // The files of which something lies in January 2026.
    Keys found() const {
        const icalendar::RangeQuery query(std::chrono::sys_days(std::chrono::year(2026) / 1 / 1),
            std::chrono::sys_days(std::chrono::year(2026) / 2 / 1));
        Keys keys;
        for (const auto& [key, occurrences] : readRange(files_.open(), calendars_, query, {})) {
            EXPECT_EQ(occurrences.size(), 1u);
            keys.push_back(key);
        }
        return keys;
    }

    test::Files files_;
    std::vector<CalendarDirectory> calendars_;
};

TEST_F(RangeReadings, FindWhatLiesInTheRangeByCalendarAndFile) {
    EXPECT_EQ(found(), Keys());
    addCalendar("b");
    addCalendar("account/a");
    put("b/2.ics");
    put("b/1.ics");
    put("b/3.ics", "20260205");
    put("account/a/1.ics");
    put("other/1.ics");
    EXPECT_EQ(found(), (Keys{{0, "1.ics"}, {0, "2.ics"}, {1, "1.ics"}}));
}

TEST_F(RangeReadings, PassOverCalendarsThatAreGone) {
    addCalendar("gone");
    addCalendar("b");
    put("b/1.ics");
    EXPECT_EQ(found(), (Keys{{1, "1.ics"}}));
}

// Takes all descriptors but so many for as long as it lives.
class FewDescriptors {
  public:
    explicit FewDescriptors(rlim_t left) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        struct rlimit few = before_;
        few.rlim_cur = static_cast<rlim_t>(next) + left;
        ::setrlimit(RLIMIT_NOFILE, &few);
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }

  private:
    struct rlimit before_ = {};
};

TEST_F(RangeReadings, ReadAllCalendarsWithFewDescriptors) {
    Keys expected;
    for (std::size_t i = 0; i < 200; ++i) {
        const std::string name = "c" + std::to_string(i);
        addCalendar(name);
        put(name + "/1.ics");
        expected.push_back({i, "1.ics"});
    }
    EXPECT_EQ(found(), expected);
    const FewDescriptors few(8);
    EXPECT_EQ(found(), expected);
}

} // namespace
} // namespace quenbrook::stores::vdir
