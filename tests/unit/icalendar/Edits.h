#pragma once

#include "icalendar/CalendarEdit.h"
#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

// Changes, and what they made of a text.

namespace quenbrook::test {

inline const model::Instant now = at("2026-06-01T12:00:00Z");

inline icalendar::EventKey keyOf(std::string_view text) {
    const auto found = icalendar::findEvent(text, "e");
    return found ? found->key : icalendar::EventKey{"e", std::nullopt};
}

inline std::optional<std::string> updated(
    std::string_view text, const model::EventChanges& changes) {
    return icalendar::updatedStream(text, keyOf(text), changes, now);
}

inline model::EventChanges starting(std::string_view start) {
    model::EventChanges changes;
    changes.start = at(start);
    return changes;
}

inline model::EventChanges ending(std::string_view end) {
    model::EventChanges changes;
    changes.end = at(end);
    return changes;
}

inline model::EventChanges titled(std::string title) {
    model::EventChanges changes;
    changes.title = std::move(title);
    return changes;
}

inline model::EventChanges repeating(std::vector<model::RecurrenceRule> rules) {
    model::EventChanges changes;
    changes.recurrenceRules = std::move(rules);
    return changes;
}

inline model::EventChanges wholeDays(bool isAllDay) {
    model::EventChanges changes;
    changes.isAllDay = isAllDay;
    return changes;
}

inline model::EventChanges alarming(std::vector<double> alarms) {
    model::EventChanges changes;
    changes.alarms = std::move(alarms);
    return changes;
}

inline bool isStamp(std::string_view difference) {
    const std::string_view line = difference.substr(1);
    return line.starts_with("DTSTAMP") || line.starts_with("LAST-MODIFIED") ||
           line.starts_with("SEQUENCE");
}

inline std::vector<std::string> sorted(std::vector<std::string> lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
}

// Without the stamps, which every change brings.
inline std::vector<std::string> changedLines(std::string_view before, std::string_view after) {
    std::vector<std::string> lines = differences(before, after);
    std::erase_if(lines, isStamp);
    return sorted(std::move(lines));
}

struct UpdateCase {
    std::string description;
    // What the event has besides UID and DTSTAMP.
    std::string lines;
    model::EventChanges changes;
    std::vector<std::string> differences;
    std::string localZone = "Europe/Berlin";
};

inline void expectUpdates(const std::vector<UpdateCase>& cases) {
    for (const UpdateCase& row : cases) {
        const support::ScopedTimeZone local(row.localZone);
        const std::string text = eventStream(row.lines);
        const auto after = updated(text, row.changes);
        ASSERT_TRUE(after) << row.description;
        EXPECT_EQ(changedLines(text, *after), sorted(row.differences)) << row.description;
    }
}

inline const std::string anHour = "DTSTART:20260105T100000Z\nDTEND:20260105T110000Z\n";

inline std::string eventAt(const std::string& start, const std::string& lines) {
    return "BEGIN:VEVENT\nUID:e\nDTSTART:" + start + "\n" + lines + "END:VEVENT\n";
}

inline std::size_t timesIn(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t i = text.find(part); i != std::string_view::npos; i = text.find(part, i + 1)) {
        ++count;
    }
    return count;
}

inline model::EventChanges newEvent(std::string title, model::Instant start, model::Instant end) {
    model::EventChanges changes = titled(std::move(title));
    changes.start = start;
    changes.end = end;
    changes.isAllDay = false;
    return changes;
}

inline model::EventChanges lunch() {
    return newEvent("Lunch", at("2026-07-01T10:00:00Z"), at("2026-07-01T11:00:00Z"));
}

} // namespace quenbrook::test
