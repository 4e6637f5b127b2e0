#include "stores/evolution/Birthdays.h"

#include "tests/unit/evolution/ScriptedFactory.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

constexpr const char* brokenBook = "broken";

// Address books with two contacts of which one has an anniversary, too; and a calendar that holds
// one event more each time that it is asked.
struct ScriptedContacts {
    int present = 0;
    int mostPresent = 3;

    std::optional<ScriptedReply> operator()(const ScriptedCall& call) {
        if (call.method == "OpenAddressBook") {
            return call.texts.front() == brokenBook ? ScriptedReply::error("some.Error")
                                                    : ScriptedReply::of({"/book", ":1.3"});
        }
        if (call.method == "GetContactListUids") {
            const bool isBirthday = call.texts.front().find("birth_date") != std::string::npos;
            return ScriptedReply::array(isBirthday ? std::vector<std::string>{"zoe", "yves"}
                                                   : std::vector<std::string>{"yves"});
        }
        if (call.method == "GetObjectList") {
            const auto count = static_cast<std::size_t>(std::min(present++, mostPresent));
            return ScriptedReply::array(std::vector<std::string>(count, "event"));
        }
        return std::nullopt;
    }
};

CalendarSource birthdaysOf(std::vector<std::string> addressBooks) {
    CalendarSource source = workCalendar();
    source.isLocal = false;
    source.isBirthdays = true;
    source.addressBooks = std::move(addressBooks);
    return source;
}

bool areThere(ScriptedFactory& factory, Deadline deadline = inTheEnd()) {
    factory.open();
    return awaitBirthdays(factory.bus, "some.contacts", factory.calendar, deadline);
}

auto countOf(const ScriptedFactory& factory, const std::string& method) {
    const auto methods = factory.services.methods();
    return std::count(methods.begin(), methods.end(), method);
}

TEST(Birthdays, AreAwaitedUntilEachDateOfAContactIsThere) {
    ScriptedFactory factory(ScriptedContacts{}, birthdaysOf({"book"}));
    EXPECT_TRUE(areThere(factory));
    EXPECT_EQ(countOf(factory, "GetObjectList"), 4);
    EXPECT_EQ(countOf(factory, "GetContactListUids"), 2);
}

TEST(Birthdays, AreNotAwaitedWhereNobodyHasAny) {
    ScriptedFactory factory(ScriptedContacts{}, birthdaysOf({}));
    EXPECT_TRUE(areThere(factory));
    EXPECT_EQ(countOf(factory, "GetObjectList"), 0);
}

TEST(Birthdays, OfAContactInTwoAddressBooksAreOne) {
    ScriptedFactory factory(ScriptedContacts{}, birthdaysOf({"book", "copy"}));
    EXPECT_TRUE(areThere(factory));
    EXPECT_EQ(countOf(factory, "GetContactListUids"), 4);
}

TEST(Birthdays, AreNotThoseOfAnAddressBookThatCannotBeOpened) {
    ScriptedFactory factory(ScriptedContacts{}, birthdaysOf({brokenBook}));
    EXPECT_TRUE(areThere(factory));
    EXPECT_EQ(countOf(factory, "GetObjectList"), 0);
    ScriptedFactory other(ScriptedContacts{}, birthdaysOf({brokenBook, "book"}));
    EXPECT_TRUE(areThere(other));
    EXPECT_EQ(countOf(other, "GetObjectList"), 4);
}

TEST(Birthdays, ThatDoNotComeAreNotThere) {
    ScriptedFactory factory(ScriptedContacts{0, 2}, birthdaysOf({"book"}));
    EXPECT_FALSE(areThere(factory, Clock::now() + std::chrono::milliseconds(50)));
}

TEST(Birthdays, AreInDoubtWhenNobodyTellsOfTheContacts) {
    for (const ScriptedReply& reply :
        {ScriptedReply::silence(), ScriptedReply::error(DBUS_ERROR_SERVICE_UNKNOWN)}) {
        ScriptedFactory factory(
            [&](const ScriptedCall& call) -> std::optional<ScriptedReply> {
                return call.method == "OpenAddressBook" ? std::optional(reply) : std::nullopt;
            },
            birthdaysOf({"book"}));
        EXPECT_FALSE(areThere(factory, Clock::now() + std::chrono::milliseconds(50)));
    }
}

TEST(Birthdays, CannotBeCountedInACalendarThatCannotBeRead) {
    ScriptedFactory factory(
        [contacts = ScriptedContacts{}](const ScriptedCall& call) mutable {
            return call.method == "GetObjectList" ? ScriptedReply::error("some.Error")
                                                  : contacts(call);
        },
        birthdaysOf({"book"}));
    EXPECT_THROW(areThere(factory), BusError);
}

} // namespace
} // namespace quenbrook::stores::evolution
