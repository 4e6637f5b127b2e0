#include "files/RandomUid.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

namespace quenbrook::files {
namespace {

TEST(RandomUids, AreUuidsOfVersion4InUpperCase) {
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    std::set<char> characters;
    for (int i = 0; i < 1'000; ++i) {
        const std::string uid = randomUid();
        EXPECT_TRUE(std::regex_match(uid, form)) << uid;
        EXPECT_TRUE(seen.insert(uid).second) << uid;
        characters.insert(uid.begin(), uid.end());
    }
    EXPECT_EQ(characters.size(), 17u);
}

} // namespace
} // namespace quenbrook::files
