#include "tests/eventkit/StoreTest.h"
#include "tests/support/EventsOf.h"

#include <algorithm>
#include <functional>

#include <gmock/gmock.h>

namespace quenbrook::eventkit {

using model::EventChanges;
using stores::CalendarStore;

namespace {

struct Operation {
    const char* name;
    // Looks up what the operation works on, and returns the operation itself.
    std::function<std::function<void()>(CalendarStore&)> prepare;
};

EventChanges changesWith(std::vector<model::RecurrenceRule> rules) {
    return {.title = "T",
        .start = ten,
        .end = eleven,
        .isAllDay = false,
        .location = "L",
        .notes = "N",
        .alarms = {{-60, 0}},
        .recurrenceRules = std::move(rules)};
}

const model::RecurrenceRule dailyRule{.frequency = 0, .interval = 1};
const model::RecurrenceRule countedRule{
    .frequency = 1, .interval = 2, .end = model::RecurrenceEnd::withOccurrenceCount(2)};
const model::RecurrenceRule datedRule{.frequency = 1,
    .interval = 2,
    .end = model::RecurrenceEnd::withEndDate(eleven),
    .daysOfTheWeek = {2}};

const Operation operations[] = {
    {"authorizationStatus",
        [](CalendarStore& store) { return [&] { store.authorizationStatus(); }; }},
    {"requestFullAccess",
        [](CalendarStore& store) { return [&] { store.requestFullAccess([](bool, auto) {}); }; }},
    {"calendars", [](CalendarStore& store) { return [&] { store.calendars(); }; }},
    {"calendar", [](CalendarStore& store) { return [&] { store.calendar("C1"); }; }},
    {"events of all calendars",
        [](CalendarStore& store) { return [&] { tests::eventsOf(store, ten, eleven); }; }},
    {"events of some calendars",
        [](CalendarStore& store) {
            return [&, calendars = store.calendars()] {
                tests::eventsOf(store, ten, eleven, std::span<const model::Calendar>(calendars));
            };
        }},
    {"event", [](CalendarStore& store) { return [&] { store.event("E1"); }; }},
    {"eventToChange", [](CalendarStore& store) { return [&] { store.eventToChange("E1"); }; }},
    {"participants", [](CalendarStore& store) { return [&] { store.participants("E1"); }; }},
    {"create",
        [](CalendarStore& store) {
            return [&, calendar = store.calendar("C1").value()] {
                store.create(calendar, changesWith({countedRule}));
            };
        }},
    {"update",
        [](CalendarStore& store) {
            return [&, event = store.event("E1").value()] {
                store.update(event, changesWith({datedRule, dailyRule}));
            };
        }},
    {"update with nothing to save",
        [](CalendarStore& store) {
            return [&, event = store.event("E1").value()] { store.update(event, {}); };
        }},
    {"remove",
        [](CalendarStore& store) {
            return [&, event = store.event("E1").value()] { store.remove(event); };
        }},
    {"remove from a series",
        [](CalendarStore& store) {
            return [&, event = store.event("series").value()] { store.remove(event); };
        }},
};

// Whether the event is saved, and what is left is to tell of it.
bool isAfterASave(const std::vector<std::string>& calls, std::size_t place) {
    // Whether there was anything to save is asked only when nothing was saved.
    const auto before = calls.begin() + static_cast<std::ptrdiff_t>(place);
    return calls[place] != "EKEvent hasChanges" &&
           std::any_of(calls.begin(), before,
               [](const std::string& call) { return call.starts_with("EKEventStore saveEvent:"); });
}

} // namespace

class Exceptions : public StoreTest {
  protected:
    void layOut() {
        world_.raisingCall.reset();
        world_.calendars = {fullCalendar(u"C1"), fullCalendar(u"C2")};
        world_.events = {fullEvent(u"E1", u"C1"), fullEvent(u"E2", u"C2")};
        addEvent(u"series").recurrenceRules = {{.frequency = 0, .interval = 1}};
        store();
    }

    std::vector<std::string> undisturbedCalls(const Operation& operation) {
        layOut();
        const auto undisturbed = operation.prepare(store());
        return callsOf(undisturbed);
    }
};

TEST_F(Exceptions, OfEveryCallBecomePlatformErrors) {
    for (const Operation& operation : operations) {
        const auto calls = undisturbedCalls(operation);
        ASSERT_FALSE(calls.empty()) << operation.name;

        for (std::size_t i = 0; i < calls.size(); ++i) {
            if (calls[i].starts_with("CG") || isAfterASave(calls, i)) {
                continue;
            }
            SCOPED_TRACE(std::string(operation.name) + ", " + calls[i]);
            {
                layOut();
                const auto disturbed = operation.prepare(store());
                const auto before = world_.events;
                world_.calls.clear();
                world_.raisingCall = i;
                try {
                    disturbed();
                    ADD_FAILURE() << "nothing was thrown";
                } catch (const model::PlatformError& error) {
                    EXPECT_STREQ(error.what(), "the stand-in was told to raise");
                }
                world_.raisingCall.reset();
                EXPECT_EQ(world_.calls.size(), i + 1);
                EXPECT_EQ(world_.events, before);
            }
            closeStore();
            EXPECT_THAT(standin::liveObjects(), testing::IsEmpty());
        }
    }
}

TEST_F(Exceptions, AfterASaveLeaveItSaved) {
    const EventChanges changes{.title = "T", .start = ten, .end = eleven, .isAllDay = false};
    layOut();
    const auto calendar = store().calendar("C1").value();
    const auto calls = callsOf([&] { store().create(calendar, changes); });
    std::size_t reads = 0;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        if (!isAfterASave(calls, i)) {
            continue;
        }
        SCOPED_TRACE(calls[i]);
        ++reads;
        layOut();
        world_.calls.clear();
        world_.raisingCall = i;
        const auto saved = store().create(calendar, changes);
        world_.raisingCall.reset();
        ASSERT_TRUE(saved);
        ASSERT_EQ(world_.events.size(), 4U);
        EXPECT_EQ(saved->identifier.has_value(), calls[i] != "EKEvent eventIdentifier");
        EXPECT_EQ(saved->calendarIdentifier, "C1");
        EXPECT_EQ(saved->start, ten);
        EXPECT_EQ(saved->end, eleven);
    }
    EXPECT_EQ(reads, 4U);
}

TEST_F(Exceptions, OfOpeningBecomePlatformErrors) {
    world_.raisingCall = 0;
    EXPECT_THROW(stores::openCalendarStore(), model::PlatformError);
}

TEST_F(Exceptions, BeforeASaveLeaveTheCalendarAsItWas) {
    layOut();
    const auto before = world_.events;
    const auto event = store().event("E1").value();
    world_.calls.clear();
    // After the two setters: the save itself.
    world_.raisingCall = 2;
    EXPECT_THROW(store().update(event, {.title = "T", .notes = "N"}), model::PlatformError);
    EXPECT_TRUE(world_.calls.back().starts_with("EKEventStore saveEvent:"));
    EXPECT_EQ(world_.events, before);
}

TEST_F(Exceptions, LeaveTheStoreUsable) {
    layOut();
    world_.calls.clear();
    world_.raisingCall = 0;
    EXPECT_THROW(store().calendars(), model::PlatformError);
    world_.raisingCall.reset();
    EXPECT_EQ(store().calendars().size(), 2U);
}

} // namespace quenbrook::eventkit
