#include "icalendar/CalendarEdit.h"

#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"
#include "tests/unit/icalendar/RandomStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <set>

namespace quenbrook::icalendar {
namespace {

using test::at;

const model::Instant timeOfEdit = at("2026-06-01T12:00:00Z");

std::string described(const std::string& uid, const model::Event& event) {
    return uid + " " + test::spanOf(event) + " " + event.title.value_or("");
}

std::vector<FoundEvent> everything(std::string_view text) {
    return RangeQuery(at("2025-06-01T00:00:00Z"), at("2026-12-01T00:00:00Z")).eventsIn(text);
}

using Occurrences = std::multiset<std::string>;

Occurrences seenIn(std::string_view text) {
    Occurrences seen;
    for (const FoundEvent& found : everything(text)) {
        seen.insert(described(found.key.uid, found.event));
    }
    return seen;
}

Occurrences without(const FoundEvent& one, Occurrences all) {
    all.erase(all.find(described(one.key.uid, one.event)));
    return all;
}

// Two instances of one original start cannot be told apart.
bool isUnambiguous(const std::vector<FoundEvent>& events) {
    std::set<std::pair<std::string, model::Instant>> places;
    return std::all_of(events.begin(), events.end(), [&](const FoundEvent& found) {
        return places
            .insert({found.key.uid, found.key.originalStart.value_or(std::chrono::sys_seconds())})
            .second;
    });
}

class RandomEdits : public testing::Test {
  protected:
    // Calls `check` with a text and one of its instances, many times.
    template <class Check>
    void forManyOccurrences(Check check) {
        constexpr std::array<const char*, 4> zones{
            "UTC", "America/St_Johns", "Australia/Lord_Howe", "Europe/Berlin"};
        test::RandomStreams streams(6868);
        std::size_t checked = 0;
        for (std::size_t round = 0; round < 120 && !HasFailure(); ++round) {
            const support::ScopedTimeZone local(zones[round % zones.size()]);
            const std::string text = streams.next();
            const std::vector<FoundEvent> events = everything(text);
            if (events.empty() || !isUnambiguous(events)) {
                continue;
            }
            for (int i = 0; i < 3 && !HasFailure(); ++i) {
                const auto place =
                    static_cast<std::size_t>(streams.below(static_cast<int>(events.size())));
                SCOPED_TRACE(std::string(zones[round % zones.size()]) + "\n" + text + "\n" +
                             events[place].key.uid + " " + test::spanOf(events[place].event));
                check(text, events[place]);
                ++checked;
            }
        }
        EXPECT_GT(checked, 150u);
    }
};

TEST_F(RandomEdits, OfATitleChangeThatOfOneOccurrence) {
    forManyOccurrences([](const std::string& text, const FoundEvent& one) {
        model::EventChanges changes;
        changes.title = "new";
        const auto after = updatedStream(text, one.key, changes, timeOfEdit);
        ASSERT_TRUE(after);
        model::Event changed = one.event;
        changed.title = "new";
        Occurrences expected = without(one, seenIn(text));
        expected.insert(described(one.key.uid, changed));
        EXPECT_EQ(seenIn(*after), expected) << *after;
    });
}

TEST_F(RandomEdits, OfTheTimesMoveOneOccurrence) {
    forManyOccurrences([](const std::string& text, const FoundEvent& one) {
        model::EventChanges changes;
        changes.isAllDay = false;
        changes.start = one.event.start + std::chrono::hours(1);
        changes.end = one.event.end + std::chrono::hours(2);
        const auto after = updatedStream(text, one.key, changes, timeOfEdit);
        ASSERT_TRUE(after);
        model::Event moved = one.event;
        moved.start = *changes.start;
        moved.end = *changes.end;
        Occurrences expected = without(one, seenIn(text));
        // At the edge of what is looked at an instance may move out of it.
        if (moved.start < at("2026-12-01T00:00:00Z")) {
            expected.insert(described(one.key.uid, moved));
        }
        EXPECT_EQ(seenIn(*after), expected) << *after;
    });
}

TEST_F(RandomEdits, ThatRemoveTakeOneOccurrence) {
    forManyOccurrences([](const std::string& text, const FoundEvent& one) {
        const auto after = streamWithout(text, one.key, timeOfEdit);
        ASSERT_TRUE(after);
        EXPECT_EQ(seenIn(*after), without(one, seenIn(text))) << *after;
    });
}

// A change that cannot be made without another is refused, which must stay the override.
class RandomEditsOfOtherForms : public testing::Test {
  protected:
    using Edit = std::function<std::optional<std::string>(
        const std::string& text, const FoundEvent& one, Occurrences& expected)>;

