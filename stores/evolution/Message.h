#pragma once

#include "stores/CalendarStore.h"

#include <dbus/dbus.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quenbrook::stores::evolution {

// A call that was not answered as it should be, or a message that cannot be made or read.
class BusError : public model::PlatformError {
  public:
    // `name` is the error's name on the bus, "org.freedesktop.DBus.Error.NoReply" say.
    explicit BusError(std::string name)
        : model::PlatformError(name)
        , name_(std::move(name)) {}

    const std::string& name() const { return name_; }

    // Whether nobody took the call, so that it has done nothing: the service, or the object in it
    // that was asked, is not there (any more).
    bool isUndelivered() const;

    // Whether nobody has answered: the call was not delivered, the service died, the bus broke
    // down, time ran out. Otherwise the service has answered that it cannot.
    bool isUnanswered() const;

    // Whether time ran out.
    bool isTimeout() const;

    // Whether another try may do: the service went away, and the bus starts it anew.
    bool isServiceLost() const;

  private:
    std::string name_;
};

// One message of the bus: a call that is being made, or an answer that is being read, value by
// value in their order. Throws BusError when the values are others than those asked for.
class Message {
  public:
    // A call that takes arguments.
    static Message call(const std::string& destination, const std::string& path,
        const std::string& interface, const char* method);

    // An answer. Shares the message.
    static Message answer(DBusMessage* message);

    DBusMessage* get() const { return message_.get(); }

    // The text must be UTF-8 without NUL.
    void append(const std::string& text);
    void append(const char* text) { append(std::string(text)); }
    void append(std::uint32_t number);
    void append(const std::vector<std::string>& texts);
    void append(const std::vector<std::pair<std::string, std::string>>& pairs);

    // What is read points into the message.
    std::string_view readString() { return readText(DBUS_TYPE_STRING); }
    std::string_view readObjectPath() { return readText(DBUS_TYPE_OBJECT_PATH); }
    // The text in a variant. Returns nullopt when it holds something else.
    std::optional<std::string_view> readVariantString();
    template <class Take>
    void readStrings(Take take) {
        readArray([&] { take(readString()); });
    }

    // Calls `readElement` once for each element of an array; it must read all of it.
    template <class ReadElement>
    void readArray(ReadElement readElement) {
        enter(DBUS_TYPE_ARRAY);
        while (!atEnd()) {
            readElement();
        }
        leave();
    }
    // Calls `readEntry` once for each entry of a dictionary.
    template <class ReadEntry>
    void readDictionary(ReadEntry readEntry) {
        readArray([&] {
            enter(DBUS_TYPE_DICT_ENTRY);
            readEntry();
            leave();
        });
    }
    void skip();

  private:
    struct Unref {
        void operator()(DBusMessage* message) const { ::dbus_message_unref(message); }
    };

    explicit Message(DBusMessage* owned)
        : message_(owned) {}

    DBusMessageIter& place() { return places_.back(); }
    void append(int type, const void* value);
    void open(int type, const char* contents);
    void close();
    std::string_view readText(int type);
    void expect(int type);
    void enter(int type);
    void leave();
    bool atEnd();

    std::unique_ptr<DBusMessage, Unref> message_;
    // In the message itself and in each container that is being read or made.
    std::vector<DBusMessageIter> places_;
};

} // namespace quenbrook::stores::evolution
