#include "stores/evolution/Bus.h"

#include "stores/evolution/Environment.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace quenbrook::stores::evolution {

Message& answerIn(Outcome& outcome) {
    if (const auto* error = std::get_if<BusError>(&outcome)) {
        throw *error;
    }
    return std::get<Message>(outcome);
}

namespace {

struct Unref {
    void operator()(DBusMessage* message) const { ::dbus_message_unref(message); }
};

Outcome takeOutcome(DBusPendingCall* call) {
    const std::unique_ptr<DBusMessage, Unref> message(::dbus_pending_call_steal_reply(call));
    if (!message) {
        return BusError(DBUS_ERROR_NO_REPLY);
    }
    if (::dbus_message_get_type(message.get()) == DBUS_MESSAGE_TYPE_ERROR) {
        return BusError(::dbus_message_get_error_name(message.get()));
    }
    return Message::answer(message.get());
}

void handleAnswer(DBusPendingCall* call, void* pending) {
    auto& state = *static_cast<CallState*>(pending);
    std::exception_ptr& thrown = state.thrown;
    // The handler may well destroy the state.
    const Handler handler = std::move(state.handler);
    try {
        handler(takeOutcome(call));
    } catch (...) {
        thrown = std::current_exception();
    }
}

// Of the bus that this process belongs to; none is ever started.
std::string busAddress() {
    std::string address(environment("DBUS_SESSION_BUS_ADDRESS"));
    if (address.starts_with("autolaunch:")) {
        address.clear();
    }
    const std::string directory(environment("XDG_RUNTIME_DIR"));
    if (address.empty() && directory.starts_with('/')) {
        char* escaped = ::dbus_address_escape_value((directory + "/bus").c_str());
        address = std::string("unix:path=") + (escaped == nullptr ? "" : escaped);
        ::dbus_free(escaped);
    }
    if (address.empty()) {
        throw BusError(DBUS_ERROR_NO_SERVER);
    }
    return address;
}

DBusConnection* connect(const std::string& address) {
    DBusError error = DBUS_ERROR_INIT;
    DBusConnection* bus = ::dbus_connection_open_private(address.c_str(), &error);
    if (bus == nullptr) {
        const BusError thrown(error.name);
        ::dbus_error_free(&error);
        throw BusError(thrown);
    }
    // Losing the bus ends a call, not the process.
    ::dbus_connection_set_exit_on_disconnect(bus, 0);
    return bus;
}

int wholeMilliseconds(Clock::duration duration) {
    const auto count = std::chrono::ceil<std::chrono::milliseconds>(duration).count();
    return static_cast<int>(std::min<std::int64_t>(count, std::numeric_limits<int>::max()));
}

} // namespace

// The first call has to be this one. Nobody waits for its answer: the others come after it.
Bus::Bus()
    : bus_(connect(busAddress()))
    , hello_(send(busItself, "Hello", [](const Outcome&) {})) {}

PendingCall Bus::start(const Message& message, Handler handler) {
    DBusPendingCall* call = nullptr;
    // Who waits says for how long.
    const bool isSent = ::dbus_connection_send_with_reply(
                            bus_.get(), message.get(), &call, DBUS_TIMEOUT_INFINITE) != 0;
    if (!isSent) {
        throw std::bad_alloc();
    }
    if (call == nullptr) {
        throw BusError(DBUS_ERROR_DISCONNECTED);
    }
    auto state = std::make_unique<CallState>(std::move(handler), thrown_, call);
    if (::dbus_pending_call_set_notify(call, handleAnswer, state.get(), nullptr) == 0) {
        throw std::bad_alloc();
    }
    return state;
}

std::string Bus::property(Deadline deadline, const Target& target, const char* name) {
    Message answer = call(deadline, propertiesOf(target), "Get", target.interface.c_str(), name);
    return std::string(answer.readVariantString().value_or(""));
}

void Bus::callAt(Deadline time, std::function<void()> handler) {
    timers_.emplace(time, std::move(handler));
}

void Bus::handleTimers() {
    while (!timers_.empty() && timers_.begin()->first <= Clock::now()) {
        timers_.extract(timers_.begin()).mapped()();
    }
}

bool Bus::serveUntil(Deadline deadline, const std::function<bool()>& isDone) {
    for (handleTimers(); !isDone(); handleTimers()) {
        const Deadline next =
            timers_.empty() ? deadline : std::min(deadline, timers_.begin()->first);
        if (Clock::now() >= deadline) {
            return false;
        }
        const int left = std::max(wholeMilliseconds(next - Clock::now()), 0);
        const bool isConnected = ::dbus_connection_read_write_dispatch(bus_.get(), left) != 0;
        if (thrown_) {
            std::rethrow_exception(std::exchange(thrown_, nullptr));
        }
        if (!isConnected && !isDone()) {
            throw BusError(DBUS_ERROR_DISCONNECTED);
        }
    }
    return true;
}

} // namespace quenbrook::stores::evolution
