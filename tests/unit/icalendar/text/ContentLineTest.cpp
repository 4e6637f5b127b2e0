#include "icalendar/text/ContentLine.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

namespace quenbrook::icalendar {
namespace {

struct LineCase {
    std::string_view line;
    std::string_view name;
    std::string_view parameters;
    std::string_view value;
};
constexpr std::array lineCases{
    LineCase{"SUMMARY:Lunch", "SUMMARY", "", "Lunch"},
    LineCase{"summary:Lunch", "summary", "", "Lunch"},
    LineCase{"X-EMPTY:", "X-EMPTY", "", ""},
    LineCase{"URL:https://example.org:8080/a;b", "URL", "", "https://example.org:8080/a;b"},
    LineCase{"SUMMARY;LANGUAGE=de:Essen", "SUMMARY", "LANGUAGE=de", "Essen"},
    LineCase{"A;B=c;D=e:v", "A", "B=c;D=e", "v"},
    LineCase{"A;:v", "A", "", "v"},
    LineCase{R"(ATTENDEE;CN="Doe: Jane; x, y":mailto:j@example.org)", "ATTENDEE",
        R"(CN="Doe: Jane; x, y")", "mailto:j@example.org"},
    LineCase{R"(A;B="c";D="e:f":g"h:i)", "A", R"(B="c";D="e:f")", R"(g"h:i)"},
    // A quotation mark that is never closed does not swallow the value.
    LineCase{R"(ATTENDEE;CN="Jane:mailto:j@example.org)", "ATTENDEE", R"(CN="Jane)",
        "mailto:j@example.org"},
    LineCase{R"(SUMMARY:"quoted: text")", "SUMMARY", "", R"("quoted: text")"},
};

TEST(ContentLines, AreSplitAtTheFirstColonOutsideOfQuotes) {
    for (const LineCase& row : lineCases) {
        const auto line = parseContentLine(row.line);
        ASSERT_TRUE(line) << row.line;
        EXPECT_EQ(line->name, row.name) << row.line;
        EXPECT_EQ(line->parameters, row.parameters) << row.line;
        EXPECT_EQ(line->value, row.value) << row.line;
    }
}

TEST(ContentLines, NeedANameAndAColon) {
    for (const std::string_view line :
        {"", ":value", ";A=b:value", "no colon", "NAME;PARAMETER=value", R"(NAME;A="b)"}) {
        EXPECT_FALSE(parseContentLine(line)) << line;
    }
}

struct ParameterCase {
    std::string_view parameters;
    std::string_view name;
    std::optional<std::string_view> value;
};
constexpr std::array parameterCases{
    ParameterCase{"CN=Jane", "CN", "Jane"},
    ParameterCase{"cn=Jane", "CN", "Jane"},
    ParameterCase{"CN=Jane;PARTSTAT=ACCEPTED", "PARTSTAT", "ACCEPTED"},
    ParameterCase{"CN=Jane;PARTSTAT=ACCEPTED", "STAT", std::nullopt},
    ParameterCase{"", "CN", std::nullopt},
    ParameterCase{"CN", "CN", std::nullopt},
    ParameterCase{"CN=", "CN", ""},
    ParameterCase{R"(CN="")", "CN", ""},
    ParameterCase{R"(CN="a;PARTSTAT=DECLINED:b,c";PARTSTAT=ACCEPTED)", "PARTSTAT", "ACCEPTED"},
    ParameterCase{
        R"(CN="a;PARTSTAT=DECLINED:b,c";PARTSTAT=ACCEPTED)", "CN", "a;PARTSTAT=DECLINED:b,c"},
    ParameterCase{"CN=a=b", "CN", "a=b"},
    ParameterCase{"CN=first;CN=second", "CN", "first"},
    // RFC 6868.
    ParameterCase{"CN=George Herman ^'Babe^' Ruth", "CN", "George Herman \"Babe\" Ruth"},
    ParameterCase{R"(CN="two^nlines")", "CN", "two\nlines"},
    ParameterCase{"CN=^^", "CN", "^"},
    ParameterCase{"CN=^^n", "CN", "^n"},
    ParameterCase{"CN=a^xb^", "CN", "a^xb^"},
    ParameterCase{"CN=J\xC3\xBCrgen", "CN", "J\xC3\xBCrgen"},
    ParameterCase{"CN=J\xFCrgen", "CN", "J\xEF\xBF\xBDrgen"},
};

TEST(Parameters, AreFoundByNameAndDecoded) {
    for (const ParameterCase& row : parameterCases) {
        const auto value = parameterValue({"X", row.parameters, ""}, row.name);
        EXPECT_EQ(value.has_value(), row.value.has_value()) << row.parameters;
        EXPECT_EQ(value.value_or(""), row.value.value_or("")) << row.parameters;
    }
}

TEST(Parameters, ComeBackAsTheyWereWritten) {
    for (const std::string_view value : {"", "Jane", "Doe: Jane; x, y", "a\"b", "^", "^^n", "^'",
             "two\nlines", "J\xC3\xBCrgen", "\"", " "}) {
        const std::string line = "X;A=" + encodeParameter(value) + ";B=c:v";
        const auto read = parseContentLine(line);
        ASSERT_TRUE(read) << line;
        EXPECT_EQ(parameterValue(*read, "A"), value) << line;
        EXPECT_EQ(parameterValue(*read, "B"), "c") << line;
        EXPECT_EQ(read->value, "v") << line;
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    }
}

TEST(Parameters, OfAnUnbalancedQuoteAreReadAsFarAsTheyGo) {
    EXPECT_EQ(parameterValue({"X", R"(A=1;CN="Jane;B=2)", ""}, "A"), "1");
    EXPECT_FALSE(parameterValue({"X", R"(A=1;CN="Jane;B=2)", ""}, "B"));
}

struct TextCase {
    std::string_view value;
    std::string_view text;
};
constexpr std::array readTextCases{
    TextCase{"", ""},
    TextCase{"plain", "plain"},
    TextCase{R"(a\, b\; c\\ d)", R"(a, b; c\ d)"},
    TextCase{R"(one\ntwo\Nthree)", "one\ntwo\nthree"},
    TextCase{R"(a\\nb)", R"(a\nb)"},
    TextCase{R"(a\\\nb)", "a\\\nb"},
    TextCase{R"(a\tb\:c\"d)", R"(a\tb\:c\"d)"},
    TextCase{"trailing\\", "trailing\\"},
    TextCase{"not, escaped; here", "not, escaped; here"},
    TextCase{"a\xFF\\,b", "a\xEF\xBF\xBD,b"},
    // A character cut short, an overlong form and a surrogate.
    TextCase{"\xE2\x82", "\xEF\xBF\xBD"},
    TextCase{"\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
    TextCase{"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
};

TEST(Texts, AreReadWithTheirEscapesAndRepaired) {
    for (const TextCase& row : readTextCases) {
        EXPECT_EQ(decodeText(row.value), row.text) << row.value;
    }
}

constexpr std::array writtenTextCases{
    TextCase{"", ""},
    TextCase{R"(a\, b\; c\\ d)", R"(a, b; c\ d)"},
    TextCase{R"(one\ntwo)", "one\ntwo"},
    TextCase{R"(one\ntwo\n)", "one\r\ntwo\r\n"},
    TextCase{R"(one\ntwo\n)", "one\rtwo\r"},
    TextCase{R"(\n\n\n\n\n)", "\r\r\n\n\r\n\r"},
    TextCase{R"(\\n)", R"(\n)"},
    TextCase{"tab\tstays: \"so\"", "tab\tstays: \"so\""},
};

TEST(Texts, AreWrittenWithTheirEscapes) {
    for (const TextCase& row : writtenTextCases) {
        EXPECT_EQ(encodeText(row.text), row.value) << row.text;
    }
}

TEST(Texts, RefuseEveryControlCharacterButTabAndLineBreaks) {
    for (int byte = 0; byte < 0x100; ++byte) {
        const std::string text = "a" + std::string(1, static_cast<char>(byte)) + "b";
        const bool isRefused =
            (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') || byte == 0x7F;
        EXPECT_EQ(canHoldText(text), !isRefused) << byte;
    }
}

std::string utf8(char32_t scalar) {
    const auto tail = [&](unsigned shift) {
        return static_cast<char>(0x80 | (scalar >> shift & 0x3F));
    };
    if (scalar < 0x80) {
        return {static_cast<char>(scalar)};
    }
    if (scalar < 0x800) {
        return {static_cast<char>(0xC0 | scalar >> 6), tail(0)};
    }
    if (scalar < 0x10000) {
        return {static_cast<char>(0xE0 | scalar >> 12), tail(6), tail(0)};
    }
    return {static_cast<char>(0xF0 | scalar >> 18), tail(12), tail(6), tail(0)};
}

TEST(Texts, OfAllOfUnicodeComeBackAsTheyWereWritten) {
    std::string text;
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        const bool isSurrogate = scalar >= 0xD800 && scalar < 0xE000;
        if (!isSurrogate && scalar != U'\r' && canHoldText(utf8(scalar))) {
            text += utf8(scalar);
        }
    }
    EXPECT_EQ(decodeText(encodeText(text)), text);
}

std::string unfolded(std::string_view text) {
    std::string line;
    std::size_t position = 0;
    while (const auto physical = physicalLineAt(text, position)) {
        line += position == 0 ? physical->text : physical->text.substr(1);
        position = physical->next;
    }
    return line;
}

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

void expectWellFolded(const std::string& line, std::string_view lineEnd) {
    const std::string folded = foldLine(line, lineEnd);
    EXPECT_EQ(unfolded(folded), line);
    ASSERT_TRUE(folded.ends_with(lineEnd));
    std::size_t position = 0;
    while (const auto physical = physicalLineAt(folded, position)) {
        EXPECT_LE(physical->text.size(), 75u);
        EXPECT_EQ(isContinuation(folded, position), position > 0);
        const std::size_t begin = position > 0 ? 1 : 0;
        EXPECT_TRUE(physical->text.size() <= begin || !isContinuationByte(physical->text[begin]));
        EXPECT_EQ(folded.substr(position + physical->text.size(), lineEnd.size()), lineEnd);
        position = physical->next;
    }
}

TEST(Folding, LeavesALineOf75OctetsAsItIs) {
    EXPECT_EQ(foldLine("", "\r\n"), "\r\n");
    EXPECT_EQ(foldLine(std::string(75, 'x'), "\r\n"), std::string(75, 'x') + "\r\n");
    EXPECT_EQ(foldLine(std::string(76, 'x'), "\r\n"), std::string(75, 'x') + "\r\n x\r\n");
    EXPECT_EQ(foldLine(std::string(75 + 74, 'x'), "\n"),
        std::string(75, 'x') + "\n " + std::string(74, 'x') + "\n");
}

TEST(Folding, NeverSplitsACharacter) {
    constexpr std::array<std::string_view, 4> characters{
        "x", "\xC3\xBC", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"};
    std::mt19937 random(5545);
    for (int round = 0; round < 500; ++round) {
        std::string line;
        const std::size_t count = random() % 200;
        for (std::size_t i = 0; i < count; ++i) {
            line += characters[random() % characters.size()];
        }
        expectWellFolded(line, round % 2 == 0 ? "\r\n" : "\n");
    }
}

TEST(Folding, KeepsBlanksAtThePlaceOfAFold) {
    expectWellFolded(std::string(75, 'x') + " \t y", "\r\n");
    expectWellFolded(std::string(74, 'x') + "  " + std::string(80, ' ') + "end", "\r\n");
}

TEST(Folding, ComesToAnEndWithBytesThatAreNoCharacters) {
    const std::string line(1000, '\x80');
    EXPECT_EQ(unfolded(foldLine(line, "\r\n")), line);
}

TEST(PhysicalLines, EndWithLineFeedOrBothOrTheText) {
    constexpr std::string_view text = "a\r\nb\nc\rd\r\r\n\n\te";
    constexpr std::array<std::string_view, 5> lines{"a", "b", "c\rd\r", "", "\te"};
    std::size_t position = 0;
    for (const std::string_view line : lines) {
        const auto physical = physicalLineAt(text, position);
        ASSERT_TRUE(physical);
        EXPECT_EQ(physical->text, line);
        EXPECT_EQ(isContinuation(text, position), line == "\te");
        position = physical->next;
    }
    EXPECT_FALSE(physicalLineAt(text, position));
    EXPECT_FALSE(physicalLineAt("", 0));
}

TEST(Names, AreComparedWithoutTheCaseOfAsciiLetters) {
    EXPECT_TRUE(equalsIgnoringCase("VEvent", "vEVENT"));
    EXPECT_FALSE(equalsIgnoringCase("VEVENT", "VEVENTS"));
    // Characters that differ from each other by the same bit as letters do.
    EXPECT_FALSE(equalsIgnoringCase("[", "{"));
    EXPECT_FALSE(equalsIgnoringCase("@", "`"));
    EXPECT_FALSE(equalsIgnoringCase("\xC3\x84", "\xC3\xA4"));
}

} // namespace
} // namespace quenbrook::icalendar
