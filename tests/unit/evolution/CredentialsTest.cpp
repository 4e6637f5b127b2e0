#include "stores/evolution/Credentials.h"

#include "tests/unit/evolution/ScriptedFactory.h"

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using testing::ElementsAre;

const Target sourceObject{"some.registry", "/source/work", "org.gnome.evolution.dataserver.Source"};

// A source whose status is each of these in turn, and the last one from then on; and what it says
// of the credentials that it wants: the reason, and the error that made it want them.
struct ScriptedSource {
    std::vector<std::string> statuses;
    std::string reason;
    std::string error;

    ScriptedReply operator()(const ScriptedCall& call) {
        if (call.method != "Get") {
            return ScriptedReply::of({reason, "", "", error, ""});
        }
        std::string status = statuses.front();
        if (statuses.size() > 1) {
            statuses.erase(statuses.begin());
        }
        return ScriptedReply::variant(std::move(status));
    }
};

// Empty when nothing was found to be missing.
std::string whatIsMissing(const ScriptedBus& services) {
    EXPECT_TRUE(services.calls().empty());
    Bus bus;
    try {
        checkCredentials(bus, sourceObject, inTheEnd());
    } catch (const BusError& error) {
        return error.name();
    }
    return {};
}

TEST(Credentials, AreNoMatterOfAConnectedSource) {
    const ScriptedBus services(ScriptedSource{{"connected"}, "required", ""});
    EXPECT_EQ(whatIsMissing(services), "");
    EXPECT_THAT(services.methods(), ElementsAre("Get"));
    EXPECT_EQ(services.calls().front().path, sourceObject.path);
    EXPECT_THAT(services.calls().front().texts,
        ElementsAre("org.gnome.evolution.dataserver.Source", "ConnectionStatus"));
}

TEST(Credentials, AreMissingWhenTheServerWantsThem) {
    for (const auto& [reason, error] : std::vector<std::pair<std::string, std::string>>{
             {"required", ""}, {"rejected", "some.http_error.Code401"}}) {
        const ScriptedBus services(ScriptedSource{{"awaiting-credentials"}, reason, error});
        EXPECT_EQ(whatIsMissing(services), DBUS_ERROR_AUTH_FAILED) << reason;
    }
}

TEST(Credentials, AreNotWhatAServerLacksThatIsAway) {
    for (const std::string error : {"", "some.http_error.Code503", "some.resolver_error.Code1"}) {
        const ScriptedBus services(ScriptedSource{{"awaiting-credentials"}, "rejected", error});
        EXPECT_EQ(whatIsMissing(services), "") << error;
    }
}

TEST(Credentials, AreKnownWhenTheServiceHasConnected) {
    const std::vector<std::string> before{"disconnected", "", "connecting", "connecting"};
    auto statuses = before;
    statuses.emplace_back("connected");
    const ScriptedBus connected(ScriptedSource{statuses, "required", ""});
    EXPECT_EQ(whatIsMissing(connected), "");
    statuses = before;
    statuses.emplace_back("awaiting-credentials");
    const ScriptedBus waiting(ScriptedSource{statuses, "required", ""});
    const auto start = Clock::now();
    if (whatIsMissing(waiting).empty()) {
        // A machine that is too slow.
        EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(200));
    }
}

TEST(Credentials, AreNotWaitedForWhereNobodyConnects) {
    for (const std::string status : {"disconnected", "connecting", ""}) {
        const ScriptedBus services(ScriptedSource{{status}, "required", ""});
        EXPECT_EQ(whatIsMissing(services), "") << status;
    }
}

} // namespace
} // namespace quenbrook::stores::evolution
