#pragma once

#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

// Texts of series and what is found in them.

namespace quenbrook::test {

struct InstanceCase {
    std::string description;
    // The lines of one event, besides UID and DTSTAMP.
    std::string lines;
    std::vector<std::string> spans;
    std::string from = "2026-01-01T00:00:00Z";
    std::string until = "2027-01-01T00:00:00Z";
    std::string localZone = "Europe/Berlin";
};

inline void expectSpans(const std::vector<InstanceCase>& cases) {
    for (const InstanceCase& row : cases) {
        const support::ScopedTimeZone local(row.localZone);
        EXPECT_EQ(spansIn(eventStream(row.lines), row.from, row.until), row.spans)
            << row.description;
    }
}

// Each is at 10:00 on a day of January, local time of UTC, and lasts no time.
inline std::vector<std::string> mornings(const std::vector<std::string>& days) {
    std::vector<std::string> spans;
    for (const std::string& day : days) {
        spans.push_back("2026-01-" + day + "T10:00:00Z/2026-01-" + day + "T10:00:00Z");
    }
    return spans;
}

inline const std::string threeMornings =
    "BEGIN:VEVENT\nUID:s\nDTSTART:20260105T100000Z\nRRULE:FREQ=DAILY;COUNT=3\nEND:VEVENT\n";

inline std::string overrideOf(const std::string& id, const std::string& start) {
    return "BEGIN:VEVENT\nUID:s\nRECURRENCE-ID" + id + "\nDTSTART:" + start + "\nEND:VEVENT\n";
}

inline std::string master(const std::string& start, const std::string& lines) {
    return "BEGIN:VEVENT\nUID:s\nDTSTART" + start + "\n" + lines + "END:VEVENT\n";
}

inline std::vector<std::string> titlesIn(const std::string& text) {
    std::vector<std::string> titles;
    for (const icalendar::FoundEvent& found :
        icalendar::RangeQuery(at("2026-01-01T00:00:00Z"), at("2027-01-01T00:00:00Z"))
            .eventsIn(text)) {
        titles.push_back(found.event.title.value_or(""));
    }
    std::sort(titles.begin(), titles.end());
    return titles;
}

} // namespace quenbrook::test
