#include "src/DTOs/SnapshotMapping.h"

#include "src/DTOs/NotesCategories.h"
#include "tests/unit/UnitSupport.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

EventInfoDTO mapped(const model::Event& event) {
    NotesCategories categories;
    return mapEvent(event, categories);
}

struct NumberedWord {
    std::int64_t number;
    std::optional<std::string_view> word;
};

constexpr NumberedWord statusWords[] = {
    {0, "unknown"},
    {1, "pending"},
    {2, "accepted"},
    {3, "declined"},
    {4, "pending"},
    {5, "unknown"},
    {6, "unknown"},
    {7, "unknown"},
    {8, "unknown"},
    {-1, "unknown"},
    {INT64_MAX, "unknown"},
    {INT64_MIN, "unknown"},
};

TEST(MapParticipant, NamesTheStatus) {
    for (const auto& [number, word] : statusWords) {
        EXPECT_EQ(participantStatusWord(number), word) << number;
        EXPECT_EQ(mapParticipant({"", std::nullopt, number}).status, word) << number;
    }
}

struct Address {
    std::string url;
    std::string email;
};

TEST(MapParticipant, DropsTheMailtoSchemeOnly) {
    const std::vector<Address> addresses = {
        {"mailto:a@b.cc", "a@b.cc"},
        {"MAILTO:a@b.cc", "MAILTO:a@b.cc"},
        {"Mailto:a@b.cc", "Mailto:a@b.cc"},
        {"mailto:", ""},
        {"mailto:mailto:a@b.cc", "mailto:a@b.cc"},
        {" mailto:a@b.cc", " mailto:a@b.cc"},
        {"mailto:A%40B@c.dd ", "A%40B@c.dd "},
        {"https://example.org/a", "https://example.org/a"},
        {"mailto", "mailto"},
        {"", ""},
    };
    for (const auto& [url, email] : addresses) {
        EXPECT_EQ(mapParticipant({url, std::nullopt, 0}).email, email);
    }
}

TEST(MapParticipant, KeepsTheNameOrNone) {
    EXPECT_EQ(mapParticipant({"u", "N", 2}), (AttendeeInfoDTO{"u", "N", "accepted"}));
    EXPECT_EQ(mapParticipant({"u", std::nullopt, 4}), (AttendeeInfoDTO{"u", "", "pending"}));
}

constexpr NumberedWord frequencies[] = {
    {0, "daily"},
    {1, "weekly"},
    {2, "monthly"},
    {3, "yearly"},
    {4, "daily"},
    {-1, "daily"},
    {INT64_MAX, "daily"},
    {INT64_MIN, "daily"},
};

TEST(MapRecurrenceRule, NamesTheFrequency) {
    for (const auto& [number, word] : frequencies) {
        model::RecurrenceRule rule;
        rule.frequency = number;
        EXPECT_EQ(mapRecurrenceRule(rule).frequency, word) << number;
    }
}

TEST(MapRecurrenceRule, LeavesOutWhatTheRuleDoesNotHave) {
    model::RecurrenceRule rule;
    rule.interval = 3;
    EXPECT_EQ(mapRecurrenceRule(rule), (RecurrenceRuleDTOFull{"daily", 3, {}, {}, {}, {}, {}}));
}

TEST(MapRecurrenceRule, EndsByCountOrByDate) {
    model::RecurrenceRule rule;
    rule.end = model::RecurrenceEnd::withOccurrenceCount(1);
    EXPECT_EQ(mapRecurrenceRule(rule).count, 1);
    EXPECT_EQ(mapRecurrenceRule(rule).untilISO, std::nullopt);

    rule.end = model::RecurrenceEnd::withEndDate(at("2025-03-14T11:30:00.250+02:00"));
    EXPECT_EQ(mapRecurrenceRule(rule).count, std::nullopt);
    EXPECT_EQ(mapRecurrenceRule(rule).untilISO, "2025-03-14T09:30:00.250Z");

    rule.end = model::RecurrenceEnd{-1, std::nullopt};
    EXPECT_EQ(mapRecurrenceRule(rule).count, std::nullopt);

    rule.end = model::RecurrenceEnd{5, at("2025-03-14T09:30:00Z")};
    EXPECT_EQ(mapRecurrenceRule(rule).count, 5);
    EXPECT_EQ(mapRecurrenceRule(rule).untilISO, "2025-03-14T09:30:00.000Z");
}

