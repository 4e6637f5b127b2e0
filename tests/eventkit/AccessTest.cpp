#include "tests/eventkit/StoreTest.h"
#include "tests/support/EventsOf.h"

#include <functional>
#include <future>
#include <thread>

#include <gmock/gmock.h>

namespace quenbrook::eventkit {

using testing::ElementsAre;

namespace {

struct Answer {
    bool granted;
    std::optional<std::string> error;
    std::thread::id thread;
};

} // namespace

class Access : public StoreTest {
  protected:
    // Every answer that the completion was given by the time the prompt had been dealt with.
    std::vector<Answer> ask() {
        std::vector<Answer> answers;
        store().requestFullAccess([&](bool granted, std::optional<model::PlatformError> error) {
            answers.push_back(
                {granted, error ? std::optional<std::string>(error->what()) : std::nullopt,
                    std::this_thread::get_id()});
        });
        world_.waitForAnswers();
        return answers;
    }
};

TEST_F(Access, ReportsTheStatusNumberOfTheClass) {
    for (const std::int64_t status : {0, 1, 2, 3, 4, 5, -1}) {
        world_.authorizationStatus = status;
        EXPECT_EQ(store().authorizationStatus(), status);
    }
    EXPECT_THAT(callsOf([&] { store().authorizationStatus(); }),
        ElementsAre("EKEventStore authorizationStatusForEntityType: 0"));
}

TEST_F(Access, OpensTheStoreWithoutAskingItAnything) {
    store();
    EXPECT_THAT(world_.calls, ElementsAre("EKEventStore init"));
}

TEST_F(Access, HandsOnAnAnswerGivenBeforeTheRequestReturns) {
    for (const bool granted : {true, false}) {
        world_.prompt = {.granted = granted};
        const auto answers = ask();
        ASSERT_EQ(answers.size(), 1U);
        EXPECT_EQ(answers[0].granted, granted);
        EXPECT_EQ(answers[0].error, std::nullopt);
        EXPECT_EQ(answers[0].thread, std::this_thread::get_id());
    }
}

TEST_F(Access, HandsOnAnAnswerGivenLaterOnAnotherThread) {
    for (const bool granted : {true, false}) {
        world_.prompt = {.granted = granted, .answersLate = true};
        const auto answers = ask();
        ASSERT_EQ(answers.size(), 1U);
        EXPECT_EQ(answers[0].granted, granted);
        EXPECT_EQ(answers[0].error, std::nullopt);
        EXPECT_NE(answers[0].thread, std::this_thread::get_id());
    }
}

TEST_F(Access, HandsOnAnErrorWhateverTheFlag) {
    for (const bool late : {false, true}) {
        for (const bool granted : {false, true}) {
            world_.prompt = {.granted = granted,
                .error = u"The prompt \xD83D\xDDD3 failed",
                .answersLate = late};
            const auto answers = ask();
            ASSERT_EQ(answers.size(), 1U);
            EXPECT_EQ(answers[0].error, "The prompt \xF0\x9F\x97\x93 failed");
        }
    }
}

TEST_F(Access, OpensTheCalendarsOfAStoreThatWasOpenBefore) {
    for (const bool hides : {false, true}) {
        world_.hidesUntilReset = hides;
        world_.calendars.clear();
        addCalendar(u"C1");
        world_.authorizationStatus = 0;
        EXPECT_TRUE(store().calendars().empty());
        ask();
        EXPECT_EQ(store().calendars().size(), 1U);
        closeStore();
    }
}

TEST_F(Access, ResetsTheStoreBeforeTheFirstUseOfAGrantAndNeverElse) {
    addCalendar(u"C1");
    addEvent(u"E1");
    world_.hidesUntilReset = true;
    const std::function<void()> uses[] = {[&] { store().calendars(); },
        [&] { EXPECT_TRUE(store().calendar("C1")); }, [&] { EXPECT_TRUE(store().event("E1")); },
        [&] { EXPECT_TRUE(store().eventToChange("E1")); },
        [&] { EXPECT_TRUE(store().participants("E1")); },
        [&] { EXPECT_EQ(tests::eventsOf(store(), ten, eleven).size(), 1U); }};
    for (const auto& use : uses) {
        closeStore();
        world_.authorizationStatus = 0;
        ask();
        EXPECT_EQ(callsOf(use).front(), "EKEventStore reset");
        EXPECT_NE(callsOf(use).front(), "EKEventStore reset");
    }
    closeStore();
    EXPECT_EQ(callsOf(uses[0]).front(), "EKEventStore calendarsForEntityType: 0");
}

TEST_F(Access, HandsOnARefusalWithoutAPrompt) {
    for (const bool hasError : {false, true}) {
        world_.authorizationStatus = 0;
        world_.prompt = {.granted = false, .isShown = false};
        if (hasError) {
            world_.prompt.error = u"no usage text";
        }
        const auto answers = ask();
        ASSERT_EQ(answers.size(), 1U);
        EXPECT_FALSE(answers[0].granted);
        EXPECT_EQ(answers[0].error.has_value(), hasError);
        EXPECT_EQ(store().authorizationStatus(), 0);
    }
}

TEST_F(Access, KeepsTheCompletionUntilItsAnswerAndNoLonger) {
    world_.prompt = {.answersLate = true};
    std::promise<void> answered;
    std::weak_ptr<int> captured;
    {
        auto held = std::make_shared<int>(1);
        captured = held;
        store().requestFullAccess([held, &answered](bool, auto) { answered.set_value(); });
    }
    answered.get_future().wait();
    world_.waitForAnswers();
    EXPECT_TRUE(captured.expired());
}

TEST_F(Access, AsksTheUserWithOneCall) {
    EXPECT_THAT(callsOf([&] { ask(); }),
        ElementsAre("EKEventStore requestFullAccessToEventsWithCompletion:"));
}

} // namespace quenbrook::eventkit
