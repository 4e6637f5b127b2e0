#include "stores/evolution/Bus.h"

#include "tests/unit/evolution/ScriptedFactory.h"

#include <stdexcept>

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using support::ScopedVariable;
using testing::AnyOf;
using testing::ElementsAre;

const Target somewhere{"some.service", "/some/object", "some.Interface"};

// The name of the error that a call ends in.
template <class Call>
std::string errorOf(Call call) {
    try {
        call();
    } catch (const BusError& error) {
        return error.name();
    }
    return "none";
}

ScriptedReply echo(const ScriptedCall& call) {
    return ScriptedReply::of(call.texts);
}

TEST(Bus, IsTheOneThatTheEnvironmentNames) {
    const ScriptedBus services(echo);
    const auto answerWith = [](const char* address, const std::string& directory) {
        const ScopedVariable named("DBUS_SESSION_BUS_ADDRESS", address);
        const ScopedVariable runtime("XDG_RUNTIME_DIR", directory);
        return errorOf([] { Bus().call(inTheEnd(), somewhere, "Echo", "text"); });
    };
    EXPECT_EQ(answerWith(services.address().c_str(), "/nowhere"), "none");
    EXPECT_EQ(answerWith("", services.directory()), "none");
    EXPECT_EQ(answerWith("autolaunch:", services.directory()), "none");
    EXPECT_EQ(
        answerWith("unix:path=/nowhere/bus", services.directory()), DBUS_ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(answerWith("", "relative"), DBUS_ERROR_NO_SERVER);
    EXPECT_EQ(answerWith("", ""), DBUS_ERROR_NO_SERVER);
}

TEST(Bus, MayBeInADirectoryWithAnyName) {
    const ScriptedBus services(echo);
    const support::TemporaryFolder folder;
    const auto directory = folder.path() / "a blank, a comma; and 100%";
    std::filesystem::create_directory_symlink(services.directory(), directory);
    const ScopedVariable named("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    const ScopedVariable runtime("XDG_RUNTIME_DIR", directory);
    EXPECT_EQ(Bus().call(inTheEnd(), somewhere, "Echo", "text").readString(), "text");
}

TEST(Bus, HandsOutAnswersAndErrors) {
    const ScriptedBus services([](const ScriptedCall& call) {
        return call.method == "Echo" ? echo(call) : ScriptedReply::error("some.Error");
    });
    Bus bus;
    EXPECT_EQ(bus.call(inTheEnd(), somewhere, "Echo", "one", "two").readString(), "one");
    EXPECT_EQ(errorOf([&] { bus.call(inTheEnd(), somewhere, "Fail"); }), "some.Error");
    EXPECT_EQ(services.calls().front().destination, "some.service");
    EXPECT_EQ(services.calls().front().path, "/some/object");
    EXPECT_THAT(services.calls().front().texts, ElementsAre("one", "two"));
}

TEST(Bus, GivesUpACallAtItsDeadline) {
    const ScriptedBus services([](const ScriptedCall& call) {
        return call.method == "Echo" ? echo(call) : ScriptedReply::silence();
    });
    Bus bus;
    EXPECT_EQ(errorOf([&] {
        bus.call(Clock::now() + std::chrono::milliseconds(10), somewhere, "Sleep");
    }),
        DBUS_ERROR_TIMEOUT);
    EXPECT_EQ(bus.call(inTheEnd(), somewhere, "Echo", "text").readString(), "text");
}

TEST(Bus, HandsNoAnswerToWhatIsGone) {
    const ScriptedBus services(echo);
    Bus bus;
    int answers = 0;
    const auto count = [&](const Outcome&) { ++answers; };
    const PendingCall kept = bus.send(somewhere, "Echo", count);
    PendingCall gone = bus.send(somewhere, "Echo", count);
    gone = PendingCall();
    bus.call(inTheEnd(), somewhere, "Echo");
    EXPECT_EQ(answers, 1);
}

TEST(Bus, LetsThroughWhatAHandlerThrows) {
    const ScriptedBus services(echo);
    Bus bus;
    const PendingCall call = bus.send(
        somewhere, "Echo", [](const Outcome&) { throw std::length_error("of the handler"); });
    EXPECT_THROW(bus.serveUntil(inTheEnd(), [] { return false; }), std::length_error);
}

TEST(Bus, CallsAtTheirTimesInTheirOrder) {
    const ScriptedBus services(echo);
    Bus bus;
    std::vector<int> called;
    const auto now = Clock::now();
    bus.callAt(now + std::chrono::milliseconds(2), [&] { called.push_back(2); });
    bus.callAt(now + std::chrono::milliseconds(1), [&] { called.push_back(1); });
    bus.callAt(now + std::chrono::seconds(60), [&] { called.push_back(3); });
    EXPECT_TRUE(bus.serveUntil(inTheEnd(), [&] { return called.size() == 2; }));
    EXPECT_THAT(called, ElementsAre(1, 2));
    // What is done is not waited for.
    EXPECT_LT(Clock::now(), now + std::chrono::seconds(59));
}

TEST(Bus, ThatBreaksDownEndsWhatIsWaitedFor) {
    const ScriptedBus services([](const ScriptedCall&) { return ScriptedReply::end(); });
    Bus bus;
    EXPECT_THAT(errorOf([&] { bus.call(inTheEnd(), somewhere, "Crash"); }),
        AnyOf(DBUS_ERROR_NO_REPLY, DBUS_ERROR_DISCONNECTED));
    EXPECT_EQ(errorOf([&] { bus.serveUntil(inTheEnd(), [] { return false; }); }),
        DBUS_ERROR_DISCONNECTED);
    EXPECT_EQ(errorOf([&] { bus.call(inTheEnd(), somewhere, "Echo"); }), DBUS_ERROR_DISCONNECTED);
}

} // namespace
} // namespace quenbrook::stores::evolution