TEST(MapRecurrenceRule, KeepsTheNumbersInTheirOrder) {
    model::RecurrenceRule rule;
    rule.frequency = 2;
    rule.daysOfTheWeek = {6, 1};
    rule.daysOfTheMonth = {31, -1, 1};
    rule.monthsOfTheYear = {3, 4};
    EXPECT_EQ(mapRecurrenceRule(rule),
        (RecurrenceRuleDTOFull{"monthly", 1, std::nullopt, std::nullopt,
            std::vector<std::int64_t>{6, 1}, std::vector<std::int64_t>{31, -1, 1},
            std::vector<std::int64_t>{3, 4}}));
}

constexpr NumberedWord availabilities[] = {
    {0, "busy"},
    {1, "free"},
    {2, "tentative"},
    {3, "unavailable"},
    {4, std::nullopt},
    {-1, std::nullopt},
    {INT64_MAX, std::nullopt},
    {INT64_MIN, std::nullopt},
};

TEST(MapEvent, NamesTheAvailability) {
    for (const auto& [number, word] : availabilities) {
        model::Event event;
        event.availability = number;
        EXPECT_EQ(mapped(event).availability, word) << number;
    }
}

TEST(MapEvent, MapsEveryField) {
    model::Event event = eventNamed("E", calendarNamed("C"));
    event.start = at("2025-03-14T09:00:00.001Z");
    event.isAllDay = true;
    event.location = " Room ";
    event.notes = "no-sync";
    event.participants = {{"mailto:b@c.dd", "B", 3}, {"mailto:b@c.dd", "B", 3}, {"x:a", {}, 1}};
    event.alarmCount = 2;
    event.recurrenceRules.resize(2);
    event.recurrenceRules[1].frequency = 3;
    event.lastModified = at("2025-01-01T00:00:00Z");
    event.availability = 1;

    EventInfoDTO expected;
    expected.id = "E";
    expected.calendarId = "C";
    expected.title = "Event E";
    expected.startISO = "2025-03-14T09:00:00.001Z";
    expected.endISO = "2025-03-14T10:00:00.000Z";
    expected.isAllDay = true;
    expected.location = " Room ";
    expected.notes = "no-sync";
    expected.attendees = {
        {"b@c.dd", "B", "declined"}, {"b@c.dd", "B", "declined"}, {"x:a", "", "pending"}};
    expected.hasAlarms = true;
    expected.recurrenceRuleCount = 2;
    expected.recurrenceRules = {
        {"daily", 1, {}, {}, {}, {}, {}}, {"yearly", 1, {}, {}, {}, {}, {}}};
    expected.lastModifiedISO = "2025-01-01T00:00:00.000Z";
    expected.categories = {"no-sync"};
    expected.availability = "free";
    EXPECT_EQ(mapped(event), expected);
}

TEST(MapEvent, MakesMissingValuesEmptyOrAbsent) {
    model::Event event;
    event.start = at("2025-03-14T09:00:00Z");
    event.end = at("2025-03-14T08:00:00Z");
    event.availability = -1;

    EventInfoDTO expected;
    expected.startISO = "2025-03-14T09:00:00.000Z";
    expected.endISO = "2025-03-14T08:00:00.000Z";
    EXPECT_EQ(mapped(event), expected);
}

TEST(MapEvent, KeepsEmptyTextsPresent) {
    model::Event event;
    event.location = "";
    event.notes = "";
    EXPECT_EQ(mapped(event).location, "");
    EXPECT_EQ(mapped(event).notes, "");
    EXPECT_EQ(mapped(event).categories, std::nullopt);
}

TEST(MapEvent, TellsWhetherThereAreAlarms) {
    model::Event event;
    EXPECT_FALSE(mapped(event).hasAlarms);
    event.alarmCount = 1;
    EXPECT_TRUE(mapped(event).hasAlarms);
}

TEST(MapEvent, LeavesTheMarkerInTheNotes) {
    model::Event event;
    event.notes = "velmoria-sync-id:0F3C1A52-8D4B-4E7A-9C2E-0123456789AB\nplease no-sync";
    EXPECT_EQ(mapped(event).notes, event.notes);
    EXPECT_EQ(mapped(event).categories, (std::vector<std::string>{"velmoria-sync", "no-sync"}));
}

} // namespace
} // namespace quenbrook::tests
