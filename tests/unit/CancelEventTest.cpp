#include "src/EventStoreClient.h"

#include "tests/support/InMemoryStore.h"
#include "tests/unit/UnitSupport.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

using Strings = std::vector<std::string>;
using support::InMemoryStore;

class CancelEvent : public testing::Test {
  protected:
    CancelEvent() {
        store.add(calendarNamed("C"));
        store.add(eventNamed("E", calendarNamed("C")));
    }

    std::string failure(const std::string& identifier) {
        return failureOf([&] { client.cancelEvent({identifier, std::nullopt}); });
    }

    InMemoryStore store;
    EventStoreClient client = clientOf(store);
};

TEST_F(CancelEvent, RemovesTheEvent) {
    EXPECT_EQ(client.cancelEvent({"E", std::nullopt}), (CancelEventResponse{"E", true}));
    EXPECT_EQ(store.calls, (Strings{"event(E)", "remove(E)"}));
    EXPECT_EQ(failure("E"), "EVENT_NOT_FOUND: E");
}

TEST_F(CancelEvent, DoesTheSameWhateverTheReason) {
    for (const std::string& reason : {std::string(), std::string(100'000, 'x')}) {
        store.add(eventNamed("again", calendarNamed("C")));
        store.calls.clear();
        EXPECT_EQ(client.cancelEvent({"again", reason}), (CancelEventResponse{"again", true}));
        EXPECT_EQ(store.calls, (Strings{"event(again)", "remove(again)"}));
    }
}

TEST_F(CancelEvent, ReportsARefusedRemoval) {
    store.refusesRemovals = true;
    EXPECT_EQ(failure("E"), "EVENT_STORE_REMOVE_FAILED: EventKit remove failed");
}

TEST_F(CancelEvent, AnswersWithTheIdentifierAsReceived) {
    LenientStore lenient(store);
    EXPECT_EQ(clientOf(lenient).cancelEvent({"e", std::nullopt}).id, "e");
}

} // namespace
} // namespace quenbrook::tests
