#include "stores/evolution/Message.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using testing::ElementsAre;

struct ErrorMeaning {
    const char* name;
    bool isUndelivered;
    bool isServiceLost;
    bool isUnanswered;
    bool isTimeout;
};

constexpr const char* notFound =
    "org.gtk.GDBus.UnmappedGError.Quark._e_2dcal_2dclient_2derror_2dquark.Code1";

TEST(BusErrors, TellWhatHasBecomeOfTheCall) {
    const std::vector<ErrorMeaning> meanings{
        {DBUS_ERROR_UNKNOWN_METHOD, true, true, true, false},
        {DBUS_ERROR_UNKNOWN_OBJECT, true, true, true, false},
        {DBUS_ERROR_UNKNOWN_INTERFACE, true, true, true, false},
        {DBUS_ERROR_SERVICE_UNKNOWN, true, true, true, false},
        {DBUS_ERROR_NAME_HAS_NO_OWNER, true, true, true, false},
        {DBUS_ERROR_SPAWN_CHILD_EXITED, true, true, true, false},
        {DBUS_ERROR_NO_REPLY, false, true, true, false},
        {DBUS_ERROR_DISCONNECTED, false, false, true, false},
        {DBUS_ERROR_NO_SERVER, false, false, true, false},
        {DBUS_ERROR_TIMEOUT, false, false, true, true},
        {DBUS_ERROR_TIMED_OUT, false, false, true, true},
        {DBUS_ERROR_ACCESS_DENIED, false, false, false, false},
        {notFound, false, false, false, false},
    };
    for (const ErrorMeaning& meaning : meanings) {
        const BusError error(meaning.name);
        EXPECT_EQ(error.isUndelivered(), meaning.isUndelivered) << meaning.name;
        EXPECT_EQ(error.isServiceLost(), meaning.isServiceLost) << meaning.name;
        EXPECT_EQ(error.isUnanswered(), meaning.isUnanswered) << meaning.name;
        EXPECT_EQ(error.isTimeout(), meaning.isTimeout) << meaning.name;
        EXPECT_EQ(error.name(), meaning.name);
    }
}

Message call() {
    return Message::call("org.example.Service", "/org/example", "org.example", "Do");
}

TEST(Messages, AreReadAsTheyWereMade) {
    Message message = call();
    message.append("text");
    message.append(std::vector<std::string>{"one", "two"});
    Message answer = Message::answer(message.get());
    EXPECT_EQ(answer.readString(), "text");
    std::vector<std::string> texts;
    answer.readStrings([&](std::string_view text) { texts.emplace_back(text); });
    EXPECT_THAT(texts, ElementsAre("one", "two"));
}

TEST(Messages, ThatHoldOtherValuesAreErrors) {
    Message message = call();
    message.append(std::uint32_t{1});
    Message answer = Message::answer(message.get());
    EXPECT_THROW(answer.readString(), BusError);
    EXPECT_THROW(answer.readStrings([](std::string_view) {}), BusError);
    EXPECT_THROW(answer.readVariantString(), BusError);
    answer.skip();
    EXPECT_THROW(answer.readString(), BusError);
}

TEST(Messages, TakeNoTextThatTheBusCannotCarry) {
    Message message = call();
    EXPECT_THROW(message.append(std::string("a\0b", 3)), BusError);
    EXPECT_THROW(message.append(std::string("a\xFF")), BusError);
}

TEST(Messages, GoToNobodyWhoseNameIsNone) {
    EXPECT_THROW(Message::call("no name", "/org/example", "org.example", "Do"), BusError);
    EXPECT_THROW(Message::call("org.example.Service", "no path", "org.example", "Do"), BusError);
}

} // namespace
} // namespace quenbrook::stores::evolution
