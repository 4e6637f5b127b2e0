#include "icalendar/text/Component.h"

#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

namespace quenbrook::icalendar {
namespace {

using test::crlf;

std::optional<ParsedComponent> parsed(std::string_view text) {
    return ParsedComponent::parse(text, {0, text.size()});
}

TEST(Components, AreReadWithWhatStandsInThem) {
    const std::string text = crlf(
        "BEGIN:VEVENT\nUID:1\nSUMMARY;LANGUAGE=de:Essen\nBEGIN:VALARM\nACTION:DISPLAY\nEND:VALARM\n"
        "BEGIN:X-NOTE\nEND:X-NOTE\nLOCATION:Here\nEND:VEVENT\n");
    const auto event = parsed(text);
    ASSERT_TRUE(event);
    EXPECT_EQ((*event)->name, "VEVENT");
    ASSERT_EQ((*event)->properties.size(), 3u);
    EXPECT_EQ((*event)->first("summary")->parameters, "LANGUAGE=de");
    EXPECT_EQ((*event)->first("LOCATION")->value, "Here");
    EXPECT_EQ((*event)->first("ACTION"), nullptr);
    ASSERT_EQ((*event)->components.size(), 2u);
    EXPECT_EQ((*event)->components[0].name, "VALARM");
    EXPECT_EQ((*event)->components[0].first("ACTION")->value, "DISPLAY");
    EXPECT_EQ((*event)->components[1].name, "X-NOTE");
}

struct FoldedCase {
    std::string_view description;
    std::string_view text;
};
constexpr FoldedCase foldedCases[] = {
    {"not at all", "BEGIN:VEVENT\r\nSUMMARY;LANGUAGE=de:Essen\r\nEND:VEVENT\r\n"},
    {"in name, parameter and value",
        "BEGIN:VEVENT\r\nSUM\r\n MARY;LANG\r\n\tUAGE=de\r\n :Es\r\n s\r\n en\r\nEND:VEVENT\r\n"},
    {"in BEGIN and END",
        "BEG\r\n IN:VE\r\n VENT\r\nSUMMARY;LANGUAGE=de:Essen\r\nEND:VE\r\n VENT\r\n"},
    {"with line feeds alone", "BEGIN:VEVENT\nSUMMARY;LANGUAGE\n =de:Essen\nEND:VEVENT\n"},
    {"with mixed endings", "BEGIN:VEVENT\nSUMMARY;LANGUAGE\r\n =de\n :Essen\r\nEND:VEVENT\n"},
    {"with empty continuations",
        "BEGIN:VEVENT\r\nSUMMARY;LANGUAGE=de:Es\r\n \r\n\t\r\n sen\r\nEND:VEVENT\r\n"},
    {"without an ending of the last line",
        "BEGIN:VEVENT\r\nSUMMARY;LANGUAGE=de:Essen\r\nEND:VEVENT"},
};

TEST(Components, AreUnfoldedWhereverALineIsFolded) {
    for (const FoldedCase& row : foldedCases) {
        const auto event = parsed(row.text);
        ASSERT_TRUE(event) << row.description;
        ASSERT_EQ((*event)->properties.size(), 1u) << row.description;
        const Property& summary = (*event)->properties[0];
        EXPECT_EQ(summary.name, "SUMMARY") << row.description;
        EXPECT_EQ(summary.parameters, "LANGUAGE=de") << row.description;
        EXPECT_EQ(summary.value, "Essen") << row.description;
    }
}

TEST(Components, PutTogetherACharacterThatAFoldSplit) {
    const auto event = parsed("BEGIN:VEVENT\r\nSUMMARY:\xE2\x82\r\n \xAC\r\nEND:VEVENT\r\n");
    ASSERT_TRUE(event);
    EXPECT_EQ((*event)->first("SUMMARY")->value, "\xE2\x82\xAC");
}

TEST(Components, KnowThePlaceOfEveryProperty) {
    const std::string text = "BEGIN:VEVENT\r\nSUMMARY:a\r\n "
                             "b\r\njunk\r\nUID:1\nBEGIN:VALARM\r\nEND:VALARM\r\nEND:VEVENT\r\n";
    const auto event =
        ParsedComponent::parse("outside\r\n" + text + "outside", {9, 9 + text.size()});
    ASSERT_TRUE(event);
    const std::string whole = "outside\r\n" + text;
    const auto bytes = [&](TextRange range) {
        return whole.substr(range.begin, range.end - range.begin);
    };
    ASSERT_EQ((*event)->properties.size(), 2u);
    EXPECT_EQ(bytes((*event)->properties[0].range), "SUMMARY:a\r\n b\r\n");
    EXPECT_EQ(bytes((*event)->properties[1].range), "UID:1\n");
    EXPECT_EQ(bytes((*event)->components[0].range), "BEGIN:VALARM\r\nEND:VALARM\r\n");
    EXPECT_EQ(bytes((*event)->range), text);
    EXPECT_EQ(whole.substr((*event)->bodyEnd), "END:VEVENT\r\n");
}

std::string nested(int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i) {
        text += "BEGIN:X-" + std::to_string(i) + "\r\n";
    }
    for (int i = depth; i-- > 0;) {
        text += "END:X-" + std::to_string(i) + "\r\n";
    }
    return text;
}

TEST(Components, AreReadEightDeepAndNoDeeper) {
    EXPECT_TRUE(parsed(nested(8)));
    EXPECT_FALSE(parsed(nested(9)));
    EXPECT_FALSE(parsed(nested(100'000)));
}

TEST(Components, HoldAtMost200000Lines) {
    const auto withProperties = [](std::size_t count) {
        std::string text = "BEGIN:VEVENT\n";
        for (std::size_t i = 0; i < count; ++i) {
            text += "X:\n";
        }
        return text + "END:VEVENT\n";
    };
    EXPECT_TRUE(parsed(withProperties(199'998)));
    EXPECT_FALSE(parsed(withProperties(199'999)));
}

constexpr std::string_view brokenComponents[] = {
    "",
    "\r\n",
    "BEGIN:VEVENT\r\n",
    "BEGIN:VEVENT\r\nUID:1\r\n",
    "BEGIN:VEVENT\r\nEND:VTODO\r\n",
    "BEGIN:VEVENT\r\nBEGIN:VALARM\r\nEND:VEVENT\r\n",
    "BEGIN:VEVENT\r\nBEGIN:VALARM\r\nEND:VEVENT\r\nEND:VALARM\r\n",
    "END:VEVENT\r\n",
    "UID:1\r\nBEGIN:VEVENT\r\nEND:VEVENT\r\n",
};

TEST(Components, ThatAreNotProperlyNestedAreNone) {
    for (const std::string_view text : brokenComponents) {
        EXPECT_FALSE(parsed(text)) << text;
    }
}

} // namespace
} // namespace quenbrook::icalendar
