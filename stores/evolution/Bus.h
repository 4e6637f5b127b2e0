#pragma once

#include "stores/CalendarStore.h"
#include "stores/evolution/Message.h"

#include <dbus/dbus.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>

namespace quenbrook::stores::evolution {

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

// What a method belongs to.
struct Target {
    // The name of a service, or of a connection, on the bus.
    std::string destination;
    std::string path;
    std::string interface;
};

inline const Target busItself{DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS};

// What has the properties of an interface of an object.
inline Target propertiesOf(const Target& target) {
    return {target.destination, target.path, DBUS_INTERFACE_PROPERTIES};
}

// The answer to a call, or what it ended in instead.
using Outcome = std::variant<Message, BusError>;

// The answer; throws the error when there is none.
Message& answerIn(Outcome& outcome);

using Handler = std::function<void(Outcome)>;

// What is kept of a call until it is answered.
struct CallState {
    struct Cancel {
        void operator()(DBusPendingCall* pending) const {
            ::dbus_pending_call_cancel(pending);
            ::dbus_pending_call_unref(pending);
        }
    };

    CallState(Handler onAnswer, std::exception_ptr& thrownByHandlers, DBusPendingCall* owned)
        : handler(std::move(onAnswer))
        , thrown(thrownByHandlers)
        , call(owned) {}

    Handler handler;
    std::exception_ptr& thrown;
    std::unique_ptr<DBusPendingCall, Cancel> call;
};

// A call that may not have been answered yet. Its handler is not called any more once this is gone.
using PendingCall = std::unique_ptr<CallState>;

// A connection to the session's message bus. Nothing here waits but serveUntil and call.
class Bus {
  public:
    // Throws BusError when there is no bus to connect to, which the environment names. The bus has
    // not said anything yet.
    Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    // Sends a call; its handler is called while answers are served, at most once. Exceptions that
    // the handler throws come out of serveUntil.
    template <class... Arguments>
    PendingCall send(
        const Target& target, const char* method, Handler handler, const Arguments&... arguments) {
        Message message = Message::call(target.destination, target.path, target.interface, method);
        (message.append(arguments), ...);
        return start(message, std::move(handler));
    }

    // Calls `handler` once, while answers are served, when the time has come. What it uses must
    // live until then, or as long as answers are served.
    void callAt(Deadline time, std::function<void()> handler);

    // Has answers handled until `isDone`; false when the deadline comes first. Throws BusError when
    // the connection breaks down.
    bool serveUntil(Deadline deadline, const std::function<bool()>& isDone);

    // Sends a call and waits for its answer. Throws BusError when it ends otherwise, or when there
    // is no answer by the deadline.
    template <class... Arguments>
    Message call(Deadline deadline, const Target& target, const char* method,
        const Arguments&... arguments) {
        std::optional<Outcome> outcome;
        const auto take = [&](Outcome ended) { outcome = std::move(ended); };
        const PendingCall pending = send(target, method, take, arguments...);
        if (!serveUntil(deadline, [&] { return outcome.has_value(); })) {
            throw BusError(DBUS_ERROR_TIMEOUT);
        }
        return std::move(answerIn(*outcome));
    }

    // The text that a property of an object holds; empty when it holds something else. Throws like
    // call.
    std::string property(Deadline deadline, const Target& target, const char* name);

  private:
    struct Close {
        void operator()(DBusConnection* bus) const {
            ::dbus_connection_close(bus);
            ::dbus_connection_unref(bus);
        }
    };

    PendingCall start(const Message& message, Handler handler);
    void handleTimers();

    // Thrown by a handler: it must not travel through C code.
    std::exception_ptr thrown_;
    std::multimap<Deadline, std::function<void()>> timers_;
    std::unique_ptr<DBusConnection, Close> bus_;
    PendingCall hello_;
};

} // namespace quenbrook::stores::evolution
