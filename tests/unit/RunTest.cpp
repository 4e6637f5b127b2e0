#include "src/Run.h"

#include "tests/support/InMemoryStore.h"
#include "tests/unit/ProgramRun.h"
#include "tests/unit/UnitSupport.h"

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

using std::string_literals::operator""s;
using Strings = std::vector<std::string>;
using support::InMemoryStore;

constexpr std::string_view denied =
    R"({"code":"ACCESS_DENIED","error":"Calendar access not granted (status=2). Grant access in )"
    R"(System Settings → Privacy & Security → Calendars."})"
    "\n";
constexpr std::string_view unexpected =
    R"({"code":"UNKNOWN","error":"Quenbrook encountered an unexpected error"})"
    "\n";

TEST(Run, WithoutAWordReadsNothingAndOpensNoStore) {
    InMemoryStore store;
    EXPECT_EQ(runProgram(store, {}),
        (Outcome{2, {},
            {R"-({"code":"UNKNOWN_SUBCOMMAND","error":"(none — no subcommand provided)"})-"
             "\n"},
            {}}));
    EXPECT_TRUE(store.calls.empty());
}

TEST(Run, ReadsTheInputThenOpensTheStoreOnceThenAsksForAccess) {
    InMemoryStore store;
    for (const std::string_view word : {"list-calendars", "get-event", "", "no-such-word"}) {
        store.calls.clear();
        EXPECT_EQ(runProgram(store, {word}).steps, (Strings{"read", "open"}));
        ASSERT_FALSE(store.calls.empty());
        EXPECT_EQ(store.calls.front(), "authorizationStatus()");
    }
}

TEST(Run, AnswersInOneLine) {
    InMemoryStore store;
    store.add(calendarNamed("a/b"));
    EXPECT_EQ(runProgram(store, {"list-calendars"}),
        (Outcome{0,
            {R"({"calendars":[{"id":"a\/b","name":"Calendar a\/b","writable":true}]})"
             "\n"},
            {}, {"read", "open"}}));
}

TEST(Run, ListsCalendarsWhateverStandsOnStandardInput) {
    InMemoryStore store;
    for (const std::string& input : {""s, "x"s, "\xFF\xFE"s, "{"s, "\0"s}) {
        EXPECT_EQ(runProgram(store, {"list-calendars"}, input).output(), "{\"calendars\":[]}\n");
    }
}

TEST(Run, IgnoresFurtherArguments) {
    InMemoryStore store;
    EXPECT_EQ(runProgram(store, {"list-calendars", "list-events", ""}),
        runProgram(store, {"list-calendars"}));
}

TEST(Run, EchoesAnUnknownWord) {
    InMemoryStore store;
    const std::vector<std::pair<std::string, std::string>> words = {
        {"xyz", "xyz"},
        {"", ""},
        {"LIST-CALENDARS", "LIST-CALENDARS"},
        {"a\"\\/", R"(a\"\\\/)"},
    };
    for (const auto& [word, echo] : words) {
        EXPECT_EQ(runProgram(store, {word}),
            (Outcome{1, {}, {R"({"code":"UNKNOWN_SUBCOMMAND","error":")" + echo + "\"}\n"},
                {"read", "open"}}));
    }
}

TEST(Run, DemandsAccessBeforeItLooksAtTheWord) {
    InMemoryStore store;
    store.status = 2;
    for (const std::string_view word : {"list-calendars", "get-event", "no-such-word"}) {
        const Outcome outcome = runProgram(store, {word}, "no JSON");
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output(), "");
        EXPECT_EQ(outcome.error(), denied);
    }
}

TEST(Run, ReportsAMissingRequest) {
    InMemoryStore store;
    const std::string expected =
        R"({"code":"MISSING_ARGS","error":"Subcommand 'GetEventRequest' requires JSON on stdin"})"
        "\n";
    for (const std::string& input : {""s, " \n \r\n"s, "\u00A0"s, "{\"id\":\"\xFF\"}"s}) {
        const Outcome outcome = runProgram(store, {"get-event"}, input);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.error(), expected);
    }
}

TEST(Run, ReportsAMalformedRequest) {
    InMemoryStore store;
    EXPECT_EQ(runProgram(store, {"list-events"}, "[]").error(),
        "{\"code\":\"INVALID_JSON\",\"error\":\"The request is an array, expected an object\"}\n");
}

TEST(Run, WritesEachDocumentInOneWrite) {
    InMemoryStore store;
    EXPECT_EQ(runProgram(store, {"list-calendars"}).outputWrites.size(), 1U);
    EXPECT_EQ(runProgram(store, {"no-such-word"}).errorWrites.size(), 1U);
}

struct WordRun {
    std::string_view word;
    std::string input;
    std::string output;
};

