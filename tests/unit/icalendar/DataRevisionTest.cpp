#include "icalendar/DataRevision.h"

#include <gtest/gtest.h>

namespace quenbrook::icalendar {
namespace {

TEST(DataRevision, IsWhatTheFileSays) {
    EXPECT_EQ(
        dataRevision("BEGIN:VCALENDAR\r\nX-EVOLUTION-DATA-REVISION:r(1)\r\nBEGIN:VEVENT"), "r(1)");
    EXPECT_EQ(dataRevision("BEGIN:VCALENDAR\nX-EVOLUTION-DATA-REVISION:\n"), "");
}

TEST(DataRevision, IsNotThereWithoutItsWholeLine) {
    for (const char* head : {"", "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n",
             "BEGIN:VCALENDAR\r\nX-EVOLUTION-DATA-REVISION:r(1",
             "BEGIN:VCALENDAR\r\nX-A:X-EVOLUTION-DATA-REVISION:r(1)\r\n"}) {
        EXPECT_EQ(dataRevision(head), std::nullopt) << head;
    }
}

} // namespace
} // namespace quenbrook::icalendar
