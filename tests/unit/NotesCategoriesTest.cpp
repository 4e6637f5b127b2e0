#include "src/DTOs/NotesCategories.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook {
namespace {

using std::string_literals::operator""s;

const std::string marker = "velmoria-sync-id:0F3C1A52-8d4b-4E7A-9c2e-0123456789aB";

struct Notes {
    std::string text;
    std::vector<std::string> categories;
};

const std::vector<Notes> notes = {
    {"", {}},
    {"nothing to see", {}},
    {"please no-sync", {"no-sync"}},
    {"no-sync", {"no-sync"}},
    {"(no-sync)", {"no-sync"}},
    {"no-sync-id", {"no-sync"}},
    {"no-syncing", {}},
    {"no-sync_", {}},
    {"no-sync1", {}},
    {"xno-sync", {}},
    {"_no-sync", {}},
    {"éno-sync", {}},
    {"no-syncé", {}},
    {"日no-sync", {}},
    {"→no-sync←", {"no-sync"}},
    {"-no-sync", {"no-sync"}},
    {"NO-SYNC", {}},
    {"No-sync", {}},
    {"xno-sync no-syncing no-sync!", {"no-sync"}},
    {"line one\nno-sync\nline three", {"no-sync"}},
    {"\0no-sync\0"s, {"no-sync"}},
    {marker, {"velmoria-sync"}},
    {"See " + marker + ".", {"velmoria-sync"}},
    {"no-sync\n" + marker, {"velmoria-sync", "no-sync"}},
    {marker + " no-sync", {"velmoria-sync", "no-sync"}},
    {"x" + marker, {}},
    {"-" + marker, {"velmoria-sync"}},
    {marker + "0", {}},
    {marker + "g", {}},
    {marker + "é", {}},
    {marker + "-0", {"velmoria-sync"}},
    {marker.substr(0, marker.size() - 1), {}},
    {marker.substr(0, marker.size() - 1) + " ", {}},
    {"velmoria-sync-id: 0F3C1A52-8d4b-4E7A-9c2e-0123456789aB", {}},
    {"velmoria-sync-id:0F3C1A52-8d4b-4E7A-9c2e0123456789aB", {}},
    {"velmoria-sync-id:0G3C1A52-8d4b-4E7A-9c2e-0123456789aB", {}},
    {"velmoria-sync-id:0F3C1A5-8d4b-4E7A-9c2e-0123456789aB", {}},
    {"Velmoria-sync-id:0F3C1A52-8d4b-4E7A-9c2e-0123456789aB", {}},
    {"velmoria-sync-id:velmoria-sync-id:0F3C1A52-8d4b-4E7A-9c2e-0123456789aB", {"velmoria-sync"}},
    {"velmoria-sync-id:bad " + marker, {"velmoria-sync"}},
};

TEST(NotesCategories, AreReadFromTheNotes) {
    NotesCategories categories;
    for (const auto& [text, expected] : notes) {
        SCOPED_TRACE(testing::PrintToString(text));
        const auto found = categories.fromNotes(text);
        EXPECT_EQ(found.has_value(), !expected.empty());
        EXPECT_EQ(found.value_or(std::vector<std::string>{}), expected);
    }
}

TEST(NotesCategories, AreAbsentWithoutNotes) {
    EXPECT_EQ(NotesCategories().fromNotes(std::nullopt), std::nullopt);
    EXPECT_EQ(NotesCategories().fromNotes(""), std::nullopt);
}

// Only the places where a tag stands are given to the engine; searching the whole text must find
// the same.
TEST(NotesCategories, FindWhatASearchOfTheWholeTextFinds) {
    unicode::RegularExpression pattern(R"(\bno-sync\b)");
    const auto isFound = [&](const std::string& text) {
        bool found = false;
        for (std::size_t at = 0; at < text.size(); ++at) {
            found = found || pattern.matchesAt(text, at);
        }
        return found;
    };
    NotesCategories categories;
    const std::vector<std::string> parts = {
        "no-sync", "no-", "sync", " ", "x", "é", "\u0301", "-", "\n", "\u200D", "1"};
    for (const std::string& first : parts) {
        for (const std::string& second : parts) {
            for (const std::string& third : parts) {
                const std::string text = first + second + "no-sync" + third + second;
                ASSERT_EQ(categories.fromNotes(text).has_value(), isFound(text))
                    << testing::PrintToString(text);
            }
        }
    }
}

} // namespace
} // namespace quenbrook
