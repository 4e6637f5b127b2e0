#include "tests/contract/ContractSupport.h"

#include <algorithm>

namespace quenbrook::contract {

using model::Calendar;
using model::Source;

namespace {

const Calendar* find(const std::vector<Calendar>& calendars, const std::string& identifier) {
    const auto found = std::find_if(calendars.begin(), calendars.end(),
        [&](const Calendar& calendar) { return calendar.identifier == identifier; });
    return found == calendars.end() ? nullptr : &*found;
}

CalendarSeed named(std::string name) {
    CalendarSeed seed;
    seed.title = "Title of " + name;
    seed.name = std::move(name);
    return seed;
}

} // namespace

TEST_P(StoreContract, GrantsFullAccess) {
    EXPECT_EQ(harness().openStore()->authorizationStatus(), 3);
}

TEST_P(StoreContract, ListsNoCalendarWhenThereIsNone) {
    EXPECT_TRUE(harness().openStore()->calendars().empty());
}

TEST_P(StoreContract, ListsACalendarWithAllThatIsKnownOfIt) {
    auto seed = named("work");
    seed.source = Source{"Company", 2};
    seed.color = {1.0, 59.0 / 255.0, 48.0 / 255.0};
    const auto identifier = harness().addCalendar(seed);

    const auto store = harness().openStore();
    const auto calendars = store->calendars();
    ASSERT_EQ(calendars.size(), 1U);
    EXPECT_EQ(calendars[0].identifier, identifier);
    EXPECT_EQ(calendars[0].title, "Title of work");
    EXPECT_TRUE(calendars[0].allowsContentModifications);
    EXPECT_EQ(calendars[0].source, (Source{"Company", 2}));
    ASSERT_TRUE(calendars[0].color);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR((*calendars[0].color)[i], (*seed.color)[i], 1e-6);
    }
}

TEST_P(StoreContract, ListsACalendarWithoutAccountOrColour) {
    harness().addCalendar(named("bare"));
    const auto store = harness().openStore();
    const auto calendars = store->calendars();
    ASSERT_EQ(calendars.size(), 1U);
    EXPECT_FALSE(calendars[0].source);
    EXPECT_FALSE(calendars[0].color);
}

TEST_P(StoreContract, TellsReadOnlyCalendars) {
    auto seed = named("holidays");
    seed.writable = false;
    seed.source = Source{"Public", 4};
    const auto readOnly = harness().addCalendar(seed);
    const auto writable = harness().addCalendar(named("mine"));

    const auto store = harness().openStore();
    EXPECT_FALSE(store->calendar(readOnly)->allowsContentModifications);
    EXPECT_TRUE(store->calendar(writable)->allowsContentModifications);
}

TEST_P(StoreContract, TellsEveryTypeOfAccount) {
    std::vector<std::string> identifiers;
    for (std::int64_t type = 0; type <= 5; ++type) {
        auto seed = named("calendar" + std::to_string(type));
        seed.source = Source{"Account " + std::to_string(type), type};
        seed.writable = type < 4;
        identifiers.push_back(harness().addCalendar(seed));
    }
    const auto store = harness().openStore();
    const auto calendars = store->calendars();
    for (std::int64_t type = 0; type <= 5; ++type) {
        const auto* calendar = find(calendars, identifiers[static_cast<std::size_t>(type)]);
        ASSERT_TRUE(calendar) << type;
        const std::int64_t told = type == 3 && !capabilities().tellsMobileMe ? 2 : type;
        EXPECT_EQ(calendar->source, (Source{"Account " + std::to_string(type), told}));
    }
}

TEST_P(StoreContract, KeepsCalendarsOfOneTitleApart) {
    auto one = named("one");
    auto two = named("two");
    one.title = two.title = "The same";
    const auto first = harness().addCalendar(one);
    const auto second = harness().addCalendar(two);

    EXPECT_NE(first, second);
    const auto store = harness().openStore();
    const auto calendars = store->calendars();
    EXPECT_EQ(calendars.size(), 2U);
    EXPECT_NE(find(calendars, first), nullptr);
    EXPECT_NE(find(calendars, second), nullptr);
}

TEST_P(StoreContract, ListsCalendarsInTheSameOrderEachTime) {
    for (const char* name : {"m", "c", "x", "a", "q", "b"}) {
        harness().addCalendar(named(name));
    }
    const auto store = harness().openStore();
    const auto calendars = store->calendars();
    ASSERT_EQ(calendars.size(), 6U);
    EXPECT_EQ(store->calendars(), calendars);
    EXPECT_EQ(harness().openStore()->calendars(), calendars);
}

TEST_P(StoreContract, KeepsTheTextsOfCalendars) {
    auto seed = named("texts");
    seed.title = "Café \xF0\x9F\x97\x93, \"quoted\"; e\xCC\x81";
    seed.source = Source{"Ωmega \xF0\x90\x8D\x88", 0};
    const auto identifier = harness().addCalendar(seed);

    const auto calendars = harness().openStore()->calendars();
    const auto* calendar = find(calendars, identifier);
    ASSERT_TRUE(calendar);
    EXPECT_EQ(calendar->title, seed.title);
    EXPECT_EQ(calendar->source, seed.source);
}

TEST_P(StoreContract, FindsACalendarAsItIsListed) {
    harness().addCalendar(named("other"));
    auto seed = named("wanted");
    seed.source = Source{"Account", 0};
    seed.color = {0.0, 1.0, 0.0};
    const auto identifier = harness().addCalendar(seed);

    const auto store = harness().openStore();
    const auto listed = store->calendars();
    ASSERT_NE(find(listed, identifier), nullptr);
    EXPECT_EQ(store->calendar(identifier)->identifier, identifier);
    EXPECT_EQ(store->calendar(identifier)->allowsContentModifications,
        find(listed, identifier)->allowsContentModifications);
}

TEST_P(StoreContract, FindsACalendarByItsWholeIdentifierOnly) {
    auto seed = named("work");
    seed.source = Source{"Account", 0};
    const auto identifier = harness().addCalendar(seed);

    const auto store = harness().openStore();
    std::string otherCase = identifier;
    for (char& character : otherCase) {
        character = character >= 'a' && character <= 'z' ? static_cast<char>(character - 32)
                                                         : static_cast<char>(character | 32);
    }
    for (const std::string& near :
        {std::string{}, std::string{"."}, std::string{".."}, std::string{"/"}, identifier + "/",
            "/" + identifier, "./" + identifier, identifier + "/../work", identifier + " ",
            " " + identifier, identifier.substr(0, identifier.size() - 1),
            identifier + std::string(1, '\0'), otherCase, std::string(100'000, 'x')}) {
        EXPECT_FALSE(store->calendar(near)) << near.substr(0, 100);
    }
    EXPECT_TRUE(store->calendar(identifier));
}

} // namespace quenbrook::contract
