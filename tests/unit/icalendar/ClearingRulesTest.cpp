#include "icalendar/CalendarEdit.h"

#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

namespace quenbrook::icalendar {
namespace {

using test::at;

TEST(ClearingRules, MakesASeriesOfAddedDatesASingleEvent) {
    const std::string text = test::eventStream("DTSTART:20260105T100000Z\nRDATE:20260107T100000Z\n"
                                               "DTEND:20260105T110000Z\n");
    model::EventChanges changes;
    changes.recurrenceRules.emplace();
    const auto cleared =
        updatedStream(text, {"e", at("2026-01-05T10:00:00Z")}, changes, at("2026-06-01T12:00:00Z"));
    ASSERT_TRUE(cleared);
    EXPECT_EQ(test::spansIn(*cleared, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
        std::vector<std::string>{"2026-01-05T10:00:00Z/2026-01-05T11:00:00Z"});
}

} // namespace
} // namespace quenbrook::icalendar
