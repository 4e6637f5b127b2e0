#include "src/EventStoreClient.h"

#include "tests/support/InMemoryStore.h"
#include "tests/unit/UnitSupport.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

using Strings = std::vector<std::string>;
using support::InMemoryStore;

std::string accessFailure(stores::CalendarStore& store) {
    return failureOf([&store] { clientOf(store).requestAccess(); });
}

struct RefusedStatus {
    std::int64_t status;
    std::string failure;
};

const std::vector<RefusedStatus> refusals = {
    {1, "ACCESS_DENIED: Calendar access not granted (status=1). Grant access in System Settings → "
        "Privacy & Security → Calendars."},
    {2, "ACCESS_DENIED: Calendar access not granted (status=2). Grant access in System Settings → "
        "Privacy & Security → Calendars."},
    {4, "ACCESS_DENIED: Only write-only Calendar access granted; full access is required."},
    {5, "ACCESS_DENIED: Unknown EKAuthorizationStatus (5)."},
    {-1, "ACCESS_DENIED: Unknown EKAuthorizationStatus (-1)."},
    {INT64_MAX, "ACCESS_DENIED: Unknown EKAuthorizationStatus (9223372036854775807)."},
};

TEST(RequestAccess, RefusesEveryStatusButFullAccess) {
    for (const auto& [status, failure] : refusals) {
        InMemoryStore store;
        store.status = status;
        EXPECT_EQ(accessFailure(store), failure);
        EXPECT_EQ(store.calls, Strings{"authorizationStatus()"});
    }
}

TEST(RequestAccess, ReturnsWithoutAPromptWhenAccessIsThere) {
    InMemoryStore store;
    EXPECT_EQ(accessFailure(store), "");
    EXPECT_EQ(store.calls, Strings{"authorizationStatus()"});
}

TEST(RequestAccess, AsksWhenItWasNeverAskedAndReadsTheStatusOnce) {
    for (const bool late : {false, true}) {
        InMemoryStore store;
        store.status = 0;
        store.prompt = {.granted = true, .error = std::nullopt, .answersLate = late};
        EXPECT_EQ(accessFailure(store), "");
        EXPECT_EQ(store.calls, (Strings{"authorizationStatus()", "requestFullAccess()"}));
    }
}

TEST(RequestAccess, ReportsThatTheUserDeclined) {
    for (const bool late : {false, true}) {
        InMemoryStore store;
        store.status = 0;
        store.prompt = {.granted = false, .error = std::nullopt, .answersLate = late};
        EXPECT_EQ(accessFailure(store), "ACCESS_DENIED: User declined Calendar access.");
    }
}

TEST(RequestAccess, ThrowsTheErrorOfThePlatformItselfWhateverTheFlag) {
    for (const bool late : {false, true}) {
        for (const bool granted : {false, true}) {
            InMemoryStore store;
            store.status = 0;
            store.prompt = {.granted = granted, .error = "the prompt broke", .answersLate = late};
            try {
                clientOf(store).requestAccess();
                ADD_FAILURE() << "nothing was thrown";
            } catch (const model::PlatformError& error) {
                EXPECT_STREQ(error.what(), "the prompt broke");
            }
        }
    }
}

class PromptingStore final : public ForwardingStore {
  public:
    PromptingStore(
        stores::CalendarStore& store, std::function<void(stores::AccessCompletion)> prompt)
        : ForwardingStore(store)
        , prompt_(std::move(prompt)) {}
    std::int64_t authorizationStatus() override { return 0; }
    void requestFullAccess(stores::AccessCompletion completion) override {
        prompt_(std::move(completion));
    }

  private:
    std::function<void(stores::AccessCompletion)> prompt_;
};

TEST(RequestAccess, TakesTheFirstAnswerOnly) {
    InMemoryStore inner;
    PromptingStore store(inner, [](const stores::AccessCompletion& completion) {
        completion(true, std::nullopt);
        completion(false, model::PlatformError("again"));
    });
    EXPECT_EQ(accessFailure(store), "");
}

TEST(RequestAccess, DoesNotWaitForAnAnswerThatCanNoLongerCome) {
    InMemoryStore inner;
    PromptingStore store(inner, [](const stores::AccessCompletion&) {});
    EXPECT_THROW(clientOf(store).requestAccess(), std::exception);
}

} // namespace
} // namespace quenbrook::tests
