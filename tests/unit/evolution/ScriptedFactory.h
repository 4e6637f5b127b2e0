#pragma once

#include "stores/evolution/FactoryCalendar.h"
#include "tests/unit/evolution/ScriptedBus.h"

#include <limits>
#include <optional>
#include <string>

namespace quenbrook::stores::evolution {

// Long enough for any machine.
inline Deadline inTheEnd() {
    return Clock::now() + std::chrono::seconds(60);
}

inline CalendarSource workCalendar(bool isRemote = false) {
    CalendarSource source;
    source.calendar.identifier = "work";
    source.path = "/source/work";
    source.isLocal = !isRemote;
    source.isRemote = isRemote;
    return source;
}

// A calendar factory with one calendar that opens, may be written to, and is empty.
class ScriptedFactory {
  public:
    // Nullopt for the answer that such a factory gives.
    using Script = std::function<std::optional<ScriptedReply>(const ScriptedCall&)>;

    explicit ScriptedFactory(
        Script script = [](const ScriptedCall&) { return std::nullopt; },
        CalendarSource source = workCalendar())
        : services([script = std::move(script)](const ScriptedCall& call) {
            const auto reply = script(call);
            return reply ? *reply : usualReply(call);
        })
        , calendar(bus, "some.factory", std::move(source)) {}

    // Opens the calendar, and waits for how that ends.
    void open() {
        calendar.open();
        bus.serveUntil(inTheEnd(), [&] { return calendar.isSettled(); });
    }

    ScriptedBus services;
    Bus bus;
    FactoryCalendar calendar;

  private:
    static ScriptedReply usualReply(const ScriptedCall& call) {
        if (call.method == "OpenCalendar") {
            return ScriptedReply::of({"/calendar/1", ":1.2"});
        }
        if (call.method == "Open") {
            return ScriptedReply::array({"revision", "1", "writable", "true"});
        }
        if (call.method == "Get") {
            return ScriptedReply::variant("1");
        }
        if (call.method == "GetObjectList") {
            return ScriptedReply::array({});
        }
        return ScriptedReply::of({});
    }
};

// Answers calls of a method with an error, the first so many or all.
inline ScriptedFactory::Script failing(
    std::string method, std::string error, int times = std::numeric_limits<int>::max()) {
    return [=, left = times](const ScriptedCall& call) mutable -> std::optional<ScriptedReply> {
        if (call.method != method || left == 0) {
            return std::nullopt;
        }
        --left;
        return ScriptedReply::error(error);
    };
}

} // namespace quenbrook::stores::evolution
