#include "src/DecodeStdin.h"

#include "tests/unit/UnitSupport.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

using std::string_literals::operator""s;

template <class Request>
std::string failureFor(std::string_view text) {
    return failureOf([text] { decodeStdin<Request>(text); });
}

struct Missing {
    std::string (*failure)(std::string_view text);
    std::string name;
};

const std::vector<Missing> missingRequests = {
    {failureFor<ListEventsRequest>, "ListEventsRequest"},
    {failureFor<CreateEventRequest>, "CreateEventRequest"},
    {failureFor<UpdateEventRequest>, "UpdateEventRequest"},
    {failureFor<CancelEventRequest>, "CancelEventRequest"},
    {failureFor<GetEventRequest>, "GetEventRequest"},
    {failureFor<GetAttendeeStatusRequest>, "GetAttendeeStatusRequest"},
};

TEST(DecodeStdin, ReportsAMissingRequestByItsRecord) {
    for (const auto& [failure, name] : missingRequests) {
        const std::string expected =
            "MISSING_ARGS: Subcommand '" + name + "' requires JSON on stdin";
        EXPECT_EQ(failure(""), expected);
        EXPECT_EQ(failure(" \n\t\r\n "), expected);
        EXPECT_EQ(failure("\u00A0\u2028\u3000\u0085\u200B"), expected);
    }
}

TEST(DecodeStdin, TrimsUnicodeWhiteSpaceAroundTheRequest) {
    EXPECT_EQ(
        decodeStdin<GetAttendeeStatusRequest>("\n \u00A0{\"id\": \" a \"}\u2029\r\n").id, " a ");
}

TEST(DecodeStdin, TrimsZeroWidthSpacesAroundTheRequestOnly) {
    EXPECT_EQ(decodeStdin<GetAttendeeStatusRequest>("\u200B \u200B{\"id\":\"\u200Ba\"}\n\u200B").id,
        "\u200Ba");
    EXPECT_EQ(failureFor<GetAttendeeStatusRequest>("{\u200B\"id\":\"a\"}"),
        "INVALID_JSON: The request is not valid JSON: syntax error at line 1, column 2 (byte "
        "offset 1)");
}

TEST(DecodeStdin, TakesAByteOrderMarkBeforeTheRequest) {
    EXPECT_EQ(decodeStdin<GetAttendeeStatusRequest>(" \n\uFEFF{\"id\":\"a\"}").id, "a");
    EXPECT_EQ(failureFor<GetAttendeeStatusRequest>(" \uFEFF\n"),
        "INVALID_JSON: The request is not valid JSON: it ends too early, at line 1, column 2 (byte "
        "offset 3)");
}

TEST(DecodeStdin, RefusesBytesThatAreNoText) {
    EXPECT_EQ(failureFor<GetEventRequest>("{\"calendarId\":\"\xFF\"}"),
        "INVALID_JSON: stdin is not valid UTF-8");
}

TEST(DecodeStdin, ReportsWhatIsWrongInASentence) {
    EXPECT_EQ(failureFor<GetEventRequest>("[]"),
        "INVALID_JSON: The request is an array, expected an object");
    EXPECT_EQ(failureFor<GetEventRequest>(R"({"eventId":"X"})"),
        "INVALID_JSON: The key 'calendarId' is missing, expected a string");
    EXPECT_EQ(failureFor<UpdateEventRequest>(
                  R"({"id":"a","patch":{"recurrenceRule":{"frequency":"daily","interval":1.5}}})"),
        "INVALID_JSON: The key 'patch.recurrenceRule.interval' is a number that is no 64-bit "
        "integer, expected a 64-bit integer");
    EXPECT_EQ(failureFor<GetEventRequest>("  {"),
        "INVALID_JSON: The request is not valid JSON: it ends too early, at line 1, column 2 (byte "
        "offset 1)");
    EXPECT_EQ(failureFor<GetEventRequest>("\0"s),
        "INVALID_JSON: The request is not valid JSON: syntax error at line 1, column 1 (byte "
        "offset 0)");
}

} // namespace
} // namespace quenbrook::tests
