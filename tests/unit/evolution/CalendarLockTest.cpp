#include "stores/evolution/CalendarLock.h"

#include "tests/support/ScopedVariable.h"
#include "tests/support/TemporaryFolder.h"

#include <system_error>

#include <gtest/gtest.h>

namespace quenbrook::stores::evolution {
namespace {

using support::ScopedVariable;

Deadline shortly() {
    return Clock::now() + std::chrono::milliseconds(20);
}

class CalendarLocks : public testing::Test {
  protected:
    std::filesystem::path path(const char* name) const { return folder_.path() / name; }

    // Where the lock lies, seen from the folder of the test.
    std::string placeOf(const std::string& calendar) const {
        const CalendarLock lock(calendar, shortly());
        std::string found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
            if (entry.path().extension() == ".lock") {
                found = entry.path().lexically_relative(folder_.path()).string();
            }
        }
        return found;
    }

  private:
    support::TemporaryFolder folder_;
};

TEST_F(CalendarLocks, LieInTheCache) {
    const ScopedVariable home("HOME", path("home").string());
    {
        const ScopedVariable cache("XDG_CACHE_HOME", path("cache").string());
        EXPECT_EQ(placeOf("work"), "cache/quenbrook/work.lock");
        std::filesystem::remove_all(path("cache"));
    }
    for (const char* relative : {"", "cache"}) {
        const ScopedVariable cache("XDG_CACHE_HOME", relative);
        EXPECT_EQ(placeOf("work"), "home/.cache/quenbrook/work.lock");
    }
}

TEST_F(CalendarLocks, LieInOnePlaceWhateverIsSaidOfTheSession) {
    const ScopedVariable cache("XDG_CACHE_HOME", path("cache").string());
    for (const auto& said : {std::optional<std::string>(), std::optional(path("run").string())}) {
        const ScopedVariable runtime("XDG_RUNTIME_DIR", said);
        EXPECT_EQ(placeOf("work"), "cache/quenbrook/work.lock");
    }
}

TEST_F(CalendarLocks, NeedAPlace) {
    const ScopedVariable cache("XDG_CACHE_HOME", std::nullopt);
    for (const auto& home : {std::optional<std::string>(), std::optional<std::string>("home")}) {
        const ScopedVariable none("HOME", home);
        EXPECT_THROW(CalendarLock("work", shortly()), std::system_error);
    }
}

TEST_F(CalendarLocks, StayInTheirDirectoryWhateverACalendarIsCalled) {
    const ScopedVariable cache("XDG_CACHE_HOME", path("").string());
    EXPECT_EQ(placeOf("../a b"), "quenbrook/%2E%2E%2Fa%20b.lock");
}

TEST_F(CalendarLocks, ExcludeEachOtherWithinACalendar) {
    const ScopedVariable cache("XDG_CACHE_HOME", path("").string());
    {
        const CalendarLock held("work", shortly());
        EXPECT_THROW(CalendarLock("work", shortly()), std::system_error);
        EXPECT_NO_THROW(CalendarLock("home", shortly()));
    }
    EXPECT_NO_THROW(CalendarLock("work", shortly()));
}

} // namespace
} // namespace quenbrook::stores::evolution
