#include "json/JsonWriter.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook {

struct WrittenInner {
    std::int64_t z = 0;
    std::optional<bool> a;
};

struct WrittenOuter {
    std::string text;
    bool flag = false;
    std::optional<std::string> absent;
    std::vector<std::int64_t> numbers;
    std::optional<std::vector<WrittenInner>> inners;
    WrittenInner inner;
    std::int64_t Upper = 0;
    std::int64_t number10 = 0;
    std::int64_t number2 = 0;
};

struct WrittenList {
    std::vector<WrittenInner> inners;
};

template <>
inline constexpr auto json::recordFields<WrittenInner> =
    std::tuple{json::field("z", &WrittenInner::z), json::field("a", &WrittenInner::a)};
template <>
inline constexpr auto json::recordFields<WrittenOuter> = std::tuple{
    json::field("text", &WrittenOuter::text), json::field("flag", &WrittenOuter::flag),
    json::field("absent", &WrittenOuter::absent), json::field("numbers", &WrittenOuter::numbers),
    json::field("inners", &WrittenOuter::inners), json::field("inner", &WrittenOuter::inner),
    json::field("Upper", &WrittenOuter::Upper), json::field("number10", &WrittenOuter::number10),
    json::field("number2", &WrittenOuter::number2)};

template <>
inline constexpr auto json::recordFields<WrittenList> =
    std::tuple{json::field("inners", &WrittenList::inners)};

namespace {

using json::encodeJson;
using std::string_literals::operator""s;

std::string written(std::string_view text) {
    std::string out;
    json::appendJsonString(out, text);
    return out;
}

TEST(JsonWriter, WritesKeysInOrdinalOrderAndLeavesOutWhatIsAbsent) {
    EXPECT_EQ(encodeJson(WrittenOuter{}),
        R"({"Upper":0,"flag":false,"inner":{"z":0},"number10":0,"number2":0,"numbers":[],"text":""})");
}

TEST(JsonWriter, WritesNestedRecordsAndLists) {
    WrittenOuter outer;
    outer.text = "t";
    outer.flag = true;
    outer.absent = "";
    outer.numbers = {1, -2, 3};
    outer.inners = {{1, true}, {2, std::nullopt}};
    outer.inner.a = false;
    EXPECT_EQ(encodeJson(outer), R"({"Upper":0,"absent":"","flag":true,"inner":{"a":false,"z":0},)"
                                 R"("inners":[{"a":true,"z":1},{"z":2}],"number10":0,"number2":0,)"
                                 R"("numbers":[1,-2,3],"text":"t"})");
}

TEST(JsonWriter, WritesAPresentEmptyList) {
    WrittenOuter outer;
    outer.inners.emplace();
    EXPECT_NE(encodeJson(outer).find(R"("inners":[])"), std::string::npos);
}

TEST(JsonWriter, WritesTheWholeRangeOfIntegers) {
    EXPECT_EQ(encodeJson(WrittenInner{std::numeric_limits<std::int64_t>::min(), std::nullopt}),
        R"({"z":-9223372036854775808})");
    EXPECT_EQ(encodeJson(WrittenInner{std::numeric_limits<std::int64_t>::max(), std::nullopt}),
        R"({"z":9223372036854775807})");
}

TEST(JsonWriter, EscapesQuotationMarkSolidusAndReverseSolidus) {
    EXPECT_EQ(written("a\"b\\c/d"), R"("a\"b\\c\/d")");
    EXPECT_EQ(written("//"), R"("\/\/")");
}

TEST(JsonWriter, EscapesControlCharactersShortlyWhereItCan) {
    const std::vector<std::string> forms = {R"(\u0000)", R"(\u0001)", R"(\u0002)", R"(\u0003)",
        R"(\u0004)", R"(\u0005)", R"(\u0006)", R"(\u0007)", R"(\b)", R"(\t)", R"(\n)", R"(\u000b)",
        R"(\f)", R"(\r)", R"(\u000e)", R"(\u000f)", R"(\u0010)", R"(\u0011)", R"(\u0012)",
        R"(\u0013)", R"(\u0014)", R"(\u0015)", R"(\u0016)", R"(\u0017)", R"(\u0018)", R"(\u0019)",
        R"(\u001a)", R"(\u001b)", R"(\u001c)", R"(\u001d)", R"(\u001e)", R"(\u001f)"};
    for (std::size_t c = 0; c < forms.size(); ++c) {
        EXPECT_EQ(written(std::string(1, static_cast<char>(c))), "\"" + forms[c] + "\"");
    }
}

TEST(JsonWriter, WritesEverythingElseAsItIs) {
    const std::string text = "é → 😀 \x7F \u0085 \u2028 \uFFFF <>&'";
    EXPECT_EQ(written(text), "\"" + text + "\"");
}

// The writer looks at eight bytes at a time: an escape must be found at each place among them.
TEST(JsonWriter, FindsAnEscapeAtEveryPlace) {
    for (const char special : {'"', '\\', '/', '\n', '\0', '\x1F'}) {
        const std::string escape = written(std::string(1, special)).substr(1);
        for (std::size_t length = 1; length < 40; ++length) {
            for (std::size_t place = 0; place < length; ++place) {
                std::string text(length, '\xC3');
                text[place] = special;
                std::string expected = "\"" + std::string(place, '\xC3');
                expected.append(escape, 0, escape.size() - 1);
                expected.append(length - place - 1, '\xC3').push_back('"');
                ASSERT_EQ(written(text), expected) << length << ' ' << place;
            }
        }
    }
}

TEST(JsonListWriter, WritesWhatTheWholeRecordIsWrittenAs) {
    for (const std::size_t pieceSize : {64U, 100'000U, 100'000'000U}) {
        for (const std::size_t count : {0U, 1U, 2U, 3U, 10'000U}) {
            WrittenList list;
            json::JsonListWriter<WrittenList> writer(pieceSize);
            for (std::size_t i = 0; i < count; ++i) {
                list.inners.push_back({static_cast<std::int64_t>(i), true});
                writer.append(list.inners.back());
            }
            EXPECT_EQ(writer.take(), encodeJson(list)) << count << ' ' << pieceSize;
        }
    }
}

TEST(JsonRecord, IsEqualFieldByField) {
    WrittenOuter outer;
    EXPECT_EQ(outer, WrittenOuter{});
    outer.number2 = 1;
    EXPECT_NE(outer, WrittenOuter{});
    outer = {};
    outer.absent = "";
    EXPECT_NE(outer, WrittenOuter{});
    outer = {};
    outer.inner.a = false;
    EXPECT_NE(outer, WrittenOuter{});
}

} // namespace
} // namespace quenbrook
