#include "stores/evolution/Message.h"

#include <algorithm>
#include <array>
#include <new>

namespace quenbrook::stores::evolution {
namespace {

// What the bus says when it finds nobody, and a service of GLib of an object that it does not have.
constexpr std::array<std::string_view, 5> undelivered{
    DBUS_ERROR_SERVICE_UNKNOWN,
    DBUS_ERROR_NAME_HAS_NO_OWNER,
    DBUS_ERROR_UNKNOWN_METHOD,
    DBUS_ERROR_UNKNOWN_OBJECT,
    DBUS_ERROR_UNKNOWN_INTERFACE,
};
constexpr std::string_view startFailures = "org.freedesktop.DBus.Error.Spawn.";

// What the bus, or its library, says when time runs out.
constexpr std::array<std::string_view, 2> timeouts{
    DBUS_ERROR_TIMEOUT,
    DBUS_ERROR_TIMED_OUT,
};

template <std::size_t size>
bool isAmong(const std::array<std::string_view, size>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

void checkMemory(dbus_bool_t done) {
    if (done == 0) {
        throw std::bad_alloc();
    }
}

} // namespace

bool BusError::isUndelivered() const {
    return isAmong(undelivered, name_) || name_.starts_with(startFailures);
}

bool BusError::isTimeout() const {
    return isAmong(timeouts, name_);
}

bool BusError::isServiceLost() const {
    return isUndelivered() || name_ == DBUS_ERROR_NO_REPLY;
}

bool BusError::isUnanswered() const {
    return isServiceLost() || isTimeout() || name_ == DBUS_ERROR_DISCONNECTED ||
           name_ == DBUS_ERROR_NO_SERVER;
}

Message Message::call(const std::string& destination, const std::string& path,
    const std::string& interface, const char* method) {
    // The library takes what comes from its caller for granted, but this may come from a service.
    if (::dbus_validate_bus_name(destination.c_str(), nullptr) == 0 ||
        ::dbus_validate_path(path.c_str(), nullptr) == 0) {
        throw BusError(DBUS_ERROR_INVALID_ARGS);
    }
    Message message(::dbus_message_new_method_call(
        destination.c_str(), path.c_str(), interface.c_str(), method));
    checkMemory(message.message_ ? 1 : 0);
    message.places_.emplace_back();
    ::dbus_message_iter_init_append(message.get(), &message.place());
    return message;
}

Message Message::answer(DBusMessage* message) {
    Message answer(::dbus_message_ref(message));
    answer.places_.emplace_back();
    ::dbus_message_iter_init(message, &answer.place());
    return answer;
}

void Message::append(int type, const void* value) {
    checkMemory(::dbus_message_iter_append_basic(&place(), type, value));
}

void Message::append(const std::string& text) {
    const char* start = text.c_str();
    if (text.find('\0') != std::string::npos || ::dbus_validate_utf8(start, nullptr) == 0) {
        throw BusError(DBUS_ERROR_INVALID_ARGS);
    }
    append(DBUS_TYPE_STRING, &start);
}

void Message::append(std::uint32_t number) {
    append(DBUS_TYPE_UINT32, &number);
}

void Message::append(const std::vector<std::string>& texts) {
    open(DBUS_TYPE_ARRAY, "s");
    for (const std::string& text : texts) {
        append(text);
    }
    close();
}

void Message::append(const std::vector<std::pair<std::string, std::string>>& pairs) {
    open(DBUS_TYPE_ARRAY, "(ss)");
    for (const auto& [first, second] : pairs) {
        open(DBUS_TYPE_STRUCT, nullptr);
        append(first);
        append(second);
        close();
    }
    close();
}

std::string_view Message::readText(int type) {
    expect(type);
    const char* text = nullptr;
    ::dbus_message_iter_get_basic(&place(), &text);
    ::dbus_message_iter_next(&place());
    return text;
}

std::optional<std::string_view> Message::readVariantString() {
    enter(DBUS_TYPE_VARIANT);
    const bool isText = ::dbus_message_iter_get_arg_type(&place()) == DBUS_TYPE_STRING;
    const auto text = isText ? std::optional(readString()) : std::nullopt;
    leave();
    return text;
}

void Message::skip() {
    ::dbus_message_iter_next(&place());
}

void Message::open(int type, const char* contents) {
    DBusMessageIter inside;
    checkMemory(::dbus_message_iter_open_container(&place(), type, contents, &inside));
    places_.push_back(inside);
}

void Message::close() {
    DBusMessageIter inside = place();
    places_.pop_back();
    checkMemory(::dbus_message_iter_close_container(&place(), &inside));
}

void Message::expect(int type) {
    if (::dbus_message_iter_get_arg_type(&place()) != type) {
        throw BusError(DBUS_ERROR_INVALID_SIGNATURE);
    }
}

void Message::enter(int type) {
    expect(type);
    DBusMessageIter inside;
    ::dbus_message_iter_recurse(&place(), &inside);
    places_.push_back(inside);
}

void Message::leave() {
    places_.pop_back();
    ::dbus_message_iter_next(&place());
}

bool Message::atEnd() {
    return ::dbus_message_iter_get_arg_type(&place()) == DBUS_TYPE_INVALID;
}

} // namespace quenbrook::stores::evolution
