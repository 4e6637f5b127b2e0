#include "src/WriteError.h"

#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

TEST(WriteError, WritesOneLineAtOnce) {
    std::vector<std::string> writes;
    const Streams streams{
        nullptr, nullptr, [&](std::string_view text) { writes.emplace_back(text); }};
    writeError(streams, {ErrorCase::calendarNotFound, "a\n\"ä\"/"});
    writeError(streams, {ErrorCase::unknown, ""});
    EXPECT_EQ(writes, (std::vector<std::string>{
                          "{\"code\":\"CALENDAR_NOT_FOUND\",\"error\":\"a\\n\\\"ä\\\"\\/\"}\n",
                          "{\"code\":\"UNKNOWN\",\"error\":\"\"}\n"}));
}

TEST(WriteError, IsSilentWhenItCannotWrite) {
    int writes = 0;
    const Streams streams{nullptr, nullptr, [&](std::string_view) {
                              ++writes;
                              throw std::bad_alloc();
                          }};
    writeError(streams, {ErrorCase::unknown, "lost"});
    EXPECT_EQ(writes, 1);
}

} // namespace
} // namespace quenbrook::tests
