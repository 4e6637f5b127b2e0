#include "src/ErrorCodes.h"
#include "src/EventStoreClient.h"

#include <atomic>
#include <exception>
#include <future>
#include <utility>

namespace quenbrook {
namespace {

// The platform's authorization statuses.
enum AccessStatus : std::int64_t {
    notDetermined = 0,
    restricted = 1,
    denied = 2,
    fullAccess = 3,
    writeOnly = 4,
};

QuenbrookError accessDenied(std::string message) {
    return {ErrorCase::accessDenied, std::move(message)};
}

// The one answer to the permission prompt, from whichever thread it comes.
class PromptAnswer {
  public:
    std::future<bool> granted() { return promise_.get_future(); }

    void resume(bool granted, const std::optional<platform::PlatformError>& error) {
        if (resumed_.exchange(true)) {
            return;
        }
        if (error) {
            promise_.set_exception(std::make_exception_ptr(*error));
        } else {
            promise_.set_value(granted);
        }
    }

  private:
    std::promise<bool> promise_;
    std::atomic<bool> resumed_ = false;
};

// The completion alone owns the answer: a store that drops it uncalled ends the wait with an error.
bool askForFullAccess(platform::CalendarStore& store) {
    auto answer = std::make_shared<PromptAnswer>();
    std::future<bool> granted = answer->granted();
    store.requestFullAccess(
        [answer = std::move(answer)](bool flag,
            const std::optional<platform::PlatformError>& error) { answer->resume(flag, error); });
    return granted.get();
}

} // namespace

void EventStoreClient::requestAccess() {
    const std::int64_t status = store_->authorizationStatus();
    switch (status) {
    case fullAccess:
        return;
    case writeOnly:
        throw accessDenied("Only write-only Calendar access granted; full access is required.");
    case restricted:
    case denied:
        throw accessDenied("Calendar access not granted (status=" + std::to_string(status) +
                           "). Grant access in System Settings → Privacy & Security → Calendars.");
    case notDetermined:
        if (!askForFullAccess(*store_)) {
            throw accessDenied("User declined Calendar access.");
        }
        return;
    default:
        throw accessDenied("Unknown EKAuthorizationStatus (" + std::to_string(status) + ").");
    }
}

} // namespace quenbrook
