#include "tests/support/InMemoryStore.h"
#include "tests/unit/UnitSupport.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

TEST(ListCalendars, KeepsTheOrderOfTheStoreAndItsDoubles) {
    support::InMemoryStore store;
    model::Calendar b = calendarNamed("b", false);
    b.title = "Same";
    model::Calendar a = calendarNamed("a");
    a.title = "Same";
    store.add(b);
    store.add(a);
    EXPECT_EQ(clientOf(store).listCalendars(),
        (std::vector<CalendarInfoDTO>{
            {"b", "Same", false, std::nullopt, std::nullopt, std::nullopt},
            {"a", "Same", true, std::nullopt, std::nullopt, std::nullopt}}));
    EXPECT_EQ(store.calls, std::vector<std::string>{"calendars()"});
}

TEST(ListCalendars, IsEmptyForAStoreWithoutCalendars) {
    support::InMemoryStore store;
    EXPECT_TRUE(clientOf(store).listCalendars().empty());
}

} // namespace
} // namespace quenbrook::tests
