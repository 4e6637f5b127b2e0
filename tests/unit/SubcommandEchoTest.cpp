#include "src/Subcommands.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook {
namespace {

using std::string_literals::operator""s;

struct Echo {
    std::string word;
    std::string echo;
};

const std::vector<Echo> echoes = {
    {"", ""},
    {"xyz", "xyz"},
    {std::string(64, 'a'), std::string(64, 'a')},
    {std::string(100, 'a'), std::string(64, 'a')},
    {"ab\ncd", "abcd"},
    {"a\vb\fc\rd\r\ne", "abcde"},
    {"a\tb\x1B"
     "c\x7F"
     "d",
        "a\tb\x1B"
        "c\x7F"
        "d"},
    {"a\0b"s, "a\0b"s},
    {"a\u0085b\u2028c\u2029d", "abcd"},
    {"café", "caf"},
    {"cafe\u0301", "caf"},
    {"e\u0301xyz", "xyz"},
    {"\u0301xyz", "xyz"},
    {"👨‍👩‍👧ok🇦🇹", "ok"},
    {"1\uFE0F\u20E3 2", " 2"},
    {"a\"b\\c/d", "a\"b\\c/d"},
    // The limit counts user-perceived characters, those that are dropped included.
    {std::string(63, 'a') + "e\u0301b", std::string(63, 'a')},
    {std::string(63, 'a') + "\r\nb", std::string(63, 'a')},
    {std::string(62, 'a') + "\r\nbc", std::string(62, 'a') + "b"},
    // What is no UTF-8 is dropped like every character outside ASCII, and counts.
    {"a\xFF"
     "b\xE2\x82",
        "ab"},
    {std::string(63, '\xFF') + "ab", "a"},
};

TEST(SubcommandEcho, KeepsASCIIOfTheFirst64Characters) {
    for (const auto& [word, echo] : echoes) {
        EXPECT_EQ(subcommandEcho(word), echo) << testing::PrintToString(word);
    }
}

} // namespace
} // namespace quenbrook
