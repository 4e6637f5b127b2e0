#include "icalendar/time/ZoneNames.h"

#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <vector>

namespace quenbrook::icalendar {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using test::at;

struct ForeignNameCase {
    std::string name;
    seconds winter;
    seconds summer;
};
const std::vector<ForeignNameCase> foreignNameCases{
    // Names of Windows.
    {"Eastern Standard Time", -hours(5), -hours(4)},
    {"India Standard Time", minutes(330), minutes(330)},
    // Ends of names.
    {"/freeassociation.sourceforge.net/Europe/Berlin", hours(1), hours(2)},
    {"/softwarestudio.org/Olson_20011030_5/America/Argentina/Buenos_Aires", -hours(3), -hours(3)},
    // Any case.
    {"america/new_york", -hours(5), -hours(4)},
    {"AMERICA/PORT-AU-PRINCE", -hours(5), -hours(4)},
    {"europe/isle_of_man", hours(0), hours(1)},
    {"utc", hours(0), hours(0)},
    {"etc/gmt+5", -hours(5), -hours(5)},
    {"/vendor/1.2/australia/lord_howe", hours(11), minutes(630)},
    {"tzone://Microsoft/Utc", hours(0), hours(0)},
    // As Exchange and Outlook show them: the words are a name of Windows.
    {"(UTC-05:00) Eastern Time (US & Canada)", -hours(5), -hours(4)},
    {"(GMT-06:00) Central Time (US & Canada)", -hours(6), -hours(5)},
    {"(UTC-08:00) Pacific Time (US & Canada)", -hours(8), -hours(7)},
    {"(GMT-04:00) Atlantic Time (Canada)", -hours(4), -hours(3)},
    {"(UTC-03:30) Newfoundland", -minutes(210), -minutes(150)},
    {"(UTC-06:00) Central America", -hours(6), -hours(6)},
    {"(UTC-09:00) Alaska", -hours(9), -hours(8)},
    {"Eastern Time (US & Canada)", -hours(5), -hours(4)},
    {"Eastern Daylight Time", -hours(5), -hours(4)},
    {"(UTC-05:00) Eastern Standard Time", -hours(5), -hours(4)},
    // Cities.
    {"(GMT+10:00) Canberra, Melbourne, Sydney", hours(11), hours(10)},
    {"(UTC+01:00) Amsterdam, Berlin, Bern, Rome, Stockholm, Vienna", hours(1), hours(2)},
    {"(GMT+01.00) Amsterdam / Berlin / Bern / Rome / Stockholm / Vienna, Paris", hours(1),
        hours(2)},
    {"Amsterdam, Belgrade, Berlin, Brussels", hours(1), hours(2)},
    {"(GMT) Greenwich Mean Time : Dublin, Edinburgh, Lisbon, London", hours(0), hours(1)},
    {"(UTC+05:30) Chennai, Kolkata, Mumbai, New Delhi", minutes(330), minutes(330)},
    {"(UTC+09:00) Osaka, Sapporo, Tokyo", hours(9), hours(9)},
    {"(UTC-04:00) Georgetown, La Paz, Manaus, San Juan", -hours(4), -hours(4)},
    {"(UTC-03:00) Buenos Aires", -hours(3), -hours(3)},
    {"Easter", -hours(5), -hours(6)},
    // One that somebody was shown in summer.
    {"(GMT+02:00) Paris", hours(1), hours(2)},
    // A city of that name lies elsewhere, and so does a zone of those words.
    {"(UTC+05:00) Paris", hours(5), hours(5)},
    {"(UTC+05:00) Eastern Time (US & Canada)", hours(5), hours(5)},
    // The offset alone.
    {"(UTC) Coordinated Universal Time", hours(0), hours(0)},
    {"(UTC)", hours(0), hours(0)},
    {"UTC-03:00", -hours(3), -hours(3)},
    {"GMT+0100", hours(1), hours(1)},
    {"(GMT +01:00)", hours(1), hours(1)},
    {"GMT+5", hours(5), hours(5)},
    {"utc+05:45", minutes(345), minutes(345)},
    {"(GMT-05.00) Nobody knows this place", -hours(5), -hours(5)},
};

TEST(ForeignNames, MeanTheZoneInWinterAndSummer) {
    for (const ForeignNameCase& row : foreignNameCases) {
        const auto zone = zoneOfForeignName(row.name);
        ASSERT_TRUE(zone) << row.name;
        EXPECT_EQ(zone->offsetAt(at("2026-01-15T12:00:00Z")), row.winter) << row.name;
        EXPECT_EQ(zone->offsetAt(at("2026-07-15T12:00:00Z")), row.summer) << row.name;
    }
}

TEST(ForeignNames, MayMeanNothing) {
    const std::vector<std::string> names{"", "Nowhere", "Europe", "(Europe)", "/", "Standard Time",
        " Standard Time", "Time", "Custom", "tzone://Microsoft/Custom", "UTC+", "UTC-",
        "(UTC+05:00", "UTC+05:00 x", "GMT+25", "GMT+1:7", "GMT+01:60", "GMT+01000", "GMT-1-",
        "GMT+01:00)", "../../etc/passwd", "tzdata.zi", ",", ",,,,", "( )", "()",
        std::string("UTC\0", 4), "M\xC3\xBCnchen", "\xFF\xFE", std::string(10'000, 'A'),
        std::string(10'000, ','), std::string(500'000, '/')};
    for (const std::string& name : names) {
        EXPECT_FALSE(zoneOfForeignName(name)) << name.substr(0, 100);
    }
}

} // namespace
} // namespace quenbrook::icalendar
