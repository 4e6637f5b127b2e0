#include "icalendar/recurrence/RecurrenceRuleText.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "icalendar/recurrence/RecurrenceExpansion.h"
#include "tests/support/WallClockText.h"

namespace quenbrook::icalendar {
namespace {

std::string repeated(const std::string& entry, int times) {
    std::string list = entry;
    for (int i = 1; i < times; ++i) {
        list += "," + entry;
    }
    return list;
}

TEST(ParseRecur, ReadsEveryPart) {
    const auto recur = parseRecur("FREQ=YEARLY;INTERVAL=4;COUNT=12;BYSECOND=0,60;BYMINUTE=59,1;"
                                  "BYHOUR=23,0;BYDAY=FR,-1SU,+2MO;BYMONTHDAY=31,-31,1;"
                                  "BYYEARDAY=366,-366;BYWEEKNO=53,-1;BYMONTH=12,1;BYSETPOS=-1,366;"
                                  "WKST=SU");
    Recur expected;
    expected.frequency = Frequency::yearly;
    expected.interval = 4;
    expected.count = 12;
    expected.bySecond = {0, 60};
    expected.byMinute = {59, 1};
    expected.byHour = {23, 0};
    expected.byDay = {
        {0, std::chrono::Friday}, {-1, std::chrono::Sunday}, {2, std::chrono::Monday}};
    expected.byMonthDay = {31, -31, 1};
    expected.byYearDay = {366, -366};
    expected.byWeekNumber = {53, -1};
    expected.byMonth = {12, 1};
    expected.bySetPosition = {-1, 366};
    expected.weekStart = std::chrono::Sunday;
    EXPECT_EQ(recur, expected);
}

TEST(ParseRecur, ReadsTheFormsOfUntil) {
    const auto day = std::chrono::local_days{std::chrono::year{2024} / 2 / 29};
    const auto until = [](std::string_view value) {
        return parseRecur("FREQ=DAILY;UNTIL=" + std::string(value)).value_or(Recur{}).until;
    };
    EXPECT_EQ(until("20240229"), (Until{day, Until::Kind::date}));
    EXPECT_EQ(until("20240229T235958"),
        (Until{day + std::chrono::hours{24} - std::chrono::seconds{2}, Until::Kind::local}));
    EXPECT_EQ(until("20240229T090000Z"), (Until{day + std::chrono::hours{9}, Until::Kind::utc}));
    EXPECT_EQ(until("20240229T235960Z"),
        (Until{day + std::chrono::hours{24} - std::chrono::seconds{1}, Until::Kind::utc}));
}

TEST(ParseRecur, KeepsTheOrderOfEntriesAndThoseNamedTwice) {
    const auto recur = parseRecur("FREQ=MONTHLY;BYDAY=FR,MO,FR,-1SU;BYMONTH=11,3,11");
    ASSERT_TRUE(recur.has_value());
    EXPECT_EQ(recur->byDay,
        (std::vector<WeekdayNumber>{{0, std::chrono::Friday}, {0, std::chrono::Monday},
            {0, std::chrono::Friday}, {-1, std::chrono::Sunday}}));
    EXPECT_EQ(recur->byMonth, (std::vector<int>{11, 3, 11}));
}

struct TextPair {
    std::string read;
    std::string written;
};

// What is read as another text: letter case, order, values that need not be written.
const std::array writtenOtherwise{
    TextPair{"freq=weekly;byday=mo,Tu;wkst=su", "FREQ=WEEKLY;BYDAY=MO,TU;WKST=SU"},
    TextPair{"COUNT=3;FREQ=DAILY", "FREQ=DAILY;COUNT=3"},
    TextPair{"FREQ=DAILY;INTERVAL=1;WKST=MO", "FREQ=DAILY"},
    TextPair{"FREQ=DAILY;", "FREQ=DAILY"},
    TextPair{"FREQ=DAILY;INTERVAL=007", "FREQ=DAILY;INTERVAL=7"},
    TextPair{"FREQ=MONTHLY;BYDAY=+1MO,-01TU", "FREQ=MONTHLY;BYDAY=1MO,-1TU"},
    TextPair{"RSCALE=GREGORIAN;FREQ=MONTHLY;SKIP=OMIT;BYMONTHDAY=31", "FREQ=MONTHLY;BYMONTHDAY=31"},
    TextPair{"FREQ=DAILY;UNTIL=20240101t000000z", "FREQ=DAILY;UNTIL=20240101T000000Z"},
    // White space at the ends and between parts and entries.
    TextPair{" FREQ=DAILY", "FREQ=DAILY"},
    TextPair{"FREQ=DAILY;COUNT=3 ", "FREQ=DAILY;COUNT=3"},
    TextPair{"FREQ=DAILY;COUNT=3;\t\r", "FREQ=DAILY;COUNT=3"},
    TextPair{"FREQ=WEEKLY;BYDAY=MO, TU, WE", "FREQ=WEEKLY;BYDAY=MO,TU,WE"},
    TextPair{"FREQ=MONTHLY ; BYDAY = 1 MO , -1 FR ; UNTIL = 20240101 ",
        "FREQ=MONTHLY;UNTIL=20240101;BYDAY=1MO,-1FR"},
    TextPair{"FREQ=MONTHLY;BYMONTHDAY=1,\xC2\xA0"
             "2",
        "FREQ=MONTHLY;BYMONTHDAY=1,2"},
    TextPair{"FREQ=DAILY;UNTIL=2017-01-20", "FREQ=DAILY;UNTIL=20170120"},
    TextPair{"FREQ=DAILY;UNTIL=2017-01-20T235959Z", "FREQ=DAILY;UNTIL=20170120T235959Z"},
    TextPair{"FREQ=DAILY;UNTIL=2017-01-20T23:59:59", "FREQ=DAILY;UNTIL=20170120T235959"},
    TextPair{"FREQ=MONTHLY;BYDAY=0MO,-0TU,+0WE,1FR", "FREQ=MONTHLY;BYDAY=MO,TU,WE,1FR"},
    TextPair{"FREQ=WEEKLY;BYDAY=0MO", "FREQ=WEEKLY;BYDAY=MO"},
    // A number where no weekday comes twice.
    TextPair{"FREQ=WEEKLY;BYDAY=1MO", "FREQ=WEEKLY;BYDAY=MO"},
    TextPair{"FREQ=WEEKLY;BYDAY=-1SU,TU,5WE", "FREQ=WEEKLY;BYDAY=SU,TU,WE"},
    TextPair{"BYDAY=2TU;FREQ=DAILY", "FREQ=DAILY;BYDAY=TU"},
    TextPair{"FREQ=HOURLY;BYDAY=1MO", "FREQ=HOURLY;BYDAY=MO"},
};

TEST(ParseRecur, ReadsWhatIsWrittenOtherwise) {
    for (const TextPair& pair : writtenOtherwise) {
        const auto recur = parseRecur(pair.read);
        ASSERT_TRUE(recur.has_value()) << pair.read;
        EXPECT_EQ(formatRecur(*recur), pair.written);
    }
}

// In the form in which rules are written.
const std::array valid{
    "FREQ=SECONDLY",
    "FREQ=DAILY;INTERVAL=70000",
    "FREQ=DAILY;INTERVAL=2147483648",
    "FREQ=DAILY;COUNT=2147483648",
    "FREQ=DAILY;COUNT=5;UNTIL=20240101",
    "FREQ=DAILY;UNTIL=00010101T000000",
    "FREQ=DAILY;UNTIL=99991231T235959Z",
    "FREQ=MONTHLY;BYSETPOS=1",
    "FREQ=YEARLY;BYWEEKNO=20;BYDAY=3MO",
    "FREQ=HOURLY;BYMONTH=1;BYYEARDAY=1;BYMONTHDAY=-1;BYDAY=MO;BYHOUR=3;BYSECOND=60",
    "FREQ=YEARLY;BYDAY=53MO,-53SU",
    "FREQ=MONTHLY;RSCALE=GREGORIAN;SKIP=FORWARD",
    "FREQ=YEARLY;BYMONTHDAY=31;RSCALE=GREGORIAN;SKIP=BACKWARD",
};

TEST(ParseRecur, AcceptsWhatHasOneMeaning) {
    for (const std::string rule : valid) {
        const auto recur = parseRecur(rule);
        ASSERT_TRUE(recur.has_value()) << rule;
        EXPECT_EQ(formatRecur(*recur), rule);
    }
}

const std::array invalid{
    // No rule at all, or parts that are none.
    "",
    ";",
    "=",
    "FREQ",
    "FREQ=",
    "DAILY",
    "FREQ=DAILY;;",
    ";FREQ=DAILY",
    "FREQ=DAILY;;COUNT=1",
    "FREQ=DAILY;COUNT",
    "FREQ=DAILY;=1",
    "FREQ=DAILY, COUNT=1",
    "F REQ=DAILY",
    "FREQ=DAI LY",
    "FREQ=DAILY;COUNT=1 0",
    "FREQ=MONTHLY;BYMONTHDAY=1 2",
    "FREQ=MONTHLY;BYMONTHDAY=- 1",
    "FREQ=MONTHLY;BYMONTHDAY=1, ,2",
    "FREQ=WEEKLY;BYDAY=MO TU",
    "INTERVAL=1",
    "FREQ=FORTNIGHTLY",
    "FREQ=DAILY;FREQ=DAILY",
    "FREQ=DAILY;COUNT=1;COUNT=1",
    "FREQ=DAILY;BYDAY=MO;BYDAY=TU",
    // Parts that change what a rule says in ways not known here.
    "FREQ=DAILY;X-SOMETHING=1",
    "FREQ=DAILY;BYEASTER=1",
    "RSCALE=CHINESE;FREQ=YEARLY",
    "RSCALE=GREGORIAN;FREQ=MONTHLY;SKIP=SIDEWAYS",
    "RSCALE=CHINESE;FREQ=MONTHLY;SKIP=FORWARD",
    "FREQ=MONTHLY;SKIP=BACKWARD",
    // Numbers out of range or not numbers.
    "FREQ=DAILY;INTERVAL=0",
    "FREQ=DAILY;INTERVAL=-1",
    "FREQ=DAILY;INTERVAL=+1",
    "FREQ=DAILY;INTERVAL=2147483649",
    "FREQ=DAILY;INTERVAL=99999999999999999999999",
    "FREQ=DAILY;INTERVAL=1.5",
    "FREQ=DAILY;COUNT=0",
    "FREQ=DAILY;COUNT=5x",
    "FREQ=DAILY;COUNT=2147483649",
    "FREQ=DAILY;BYSECOND=61",
    "FREQ=DAILY;BYSECOND=-1",
    "FREQ=DAILY;BYMINUTE=60",
    "FREQ=DAILY;BYHOUR=24",
    "FREQ=DAILY;BYMONTH=0",
    "FREQ=DAILY;BYMONTH=13",
    "FREQ=DAILY;BYMONTH=-1",
    "FREQ=DAILY;BYMONTH=5L",
    "FREQ=DAILY;BYMONTHDAY=0",
    "FREQ=DAILY;BYMONTHDAY=32",
    "FREQ=DAILY;BYMONTHDAY=-32",
    "FREQ=DAILY;BYMONTHDAY=--1",
    "FREQ=DAILY;BYMONTHDAY=-",
    "FREQ=YEARLY;BYYEARDAY=367",
    "FREQ=YEARLY;BYYEARDAY=0",
    "FREQ=YEARLY;BYWEEKNO=54",
    "FREQ=YEARLY;BYWEEKNO=0",
    "FREQ=DAILY;BYHOUR=1;BYSETPOS=0",
    "FREQ=DAILY;BYHOUR=1;BYSETPOS=367",
    // Lists with holes, weekdays that are none.
    "FREQ=DAILY;BYHOUR=",
    "FREQ=DAILY;BYHOUR=1,",
    "FREQ=DAILY;BYHOUR=,1",
    "FREQ=DAILY;BYHOUR=1,,2",
    "FREQ=DAILY;BYHOUR=1 2",
    "FREQ=DAILY;BYDAY=",
    "FREQ=DAILY;BYDAY=M",
    "FREQ=DAILY;BYDAY=XX",
    "FREQ=DAILY;BYDAY=MONDAY",
    "FREQ=MONTHLY;BYDAY=1",
    "FREQ=MONTHLY;BYDAY=00",
    "FREQ=MONTHLY;BYDAY=54MO",
    "FREQ=MONTHLY;BYDAY=+MO",
    "FREQ=DAILY;WKST=1MO",
    "FREQ=DAILY;WKST=",
    // Dates that are none.
    "FREQ=DAILY;UNTIL=",
    "FREQ=DAILY;UNTIL=2024",
    "FREQ=DAILY;UNTIL=20240230",
    "FREQ=DAILY;UNTIL=20230229T000000Z",
    "FREQ=DAILY;UNTIL=00000101",
    "FREQ=DAILY;UNTIL=20241301",
    "FREQ=DAILY;UNTIL=2024-01-32",
    "FREQ=DAILY;UNTIL=2024-0101",
    "FREQ=DAILY;UNTIL=202401-01",
    "FREQ=DAILY;UNTIL=2024-1-1",
    "FREQ=DAILY;UNTIL=2024-01-01T00:0000",
    "FREQ=DAILY;UNTIL=20240101T00:00:00",
    "FREQ=DAILY;UNTIL=20240101T",
    "FREQ=DAILY;UNTIL=20240101T240000",
    "FREQ=DAILY;UNTIL=20240101T006000",
    "FREQ=DAILY;UNTIL=20240101T000061",
    "FREQ=DAILY;UNTIL=20240101X000000",
    "FREQ=DAILY;UNTIL=20240101T000000X",
    "FREQ=DAILY;UNTIL=20240101T000000ZZ",
    // Parts without meaning at their frequency.
    "FREQ=MONTHLY;BYWEEKNO=1",
    "FREQ=DAILY;BYWEEKNO=1",
    "FREQ=SECONDLY;BYWEEKNO=1",
    "FREQ=MONTHLY;BYYEARDAY=1",
    "FREQ=WEEKLY;BYYEARDAY=1",
    "FREQ=DAILY;BYYEARDAY=1",
    "FREQ=WEEKLY;BYMONTHDAY=1",
};

TEST(ParseRecur, RefusesWhatIsNoRuleOrHasNoMeaning) {
    for (const char* const rule : invalid) {
        EXPECT_FALSE(parseRecur(rule).has_value()) << '"' << rule << '"';
    }
    EXPECT_FALSE(parseRecur(std::string("FREQ=DAILY\0", 11)).has_value());
}

TEST(ParseRecur, RefusesListsOfMoreThanAThousandEntries) {
    EXPECT_TRUE(parseRecur("FREQ=DAILY;BYHOUR=" + repeated("7", 1000)).has_value());
    EXPECT_FALSE(parseRecur("FREQ=DAILY;BYHOUR=" + repeated("7", 1001)).has_value());
}

TEST(FormatRecur, WritesARuleOfDefaults) {
    EXPECT_EQ(formatRecur(Recur{}), "FREQ=DAILY");
}

TEST(FormatRecur, WritesThePartsInTheirOrder) {
    const auto recur = parseRecur("WKST=TU;BYSETPOS=1;BYSECOND=1;BYMINUTE=1;BYHOUR=1;BYDAY=MO;"
                                  "BYMONTHDAY=1;BYYEARDAY=1;BYWEEKNO=1;BYMONTH=1;"
                                  "UNTIL=20240101T000000;COUNT=2;INTERVAL=2;FREQ=YEARLY");
    ASSERT_TRUE(recur.has_value());
    EXPECT_EQ(formatRecur(*recur),
        "FREQ=YEARLY;INTERVAL=2;COUNT=2;UNTIL=20240101T000000;BYMONTH=1;BYWEEKNO=1;BYYEARDAY=1;"
        "BYMONTHDAY=1;BYDAY=MO;BYHOUR=1;BYMINUTE=1;BYSECOND=1;BYSETPOS=1;WKST=TU");
}

// Random texts from the words of rules and from any bytes. Whatever is read must come back from
// what is written, and its expansion must move forward.
TEST(ParseRecur, SurvivesRandomTexts) {
    const std::array<std::string, 44> words{"FREQ=", "SECONDLY", "MINUTELY", "HOURLY", "DAILY",
        "WEEKLY", "MONTHLY", "YEARLY", "INTERVAL=", "COUNT=", "UNTIL=", "20240229", "T235960", "Z",
        "BYMONTH=", "BYWEEKNO=", "BYYEARDAY=", "BYMONTHDAY=", "BYDAY=", "BYHOUR=", "BYMINUTE=",
        "BYSECOND=", "BYSETPOS=", "WKST=", "RSCALE=", "SKIP=", "MO", "SU", "TH", "-", "+", ",", ";",
        ";", ";", "0", "1", "2", "12", "53", "366", "2147483648", "FREQ=DAILY;", "FREQ=YEARLY;"};
    std::mt19937 random(20240229);
    const auto below = [&](std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
    };
    const auto start = test::parseWallClock("2024-02-29 23:59:59").value();
    int read = 0;
    for (int round = 0; round < 100'000; ++round) {
        // Every other text begins well, so that many are read.
        std::string text = round % 2 == 0 ? words[words.size() - 1 - below(2)] : "";
        for (std::size_t length = below(12); length > 0; --length) {
            text += words[below(words.size())];
        }
        if (round % 5 == 0 && !text.empty()) {
            text[below(text.size())] = static_cast<char>(below(256));
        }
        const auto recur = parseRecur(text);
        if (!recur) {
            continue;
        }
        ++read;
        ASSERT_EQ(parseRecur(formatRecur(*recur)), recur) << text;
        WorkBudget plenty(std::int64_t{1} << 60);
        RecurrenceExpansion expansion(*recur, start, plenty);
        expansion.endBefore(start + std::chrono::days{800});
        auto last = start - std::chrono::seconds{1};
        for (int i = 0; i < 20; ++i) {
            const auto time = expansion.next();
            if (!time) {
                break;
            }
            ASSERT_LT(last, *time) << text;
            last = *time;
        }
    }
    EXPECT_GT(read, 1000);
}

TEST(ParseRecur, SurvivesRandomBytes) {
    std::mt19937 random(5545);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> length(0, 40);
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        for (int i = length(random); i > 0; --i) {
            text += static_cast<char>(byte(random));
        }
        EXPECT_FALSE(parseRecur(text).has_value());
    }
}

} // namespace
} // namespace quenbrook::icalendar
