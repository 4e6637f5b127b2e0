#include "stores/evolution/FactoryCalendar.h"

#include "tests/unit/evolution/ScriptedFactory.h"

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using testing::ElementsAre;

constexpr const char* unknownSource =
    "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code1";

TEST(FactoryCalendar, IsOpenedWhenItIsNeeded) {
    ScriptedFactory factory;
    EXPECT_FALSE(factory.calendar.isSettled());
    EXPECT_FALSE(factory.calendar.calendar()->allowsContentModifications);
    factory.open();
    EXPECT_TRUE(factory.calendar.isOpen());
    EXPECT_TRUE(factory.calendar.calendar()->allowsContentModifications);
    EXPECT_EQ(factory.calendar.error(), std::nullopt);
    factory.open();
    EXPECT_THAT(factory.services.methods(), ElementsAre("OpenCalendar", "Open"));
    EXPECT_EQ(factory.services.calls().front().destination, "some.factory");
    EXPECT_THAT(factory.services.calls().front().texts, ElementsAre("work"));
    EXPECT_EQ(factory.services.calls().back().destination, ":1.2");
    EXPECT_EQ(factory.services.calls().back().path, "/calendar/1");
}

TEST(FactoryCalendar, IsWritableWhenTheOpenedOneSaysSo) {
    const std::vector<std::vector<std::string>> properties{
        {}, {"writable", "false"}, {"true", "writable"}, {"online", "true", "writable", ""}};
    for (const auto& each : properties) {
        ScriptedFactory factory([&](const ScriptedCall& call) -> std::optional<ScriptedReply> {
            return call.method == "Open" ? std::optional(ScriptedReply::array(each)) : std::nullopt;
        });
        factory.open();
        EXPECT_TRUE(factory.calendar.isOpen());
        EXPECT_FALSE(factory.calendar.calendar()->allowsContentModifications);
    }
}

TEST(FactoryCalendar, ThatTheServiceCannotOpenIsKnownNotToBeThere) {
    ScriptedFactory factory(failing("Open", "some.Error", 1));
    factory.open();
    EXPECT_TRUE(factory.calendar.isSettled());
    EXPECT_FALSE(factory.calendar.isOpen());
    EXPECT_EQ(factory.calendar.error().value().name(), "some.Error");
    EXPECT_FALSE(factory.calendar.isInDoubtAfter(*factory.calendar.error()));
    EXPECT_THAT(factory.services.methods(), ElementsAre("OpenCalendar", "Open"));
}

TEST(FactoryCalendar, IsOpenedOnceMoreWhenItsFactoryGoesAway) {
    for (const std::string method : {"OpenCalendar", "Open"}) {
        for (const char* error : {DBUS_ERROR_UNKNOWN_METHOD, DBUS_ERROR_UNKNOWN_OBJECT,
                 DBUS_ERROR_SERVICE_UNKNOWN, DBUS_ERROR_NO_REPLY}) {
            ScriptedFactory factory(failing(method, error, 1));
            factory.open();
            EXPECT_TRUE(factory.calendar.isOpen()) << method << ' ' << error;
            ScriptedFactory leaving(failing(method, error, 2));
            leaving.open();
            EXPECT_EQ(leaving.calendar.error().value().name(), error) << method;
            EXPECT_TRUE(leaving.calendar.isInDoubtAfter(*leaving.calendar.error()));
        }
    }
}

TEST(FactoryCalendar, IsAskedForAgainUntilTheFactoryHasHeardOfIt) {
    ScriptedFactory factory(failing("OpenCalendar", unknownSource, 3));
    const auto start = Clock::now();
    factory.open();
    if (factory.calendar.isOpen()) {
        EXPECT_EQ(factory.calendar.error(), std::nullopt);
        EXPECT_EQ(factory.services.calls().size(), 5);
    } else {
        // A machine that is too slow.
        EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(1500));
    }
}

TEST(FactoryCalendar, ThatTheFactoryNeverHearsOfIsInDoubt) {
    ScriptedFactory factory(failing("OpenCalendar", unknownSource));
    factory.open();
    EXPECT_FALSE(factory.calendar.isOpen());
    EXPECT_TRUE(factory.calendar.isInDoubtAfter(*factory.calendar.error()));
}

TEST(FactoryCalendar, IsGivenUpForGood) {
    ScriptedFactory factory([](const ScriptedCall&) { return ScriptedReply::silence(); });
    int settled = 0;
    factory.calendar.open();
    factory.calendar.whenSettled([&] { ++settled; });
    factory.calendar.giveUp();
    factory.open();
    EXPECT_FALSE(factory.calendar.isOpen());
    EXPECT_EQ(factory.calendar.error().value().name(), DBUS_ERROR_TIMEOUT);
    EXPECT_EQ(settled, 0);
}

TEST(FactoryCalendar, TellsOnceThatItIsSettled) {
    ScriptedFactory factory;
    int settled = 0;
    factory.calendar.open();
    factory.calendar.whenSettled([&] { ++settled; });
    EXPECT_EQ(settled, 0);
    factory.open();
    EXPECT_EQ(settled, 1);
    factory.calendar.whenSettled([&] { ++settled; });
    EXPECT_EQ(settled, 2);
}

TEST(FactoryCalendar, OnlyRepeatsWhatReads) {
    ScriptedFactory factory(failing("GetObject", DBUS_ERROR_UNKNOWN_METHOD, 1));
    factory.open();
    factory.calendar.read(inTheEnd(), "GetObject", "uid", "");
    EXPECT_THAT(factory.services.methods(),
        ElementsAre("OpenCalendar", "Open", "GetObject", "OpenCalendar", "Open", "GetObject"));
    ScriptedFactory other(failing("GetObject", DBUS_ERROR_UNKNOWN_METHOD, 1));
    other.open();
    EXPECT_THROW(other.calendar.call(inTheEnd(), "GetObject", "uid", ""), BusError);
    EXPECT_THAT(other.services.methods(), ElementsAre("OpenCalendar", "Open", "GetObject"));
}

TEST(FactoryCalendar, IsReadOnceMoreAndNotAThirdTime) {
    ScriptedFactory factory(failing("GetObject", DBUS_ERROR_UNKNOWN_METHOD, 2));
    factory.open();
    EXPECT_THROW(factory.calendar.read(inTheEnd(), "GetObject", "uid", ""), BusError);
    EXPECT_THROW(factory.calendar.reopenAfter(BusError(DBUS_ERROR_NO_REPLY), inTheEnd()), BusError);
    EXPECT_EQ(factory.services.calls().size(), 6);
}

TEST(FactoryCalendar, DoubtsAServiceThatTakesTooLongUnlessAServerIsBehindIt) {
    const ScriptedFactory here;
    const ScriptedFactory elsewhere(
        [](const ScriptedCall&) { return std::nullopt; }, workCalendar(true));
    EXPECT_TRUE(here.calendar.isInDoubtAfter(BusError(DBUS_ERROR_TIMEOUT)));
    EXPECT_FALSE(elsewhere.calendar.isInDoubtAfter(BusError(DBUS_ERROR_TIMEOUT)));
    EXPECT_TRUE(elsewhere.calendar.isInDoubtAfter(BusError(DBUS_ERROR_NO_REPLY)));
}

} // namespace
} // namespace quenbrook::stores::evolution