TEST(Run, CarriesOutEveryWord) {
    const std::string snapshot =
        R"({"attendees":[{"email":"a@b.cc","name":"","status":"accepted"}],"availability":"busy",)"
        R"("calendarId":"C","endISO":"2025-03-14T10:00:00.000Z","hasAlarms":false,"id":"E",)"
        R"("isAllDay":false,"recurrenceRuleCount":0,"recurrenceRules":[],)"
        R"("startISO":"2025-03-14T09:00:00.000Z","title":"Event E"})";
    const std::vector<WordRun> words = {
        {"list-calendars", "", R"({"calendars":[{"id":"C","name":"Calendar C","writable":true}]})"},
        {"list-events",
            R"({"startISO":"2025-03-14T00:00:00Z","endISO":"2025-03-15T00:00:00Z","calendarIds":["C"]})",
            "{\"events\":[" + snapshot + "]}"},
        {"get-event", R"({"calendarId":"C","eventId":"E"})", "{\"event\":" + snapshot + "}"},
        {"get-attendee-status", R"({"id":"E"})",
            R"({"attendees":[{"email":"a@b.cc","name":"","status":"accepted"}],"id":"E"})"},
        {"create-event",
            R"({"calendarId":"C","title":"t","startISO":"2025-03-14T11:30:00+02:00","endISO":"2025-03-14T10:00:00.5Z"})",
            R"({"calendarId":"C","endISO":"2025-03-14T10:00:00.500Z","id":"EVENT-2","startISO":"2025-03-14T09:30:00.000Z"})"},
        {"update-event", R"({"id":"E","patch":{}})", R"({"id":"E","updated":true})"},
        {"cancel-event", R"({"id":"E"})", R"({"cancelled":true,"id":"E"})"},
    };
    for (const auto& [word, input, output] : words) {
        InMemoryStore store;
        store.add(calendarNamed("C"));
        model::Event event = eventNamed("E", calendarNamed("C"));
        event.participants = {{"mailto:a@b.cc", std::nullopt, 2}};
        store.add(event);
        EXPECT_EQ(runProgram(store, {word}, "\n " + input + " \n"),
            (Outcome{0, {output + "\n"}, {}, {"read", "open"}}));
    }
}

TEST(Run, ReportsTheErrorOfAnOperation) {
    InMemoryStore store;
    EXPECT_EQ(runProgram(store, {"get-attendee-status"}, R"({"id":"un/known \u0000é"})").error(),
        R"({"code":"EVENT_NOT_FOUND","error":"un\/known \u0000é"})"
        "\n");
}

TEST(Run, ReportsAFailureOfThePlatformWithoutItsText) {
    InMemoryStore store;
    store.failure = "the disk is on fire";
    const std::vector<std::pair<std::string_view, std::string>> requests = {
        {"list-calendars", ""},
        {"list-events", R"({"startISO":"2025-03-14T00:00:00Z","endISO":"2025-03-15T00:00:00Z"})"},
        {"get-event", R"({"calendarId":"C","eventId":"E"})"},
        {"get-attendee-status", R"({"id":"E"})"},
        {"create-event", R"({"calendarId":"C","title":"","startISO":"","endISO":""})"},
        {"update-event", R"({"id":"E","patch":{}})"},
        {"cancel-event", R"({"id":"E"})"},
    };
    for (const auto& [word, input] : requests) {
        const Outcome outcome = runProgram(store, {word}, input);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output(), "");
        EXPECT_EQ(outcome.error(), unexpected);
    }
}

TEST(Run, ReportsAnErrorOfThePromptAsUnexpected) {
    InMemoryStore store;
    store.status = 0;
    store.prompt = {.granted = false, .error = "the platform's words", .answersLate = true};
    EXPECT_EQ(runProgram(store, {"list-calendars"}).error(), unexpected);
}

// What a run makes of an exception that something it calls throws.
template <class Exception>
Outcome outcomeOfThrowing(const Exception& exception) {
    class Throwing final : public ForwardingStore {
      public:
        Throwing(stores::CalendarStore& store, Exception thrown)
            : ForwardingStore(store)
            , thrown_(std::move(thrown)) {}
        std::vector<model::Calendar> calendars() override { throw thrown_; }

      private:
        Exception thrown_;
    };
    InMemoryStore store;
    Throwing throwing(store, exception);
    return runProgram(throwing, {"list-calendars"});
}

TEST(Run, ReportsEveryOtherExceptionAsUnexpected) {
    const Outcome expected{1, {}, {std::string(unexpected)}, {"read", "open"}};
    EXPECT_EQ(outcomeOfThrowing(std::runtime_error("text")), expected);
    EXPECT_EQ(outcomeOfThrowing(std::bad_alloc()), expected);
    EXPECT_EQ(outcomeOfThrowing(5), expected);
}

TEST(Run, ReportsAStoreThatCannotBeOpened) {
    std::string error;
    const Streams streams{[] { return ""s; }, [](std::string_view) {},
        [&error](std::string_view text) { error += text; }};
    const std::vector<std::string_view> arguments = {"list-calendars"};
    EXPECT_EQ(run(arguments, streams,
                  []() -> std::unique_ptr<stores::CalendarStore> {
                      throw model::PlatformError("no store");
                  }),
        ExitStatus::reportedError);
    EXPECT_EQ(error, unexpected);
}

} // namespace
} // namespace quenbrook::tests
