#include "src/WriteJSON.h"

#include "tests/unit/UnitSupport.h"

#include <new>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

TEST(WriteJSON, EndsInOneLineFeed) {
    EXPECT_EQ(jsonLine(CancelEventResponse{"a\n", true}), "{\"cancelled\":true,\"id\":\"a\\n\"}\n");
}

TEST(WriteJSON, ReportsAnAnswerThatCannotBeEncoded) {
    EXPECT_EQ(failureOf([] { lineOf([]() -> std::string { throw std::bad_alloc(); }); }),
        "UNKNOWN: JSON encode failed: not enough memory");
    EXPECT_EQ(failureOf([] { lineOf([]() -> std::string { throw std::length_error(""); }); }),
        "UNKNOWN: JSON encode failed: the answer is too long");
}

} // namespace
} // namespace quenbrook::tests
