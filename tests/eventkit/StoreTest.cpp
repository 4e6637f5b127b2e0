#include "tests/eventkit/StoreTest.h"

#include <gmock/gmock.h>

namespace quenbrook::eventkit {

void StoreTest::TearDown() {
    world_.waitForAnswers();
    closeStore();
    EXPECT_THAT(standin::liveObjects(), testing::IsEmpty());
    EXPECT_EQ(world_.objectsThatOutlivedTheirStore, 0);
}

stores::CalendarStore& StoreTest::store() {
    if (!store_) {
        store_ = stores::openCalendarStore();
    }
    return *store_;
}

standin::Calendar& StoreTest::addCalendar(std::u16string identifier) {
    auto& calendar = world_.calendars.emplace_back();
    calendar.identifier = std::move(identifier);
    calendar.title = u"Title";
    return calendar;
}

standin::Event& StoreTest::addEvent(std::u16string identifier) {
    auto& event = world_.events.emplace_back();
    event.identifier = std::move(identifier);
    event.calendar = world_.calendars.at(0).identifier;
    event.title = u"Title";
    event.startDate = tenInSeconds;
    event.endDate = tenInSeconds + 3600;
    return event;
}

std::vector<std::string> withoutReading(const std::vector<std::string>& calls) {
    std::vector<std::string> writing;
    for (const std::string& call : calls) {
        const auto selector = call.substr(call.find(' ') + 1);
        const bool takesArguments = selector.find(':') != std::string::npos;
        if (takesArguments && !call.starts_with("CG")) {
            writing.push_back(call);
        }
    }
    return writing;
}

standin::Calendar fullCalendar(std::u16string identifier) {
    return {.identifier = std::move(identifier),
        .title = u"Work",
        .allowsContentModifications = true,
        .source = standin::Source{u"Company", 2},
        .color = standin::Color{{1.0, 0.25, 0.5, 0.75}}};
}

standin::Event fullEvent(std::u16string identifier, std::u16string calendar) {
    standin::Event event;
    event.identifier = std::move(identifier);
    event.calendar = std::move(calendar);
    event.title = u"Planning";
    event.startDate = tenInSeconds;
    event.endDate = tenInSeconds + 3600;
    event.location = u"Room 1";
    event.notes = u"Bring notes";
    event.attendees = {{"mailto:zoe@example.com", u"Zoe", 2}, {"mailto:a@example.com", {}, 1}};
    event.alarms = {{-900, std::nullopt}, {0, tenInSeconds - 86400}};
    event.recurrenceRules = {
        {.frequency = 2,
            .interval = 2,
            .end = standin::RuleEnd{5, std::nullopt},
            .daysOfTheWeek = {{{6, -1}, {2, 0}}},
            .daysOfTheMonth = {{1, -1}},
            .monthsOfTheYear = {{3, 4}},
            .setPositions = {{-1}}},
        {.frequency = 1, .interval = 1, .end = standin::RuleEnd{0, tenInSeconds + 864000}},
    };
    event.lastModifiedDate = tenInSeconds - 100;
    event.availability = 1;
    return event;
}

} // namespace quenbrook::eventkit
