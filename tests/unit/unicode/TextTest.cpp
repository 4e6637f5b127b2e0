#include "unicode/Text.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::unicode {
namespace {

using std::string_literals::operator""s;

struct Repair {
    std::string bytes;
    std::string repaired;
};

// The maximal subparts are those of the Unicode Standard's own tables in section 3.9.
const std::vector<Repair> repairs = {
    {"", ""},
    {"plain", "plain"},
    {"caf\xC3\xA9 \xF0\x9F\x98\x80", "café 😀"},
    {"\x80", "\uFFFD"},
    {"\xC0\xAF", "\uFFFD\uFFFD"},
    {"\xE0\x80\xBF", "\uFFFD\uFFFD\uFFFD"},
    {"\xED\xA0\x80\xED\xBF\xBF", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\x41\uFFFD\uFFFD\x42"},
    {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "\uFFFD\uFFFD\uFFFD\uFFFD\x41"},
    {"0123456789\xFF"
     "0123456789",
        "0123456789\uFFFD"
        "0123456789"},
    {"cut short \xE2\x82", "cut short \uFFFD"},
    {"nul\0kept"s, "nul\0kept"s},
};

TEST(Text, ReplacesEachMaximalSubpartThatIsNoUTF8) {
    for (const auto& [bytes, repaired] : repairs) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        EXPECT_EQ(repairedUTF8(bytes), repaired);
    }
}

TEST(Text, TellsValidUTF8FromOtherBytes) {
    for (const auto& [bytes, repaired] : repairs) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        EXPECT_EQ(isValidUTF8(bytes), bytes == repaired);
        EXPECT_TRUE(isValidUTF8(repaired));
    }
}

TEST(Text, TrimsUnicodeWhiteSpaceAtBothEnds) {
    const std::vector<std::string> whiteSpace = {"\t", "\n", "\v", "\f", "\r", " ", "\u0085",
        "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006",
        "\u2007", "\u2008", "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};
    std::string all;
    for (const std::string& space : whiteSpace) {
        EXPECT_EQ(trimmed(space), "");
        EXPECT_EQ(trimmed(space + "a" + space + "b" + space), "a" + space + "b");
        all += space;
    }
    EXPECT_EQ(trimmed(all), "");
    EXPECT_EQ(trimmed(all + "é" + all), "é");
}

TEST(Text, TrimsNothingElse) {
    for (const std::string& text : {"\u200B"s, "\uFEFF"s, "\0"s, "\x1F"s, "\u180E"s, "x"s, ""s}) {
        EXPECT_EQ(trimmed(text), text);
    }
}

TEST(Text, TrimsZeroWidthSpaceOnlyAsThePlatformDoes) {
    const std::string zeroWidth = "\u200B \u200B\n";
    EXPECT_EQ(trimmed(zeroWidth + "a"), zeroWidth + "a");
    EXPECT_EQ(trimmedAtPlatformSpaces(zeroWidth), "");
    EXPECT_EQ(trimmedAtPlatformSpaces(zeroWidth + "a\u200Bb" + zeroWidth), "a\u200Bb");
    for (const std::string& text : {"\u200C"s, "\uFEFF"s, "\u2060"s, "\xE2\x80"s, "x"s, ""s}) {
        EXPECT_EQ(trimmedAtPlatformSpaces(text), text);
    }
}

TEST(Text, TrimsBytesThatAreNoTextWithoutReadingBeyondThem) {
    EXPECT_EQ(trimmed(" \x80 "), "\x80");
    EXPECT_EQ(trimmed("\xC2"), "\xC2");
    EXPECT_EQ(trimmed("\xA0\x20"), "\xA0");
}

TEST(Text, LowercasesFully) {
    EXPECT_EQ(lowercased("mOnThLy"), "monthly");
    EXPECT_EQ(lowercased("ÄÖÜ ΑΒΓ"), "äöü αβγ");
    EXPECT_EQ(lowercased("\u0130"), "i\u0307");
    EXPECT_EQ(lowercased("WEE\u212ALY"), "weekly");
    EXPECT_EQ(lowercased("A\0B"s), "a\0b"s);
    EXPECT_EQ(lowercased(""), "");
}

TEST(Text, CutsUserPerceivedCharacters) {
    using Clusters = std::vector<std::string_view>;
    EXPECT_EQ(graphemeClusters("", 64), Clusters{});
    EXPECT_EQ(graphemeClusters("abc", 2), (Clusters{"a", "b"}));
    EXPECT_EQ(graphemeClusters("e\u0301x", 64), (Clusters{"e\u0301", "x"}));
    EXPECT_EQ(graphemeClusters("\r\n\n\r", 64), (Clusters{"\r\n", "\n", "\r"}));
    EXPECT_EQ(graphemeClusters("👨‍👩‍👧🇦🇹🇩🇪", 2),
        (Clusters{"👨‍👩‍👧", "🇦🇹"}));
    EXPECT_EQ(graphemeClusters("abc", 0), Clusters{});
}

TEST(RegularExpression, MatchesTheWholeTextOnly) {
    RegularExpression expression("^[a-z]+$");
    EXPECT_TRUE(expression.matchesWhole("abc"));
    EXPECT_FALSE(expression.matchesWhole("abc\n"));
    EXPECT_FALSE(expression.matchesWhole("abc\0"s));
    EXPECT_FALSE(expression.matchesWhole(" abc"));
    EXPECT_FALSE(expression.matchesWhole(""));
}

TEST(RegularExpression, MatchesAtAnOffsetWithTheTextBeforeInView) {
    RegularExpression expression(R"(\btag\b)");
    EXPECT_TRUE(expression.matchesAt("a tag", 2));
    EXPECT_FALSE(expression.matchesAt("a tag", 0));
    EXPECT_FALSE(expression.matchesAt("xtag", 1));
    EXPECT_TRUE(expression.matchesAt("é tag", 3));
    EXPECT_FALSE(expression.matchesAt("étag", 2));
}

TEST(RegularExpression, RefusesWhatIsNoPattern) {
    EXPECT_THROW(RegularExpression("a("), std::invalid_argument);
}

TEST(RegularExpression, CountsWhatExceedsItsMemoryAsNoMatch) {
    RegularExpression expression("(ab|cd){2,}");
    std::string text;
    for (int i = 0; i < 2'000'000; ++i) {
        text += "ab";
    }
    EXPECT_FALSE(expression.matchesWhole(text));
    EXPECT_TRUE(expression.matchesWhole("abcd"));
}

} // namespace
} // namespace quenbrook::unicode
