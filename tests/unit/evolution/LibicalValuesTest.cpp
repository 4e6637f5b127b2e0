#include "stores/evolution/LibicalValues.h"

#include <gtest/gtest.h>

namespace quenbrook::stores::evolution {
namespace {

TEST(ValuesForLibical, LackTheBlanksAroundThem) {
    EXPECT_EQ(valueForLibical("a"), "a");
    EXPECT_EQ(valueForLibical(" \tin  side\t "), "in  side");
    EXPECT_EQ(valueForLibical("\\n \\n"), "\\n \\n");
}

TEST(ValuesForLibical, AreNoneWhenTheyAreBlank) {
    EXPECT_EQ(valueForLibical(""), std::nullopt);
    EXPECT_EQ(valueForLibical(" \t"), std::nullopt);
}

} // namespace
} // namespace quenbrook::stores::evolution
