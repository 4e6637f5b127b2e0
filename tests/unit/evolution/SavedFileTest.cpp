#include "stores/evolution/SavedFile.h"

#include "tests/support/TemporaryFolder.h"

#include <fstream>
#include <thread>

#include <gtest/gtest.h>

namespace quenbrook::stores::evolution {
namespace {

constexpr const char* revision = "2026-01-05T10:00:00.000001Z(9)";

void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path.string() + "~", std::ios::binary) << text;
    std::filesystem::rename(path.string() + "~", path);
}

std::string headed(const std::string& line) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + line + "\r\nBEGIN:VEVENT\r\nEND:VEVENT\r\n";
}

Deadline soon() {
    return Clock::now() + std::chrono::milliseconds(20);
}

TEST(Revisions, AreComparedByInstantAndCount) {
    EXPECT_TRUE(isAtLeast(revision, revision));
    EXPECT_TRUE(isAtLeast("2026-01-05T10:00:00.000001Z(10)", revision));
    EXPECT_FALSE(isAtLeast(revision, "2026-01-05T10:00:00.000001Z(10)"));
    EXPECT_TRUE(isAtLeast("2026-01-05T10:00:00.000002Z(1)", revision));
    EXPECT_FALSE(isAtLeast("2026-01-05T09:59:59.999999Z(99)", revision));
    EXPECT_FALSE(isAtLeast("", revision));
}

TEST(SavedFile, IsSeenWhenItHoldsTheRevisionOrALaterOne) {
    const support::TemporaryFolder folder;
    const auto path = folder.path() / "calendar.ics";
    EXPECT_FALSE(waitUntilSaved(path, revision, soon()));
    for (const std::string text : {"", "nonsense", "X-EVOLUTION-DATA-REVISION:cut off"}) {
        write(path, text);
        EXPECT_FALSE(waitUntilSaved(path, revision, soon())) << text;
    }
    write(path, headed("X-EVOLUTION-DATA-REVISION:2026-01-05T10:00:00.000001Z(8)"));
    EXPECT_FALSE(waitUntilSaved(path, revision, soon()));
    write(path, headed(std::string("X-EVOLUTION-DATA-REVISION:") + revision));
    EXPECT_TRUE(waitUntilSaved(path, revision, soon()));
    write(path, headed("X-EVOLUTION-DATA-REVISION:2026-01-06T10:00:00.000001Z(1)"));
    EXPECT_TRUE(waitUntilSaved(path, revision, soon()));
}

TEST(SavedFile, IsWaitedFor) {
    const support::TemporaryFolder folder;
    const auto path = folder.path() / "calendar.ics";
    std::thread writer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        write(path, headed(std::string("X-EVOLUTION-DATA-REVISION:") + revision));
    });
    EXPECT_TRUE(waitUntilSaved(path, revision, Clock::now() + std::chrono::seconds(60)));
    writer.join();
}

} // namespace
} // namespace quenbrook::stores::evolution
