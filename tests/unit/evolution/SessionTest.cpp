#include "stores/evolution/Session.h"

#include "tests/unit/evolution/ScriptedFactory.h"

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using testing::ElementsAre;

const std::string family = "org.gnome.evolution.dataserver.";

std::string keyFileOf(const std::string& name, const std::string& backend) {
    return "[Data Source]\nDisplayName=" + name +
           "\nEnabled=true\nParent=\n\n[Calendar]\nBackendName=" + backend + "\n";
}

// A registry with a local calendar and one on a server, and a factory that opens them.
std::optional<ScriptedReply> desktop(const ScriptedCall& call) {
    if (call.method == "ListActivatableNames") {
        return ScriptedReply::array({family + "Sources5", family + "Calendar8"});
    }
    if (call.method == "GetManagedObjects") {
        return ScriptedReply::sources(
            {"work", keyFileOf("Work", "caldav"), "home", keyFileOf("Home", "local")});
    }
    if (call.method == "OpenCalendar") {
        return ScriptedReply::of({"/calendar/" + call.texts.front(), ":1.2"});
    }
    if (call.method == "Open") {
        return ScriptedReply::array({"writable", "true"});
    }
    return std::nullopt;
}

ScriptedBus::Script otherwiseDesktop(ScriptedFactory::Script script) {
    return [=](const ScriptedCall& call) {
        const auto reply = script(call);
        return reply ? *reply : desktop(call).value();
    };
}

// The error that a session ends in when it begins.
std::string errorOfSession() {
    try {
        const Session session;
    } catch (const BusError& error) {
        return error.name();
    }
    return "none";
}

TEST(Session, KnowsTheCalendarsOfTheRegistry) {
    const ScriptedBus services(otherwiseDesktop([](const ScriptedCall&) { return std::nullopt; }));
    const Session session;
    std::vector<std::string> identifiers;
    for (const auto& calendar : session.calendars()) {
        identifiers.push_back(calendar->identifier());
    }
    EXPECT_THAT(identifiers, ElementsAre("home", "work"));
    EXPECT_EQ(session.calendar("work"), session.calendars()[1].get());
    EXPECT_EQ(session.calendar("wor"), nullptr);
    EXPECT_THAT(services.methods(), ElementsAre("ListActivatableNames", "GetManagedObjects"));
}

TEST(Session, FindsServicesThatTheBusCannotStart) {
    const ScriptedBus services(otherwiseDesktop([](const ScriptedCall& call) {
        const auto names = ScriptedReply::array({family + "Sources6", family + "Calendar9"});
        const bool areStartable = call.method == "ListActivatableNames";
        return areStartable                 ? std::optional(ScriptedReply::array({"other"}))
               : call.method == "ListNames" ? std::optional(names)
                                            : std::nullopt;
    }));
    const Session session;
    EXPECT_EQ(session.calendars().size(), 2);
    EXPECT_EQ(services.calls().back().destination, family + "Sources6");
}

TEST(Session, NeedsTheServices) {
    const ScriptedBus services([](const ScriptedCall&) { return ScriptedReply::array({"other"}); });
    EXPECT_EQ(errorOfSession(), DBUS_ERROR_SERVICE_UNKNOWN);
}

TEST(Session, AsksARegistryThatGoesAwayOnceMore) {
    for (const int times : {1, 2}) {
        const ScriptedBus services(otherwiseDesktop(
            [left = times](const ScriptedCall& call) mutable -> std::optional<ScriptedReply> {
                if (call.method != "GetManagedObjects" || left == 0) {
                    return std::nullopt;
                }
                --left;
                return ScriptedReply::error(DBUS_ERROR_NO_REPLY);
            }));
        EXPECT_EQ(errorOfSession(), times == 1 ? "none" : DBUS_ERROR_NO_REPLY);
    }
}

TEST(Session, GivesUpCalendarsWhoseServersDoNotAnswer) {
    const ScriptedBus services(
        otherwiseDesktop([](const ScriptedCall& call) -> std::optional<ScriptedReply> {
            const bool isMute = call.method == "OpenCalendar" && call.texts.front() == "work";
            return isMute ? std::optional(ScriptedReply::silence()) : std::nullopt;
        }));
    Session session;
    FactoryCalendar& local = *session.calendar("home");
    FactoryCalendar& remote = *session.calendar("work");
    const std::vector<FactoryCalendar*> both{&local, &remote};
    session.open(both);
    EXPECT_TRUE(local.isOpen());
    EXPECT_FALSE(remote.isOpen());
    EXPECT_EQ(remote.error().value().name(), DBUS_ERROR_TIMEOUT);
}

TEST(Session, AsksForThePasswordOfServersOnly) {
    const ScriptedBus services(
        otherwiseDesktop([](const ScriptedCall& call) -> std::optional<ScriptedReply> {
            if (call.method == "Get") {
                return ScriptedReply::variant("awaiting-credentials");
            }
            if (call.method == "GetLastCredentialsRequiredArguments") {
                return ScriptedReply::of({"required", "", "", "", ""});
            }
            return std::nullopt;
        }));
    Session session;
    session.checkCredentials(CalendarWrite(*session.calendar("home"), inTheEnd()));
    EXPECT_EQ(services.calls().size(), 2);
    EXPECT_THROW(
        session.checkCredentials(CalendarWrite(*session.calendar("work"), inTheEnd())), BusError);
    EXPECT_EQ(services.calls().back().destination, family + "Sources5");
}

TEST(Session, TakesBirthdaysAsTheyAreWhereNobodyKnowsTheContacts) {
    const ScriptedBus services(otherwiseDesktop([](const ScriptedCall&) { return std::nullopt; }));
    Session session;
    EXPECT_TRUE(session.awaitBirthdays(*session.calendar("home")));
    EXPECT_EQ(services.calls().size(), 2);
}

} // namespace
} // namespace quenbrook::stores::evolution
