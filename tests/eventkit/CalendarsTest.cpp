#include "tests/eventkit/StoreTest.h"

#include <gmock/gmock.h>

namespace quenbrook::eventkit {

using model::Color;
using testing::ElementsAre;

class Calendars : public StoreTest {
  protected:
    std::optional<Color> colorFrom(standin::Color color) {
        world_.calendars.clear();
        addCalendar(u"C1").color = std::move(color);
        return store().calendars().at(0).color;
    }
};

TEST_F(Calendars, AreListedInTheOrderOfTheFramework) {
    for (const char16_t* identifier : {u"C", u"A", u"B", u"A2"}) {
        addCalendar(identifier);
    }
    std::vector<std::string> identifiers;
    for (const auto& calendar : store().calendars()) {
        identifiers.push_back(calendar.identifier);
    }
    EXPECT_THAT(identifiers, ElementsAre("C", "A", "B", "A2"));
}

TEST_F(Calendars, AreReadWithTheirProperties) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    const model::Calendar expected{
        "C1", "Work", true, model::Source{"Company", 2}, Color{1.0, 0.25, 0.5}};
    EXPECT_THAT(store().calendars(), ElementsAre(expected));
}

TEST_F(Calendars, AreReadWithTheseCallsInThisOrder) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    EXPECT_THAT(callsOf([&] { store().calendars(); }),
        ElementsAre("EKEventStore calendarsForEntityType: 0", "EKCalendar calendarIdentifier",
            "EKCalendar title", "EKCalendar allowsContentModifications", "EKCalendar source",
            "EKSource title", "EKSource sourceType", "EKCalendar CGColor",
            "CGColorSpaceCreateWithName", "CGColorCreateCopyByMatchingToColorSpace intent=0",
            "CGColorGetNumberOfComponents", "CGColorGetComponents"));
}

TEST_F(Calendars, AreNoneWhenTheFrameworkAnswersNil) {
    addCalendar(u"C1");
    world_.answersNilForLists = true;
    EXPECT_TRUE(store().calendars().empty());
}

TEST_F(Calendars, MayBeMany) {
    for (int i = 0; i < 5'000; ++i) {
        const auto digits = std::to_string(i);
        auto calendar = fullCalendar(std::u16string(digits.begin(), digits.end()));
        world_.calendars.push_back(std::move(calendar));
    }
    const auto calendars = store().calendars();
    ASSERT_EQ(calendars.size(), 5'000U);
    EXPECT_EQ(calendars.back().identifier, "4999");
    EXPECT_EQ(calendars.back().color, (Color{1.0, 0.25, 0.5}));
}

TEST_F(Calendars, KeepTheNumberOfAnySourceType) {
    for (const std::int64_t type : {0, 3, 5, 6, 100, -1}) {
        world_.calendars.clear();
        addCalendar(u"C1").source = standin::Source{u"Account", type};
        EXPECT_EQ(store().calendars().at(0).source, (model::Source{"Account", type}));
    }
}

TEST_F(Calendars, HaveNoColourWhenTheFrameworkKnowsNone) {
    addCalendar(u"C1");
    const auto calls = callsOf([&] { EXPECT_EQ(store().calendars().at(0).color, std::nullopt); });
    EXPECT_EQ(calls.back(), "EKCalendar CGColor");
}

TEST_F(Calendars, HaveNoColourWhenItCannotBeConverted) {
    EXPECT_EQ(colorFrom({.components = {1, 1, 1, 1}, .isConvertible = false}), std::nullopt);
}

TEST_F(Calendars, HaveNoColourOfFewerThanThreeComponents) {
    EXPECT_EQ(colorFrom({.components = {}, .keepsComponents = true}), std::nullopt);
    EXPECT_EQ(colorFrom({.components = {0.5, 1}, .keepsComponents = true}), std::nullopt);
    EXPECT_EQ(
        colorFrom({.components = {0.5, 0.25, 1}, .keepsComponents = true}), (Color{0.5, 0.25, 1}));
}

TEST_F(Calendars, HaveAGreyInThreeComponents) {
    EXPECT_EQ(colorFrom({.components = {0.5, 1}}), (Color{0.5, 0.5, 0.5}));
}

TEST_F(Calendars, HaveColoursOfTheExtendedRangeAsTheyAre) {
    EXPECT_EQ(colorFrom({.components = {1.2, -0.3, 0.5, 1}}), (Color{1.2, -0.3, 0.5}));
}

using CalendarsDeathTest = Calendars;

TEST_F(CalendarsDeathTest, EndTheProcessWithoutTheSRGBSpace) {
    world_.calendars.push_back(fullCalendar(u"C1"));
    world_.lacksTheSRGBSpace = true;
    store();
    EXPECT_EXIT(store().calendars(), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(Calendars, AreFoundByIdentifierWithOneLookUp) {
    addCalendar(u"C1");
    addCalendar(u"C2").allowsContentModifications = false;
    EXPECT_TRUE(store().calendar("C1")->allowsContentModifications);
    EXPECT_EQ(store().calendar("C2"),
        (model::Calendar{.identifier = "C2", .allowsContentModifications = false}));
    EXPECT_THAT(callsOf([&] { store().calendar("C1"); }),
        ElementsAre("EKEventStore calendarWithIdentifier: C1", "EKCalendar calendarIdentifier",
            "EKCalendar allowsContentModifications"));
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(store().calendar("C3")); }),
        ElementsAre("EKEventStore calendarWithIdentifier: C3"));
}

} // namespace quenbrook::eventkit
