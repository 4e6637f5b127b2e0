#include "stores/evolution/Credentials.h"

#include <algorithm>
#include <thread>

namespace quenbrook::stores::evolution {
namespace {

// The service begins to connect a moment after it says that a calendar is open. 10 ms were seen.
// One that does not try, because the machine has no network, stays disconnected.
constexpr std::chrono::milliseconds timeoutOfFirstTry{200};
constexpr std::chrono::milliseconds timeoutOfConnecting{1500};
constexpr std::chrono::milliseconds pauseForConnecting{10};

// The end of the error's name, of either HTTP library: Unauthorized.
constexpr std::string_view unauthorized = ".Code401";

// A server that is away counts as one that has rejected them, too.
bool isPasswordMissing(Bus& bus, const Target& source, Deadline deadline) {
    Message answer = bus.call(deadline, source, "GetLastCredentialsRequiredArguments");
    const std::string_view reason = answer.readString();
    // The certificate and what is wrong with it.
    answer.readString();
    answer.readString();
    const std::string_view error = answer.readString();
    return reason == "required" || error.ends_with(unauthorized);
}

} // namespace

void checkCredentials(Bus& bus, const Target& source, Deadline deadline) {
    const auto start = Clock::now();
    while (true) {
        const std::string status = bus.property(deadline, source, "ConnectionStatus");
        if (status == "awaiting-credentials" && isPasswordMissing(bus, source, deadline)) {
            throw BusError(DBUS_ERROR_AUTH_FAILED);
        }
        const bool isConnecting = status == "connecting";
        const bool isUndecided = isConnecting || status.empty() || status == "disconnected";
        const Deadline end = start + (isConnecting ? timeoutOfConnecting : timeoutOfFirstTry);
        if (!isUndecided || Clock::now() >= std::min(end, deadline)) {
            return;
        }
        std::this_thread::sleep_for(pauseForConnecting);
    }
}

} // namespace quenbrook::stores::evolution
