#include "icalendar/time/LibraryZone.h"

#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <random>
#include <vector>

namespace quenbrook::icalendar {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using std::chrono::sys_seconds;
using test::at;

struct RuleOffsetCase {
    std::string rule;
    std::string_view instant;
    seconds offset;
};
const std::vector<RuleOffsetCase> ruleOffsetCases{
    {"JST-9", "2026-07-01T00:00:00Z", hours(9)},
    {"<+0330>-3:30", "2026-07-01T00:00:00Z", minutes(210)},
    {"<-02>2:30:15", "2026-01-01T00:00:00Z", -seconds(9015)},
    {"UTC0", "2026-01-01T00:00:00Z", seconds(0)},
    {"EST+5", "2026-01-01T00:00:00Z", -hours(5)},
    {"EST5EDT,M3.2.0,M11.1.0", "2026-03-08T06:59:59Z", -hours(5)},
    {"EST5EDT,M3.2.0,M11.1.0", "2026-03-08T07:00:00Z", -hours(4)},
    {"EST5EDT,M3.2.0,M11.1.0", "2026-11-01T05:59:59Z", -hours(4)},
    {"EST5EDT,M3.2.0,M11.1.0", "2026-11-01T06:00:00Z", -hours(5)},
    {"CET-1CEST,M3.5.0,M10.5.0/3", "2026-03-29T01:00:00Z", hours(2)},
    {"CET-1CEST,M3.5.0,M10.5.0/3", "2026-10-25T01:00:00Z", hours(1)},
    {"NZST-12NZDT,M9.5.0,M4.1.0/3", "2026-01-01T00:00:00Z", hours(13)},
    {"NZST-12NZDT,M9.5.0,M4.1.0/3", "2026-07-01T00:00:00Z", hours(12)},
    {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "2026-01-01T00:00:00Z", hours(11)},
    {"IST-1GMT0,M10.5.0,M3.5.0/1", "2026-01-01T00:00:00Z", seconds(0)},
    {"IST-1GMT0,M10.5.0,M3.5.0/1", "2026-07-01T00:00:00Z", hours(1)},
    {"XXX0YYY,J60/0,J61/0", "2024-03-01T00:00:00Z", hours(1)},
    {"XXX0YYY,J60/0,J61/0", "2025-03-01T00:00:00Z", hours(1)},
    {"XXX0YYY,59/0,60/0", "2024-02-29T00:00:00Z", hours(1)},
    {"XXX0YYY,59/0,60/0", "2025-03-01T00:00:00Z", hours(1)},
    {"<-03>3<-02>,M3.5.0/-2,M10.5.0/-1", "2026-03-29T01:00:00Z", -hours(2)},
    {"<-03>3<-02>,M3.5.0/-2,M10.5.0/-1", "2026-03-29T00:59:59Z", -hours(3)},
    {"IST-2IDT,M3.4.4/26,M10.5.0", "2026-03-27T00:00:00Z", hours(3)},
    {"IST-2IDT,M3.4.4/26,M10.5.0", "2026-03-26T23:59:59Z", hours(2)},
    {"CET-1CEST-3,M3.5.0,M10.5.0", "2026-07-01T00:00:00Z", hours(3)},
    {"EST5EDT3:30", "2026-07-01T00:00:00Z", -minutes(210)},
};

TEST(RulesInTheVariable, TellTheOffset) {
    for (const RuleOffsetCase& row : ruleOffsetCases) {
        const support::ScopedTimeZone local(row.rule);
        EXPECT_EQ(Zone::local().offsetAt(at(row.instant)), row.offset)
            << row.rule << " " << row.instant;
    }
}

// The C library itself. Where a system has a file for rules without dates (posixrules), the library
// takes what that says of the past.
seconds offsetInTheLibrary(sys_seconds instant) {
    const std::time_t time = instant.time_since_epoch().count();
    std::tm clock{};
    ::localtime_r(&time, &clock);
    return seconds(clock.tm_gmtoff);
}

// Each wall clock from an hour before a change to an hour behind it: a repeated one means its first
// instant, a skipped one is read with the offset before.
void expectWallClocksAround(const Zone& zone, const OffsetChange& change, const std::string& rule) {
    const auto [low, high] = std::minmax(change.before, change.after);
    const LocalTime begin((change.at + low).time_since_epoch() - hours(1));
    const LocalTime end((change.at + high).time_since_epoch() + hours(1));
    for (LocalTime wall = begin; wall < end; wall += (end - begin) / 16) {
        const sys_seconds early = sys_seconds(wall.time_since_epoch()) - change.before;
        const sys_seconds late = sys_seconds(wall.time_since_epoch()) - change.after;
        const bool isLate = early >= change.at && late >= change.at;
        ASSERT_EQ(zone.instantOf(wall), isLate ? late : early)
            << rule << " " << test::written(early);
    }
}

void expectWhatTheLibraryTells(const std::string& rule) {
    const support::ScopedTimeZone local(rule);
    ::tzset();
    const Zone zone = Zone::local();
    for (const int year : {1971, 1999, 2000, 2026, 2027, 2028, 2100, 2198}) {
        const sys_seconds begin = std::chrono::sys_days(std::chrono::year(year) / 1 / 1);
        for (sys_seconds instant = begin; instant < begin + hours(365 * 24); instant += hours(11)) {
            ASSERT_EQ(zone.offsetAt(instant), offsetInTheLibrary(instant))
                << rule << " " << test::written(instant);
        }
        // Every change, to the second, and none that is not there.
        auto change = zone.changeAfter(begin - seconds(1));
        while (change && change->at < begin + hours(365 * 24)) {
            ASSERT_EQ(change->before, offsetInTheLibrary(change->at - seconds(1))) << rule;
            ASSERT_EQ(change->after, offsetInTheLibrary(change->at)) << rule;
            ASSERT_NE(change->before, change->after) << rule;
            const auto last = zone.changeUpTo(change->at);
            const auto next = zone.changeAfter(change->at);
            const auto previous = zone.changeUpTo(change->at - seconds(1));
            const bool isAlone = (!next || next->at - change->at > std::chrono::days(14)) &&
                                 (!previous || change->at - previous->at > std::chrono::days(14));
            if (isAlone) {
                ASSERT_TRUE(last) << rule;
                ASSERT_EQ(last->at, change->at) << rule;
                expectWallClocksAround(zone, *change, rule);
            }
            change = next;
        }
    }
}

const std::vector<std::string> libraryCases{"", ":", "::", "nonsense", "/nowhere", "/etc/passwd",
    "/usr/share/zoneinfo", "../../etc/passwd", "Fixed/UTC+05:00:00", "file:Europe/Berlin",
    "/usr/share/zoneinfo/Europe/Berlin", ":/usr/share/zoneinfo/Australia/Lord_Howe",
    "Europe/Berlin", ":America/St_Johns", "EST5EDT", "UTC", "UTC0", ":JST-9", "EST5EDT,foo",
    "EST5EDT,M3.2.0,foo", "EST5EDT,M3.2.0", "EST5EDT,M3.2.0/2:30,M11.1.0/1:15:20",
    "EST5EDT,M3.2.0/,M11.1.0", "EST5EDT,M3.2.0x,M11.1.0", "EST5EDT,M3.2.0,M11.1.0x",
    "EST5EDT,M3.2.0/2x,M11.1.0", "EST5EDT,M3.2.0,M11.1.0/2x", "EST5EDTM3.2.0M11.1.0",
    "EST5,M3.2.0,M11.1.0", "EST5 EDT", "EST25", "EST5:60", "EST5:30:99",
    "EST5:", "EST5:30:", "EST99999EDT,M3.2.0,M11.1.0", "EST65537EDT,M3.2.0,M11.1.0",
    "EST5EDT,J0,J400", "EST5EDT,J1,J365", "EST5EDT,J59,J60/0", "EST5EDT,0,365",
    "EST5EDT,0/0,J365/25", "XXX3EDT4,0/0,J365/23", "EST5EDT,366,1", "EST5EDT,65537,1",
    "EST5EDT,M3.2.0/200,M11.1.0/-200", "NZST-12NZDT,M9.5.0,M4.1.0/3", "AAA-24BBB-25,M1.1.0,M12.5.6",
    "AAA0BBB0,M3.2.0,M11.1.0"};

TEST(TheMachinesZone, IsWhatTheLibraryTakesTheVariableFor) {
    for (const std::string& rule : libraryCases) {
        expectWhatTheLibraryTells(rule);
    }
}

TEST(TheMachinesZone, IsWhatTheLibraryTakesARandomRuleFor) {
    std::mt19937 random(1003);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    const auto number = [&](int limit) { return std::to_string(below(limit)); };
    const auto clock = [&] {
        std::string text = number(25);
        for (int parts = below(3); parts > 0; --parts) {
            text += ":" + number(60);
        }
        return text;
    };
    const auto offset = [&] { return std::string(below(2) == 0 ? "-" : "") + clock(); };
    const auto name = [&](char first) {
        return below(2) == 0 ? std::string(3, first) : "<" + std::string(1, first) + "+0" + ">";
    };
    const auto date = [&] {
        const int kind = below(4);
        std::string text = kind == 0   ? "J" + std::to_string(1 + below(365))
                           : kind == 1 ? number(366)
                                       : "M" + std::to_string(1 + below(12)) + "." +
                                             std::to_string(1 + below(5)) + "." + number(7);
        if (below(2) == 0) {
            text += "/" + offset();
        }
        return text;
    };
    for (int round = 0; round < 300; ++round) {
        std::string rule = name('A') + offset();
        if (below(8) > 0) {
            rule += name('B') + (below(3) == 0 ? offset() : "") + "," + date() + "," + date();
        }
        expectWhatTheLibraryTells(rule);
    }
}

} // namespace
} // namespace quenbrook::icalendar
