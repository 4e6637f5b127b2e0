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

// A store that notes how much of an event it is asked for.
class AskedStore final : public ForwardingStore {
  public:
    AskedStore(stores::CalendarStore& store, Strings& asked)
        : ForwardingStore(store)
        , asked_(asked) {}

    std::optional<model::Event> event(std::string_view identifier) override {
        asked_.emplace_back("all");
        return ForwardingStore::event(identifier);
    }
    std::optional<model::Event> eventToChange(std::string_view identifier) override {
        asked_.emplace_back("what changing takes");
        return ForwardingStore::event(identifier);
    }
    std::optional<std::vector<model::Participant>> participants(
        std::string_view identifier) override {
        asked_.emplace_back("participants");
        return ForwardingStore::event(identifier)->participants;
    }

  private:
    Strings& asked_;
};

class AnEventOfAClient : public testing::Test {
  protected:
    AnEventOfAClient() {
        store.add(calendarNamed("C"));
        store.add(calendarNamed("R", false));
        store.add(eventNamed("E", calendarNamed("C")));
        store.add(eventNamed("R1", calendarNamed("R", false)));
        model::Event stray = eventNamed("stray", calendarNamed("C"));
        stray.calendar = nullptr;
        store.add(stray);
    }

    // What each operation that changes the event fails with.
    Strings failuresOfChanging(stores::CalendarStore& through, const std::string& identifier) {
        UpdateEventRequest update{identifier, {}};
        // Only an event that may be changed is looked at any further.
        update.patch.startISO = "no date";
        return {failureOf([&] { clientOf(through).updateEvent(update); }), failureOf([&] {
                    clientOf(through).cancelEvent({identifier, std::nullopt});
                })};
    }

    void expectToRefuse(const std::string& identifier, const std::string& failure) {
        store.calls.clear();
        EXPECT_EQ(failuresOfChanging(store, identifier), Strings(2, failure));
        EXPECT_EQ(store.calls, Strings(2, "event(" + identifier + ")"));
    }

    InMemoryStore store;
};

TEST_F(AnEventOfAClient, IsAskedForAsFarAsTheOperationTakes) {
    Strings asked;
    EventStoreClient client(std::make_unique<AskedStore>(store, asked));
    client.getEvent({"C", "E"});
    client.getAttendeeStatus({"E"});
    client.updateEvent({"E", {}});
    client.cancelEvent({"E", std::nullopt});
    EXPECT_EQ(
        asked, (Strings{"all", "participants", "what changing takes", "what changing takes"}));
}

TEST_F(AnEventOfAClient, HasToBeThereToBeChanged) {
    expectToRefuse("un known", "EVENT_NOT_FOUND: un known");
}

TEST_F(AnEventOfAClient, HasToBeInACalendarThatMayBeChanged) {
    expectToRefuse("R1", "READ_ONLY_CALENDAR: Event 'R1' belongs to a read-only calendar.");
    expectToRefuse("stray", "READ_ONLY_CALENDAR: Event 'stray' belongs to a read-only calendar.");
}

TEST_F(AnEventOfAClient, IsNamedByTheIdentifierAsReceived) {
    LenientStore lenient(store);
    EXPECT_EQ(failuresOfChanging(lenient, "r1"),
        Strings(2, "READ_ONLY_CALENDAR: Event 'r1' belongs to a read-only calendar."));
}

} // namespace
} // namespace quenbrook::tests
