#include "icalendar/stream/EditCheck.h"

#include "icalendar/CalendarEdit.h"
#include "tests/unit/icalendar/CalendarText.h"
#include "tests/unit/icalendar/Edits.h"

#include <gtest/gtest.h>

#include <vector>

namespace quenbrook::icalendar {
namespace {

using test::at;
using test::eventAt;
using test::now;
using test::starting;
using test::stream;
using test::updated;

// It would hide that one, or be hidden by it.
TEST(SeveralMasters, AreNotMovedOntoEachOther) {
    const std::string text =
        stream(eventAt("20260105T100000Z", "") + eventAt("20260106T100000Z", "SEQUENCE:7\n"));
    EXPECT_FALSE(updatedStream(
        text, {"e", at("2026-01-05T10:00:00Z")},
        [] {
            model::EventChanges changes = starting("2026-01-06T10:00:00Z");
            changes.end = changes.start;
            return changes;
        }(),
        now));
}

TEST(Refusals, AreOfAStartThatIsExcluded) {
    const std::string text =
        stream(eventAt("20260105T100000Z", "DTEND:20260105T110000Z\nEXDATE:20260105T090000Z\n"));
    EXPECT_FALSE(updated(text, starting("2026-01-05T09:00:00Z")));
    EXPECT_TRUE(updated(text, starting("2026-01-05T09:00:01Z")));
}

} // namespace
} // namespace quenbrook::icalendar
