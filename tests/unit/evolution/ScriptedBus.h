#pragma once

#include "tests/support/ScopedVariable.h"
#include "tests/support/TemporaryFolder.h"

#include <dbus/dbus.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quenbrook::stores::evolution {

// A call that a client has made.
struct ScriptedCall {
    std::string destination;
    std::string path;
    std::string method;
    // All texts among the arguments, in their order.
    std::vector<std::string> texts;
};

// What it is answered with.
struct ScriptedReply {
    enum class Kind { texts, array, variant, sources, error, silence, end };

    Kind kind = Kind::texts;
    std::vector<std::string> texts;

    // Each a value of its own.
    static ScriptedReply of(std::vector<std::string> texts) {
        return {Kind::texts, std::move(texts)};
    }
    static ScriptedReply array(std::vector<std::string> texts) {
        return {Kind::array, std::move(texts)};
    }
    static ScriptedReply variant(std::string text) { return {Kind::variant, {std::move(text)}}; }
    // The registry's objects: the UID and the key file of each by turns.
    static ScriptedReply sources(std::vector<std::string> texts) {
        return {Kind::sources, std::move(texts)};
    }
    static ScriptedReply error(std::string name) { return {Kind::error, {std::move(name)}}; }
    // No answer comes.
    static ScriptedReply silence() { return {Kind::silence, {}}; }
    // The bus closes the connection.
    static ScriptedReply end() { return {Kind::end, {}}; }
};

// A session bus with all its services, played by the test: the only one that a client in this
// process finds, for as long as it lives. One client at a time.
class ScriptedBus {
  public:
    using Script = std::function<ScriptedReply(const ScriptedCall&)>;

    // `script` answers every call but Hello, in a thread of its own.
    explicit ScriptedBus(Script script);
    ScriptedBus(const ScriptedBus&) = delete;
    ScriptedBus& operator=(const ScriptedBus&) = delete;
    ~ScriptedBus();

    // Of the calls so far, Hello left out: each the method, and what the script's texts were.
    std::vector<ScriptedCall> calls() const;
    // Their methods.
    std::vector<std::string> methods() const;

    // The directory with the socket, which is called "bus".
    std::string directory() const { return directory_.path(); }
    std::string address() const { return "unix:path=" + directory() + "/bus"; }

  private:
    void serve();
    void serve(int client);
    bool answer(int client, DBusMessage* message);

    Script script_;
    support::TemporaryFolder directory_;
    support::ScopedVariable variable_;
    mutable std::mutex mutex_;
    std::vector<ScriptedCall> calls_;
    int listener_;
    int client_ = -1;
    std::thread thread_;
};

} // namespace quenbrook::stores::evolution
