#pragma once

#include "stores/evolution/Bus.h"
#include "stores/evolution/Sources.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quenbrook::stores::evolution {

// One calendar of the calendar factory, which opens it when the first call needs it. What has calls
// under way must be gone before it. Not thread-safe.
class FactoryCalendar {
  public:
    // `bus` must outlive this.
    FactoryCalendar(Bus& bus, std::string factory, CalendarSource source);

    const CalendarSource& source() const { return source_; }
    const std::string& identifier() const { return source_.calendar.identifier; }

    // As it is listed: not to be changed as long as it is not open.
    const std::shared_ptr<const model::Calendar>& calendar() const { return calendar_; }

    // Begins to open it. The answer may already be there. A factory that goes away meanwhile is
    // asked once more, one that has not heard of the calendar yet for a second and a half.
    void open();
    bool isOpen() const { return state_ == State::open; }
    // Whether opening it has come to an end, good or bad.
    bool isSettled() const { return isOpen() || state_ == State::failed; }
    // Called once when it is settled, at once if it is.
    void whenSettled(std::function<void()> handler);
    // What opening it ended in. Nullopt when it has not failed.
    const std::optional<BusError>& error() const { return error_; }

    // Begins to open it once more when the factory that had it open went away, which is what
    // `error` says. Returns false when the error says something else, or when this was done before:
    // a service that does not stay is not waited for.
    bool reopenAfter(const BusError& error);

    // Opens it once more and waits for that. Throws BusError when there is no calendar after that,
    // `error` when it is not to be opened again.
    void reopenAfter(const BusError& error, Deadline deadline);

    // Takes it as one that cannot be opened, and does not ask again.
    void giveUp();

    // Whether this error leaves open what becomes of the calendar. Otherwise it is known that it
    // cannot be opened at present: the service says so, or its server does not answer.
    bool isInDoubtAfter(const BusError& error) const;

    // Of the open calendar: calls that the service answers.
    template <class... Arguments>
    PendingCall send(const char* method, Handler handler, const Arguments&... arguments) const {
        return bus_.send(target_, method, std::move(handler), arguments...);
    }
    template <class... Arguments>
    Message call(Deadline deadline, const char* method, const Arguments&... arguments) const {
        return bus_.call(deadline, target_, method, arguments...);
    }
    // A call that only reads; it is made again when the factory went away and the calendar was
    // opened once more.
    template <class... Arguments>
    Message read(Deadline deadline, const char* method, const Arguments&... arguments) {
        try {
            return call(deadline, method, arguments...);
        } catch (const BusError& error) {
            reopenAfter(error, deadline);
        }
        return call(deadline, method, arguments...);
    }
    // A text; the answer to a request of it is a variant.
    std::string property(Deadline deadline, const char* name) const {
        return bus_.property(deadline, target_, name);
    }
    PendingCall requestProperty(const char* name, Handler handler) const;

  private:
    enum class State { closed, opening, open, failed };

    void findObject();
    void openObject();
    void awaitSource();
    void takeFailure(const BusError& error);
    void settle(State state);

    Bus& bus_;
    std::string factory_;
    CalendarSource source_;
    std::shared_ptr<const model::Calendar> calendar_;
    State state_ = State::closed;
    bool wasReopened_ = false;
    // Until when a factory that does not know the calendar is asked again.
    std::optional<Deadline> unknownUntil_;
    std::optional<BusError> error_;
    Target target_;
    std::function<void()> whenSettled_;
    PendingCall pending_;
};

} // namespace quenbrook::stores::evolution
