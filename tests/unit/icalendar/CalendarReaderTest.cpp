#include "icalendar/CalendarReader.h"

#include "icalendar/stream/ParsedStream.h"
#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"
#include "tests/unit/icalendar/RandomStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace quenbrook::icalendar {
namespace {

using std::chrono::minutes;
using test::at;
using test::RandomStreams;
using test::stream;

std::string describedSpan(const std::string& uid, const model::Event& event) {
    return uid + " " + test::spanOf(event);
}

std::vector<std::string> queried(std::string_view text, model::Instant from, model::Instant until) {
    std::vector<std::string> found;
    for (const FoundEvent& each : RangeQuery(from, until).eventsIn(text)) {
        found.push_back(describedSpan(each.key.uid, each.event));
    }
    std::sort(found.begin(), found.end());
    return found;
}

// Every instance of some years, without any regard to what the scan says of days.
struct Span {
    std::string uid;
    TimeSpan time;
};
std::vector<Span> everySpan(std::string_view text) {
    ParsedStream stream(text);
    std::set<std::string> uids;
    for (const EventSummary& event : stream.scan().events) {
        uids.insert(uidOf(text, event));
    }
    std::vector<Span> spans;
    for (const std::string& uid : uids) {
        const auto series = stream.series(uid);
        if (!series) {
            continue;
        }
        for (const Instance& each :
            series->instancesIn(at("2024-01-01T00:00:00Z"), at("2028-06-01T00:00:00Z"))) {
            spans.push_back({uid, each.span});
        }
    }
    return spans;
}

std::vector<std::string> selected(
    const std::vector<Span>& spans, model::Instant from, model::Instant until) {
    std::vector<std::string> found;
    for (const Span& span : spans) {
        const bool isPoint = span.time.start == span.time.end;
        const bool isIn =
            span.time.start < until && (isPoint ? span.time.start >= from : span.time.end > from);
        model::Event event;
        event.start = span.time.start;
        event.end = span.time.end;
        if (isIn) {
            found.push_back(describedSpan(span.uid, event));
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

TEST(RangeQueries, FindWhatASearchOfEverythingFinds) {
    constexpr std::array<const char*, 4> zones{
        "UTC", "America/St_Johns", "Australia/Lord_Howe", "Europe/Berlin"};
    RandomStreams plain(5545);
    RandomStreams all(5546, RandomStreams::Variety::all);
    std::size_t foundAltogether = 0;
    for (std::size_t round = 0; round < 500; ++round) {
        const support::ScopedTimeZone local(zones[round % zones.size()]);
        RandomStreams& streams = round < 250 ? plain : all;
        const std::string text = streams.next();
        const std::vector<Span> spans = everySpan(text);
        for (int query = 0; query < 8; ++query) {
            const model::Instant from = streams.instant();
            const model::Instant until =
                from + minutes(streams.below(query % 2 == 0 ? 600 : 40'000));
            const auto found = queried(text, from, until);
            ASSERT_EQ(found, selected(spans, from, until))
                << "seen from " << zones[round % zones.size()] << " between " << test::written(from)
                << " and " << test::written(until) << "\n"
                << text;
            foundAltogether += found.size();
        }
    }
    EXPECT_GT(foundAltogether, 6'000u);
}

TEST(RangeQueries, TellTheOriginalStartOfSeriesOnly) {
    const std::string text =
        stream("BEGIN:VEVENT\nUID:single\nDTSTART:20260105T100000Z\nEND:VEVENT\n"
               "BEGIN:VEVENT\nUID:series\nDTSTART:20260105T110000Z\nRRULE:FREQ=DAILY;COUNT=2\n"
               "END:VEVENT\nBEGIN:VEVENT\nUID:series\nRECURRENCE-ID:20260106T110000Z\n"
               "DTSTART:20260107T110000Z\nEND:VEVENT\n");
    const auto found =
        RangeQuery(at("2026-01-01T00:00:00Z"), at("2026-02-01T00:00:00Z")).eventsIn(text);
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0].key.uid, "single");
    EXPECT_FALSE(found[0].key.originalStart);
    EXPECT_EQ(found[1].key.originalStart, at("2026-01-05T11:00:00Z"));
    EXPECT_EQ(found[2].key.originalStart, at("2026-01-06T11:00:00Z"));
    EXPECT_EQ(found[2].event.start, at("2026-01-07T11:00:00Z"));
}

std::map<std::string, std::size_t> countsByUid(
    std::string_view text, std::string_view from, std::string_view until) {
    std::map<std::string, std::size_t> counts;
    for (const FoundEvent& each : RangeQuery(at(from), at(until)).eventsIn(text)) {
        ++counts[each.key.uid];
    }
    return counts;
}

TEST(RangeQueries, FindOneOfEachWhenAFileYieldsTooMuch) {
    const std::string daily = "DTSTART:20260105T100000Z\nRRULE:FREQ=DAILY\n";
    const std::string text =
        stream("BEGIN:VEVENT\nUID:large\n" + daily +
               "DESCRIPTION:" + std::string(std::size_t{16} << 20, 'x') +
               "\nEND:VEVENT\nBEGIN:VEVENT\nUID:small\n" + daily +
               "END:VEVENT\nBEGIN:VEVENT\nUID:plain\nDTSTART:20260105T100000Z\nEND:VEVENT\n");
    EXPECT_EQ(countsByUid(text, "2026-01-05T00:00:00Z", "2026-01-15T00:00:00Z"),
        (std::map<std::string, std::size_t>{{"large", 10}, {"small", 10}, {"plain", 1}}));
    EXPECT_EQ(countsByUid(text, "2026-01-05T00:00:00Z", "2026-12-31T00:00:00Z"),
        (std::map<std::string, std::size_t>{{"large", 16}, {"small", 1}, {"plain", 1}}));
}

std::string listed(std::size_t count) {
    std::string dates = "20260105T100000Z";
    for (std::size_t number = 1; number < count; ++number) {
        dates += ",20260105T100000Z";
    }
    return dates;
}

TEST(RangeQueries, PassOverASeriesOfTooManyValues) {
    const std::string start = "DTSTART:20260105T100000Z\n";
    const auto isFound = [&](const std::string& lines) {
        const std::string text =
            stream(lines + "BEGIN:VEVENT\nUID:good\n" + start + "END:VEVENT\n");
        const auto counts = countsByUid(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z");
        EXPECT_EQ(counts.count("good"), 1u);
        return counts.count("many") == 1;
    };
    const auto many = [&](const std::string& properties) {
        return "BEGIN:VEVENT\nUID:many\n" + start + properties + "END:VEVENT\n";
    };
    EXPECT_TRUE(isFound(many("RDATE:" + listed(199'999) + "\n")));
    EXPECT_FALSE(isFound(many("RDATE:" + listed(200'000) + "\n")));
    EXPECT_FALSE(isFound(many("EXDATE:" + listed(200'000) + "\n")));
    EXPECT_FALSE(
        isFound(many("RDATE:" + listed(150'000) + "\n") + many("RDATE:" + listed(150'000) + "\n")));
}

TEST(FindingEvents, GoesByTheWholeUid) {
    const std::string text =
        stream("BEGIN:VEVENT\nUID:ab\nDTSTART:20260105T100000Z\nEND:VEVENT\n"
               "BEGIN:VEVENT\nUID:a\\,b\nDTSTART:20260106T100000Z\nEND:VEVENT\n"
               "BEGIN:VEVENT\nUID:\xFF\nDTSTART:20260107T100000Z\nEND:VEVENT\n"
               "BEGIN:VEVENT\nDTSTART:20260108T100000Z\nEND:VEVENT\n");
    EXPECT_TRUE(findEvent(text, "ab"));
    EXPECT_EQ(findEvent(text, "a,b")->event.start, at("2026-01-06T10:00:00Z"));
    EXPECT_EQ(findEvent(text, "\xEF\xBF\xBD")->event.start, at("2026-01-07T10:00:00Z"));
    for (const std::string_view uid : {"", "a", "b", "AB", "a\\,b", "\xFF"}) {
        EXPECT_FALSE(findEvent(text, uid)) << uid;
    }
}

// Each by itself, whatever they have in common.
TEST(RangeQueries, FindEventsWithoutUid) {
    const std::string event = "BEGIN:VEVENT\nDTSTART:20260105T100000Z\nSUMMARY:x\nEND:VEVENT\n";
    const std::string empty =
        "BEGIN:VEVENT\nUID:\nDTSTART:20260106T100000Z\nRRULE:FREQ=DAILY;COUNT=2\nEND:VEVENT\n";
    const std::string exception = "BEGIN:VEVENT\nDTSTART:20260109T100000Z\n"
                                  "RECURRENCE-ID:20260107T100000Z\nEND:VEVENT\n";
    for (const std::string& text : {test::stream(event + empty + exception + event),
             test::stream(exception + event + event + empty)}) {
        std::vector<std::string> starts;
        for (const FoundEvent& found :
            RangeQuery(at("2026-01-01T00:00:00Z"), at("2026-02-01T00:00:00Z")).eventsIn(text)) {
            EXPECT_EQ(found.key.uid, "");
            starts.push_back(test::written(found.event.start));
        }
        std::sort(starts.begin(), starts.end());
        EXPECT_EQ(
            starts, (std::vector<std::string>{"2026-01-05T10:00:00Z", "2026-01-05T10:00:00Z",
                        "2026-01-06T10:00:00Z", "2026-01-07T10:00:00Z", "2026-01-09T10:00:00Z"}));
        EXPECT_FALSE(findEvent(text, ""));
    }
    EXPECT_FALSE(findEvent(test::stream(event), ""));
}

TEST(RangeQueries, TellTheFirstInstanceOfEachSeries) {
    RandomStreams streams(515, RandomStreams::Variety::all);
    std::size_t firsts = 0;
    for (int round = 0; round < 200; ++round) {
        const std::string text = streams.next();
        const model::Instant from = streams.instant();
        const RangeQuery query(from, from + minutes(streams.below(100 * 24 * 60)));
        const FoundInstances all = query.instancesIn(text);
        EXPECT_LT(all.steps, RangeQuery::modestSteps);
        EXPECT_EQ(query.instancesOfModestSteps(text).instances.size(), all.instances.size());
        std::map<std::string, int> counts;
        for (const FoundInstance& each : all.instances) {
            EXPECT_EQ(each.isFirst, ++counts[each.event->key.uid] == 1);
            firsts += each.isFirst ? 1 : 0;
        }
    }
    EXPECT_GT(firsts, 100u);
}

TEST(RangeQueries, ReckonTheSizeOfAnEvent) {
    const std::string text =
        stream("BEGIN:VEVENT\nUID:12345\nDTSTART:20260105T000000Z\nRRULE:FREQ=DAILY;COUNT=2\n"
               "RRULE:FREQ=MONTHLY;COUNT=2;BYMONTHDAY=5,6\nSUMMARY:1234567\nLOCATION:123\n"
               "DESCRIPTION:12\nATTENDEE;CN=1234:mailto:a@b.example\nATTENDEE:urn:x\nEND:VEVENT\n");
    const RangeQuery query(at("2026-01-05T00:00:00Z"), at("2026-01-05T00:01:00Z"));
    const std::size_t expected = 256 + 5 + 7 + 3 + 2 + 2 * 256 + 2 * 8 + 2 * 256 + 4 + 18 + 5;
    for (const FoundInstance& found : query.instancesIn(text).instances) {
        EXPECT_EQ(found.event->size, expected);
    }
    EXPECT_EQ(query.instancesIn(text).instances.size(), 1u);
    EXPECT_EQ(findEvent(text, "12345")->size, expected);
}

TEST(RangeQueries, TellTheStepsOfRulesThatTakeMany) {
    const std::string text =
        stream("BEGIN:VEVENT\nUID:e\nDTSTART:00010101T000000Z\n"
               "RRULE:FREQ=SECONDLY;INTERVAL=7;BYHOUR=3;COUNT=2147483647\nEND:VEVENT\n");
    const RangeQuery query(at("2026-01-05T00:00:00Z"), at("2026-01-05T00:01:00Z"));
    EXPECT_GE(query.instancesIn(text).steps, RangeQuery::modestSteps);
    EXPECT_GE(query.instancesOfModestSteps(text).steps, RangeQuery::modestSteps);
}

} // namespace
} // namespace quenbrook::icalendar
