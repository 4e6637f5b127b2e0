#include "tests/eventkit/StoreTest.h"

#include <functional>

#include <gmock/gmock.h>

namespace quenbrook::eventkit {

using platform::CalendarStore;

namespace {

struct Operation {
    const char* name;
    // Looks up what the operation works on, and returns the operation itself.
    std::function<std::function<void()>(CalendarStore&)> prepare;
};

const Operation operations[] = {
    {"authorizationStatus",
        [](CalendarStore& store) { return [&] { store.authorizationStatus(); }; }},
    {"requestFullAccess",
        [](CalendarStore& store) { return [&] { store.requestFullAccess([](bool, auto) {}); }; }},
    {"calendars", [](CalendarStore& store) { return [&] { store.calendars(); }; }},
    {"calendar", [](CalendarStore& store) { return [&] { store.calendar("C1"); }; }},
    {"events of all calendars",
        [](CalendarStore& store) { return [&] { store.events(ten, eleven, std::nullopt); }; }},
    {"events of some calendars",
        [](CalendarStore& store) {
            return [&, calendars = store.calendars()] {
                store.events(ten, eleven, std::span<const platform::Calendar>(calendars));
            };
        }},
    {"event", [](CalendarStore& store) { return [&] { store.event("E1"); }; }},
    {"create",
        [](CalendarStore& store) {
            return [&, calendar = store.calendar("C1").value()] {
                store.create(
                    calendar, {.title = "T",
                                  .start = ten,
                                  .end = eleven,
                                  .isAllDay = false,
                                  .location = "L",
                                  .notes = "N",
                                  .alarms = {{-60, 0}},
                                  .recurrenceRules = {{{.frequency = 1,
                                      .interval = 2,
                                      .end = platform::RecurrenceEnd::withOccurrenceCount(2)}}}});
            };
        }},
    {"update",
        [](CalendarStore& store) {
            return [&, event = store.event("E1").value()] {
                store.update(
                    event, {.title = "T",
                               .start = ten,
                               .end = eleven,
                               .isAllDay = false,
                               .location = "L",
                               .notes = "N",
                               .alarms = {{-60, 0}},
                               .recurrenceRules = {
                                   {{.frequency = 1,
                                        .interval = 2,
                                        .end = platform::RecurrenceEnd::withEndDate(eleven),
                                        .daysOfTheWeek = {2}},
                                       {.frequency = 0, .interval = 1}}}});
            };
        }},
    {"remove",
        [](CalendarStore& store) {
            return [&, event = store.event("E1").value()] { store.remove(event); };
        }},
};

} // namespace

class Exceptions : public StoreTest {
  protected:
    void layOut() {
        world_.raisingCall.reset();
        world_.calendars = {fullCalendar(u"C1"), fullCalendar(u"C2")};
        world_.events = {fullEvent(u"E1", u"C1"), fullEvent(u"E2", u"C2")};
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
            if (calls[i].starts_with("CG")) {
                continue;
            }
            SCOPED_TRACE(std::string(operation.name) + ", " + calls[i]);
            {
                layOut();
                const auto disturbed = operation.prepare(store());
                world_.calls.clear();
                world_.raisingCall = i;
                try {
                    disturbed();
                    ADD_FAILURE() << "nothing was thrown";
                } catch (const platform::PlatformError& error) {
                    EXPECT_STREQ(error.what(), "the stand-in was told to raise");
                }
                world_.raisingCall.reset();
                EXPECT_EQ(world_.calls.size(), i + 1);
            }
            closeStore();
            EXPECT_THAT(standin::liveObjects(), testing::IsEmpty());
        }
    }
}

TEST_F(Exceptions, OfOpeningBecomePlatformErrors) {
    world_.raisingCall = 0;
    EXPECT_THROW(platform::openCalendarStore(), platform::PlatformError);
}

TEST_F(Exceptions, BeforeASaveLeaveTheCalendarAsItWas) {
    layOut();
    const auto before = world_.events;
    const auto event = store().event("E1").value();
    world_.calls.clear();
    // After the two setters: the save itself.
    world_.raisingCall = 2;
    EXPECT_THROW(store().update(event, {.title = "T", .notes = "N"}), platform::PlatformError);
    EXPECT_TRUE(world_.calls.back().starts_with("EKEventStore saveEvent:"));
    EXPECT_EQ(world_.events, before);
}

TEST_F(Exceptions, LeaveTheStoreUsable) {
    layOut();
    world_.calls.clear();
    world_.raisingCall = 0;
    EXPECT_THROW(store().calendars(), platform::PlatformError);
    world_.raisingCall.reset();
    EXPECT_EQ(store().calendars().size(), 2U);
}

} // namespace quenbrook::eventkit
