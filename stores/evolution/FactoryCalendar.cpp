#include "stores/evolution/FactoryCalendar.h"

#include <utility>

namespace quenbrook::stores::evolution {
namespace {

constexpr const char* factoryPath = "/org/gnome/evolution/dataserver/CalendarFactory";
constexpr const char* factoryInterface = "org.gnome.evolution.dataserver.CalendarFactory";
constexpr const char* calendarInterface = "org.gnome.evolution.dataserver.Calendar";

// For how long a factory may not have heard of a calendar that the registry lists, and how often it
// is asked. 0.3 s were seen.
constexpr std::chrono::milliseconds timeoutOfUnknownSource{1500};
constexpr std::chrono::milliseconds pauseForUnknownSource{20};
// G_IO_ERROR_NOT_FOUND.
constexpr std::string_view unknownSourceError =
    "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code1";

} // namespace

FactoryCalendar::FactoryCalendar(Bus& bus, std::string factory, CalendarSource source)
    : bus_(bus)
    , factory_(std::move(factory))
    , source_(std::move(source))
    , calendar_(std::make_shared<const model::Calendar>(source_.calendar)) {}

void FactoryCalendar::open() {
    if (state_ == State::closed) {
        state_ = State::opening;
        findObject();
    }
}

bool FactoryCalendar::reopenAfter(const BusError& error) {
    if (wasReopened_ || !error.isServiceLost()) {
        return false;
    }
    wasReopened_ = true;
    state_ = State::opening;
    findObject();
    return true;
}

void FactoryCalendar::reopenAfter(const BusError& error, Deadline deadline) {
    if (!reopenAfter(error)) {
        throw BusError(error);
    }
    if (!bus_.serveUntil(deadline, [this] { return isSettled(); })) {
        giveUp();
    }
    if (!isOpen()) {
        throw BusError(*error_);
    }
}

void FactoryCalendar::whenSettled(std::function<void()> handler) {
    if (isSettled() && handler) {
        handler();
    } else {
        whenSettled_ = std::move(handler);
    }
}

void FactoryCalendar::giveUp() {
    pending_ = PendingCall();
    whenSettled_ = nullptr;
    // That the factory does not know the calendar is another matter than a server that is slow.
    if (!error_) {
        error_ = BusError(DBUS_ERROR_TIMEOUT);
    }
    state_ = State::failed;
}

bool FactoryCalendar::isInDoubtAfter(const BusError& error) const {
    const bool isServerAway = source_.isRemote && error.isTimeout();
    return error.isUnanswered() && !isServerAway;
}

PendingCall FactoryCalendar::requestProperty(const char* name, Handler handler) const {
    return bus_.send(propertiesOf(target_), "Get", std::move(handler), calendarInterface, name);
}

void FactoryCalendar::findObject() {
    const auto take = [this](Outcome outcome) {
        if (const auto* error = std::get_if<BusError>(&outcome)) {
            if (error->name() == unknownSourceError) {
                awaitSource();
            } else {
                takeFailure(*error);
            }
            return;
        }
        Message& answer = std::get<Message>(outcome);
        target_.path = answer.readString();
        target_.destination = answer.readString();
        target_.interface = calendarInterface;
        openObject();
    };
    pending_ = bus_.send({factory_, factoryPath, factoryInterface}, "OpenCalendar", take,
        source_.calendar.identifier);
}

void FactoryCalendar::openObject() {
    pending_ = send("Open", [this](Outcome outcome) {
        if (const auto* error = std::get_if<BusError>(&outcome)) {
            takeFailure(*error);
            return;
        }
        // Names and values by turns, as texts.
        model::Calendar opened = source_.calendar;
        std::optional<std::string> name;
        std::get<Message>(outcome).readStrings([&](std::string_view text) {
            if (!name) {
                name = text;
                return;
            }
            if (name == "writable") {
                opened.allowsContentModifications = text == "true";
            }
            name.reset();
        });
        calendar_ = std::make_shared<const model::Calendar>(std::move(opened));
        error_.reset();
        settle(State::open);
    });
}

void FactoryCalendar::awaitSource() {
    // Whatever comes of it: the calendar is there, for all that the registry says.
    error_ = BusError(DBUS_ERROR_UNKNOWN_OBJECT);
    const auto now = Clock::now();
    unknownUntil_ = unknownUntil_.value_or(now + timeoutOfUnknownSource);
    if (now >= *unknownUntil_) {
        settle(State::failed);
        return;
    }
    bus_.callAt(now + pauseForUnknownSource, [this] {
        if (state_ == State::opening) {
            findObject();
        }
    });
}

void FactoryCalendar::takeFailure(const BusError& error) {
    if (!reopenAfter(error)) {
        error_ = error;
        settle(State::failed);
    }
}

void FactoryCalendar::settle(State state) {
    state_ = state;
    if (const auto handler = std::exchange(whenSettled_, nullptr)) {
        handler();
    }
}

} // namespace quenbrook::stores::evolution
