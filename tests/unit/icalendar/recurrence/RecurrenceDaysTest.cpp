#include "icalendar/recurrence/RecurrenceDays.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quenbrook::icalendar {
namespace {

using std::chrono::local_days;
using std::chrono::year;

// The start of every rule.
const local_days wednesday{year(2025) / 1 / 15};

// As MMDD.
std::string dateText(local_days day) {
    const std::chrono::year_month_day date{day};
    const unsigned number = unsigned{date.month()} * 100 + unsigned{date.day()};
    return std::to_string(10'000 + number).substr(1);
}

std::vector<std::string> daysOfRule(const std::string& rule, int inYear) {
    const RecurrenceDays days(*parseRecur(rule), wednesday);
    std::vector<std::string> found;
    for (local_days day{year(inYear) / 1 / 1}; day < local_days{year(inYear + 1) / 1 / 1};
         day += std::chrono::days(1)) {
        if (days.contains(day)) {
            found.push_back(dateText(day));
        }
    }
    return found;
}

struct DaysCase {
    std::string rule;
    int inYear;
    std::vector<std::string> days;
};
const std::vector<DaysCase> daysCases{
    {"FREQ=YEARLY", 2025, {"0115"}},
    {"FREQ=YEARLY;BYMONTH=3,11", 2025, {"0315", "1115"}},
    {"FREQ=YEARLY;BYMONTHDAY=-1;BYMONTH=2", 2024, {"0229"}},
    {"FREQ=YEARLY;BYMONTHDAY=-1;BYMONTH=2", 2025, {"0228"}},
    {"FREQ=YEARLY;BYYEARDAY=1,-1,366", 2024, {"0101", "1231"}},
    {"FREQ=YEARLY;BYYEARDAY=60,-306", 2025, {"0301"}},
    {"FREQ=YEARLY;BYDAY=1MO,-1SU", 2025, {"0106", "1228"}},
    {"FREQ=YEARLY;BYMONTH=5;BYDAY=1MO,-1SU", 2025, {"0505", "0525"}},
    {"FREQ=YEARLY;BYMONTH=5;BYDAY=5TH,5FR", 2025, {"0529", "0530"}},
    {"FREQ=YEARLY;BYDAY=FR;BYMONTHDAY=13", 2026, {"0213", "0313", "1113"}},
    // The start's weekday stands in. The last days of a year may be numbered in the next one.
    {"FREQ=YEARLY;BYWEEKNO=1", 2025, {"0101", "1231"}},
    {"FREQ=YEARLY;BYWEEKNO=53;BYDAY=MO", 2026, {"1228"}},
    {"FREQ=YEARLY;BYWEEKNO=53;BYDAY=MO", 2025, {}},
    {"FREQ=YEARLY;BYWEEKNO=-1;BYDAY=SU", 2025, {"1228"}},
    // No weekday comes twice in a week: the number is passed over.
    {"FREQ=YEARLY;BYWEEKNO=2;BYDAY=3TU", 2025, {"0107"}},
    {"FREQ=YEARLY;BYWEEKNO=2;BYDAY=SU;WKST=SU", 2025, {"0105"}},
    {"FREQ=MONTHLY;BYMONTH=2;BYDAY=2SA", 2025, {"0208"}},
    {"FREQ=MONTHLY;BYMONTH=2", 2025, {"0215"}},
    {"FREQ=WEEKLY;BYMONTH=12", 2025, {"1203", "1210", "1217", "1224", "1231"}},
    {"FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30", 2025, {}},
    {"FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30;RSCALE=GREGORIAN;SKIP=BACKWARD", 2025, {"0228"}},
    {"FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30;RSCALE=GREGORIAN;SKIP=BACKWARD", 2024, {"0229"}},
};

TEST(DaysOfRules, PassEveryPartThatNamesDays) {
    for (const DaysCase& row : daysCases) {
        EXPECT_EQ(daysOfRule(row.rule, row.inYear), row.days) << row.rule << " " << row.inYear;
    }
}

TEST(DaysOfRules, LieInTheMonthsThatAreNamed) {
    const RecurrenceDays named(*parseRecur("FREQ=DAILY;BYMONTH=2"), wednesday);
    EXPECT_TRUE(named.mayContain(std::chrono::February));
    EXPECT_FALSE(named.mayContain(std::chrono::March));
    const RecurrenceDays open(*parseRecur("FREQ=MONTHLY"), wednesday);
    EXPECT_TRUE(open.mayContain(std::chrono::March));
    // The month of the start stands in.
    const RecurrenceDays yearly(*parseRecur("FREQ=YEARLY"), wednesday);
    EXPECT_TRUE(yearly.mayContain(std::chrono::January));
    EXPECT_FALSE(yearly.mayContain(std::chrono::February));
}

struct MoveCase {
    std::string rule;
    std::chrono::year_month month;
    std::string first;
};
const std::vector<MoveCase> moveCases{
    {"FREQ=MONTHLY;BYMONTHDAY=31;RSCALE=GREGORIAN;SKIP=FORWARD", year(2025) / 4, "0501"},
    {"FREQ=MONTHLY;BYMONTHDAY=31;RSCALE=GREGORIAN;SKIP=FORWARD", year(2025) / 5, "none"},
    {"FREQ=MONTHLY;BYMONTHDAY=31;RSCALE=GREGORIAN;SKIP=BACKWARD", year(2025) / 4, "none"},
    {"FREQ=MONTHLY;BYMONTHDAY=31", year(2025) / 4, "none"},
    {"FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=29;RSCALE=GREGORIAN;SKIP=FORWARD", year(2025) / 2, "0301"},
    {"FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=29;RSCALE=GREGORIAN;SKIP=FORWARD", year(2024) / 2, "none"},
    {"FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=29;RSCALE=GREGORIAN;SKIP=FORWARD", year(2025) / 4, "none"},
    // The first of May 2025 is a Thursday.
    {"FREQ=MONTHLY;BYMONTHDAY=31;BYDAY=TH;RSCALE=GREGORIAN;SKIP=FORWARD", year(2025) / 4, "0501"},
    {"FREQ=MONTHLY;BYMONTHDAY=31;BYDAY=FR;RSCALE=GREGORIAN;SKIP=FORWARD", year(2025) / 4, "none"},
};

TEST(DaysOfRules, MoveOutOfAMonthThatDoesNotHaveThem) {
    for (const MoveCase& row : moveCases) {
        const RecurrenceDays days(*parseRecur(row.rule), wednesday);
        const auto first = days.movedOutOf(row.month);
        EXPECT_EQ(first ? dateText(*first) : "none", row.first) << row.rule;
    }
}

TEST(PlacesInARow, AreCountedFromBothEnds) {
    const PlaceSet places({1, -1, 366, 367, -367});
    EXPECT_TRUE(places.names(1, 365));
    EXPECT_TRUE(places.names(365, 365));
    EXPECT_FALSE(places.names(2, 365));
    EXPECT_TRUE(places.names(366, 366));
    EXPECT_FALSE(places.contains(365));
    EXPECT_TRUE(PlaceSet({400, -400}).empty());
    EXPECT_TRUE(PlaceSet().empty());
}

} // namespace
} // namespace quenbrook::icalendar
