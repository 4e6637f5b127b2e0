#include "json/JsonReader.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook {

struct ReadInner {
    std::string s;
    std::optional<std::int64_t> i;
};

struct ReadOuter {
    std::string s;
    std::int64_t i = 0;
    bool b = false;
    std::vector<std::string> list;
    ReadInner inner;
    std::optional<std::string> os;
    std::optional<std::int64_t> oi;
    std::optional<bool> ob;
    std::optional<std::vector<std::int64_t>> olist;
    std::optional<std::vector<ReadInner>> inners;
};

template <>
inline constexpr auto json::recordFields<ReadInner> =
    std::tuple{json::field("s", &ReadInner::s), json::field("i", &ReadInner::i)};
template <>
inline constexpr auto json::recordFields<ReadOuter> =
    std::tuple{json::field("s", &ReadOuter::s), json::field("i", &ReadOuter::i),
        json::field("b", &ReadOuter::b), json::field("list", &ReadOuter::list),
        json::field("inner", &ReadOuter::inner), json::field("os", &ReadOuter::os),
        json::field("oi", &ReadOuter::oi), json::field("ob", &ReadOuter::ob),
        json::field("olist", &ReadOuter::olist), json::field("inners", &ReadOuter::inners)};

namespace {

using json::decodeJson;
using json::JsonFailure;
using std::string_literals::operator""s;

template <class Record>
std::string sentenceFor(std::string_view text) {
    const auto decoded = decodeJson<Record>(text);
    const auto* failure = std::get_if<JsonFailure>(&decoded);
    return failure == nullptr ? "" : failure->sentence();
}

ReadOuter outer(std::string_view text) {
    return std::get<ReadOuter>(decodeJson<ReadOuter>(text));
}

ReadInner inner(std::string_view text) {
    return std::get<ReadInner>(decodeJson<ReadInner>(text));
}

TEST(JsonReader, ReadsEveryKindOfField) {
    ReadOuter expected;
    expected.s = "text";
    expected.i = -7;
    expected.b = true;
    expected.list = {"a", "", "b"};
    expected.inner = {"in", 5};
    expected.os = "o";
    expected.oi = 9;
    expected.ob = false;
    expected.olist = {1, 2};
    expected.inners = {{"x", std::nullopt}, {"y", 1}};
    EXPECT_EQ(outer(R"({"inners":[{"s":"x"},{"i":1,"s":"y"}],"olist":[1,2],"ob":false,"oi":9,)"
                    R"("os":"o","inner":{"s":"in","i":5},"list":["a","","b"],"b":true,"i":-7,)"
                    R"("s":"text"})"),
        expected);
}

TEST(JsonReader, ReadsMissingAndNullOptionalFieldsAsAbsent) {
    const std::string required = R"("s":"","i":0,"b":false,"list":[],"inner":{"s":""})";
    EXPECT_EQ(outer("{" + required + "}"), ReadOuter{});
    EXPECT_EQ(
        outer("{" + required + R"(,"os":null,"oi":null,"ob":null,"olist":null,"inners":null})"),
        ReadOuter{});
}

TEST(JsonReader, TellsAnEmptyListFromAnAbsentOne) {
    const auto record =
        outer(R"({"s":"","i":0,"b":false,"list":[],"inner":{"s":""},"olist":[],"inners":[]})");
    ASSERT_TRUE(record.olist);
    EXPECT_TRUE(record.olist->empty());
    ASSERT_TRUE(record.inners);
    EXPECT_TRUE(record.inners->empty());
}

TEST(JsonReader, PassesOverKeysItDoesNotKnow) {
    EXPECT_EQ(inner(R"({"x":1,"s":"a","y":[{"s":2,"i":[]}],"S":3,"z":{"s":{"s":null}},"i":4})"),
        (ReadInner{"a", 4}));
}

TEST(JsonReader, TakesTheLastOfEqualKeys) {
    EXPECT_EQ(inner(R"({"s":1,"s":"a","i":7,"i":null})"), (ReadInner{"a", std::nullopt}));
    EXPECT_EQ(sentenceFor<ReadInner>(R"({"s":"a","s":1})"),
        "The key 's' is an integer, expected a string");
    EXPECT_EQ(outer(R"({"s":"","i":0,"b":false,"list":["a"],"list":["b"],"inner":{"s":""}})").list,
        std::vector<std::string>{"b"});
}

TEST(JsonReader, DecodesEscapesAndKeepsEverythingElse) {
    const ReadInner decoded = inner(R"({"s":"\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00\u0000é😀"})");
    EXPECT_EQ(decoded.s, "\"\\/\b\f\n\r\té😀\0é😀"s);
    EXPECT_EQ(inner("{\"\\u0073\":\"escaped key\"}").s, "escaped key");
}

struct RefusedText {
    std::string text;
    std::string sentence;
};

TEST(JsonReader, ReadsWholeNumbersExactly) {
    const std::vector<std::pair<std::string, std::optional<std::int64_t>>> numbers = {
        {"0", 0},
        {"-0", 0},
        {"9007199254740993", 9'007'199'254'740'993},
        {"9223372036854775807", INT64_MAX},
        {"-9223372036854775808", INT64_MIN},
        {"9223372036854775808", std::nullopt},
        {"-9223372036854775809", std::nullopt},
        {"18446744073709551615", std::nullopt},
        {"18446744073709551616", std::nullopt},
        {"1" + std::string(300, '0'), std::nullopt},
        // With a fraction or an exponent: what a double tells apart from its neighbours.
        {"1.0", 1},
        {"15.000", 15},
        {"-0.0", 0},
        {"1e0", 1},
        {"1E2", 100},
        {"1.5e1", 15},
        {"-1.5E+01", -15},
        {"1500e-2", 15},
        {"0.0015e4", 15},
        {"0e400", 0},
        {"0.00e99999999999999999999999999999", 0},
        {"1" + std::string(400, '0') + "e-399", 10},
        {"0." + std::string(400, '0') + "1e402", 10},
        {"7." + std::string(100'000, '0'), 7},
        {"9007199254740991.0", 9'007'199'254'740'991},
        {"-9007199254740991e0", -9'007'199'254'740'991},
        {"9007199254740992.0", std::nullopt},
        {"-9007199254740992.0", std::nullopt},
        {"9007199254740993.0", std::nullopt},
        {"1e18", std::nullopt},
        {"-9e18", std::nullopt},
        {"9223372036854775807.0", std::nullopt},
        {"1e19", std::nullopt},
        {"1e300", std::nullopt},
        {"1.5", std::nullopt},
        {"-1.5", std::nullopt},
        {"1e-1", std::nullopt},
        {"15e-1", std::nullopt},
        {"4503599627370495.5", std::nullopt},
    };
    for (const auto& [literal, value] : numbers) {
        SCOPED_TRACE(literal);
        const std::string text = R"({"s":"","i":)" + literal + "}";
        if (value) {
            EXPECT_EQ(inner(text).i, value);
        } else {
            EXPECT_EQ(sentenceFor<ReadInner>(text),
                "The key 'i' is a number that is no 64-bit integer, expected a 64-bit integer");
        }
    }
}

TEST(JsonReader, RefusesNumbersThatNoDoubleHolds) {
    for (const std::string& literal :
        {"1e400"s, "-1e400"s, "1e99999999999999999999999999999"s, std::string(400, '9')}) {
        for (const std::string key : {"i", "unknown"}) {
            SCOPED_TRACE(key + ' ' + literal);
            EXPECT_EQ(sentenceFor<ReadInner>(R"({"s":"",")" + key + "\":" + literal + "}"),
                "The request holds a number that is too large");
        }
    }
}

TEST(JsonReader, NamesTheKeyAndWhatItExpected) {
    const std::string rest = R"("i":0,"b":false,"list":[],"inner":{"s":""})";
    const std::vector<RefusedText> refusals = {
        // Missing and null.
        {"{}", "The key 's' is missing, expected a string"},
        {R"({"s":null})", "The key 's' is null, expected a string"},
        {R"({"s":""})", "The key 'i' is missing, expected a 64-bit integer"},
        {R"({"s":"","i":null})", "The key 'i' is null, expected a 64-bit integer"},
        {R"({"s":"","i":0})", "The key 'b' is missing, expected true or false"},
        {R"({"s":"","i":0,"b":null})", "The key 'b' is null, expected true or false"},
        {R"({"s":"","i":0,"b":true})", "The key 'list' is missing, expected an array"},
        {R"({"s":"","i":0,"b":true,"list":null})", "The key 'list' is null, expected an array"},
        {R"({"s":"","i":0,"b":true,"list":[]})", "The key 'inner' is missing, expected an object"},
        {R"({"s":"","i":0,"b":true,"list":[],"inner":null})",
            "The key 'inner' is null, expected an object"},
        {R"({"s":"","i":0,"b":true,"list":[],"inner":{"i":1}})",
            "The key 'inner.s' is missing, expected a string"},
        // The wrong type.
        {R"({"s":1})", "The key 's' is an integer, expected a string"},
        {R"({"s":1.5})", "The key 's' is a number that is no 64-bit integer, expected a string"},
        {R"({"s":true})", "The key 's' is a boolean, expected a string"},
        {R"({"s":[]})", "The key 's' is an array, expected a string"},
        {R"({"s":{}})", "The key 's' is an object, expected a string"},
        {R"({"s":"","i":true})", "The key 'i' is a boolean, expected a 64-bit integer"},
        {R"({"s":"","i":"1"})", "The key 'i' is a string, expected a 64-bit integer"},
        {R"({"s":"","i":0,"b":0})", "The key 'b' is an integer, expected true or false"},
        {R"({"s":"","i":0,"b":"true"})", "The key 'b' is a string, expected true or false"},
        {R"({"s":"","i":0,"b":true,"list":{}})", "The key 'list' is an object, expected an array"},
        {R"({"s":"","i":0,"b":true,"list":"a"})", "The key 'list' is a string, expected an array"},
        {R"({"s":"","i":0,"b":true,"list":["a",null]})",
            "The key 'list[1]' is null, expected a string"},
        {R"({"s":"","i":0,"b":true,"list":["a","b",["c"]]})",
            "The key 'list[2]' is an array, expected a string"},
        {R"({"s":"","i":0,"b":true,"list":[],"inner":[]})",
            "The key 'inner' is an array, expected an object"},
        {R"({"s":"","os":1,)" + rest + "}", "The key 'os' is an integer, expected a string"},
        {R"({"s":"","oi":"1",)" + rest + "}",
            "The key 'oi' is a string, expected a 64-bit integer"},
        {R"({"s":"","ob":[],)" + rest + "}", "The key 'ob' is an array, expected true or false"},
        {R"({"s":"","olist":5,)" + rest + "}", "The key 'olist' is an integer, expected an array"},
        {R"({"s":"","olist":[1,2.5],)" + rest + "}",
            "The key 'olist[1]' is a number that is no 64-bit integer, expected a 64-bit integer"},
        {R"({"s":"","inners":[{"s":"a"},{"i":3}],)" + rest + "}",
            "The key 'inners[1].s' is missing, expected a string"},
        {R"({"s":"","inners":[{"s":"a","i":"x"}],)" + rest + "}",
            "The key 'inners[0].i' is a string, expected a 64-bit integer"},
        {R"({"s":"","inners":[7],)" + rest + "}",
            "The key 'inners[0]' is an integer, expected an object"},
        // No object at all.
        {"[]", "The request is an array, expected an object"},
        {"[{\"s\":\"\"}]", "The request is an array, expected an object"},
        {"null", "The request is null, expected an object"},
        {"true", "The request is a boolean, expected an object"},
        {"5", "The request is an integer, expected an object"},
        {"\"{}\"", "The request is a string, expected an object"},
    };
    for (const auto& [text, sentence] : refusals) {
        EXPECT_EQ(sentenceFor<ReadOuter>(text), sentence) << text;
    }
}

TEST(JsonReader, ReportsTheFirstFailureInDeclarationOrder) {
    EXPECT_EQ(sentenceFor<ReadOuter>(
                  R"({"inners":5,"olist":"x","inner":{},"list":[1],"b":1,"i":"","s":""})"),
        "The key 'i' is a string, expected a 64-bit integer");
    EXPECT_EQ(sentenceFor<ReadOuter>(R"({"inners":5,"b":1})"),
        "The key 's' is missing, expected a string");
    EXPECT_EQ(sentenceFor<ReadOuter>(R"({"s":"","i":0,"b":true,"list":["a",1,null,{}]})"),
        "The key 'list[1]' is an integer, expected a string");
}

TEST(JsonReader, TellsWhereTheSyntaxBreaks) {
    const std::string noJson = "The request is not valid JSON: ";
    const std::vector<RefusedText> refusals = {
        {"x", noJson + "syntax error at line 1, column 1 (byte offset 0)"},
        {"{", noJson + "it ends too early, at line 1, column 2 (byte offset 1)"},
        {R"({"s":"a")", noJson + "it ends too early, at line 1, column 9 (byte offset 8)"},
        {R"({"s":"a)", noJson + "it ends too early, at line 1, column 8 (byte offset 7)"},
        {"{\"s\":\"a\",}", noJson + "syntax error at line 1, column 10 (byte offset 9)"},
        {"{\n  \"s\": \"é\" !}", noJson + "syntax error at line 2, column 12 (byte offset 14)"},
        {"{'s':1}", noJson + "syntax error at line 1, column 2 (byte offset 1)"},
        {"{} {}", noJson + "syntax error at line 1, column 4 (byte offset 3)"},
        {"{\"s\":\"a\nb\"}", noJson + "syntax error at line 1, column 8 (byte offset 7)"},
        {R"({"s":"\x"})", noJson + "syntax error at line 1, column 8 (byte offset 7)"},
        {R"({"s":"\ud800"})", noJson + "syntax error at line 1, column 13 (byte offset 12)"},
        {R"({"s":"\udc00"})", noJson + "syntax error at line 1, column 12 (byte offset 11)"},
        {R"({"i":01})", noJson + "syntax error at line 1, column 7 (byte offset 6)"},
        {R"({"i":+1})", noJson + "syntax error at line 1, column 6 (byte offset 5)"},
        {R"({"i":NaN})", noJson + "syntax error at line 1, column 6 (byte offset 5)"},
        {R"({"i":Infinity})", noJson + "syntax error at line 1, column 6 (byte offset 5)"},
        {"{/**/}", noJson + "syntax error at line 1, column 2 (byte offset 1)"},
        {"{}\0"s, noJson + "syntax error at line 1, column 3 (byte offset 2)"},
        {"{}\0{}"s, noJson + "syntax error at line 1, column 3 (byte offset 2)"},
        {"{\"s\":\"a\0b\"}"s, noJson + "syntax error at line 1, column 8 (byte offset 7)"},
    };
    for (const auto& [text, sentence] : refusals) {
        EXPECT_EQ(sentenceFor<ReadInner>(text), sentence) << text;
    }
}

std::string repeated(std::string_view text, std::size_t times) {
    std::string all;
    all.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

TEST(JsonReader, SurvivesDeepNesting) {
    constexpr std::size_t depth = 100'000;
    EXPECT_EQ(sentenceFor<ReadInner>(repeated("[", depth)),
        "The request is not valid JSON: it ends too early, at line 1, column 100001 (byte offset "
        "100000)");
    EXPECT_EQ(sentenceFor<ReadInner>(repeated("[", depth) + repeated("]", depth)),
        "The request is an array, expected an object");
    EXPECT_EQ(sentenceFor<ReadInner>(repeated("{\"s\":", depth)),
        "The request is not valid JSON: it ends too early, at line 1, column 500001 (byte offset "
        "500000)");
    EXPECT_EQ(
        inner(R"({"x":)" + repeated("[", depth) + repeated("]", depth) + R"(,"s":"a"})").s, "a");
}

TEST(JsonReader, PassesOverManyParts) {
    constexpr std::size_t many = 200'000;
    EXPECT_EQ(inner(R"({"x":[)" + repeated("{\"s\":[]},", many) + R"(0],"s":"a"})").s, "a");
    EXPECT_EQ(sentenceFor<ReadOuter>(
                  R"({"s":"","i":0,"b":true,"list":["a",0,)" + repeated("[],", many) + "0]}"),
        "The key 'list[1]' is an integer, expected a string");
}

} // namespace
} // namespace quenbrook
