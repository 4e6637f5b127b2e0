#include "src/Subcommands.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook {
namespace {

using std::string_literals::operator""s;

TEST(Subcommands, AreSevenInThisOrder) {
    std::vector<std::string_view> words;
    for (const Subcommand& subcommand : subcommands()) {
        words.push_back(subcommand.word);
        EXPECT_EQ(findSubcommand(subcommand.word), &subcommand);
    }
    EXPECT_EQ(words, (std::vector<std::string_view>{"list-calendars", "list-events", "create-event",
                         "update-event", "cancel-event", "get-event", "get-attendee-status"}));
}

TEST(Subcommands, AreFoundByTheExactWordOnly) {
    for (const std::string_view word : {"", "LIST-CALENDARS", "list-calendars ", " list-calendars",
             "list-calendar", "list-calendars-", "list_calendars", "xyz"}) {
        EXPECT_EQ(findSubcommand(word), nullptr) << word;
    }
    EXPECT_EQ(findSubcommand("list-calendars\0"s), nullptr);
}

} // namespace
} // namespace quenbrook
