#include "platform/evolution/FactoryCalendar.h"

#include <utility>

namespace quenbrook::platform::evolution {
namespace {

constexpr const char* factoryPath = "/org/gnome/evolution/dataserver/CalendarFactory";
constexpr const char* factoryInterface = "org.gnome.evolution.dataserver.CalendarFactory";
constexpr const char* calendarInterface = "org.gnome.evolution.dataserver.Calendar";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

} // namespace

FactoryCalendar::FactoryCalendar(Bus& bus, std::string factory, CalendarSource source)
    : bus_(bus)
    , factory_(std::move(factory))
    , source_(std::move(source))
    , calendar_(std::make_shared<const Calendar>(source_.calendar)) {}

void FactoryCalendar::open() {
    if (state_ == State::closed) {
        state_ = State::opening;
        findObject();
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
    error_ = BusError(DBUS_ERROR_TIMEOUT);
    state_ = State::failed;
}

PendingCall FactoryCalendar::requestProperty(const char* name, Handler handler) const {
    return bus_.send({target_.destination, target_.path, propertiesInterface}, "Get",
        std::move(handler), calendarInterface, name);
}

std::string FactoryCalendar::property(Deadline deadline, const char* name) const {
    Message answer = bus_.call(deadline, {target_.destination, target_.path, propertiesInterface},
        "Get", calendarInterface, name);
    return std::string(answer.readVariantString().value_or(""));
}

void FactoryCalendar::findObject() {
    const auto take = [this](Outcome outcome) {
        if (const auto* error = std::get_if<BusError>(&outcome)) {
            error_ = *error;
            settle(State::failed);
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
            error_ = *error;
            settle(State::failed);
            return;
        }
        // Names and values by turns, as texts.
        Calendar opened = source_.calendar;
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
        calendar_ = std::make_shared<const Calendar>(std::move(opened));
        settle(State::open);
    });
}

void FactoryCalendar::settle(State state) {
    state_ = state;
    if (const auto handler = std::exchange(whenSettled_, nullptr)) {
        handler();
    }
}

} // namespace quenbrook::platform::evolution
