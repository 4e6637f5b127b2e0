#include "src/ErrorCodes.h"
#include "src/EventStoreClient.h"

#include <atomic>
#include <exception>
#include <future>
#include <utility>

namespace quenbrook {
namespace {

using model::AuthorizationStatus;

QuenbrookError accessDenied(std::string message) {
    return {ErrorCase::accessDenied, std::move(message)};
}

// The one answer to the permission prompt, from whichever thread it comes.
class PromptAnswer {
  public:
    std::future<bool> granted() { return promise_.get_future(); }

    void resume(bool granted, const std::optional<model::PlatformError>& error) {
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
bool askForFullAccess(stores::CalendarStore& store) {
    auto answer = std::make_shared<PromptAnswer>();
    std::future<bool> granted = answer->granted();
    store.requestFullAccess(
        [answer = std::move(answer)](bool flag, const std::optional<model::PlatformError>& error) {
            answer->resume(flag, error);
        });
    return granted.get();
}

} // namespace

void EventStoreClient::requestAccess() {
    const std::int64_t status = store_->authorizationStatus();
    switch (status) {
    case AuthorizationStatus::fullAccess:
        return;
    case AuthorizationStatus::writeOnly:
        throw accessDenied("Only write-only Calendar access granted; full access is required.");
    case AuthorizationStatus::restricted:
    case AuthorizationStatus::denied:
        throw accessDenied("Calendar access not granted (status=" + std::to_string(status) +
                           "). Grant access in System Settings → Privacy & Security → Calendars.");
    case AuthorizationStatus::notDetermined:
        if (!askForFullAccess(*store_)) {
            throw accessDenied("User declined Calendar access.");
        }
        return;
    default:
        throw accessDenied("Unknown EKAuthorizationStatus (" + std::to_string(status) + ").");
    }
}

} // namespace quenbrook
