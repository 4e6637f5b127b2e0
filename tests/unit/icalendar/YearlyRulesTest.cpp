#include "icalendar/YearlyRules.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::icalendar {
namespace {

std::string yearlyEvent(const std::string& start, const std::string& rule) {
    return "BEGIN:VEVENT\r\nUID:one\r\n" + start + "\r\nRRULE" + rule +
           "\r\nSUMMARY:a \r\nEND:VEVENT\r\n";
}

TEST(YearlyRules, AreLimitedToTheMonthOfTheStart) {
    for (const auto& [rule, limited] : std::vector<std::pair<std::string, std::string>>{
             {":FREQ=YEARLY;BYMONTHDAY=-1", ":FREQ=YEARLY;BYMONTHDAY=-1;BYMONTH=02"},
             {":BYMONTHDAY=28;FREQ=YEARLY", ":BYMONTHDAY=28;FREQ=YEARLY;BYMONTH=02"},
             {";X-A=b:freq=yearly;bymonthday=-1", ";X-A=b:freq=yearly;bymonthday=-1;BYMONTH=02"},
             {":FREQ=YEARLY;INTERVAL=1;BYMONTHDA\r\n Y=-1",
                 ":FREQ=YEARLY;INTERVAL=1;BYMONTHDAY=-1;BYMONTH=02"}}) {
        for (const std::string start :
            {"DTSTART;VALUE=DATE:19800229", "DTSTART:19800229T090000Z"}) {
            EXPECT_EQ(withYearlyRulesInMonthOfStart(yearlyEvent(start, rule)),
                yearlyEvent(start, limited));
        }
    }
}

TEST(YearlyRules, StayWhereTheyNameMoreOrLess) {
    for (const std::string rule :
        {":FREQ=YEARLY", ":FREQ=MONTHLY;BYMONTHDAY=-1", ":FREQ=YEARLY;BYMONTHDAY=-1;BYMONTH=2,3",
            ":FREQ=YEARLY;BYMONTHDAY=13;BYDAY=FR", ":FREQ=YEARLY;BYMONTHDAY=1;BYWEEKNO=1",
            ":FREQ=YEARLY;BYMONTHDAY=1;BYYEARDAY=1", ":"}) {
        const std::string text = yearlyEvent("DTSTART;VALUE=DATE:19800229", rule);
        EXPECT_EQ(withYearlyRulesInMonthOfStart(text), text);
    }
    const std::string rule = ":FREQ=YEARLY;BYMONTHDAY=-1";
    for (const std::string& text : {yearlyEvent("X-NO-START:1", rule),
             yearlyEvent("DTSTART:1980", rule), std::string("nonsense")}) {
        EXPECT_EQ(withYearlyRulesInMonthOfStart(text), text);
    }
}

} // namespace
} // namespace quenbrook::icalendar