    // Applies the edit to many instances and compares with what it expects; `expected` holds all
    // the others when it is called.
    void expectOf(const Edit& edit) {
        constexpr std::array<const char*, 4> zones{
            "UTC", "America/St_Johns", "Australia/Lord_Howe", "Europe/Berlin"};
        test::RandomStreams streams(3213, test::RandomStreams::Variety::all);
        std::size_t made = 0;
        std::size_t refused = 0;
        for (std::size_t round = 0; round < 600 && !HasFailure(); ++round) {
            const support::ScopedTimeZone local(zones[round % zones.size()]);
            const std::string text = streams.next();
            const std::vector<FoundEvent> events = everything(text);
            if (events.empty()) {
                continue;
            }
            // An override may lie outside of what is looked at.
            const std::vector<FoundEvent> farEvents =
                RangeQuery(at("2024-01-01T00:00:00Z"), at("2028-01-01T00:00:00Z")).eventsIn(text);
            for (int i = 0; i < 3 && !HasFailure(); ++i) {
                const auto place =
                    static_cast<std::size_t>(streams.below(static_cast<int>(events.size())));
                const FoundEvent& one = events[place];
                // Two instances of one original start cannot be told apart.
                if (std::count_if(farEvents.begin(), farEvents.end(), [&](const FoundEvent& each) {
                        return each.key.uid == one.key.uid &&
                               each.key.originalStart == one.key.originalStart;
                    }) > 1) {
                    continue;
                }
                Occurrences expected = without(one, seenIn(text));
                const auto after = edit(text, one, expected);
                ++(after ? made : refused);
                if (after) {
                    EXPECT_EQ(seenIn(*after), expected)
                        << zones[round % zones.size()] << "\n"
                        << text << "\n"
                        << one.key.uid << " " << test::spanOf(one.event) << "\n"
                        << *after;
                }
            }
        }
        EXPECT_GT(made, 500u);
        EXPECT_LT(refused * 20, made) << refused;
    }
};

TEST_F(RandomEditsOfOtherForms, ChangeTheTitleOfOneOccurrence) {
    expectOf([](const std::string& text, const FoundEvent& one, Occurrences& expected) {
        model::EventChanges changes;
        changes.title = "new";
        model::Event changed = one.event;
        changed.title = "new";
        expected.insert(described(one.key.uid, changed));
        return updatedStream(text, one.key, changes, timeOfEdit);
    });
}

TEST_F(RandomEditsOfOtherForms, MoveOneOccurrence) {
    expectOf([](const std::string& text, const FoundEvent& one, Occurrences& expected) {
        model::EventChanges changes;
        changes.isAllDay = false;
        changes.start = one.event.start + std::chrono::hours(1);
        changes.end = one.event.end + std::chrono::hours(2);
        model::Event moved = one.event;
        moved.start = *changes.start;
        moved.end = *changes.end;
        if (moved.start < at("2026-12-01T00:00:00Z")) {
            expected.insert(described(one.key.uid, moved));
        }
        return updatedStream(text, one.key, changes, timeOfEdit);
    });
}

TEST_F(RandomEditsOfOtherForms, RemoveOneOccurrence) {
    expectOf([](const std::string& text, const FoundEvent& one, Occurrences&) {
        return streamWithout(text, one.key, timeOfEdit);
    });
}

} // namespace
} // namespace quenbrook::icalendar
