#include "tests/unit/evolution/ScriptedBus.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>
#include <system_error>

namespace quenbrook::stores::evolution {
namespace {

struct UnrefMessage {
    void operator()(DBusMessage* message) const { ::dbus_message_unref(message); }
};
using OwnedMessage = std::unique_ptr<DBusMessage, UnrefMessage>;

constexpr std::string_view sourcePath = "/org/gnome/evolution/dataserver/SourceManager/Source_";

int listenAt(const std::string& path) {
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0 ||
        ::bind(listener, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 ||
        ::listen(listener, 8) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return listener;
}

bool sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// Appends what comes; false at the end.
bool receive(int socket, std::string& bytes) {
    std::array<char, 4096> block{};
    const ssize_t count = ::recv(socket, block.data(), block.size(), 0);
    bytes.append(block.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

// The lines before the first message. What has come after them stays in `bytes`.
bool authenticate(int socket, std::string& bytes) {
    while (true) {
        const std::size_t end = bytes.find("\r\n");
        if (end == std::string::npos) {
            if (!receive(socket, bytes)) {
                return false;
            }
            continue;
        }
        const std::string line = bytes.substr(0, end);
        bytes.erase(0, end + 2);
        if (line == "BEGIN") {
            return true;
        }
        const bool isAuthentication = line.find("AUTH ") != std::string::npos;
        if (!sendAll(socket,
                isAuthentication ? "OK 0123456789abcdef0123456789abcdef\r\n" : "ERROR\r\n")) {
            return false;
        }
    }
}

void collectTexts(DBusMessageIter& place, std::vector<std::string>& texts) {
    for (int type = 0; (type = ::dbus_message_iter_get_arg_type(&place)) != DBUS_TYPE_INVALID;
         ::dbus_message_iter_next(&place)) {
        if (type == DBUS_TYPE_STRING) {
            const char* text = nullptr;
            ::dbus_message_iter_get_basic(&place, &text);
            texts.emplace_back(text);
        } else if (type == DBUS_TYPE_ARRAY || type == DBUS_TYPE_STRUCT) {
            DBusMessageIter inside;
            ::dbus_message_iter_recurse(&place, &inside);
            collectTexts(inside, texts);
        }
    }
}

ScriptedCall callIn(DBusMessage* message) {
    ScriptedCall call{::dbus_message_get_destination(message), ::dbus_message_get_path(message),
        ::dbus_message_get_member(message), {}};
    DBusMessageIter place;
    if (::dbus_message_iter_init(message, &place) != 0) {
        collectTexts(place, call.texts);
    }
    return call;
}

// Appends values to a message or to a container in one.
class Writer {
  public:
    explicit Writer(DBusMessage* message) { ::dbus_message_iter_init_append(message, &place_); }

    void text(const std::string& value, int type = DBUS_TYPE_STRING) {
        const char* bytes = value.c_str();
        ::dbus_message_iter_append_basic(&place_, type, &bytes);
    }
    template <class Write>
    void inside(int type, const char* contents, Write write) {
        DBusMessageIter outside = place_;
        DBusMessageIter container;
        ::dbus_message_iter_open_container(&outside, type, contents, &container);
        place_ = container;
        write();
        ::dbus_message_iter_close_container(&outside, &place_);
        place_ = outside;
    }
    void variant(const std::string& value) {
        inside(DBUS_TYPE_VARIANT, "s", [&] { text(value); });
    }
    void property(const std::string& name, const std::string& value) {
        inside(DBUS_TYPE_DICT_ENTRY, nullptr, [&] {
            text(name);
            variant(value);
        });
    }

  private:
    DBusMessageIter place_;
};

void writeSource(Writer& writer, const std::string& uid, const std::string& data) {
    writer.inside(DBUS_TYPE_DICT_ENTRY, nullptr, [&] {
        writer.text(std::string(sourcePath) + uid, DBUS_TYPE_OBJECT_PATH);
        writer.inside(DBUS_TYPE_ARRAY, "{sa{sv}}", [&] {
            writer.inside(DBUS_TYPE_DICT_ENTRY, nullptr, [&] {
                writer.text("org.gnome.evolution.dataserver.Source");
                writer.inside(DBUS_TYPE_ARRAY, "{sv}", [&] {
                    writer.property("UID", uid);
                    writer.property("Data", data);
                });
            });
        });
    });
}

void write(DBusMessage* message, const ScriptedReply& reply) {
    Writer writer(message);
    const auto& texts = reply.texts;
    const auto each = [&] {
        for (const std::string& value : texts) {
            writer.text(value);
        }
    };
    switch (reply.kind) {
    case ScriptedReply::Kind::texts:
        each();
        break;
    case ScriptedReply::Kind::array:
        writer.inside(DBUS_TYPE_ARRAY, "s", each);
        break;
    case ScriptedReply::Kind::variant:
        writer.variant(texts.front());
        break;
    case ScriptedReply::Kind::sources:
        writer.inside(DBUS_TYPE_ARRAY, "{oa{sa{sv}}}", [&] {
            for (std::size_t place = 0; place + 1 < texts.size(); place += 2) {
                writeSource(writer, texts[place], texts[place + 1]);
            }
        });
        break;
    default:
        break;
    }
}

bool sendMessage(int socket, DBusMessage* message, dbus_uint32_t serial) {
    ::dbus_message_set_serial(message, serial);
    char* bytes = nullptr;
    int length = 0;
    if (::dbus_message_marshal(message, &bytes, &length) == 0) {
        throw std::bad_alloc();
    }
    const bool isSent = sendAll(socket, {bytes, static_cast<std::size_t>(length)});
    ::dbus_free(bytes);
    return isSent;
}

} // namespace

ScriptedBus::ScriptedBus(Script script)
    : script_(std::move(script))
    , variable_("DBUS_SESSION_BUS_ADDRESS", address())
    , listener_(listenAt(directory() + "/bus"))
    , thread_([this] { serve(); }) {}

ScriptedBus::~ScriptedBus() {
    ::shutdown(listener_, SHUT_RDWR);
    {
        const std::lock_guard lock(mutex_);
        if (client_ >= 0) {
            ::shutdown(client_, SHUT_RDWR);
        }
    }
    thread_.join();
    ::close(listener_);
}

std::vector<ScriptedCall> ScriptedBus::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

std::vector<std::string> ScriptedBus::methods() const {
    std::vector<std::string> names;
    for (const ScriptedCall& call : calls()) {
        names.push_back(call.method);
    }
    return names;
}

void ScriptedBus::serve() {
    for (int client = 0; (client = ::accept(listener_, nullptr, nullptr)) >= 0;) {
        {
            const std::lock_guard lock(mutex_);
            client_ = client;
        }
        serve(client);
        const std::lock_guard lock(mutex_);
        client_ = -1;
        ::close(client);
    }
}

void ScriptedBus::serve(int client) {
    std::string bytes;
    if (!authenticate(client, bytes)) {
        return;
    }
    while (true) {
        const int length =
            ::dbus_message_demarshal_bytes_needed(bytes.data(), static_cast<int>(bytes.size()));
        if (length < 0) {
            return;
        }
        if (length == 0 || bytes.size() < static_cast<std::size_t>(length)) {
            if (!receive(client, bytes)) {
                return;
            }
            continue;
        }
        const OwnedMessage message(::dbus_message_demarshal(bytes.data(), length, nullptr));
        bytes.erase(0, static_cast<std::size_t>(length));
        if (!message || !answer(client, message.get())) {
            return;
        }
    }
}

// False when this was the last one.
bool ScriptedBus::answer(int client, DBusMessage* message) {
    const ScriptedCall call = callIn(message);
    ScriptedReply reply = ScriptedReply::of({":1.1"});
    if (call.method != "Hello") {
        {
            const std::lock_guard lock(mutex_);
            calls_.push_back(call);
        }
        reply = script_(call);
    }
    if (reply.kind == ScriptedReply::Kind::silence) {
        return true;
    }
    if (reply.kind == ScriptedReply::Kind::end) {
        return false;
    }
    const OwnedMessage sent(
        reply.kind == ScriptedReply::Kind::error
            ? ::dbus_message_new_error(message, reply.texts.front().c_str(), "scripted")
            : ::dbus_message_new_method_return(message));
    write(sent.get(), reply);
    return sendMessage(client, sent.get(), ::dbus_message_get_serial(message) + 1);
}

} // namespace quenbrook::stores::evolution
