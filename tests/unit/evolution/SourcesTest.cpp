#include "stores/evolution/Sources.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

SourceText calendar(const std::string& uid, const std::string& more, const std::string& rest = "") {
    return {uid, "[Data Source]\n" + more + "\n[Calendar]\nBackendName=local\n" + rest};
}

std::vector<std::string> identifiers(const std::vector<SourceText>& sources) {
    std::vector<std::string> found;
    for (const CalendarSource& source : calendarSources(sources, {})) {
        found.push_back(source.calendar.identifier);
    }
    return found;
}

TEST(CalendarSources, AreOrderedByAccountNameAndIdentifier) {
    std::vector<SourceText> sources{
        calendar("e", "DisplayName=A\nParent=y"),
        calendar("d", "DisplayName=B\nParent=x"),
        calendar("c", "DisplayName=A\nParent=x"),
        calendar("b", "DisplayName=A\nParent=x"),
        calendar("a", "DisplayName=Z"),
        {"x", "[Data Source]\nDisplayName=First\n"},
        {"y", "[Data Source]\nDisplayName=Second\n"},
    };
    std::sort(sources.begin(), sources.end(),
        [](const SourceText& left, const SourceText& right) { return left.data < right.data; });
    EXPECT_THAT(identifiers(sources), ElementsAre("a", "b", "c", "d", "e"));
    std::reverse(sources.begin(), sources.end());
    EXPECT_THAT(identifiers(sources), ElementsAre("a", "b", "c", "d", "e"));
}

TEST(CalendarSources, AreEnabledAsAreAllAboveThem) {
    EXPECT_THAT(identifiers({
                    calendar("on", "Enabled=true"),
                    calendar("unsaid", ""),
                    calendar("off", "Enabled=false"),
                    calendar("child", "Parent=off"),
                    calendar("grandchild", "Parent=child"),
                    calendar("orphan", "Parent=nobody"),
                    calendar("circle", "Parent=circle"),
                    {"tasks", "[Data Source]\n[Task List]\nBackendName=local\n"},
                    {"nonsense", "nonsense"},
                }),
        ElementsAre("on", "orphan", "unsaid"));
}

TEST(CalendarSources, TellTheTypeOfTheirAccount) {
    for (const auto& [backend, type] : std::vector<std::pair<std::string, std::int64_t>>{
             {"local", 0}, {"ews", 1}, {"microsoft365", 1}, {"caldav", 2}, {"gtasks", 2}, {"", 2},
             {"webcal", 4}, {"weather", 4}, {"contacts", 5}}) {
        const std::vector<SourceText> sources{
            {"c", "[Data Source]\nParent=p\n[Calendar]\nBackendName=" + backend + "\n"},
            {"p", "[Data Source]\nDisplayName=Account\n"}};
        const auto found = calendarSources(sources, {});
        EXPECT_EQ(found.front().calendar.source, (model::Source{"Account", type})) << backend;
        EXPECT_EQ(found.front().isLocal, type == 0) << backend;
        EXPECT_EQ(found.front().isBirthdays, type == 5) << backend;
        EXPECT_EQ(found.front().isRemote, type != 0 && type != 5) << backend;
    }
}

TEST(CalendarSources, TellWhichAddressBooksHaveTheirBirthdays) {
    const auto book = [](const std::string& uid, const std::string& backend,
                          const std::string& more = "") -> SourceText {
        return {uid,
            "[Data Source]\nEnabled=true\n[Address Book]\nBackendName=" + backend + "\n" + more};
    };
    const std::string shown = "[Contacts Backend]\nIncludeMe=true\n";
    const std::string hidden = "[Contacts Backend]\nIncludeMe=false\n";
    const auto found = calendarSources(
        std::vector<SourceText>{
            {"birthdays", "[Data Source]\n[Calendar]\nBackendName=contacts\n"},
            calendar("other", ""),
            book("local", "local"),
            book("local hidden", "local", hidden),
            book("remote", "carddav"),
            book("remote shown", "carddav", shown),
            {"off", "[Data Source]\nEnabled=false\n[Address Book]\nBackendName=local\n"},
            {"no book", "[Data Source]\n" + shown},
        },
        {});
    ASSERT_EQ(found.size(), 2);
    for (const CalendarSource& source : found) {
        if (source.isBirthdays) {
            EXPECT_THAT(source.addressBooks, ElementsAre("local", "remote shown"));
        } else {
            EXPECT_THAT(source.addressBooks, IsEmpty());
        }
    }
}

TEST(CalendarSources, TellTheirObjectsInTheRegistry) {
    const std::vector<SourceText> sources{
        {"b", "[Calendar]\nBackendName=caldav\n", "/b"}, {"a", "[Data Source]\n", "/a"}};
    EXPECT_EQ(calendarSources(sources, {}).front().path, "/b");
}

TEST(CalendarSources, TellWhereAFileIs) {
    const auto fileOf = [](const std::string& text) {
        return calendarSources(
            std::vector{calendar("c", "", "[Local Backend]\nCustomFile=" + text + "\n")}, {})
            .front()
            .file;
    };
    EXPECT_EQ(fileOf("file:///home/zoe/my%20calendar%2.ics"), "/home/zoe/my calendar%2.ics");
    EXPECT_EQ(fileOf(""), std::nullopt);
    EXPECT_EQ(fileOf("https://example.org/c.ics"), std::nullopt);
}

TEST(CalendarSources, RepairTexts) {
    const auto found = calendarSources(std::vector{calendar("c", "DisplayName=a\xFF")}, {});
    EXPECT_EQ(found.front().calendar.title, "a\xEF\xBF\xBD");
}

TEST(Colors, AreReadAsPeopleWriteThem) {
    const model::Color orange{1.0, 128.0 / 255.0, 0.0};
    for (const char* text : {"#ff8000", "#FF8000", " #ff8000 ", "#ff8000cc", "#ffff80800000",
             "rgb(255,128,0)", "rgba(255, 128, 0, 0.5)"}) {
        const auto color = parseColor(text);
        ASSERT_TRUE(color) << text;
        for (std::size_t i = 0; i < color->size(); ++i) {
            EXPECT_NEAR((*color)[i], orange[i], 1e-9) << text;
        }
    }
    EXPECT_EQ(parseColor("#f00"), (model::Color{1.0, 0.0, 0.0}));
    for (const char* text : {"", "#", "#ff", "#ff800", "#ff80001", "#gg8000", "ff8000", "orange",
             "rgb(256,0,0)", "rgb(1,2)", "rgb(1,2,3", "rgb(-1,0,0)", "rgb(1.5,0,0)"}) {
        EXPECT_FALSE(parseColor(text)) << text;
    }
}

} // namespace
} // namespace quenbrook::stores::evolution
