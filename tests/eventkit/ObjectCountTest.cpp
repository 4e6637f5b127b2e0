#include "tests/eventkit/StoreTest.h"
#include "tests/support/EventsOf.h"

#include <gmock/gmock.h>

namespace quenbrook::eventkit {

using testing::ElementsAre;
using testing::Pair;

// What the count itself can tell: without this, "none alive" could be the answer to everything.
class ObjectCount : public StoreTest {};

TEST_F(ObjectCount, SeesTheStore) {
    store();
    EXPECT_THAT(standin::liveObjects(), ElementsAre(Pair("EKEventStore", 1)));
}

TEST_F(ObjectCount, SeesTheEventsThatAreHeld) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    world_.events = {fullEvent(u"E1", u"C1"), fullEvent(u"E2", u"C1")};
    {
        const auto events = tests::eventsOf(store(), ten, eleven);
        EXPECT_THAT(
            standin::liveObjects(), ElementsAre(Pair("EKEvent", 2), Pair("EKEventStore", 1)));
    }
    EXPECT_THAT(standin::liveObjects(), ElementsAre(Pair("EKEventStore", 1)));
}

TEST_F(ObjectCount, SeesOneObjectForACalendarHoweverOftenItIsRead) {
    world_.calendars = {fullCalendar(u"C1"), fullCalendar(u"C2")};
    store().calendar("C1");
    store().calendars();
    store().calendars();
    const auto objects = standin::liveObjects();
    EXPECT_EQ(objects.at("EKCalendar"), 2);
    EXPECT_FALSE(objects.contains("EKSource"));
    EXPECT_FALSE(objects.contains("CGColorSpace"));
    // Each calendar's own colour, none of the converted ones.
    EXPECT_EQ(objects.at("CGColor"), 2);
}

TEST_F(ObjectCount, KeepsTheStoreWhileAnEventIsHeld) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    world_.events.push_back(fullEvent(u"E1", u"C1"));
    {
        const auto event = store().event("E1");
        closeStore();
        EXPECT_THAT(
            standin::liveObjects(), ElementsAre(Pair("EKEvent", 1), Pair("EKEventStore", 1)));
    }
    EXPECT_THAT(standin::liveObjects(), testing::IsEmpty());
}

TEST_F(ObjectCount, SeesABlockWhileAPromptIsOpen) {
    std::map<std::string, int> objects;
    store().requestFullAccess([&](bool, auto) { objects = standin::liveObjects(); });
    EXPECT_EQ(objects["block"], 1);
    EXPECT_FALSE(standin::liveObjects().contains("block"));
}

using ObjectCountDeathTest = ObjectCount;

TEST_F(ObjectCountDeathTest, EndsTheProcessWhenAnObjectDiesTwice) {
    const int object = 0;
    standin::countBirth(&object, "object");
    standin::countDeath(&object);
    EXPECT_DEATH(standin::countDeath(&object), "released once too often");
}

} // namespace quenbrook::eventkit
