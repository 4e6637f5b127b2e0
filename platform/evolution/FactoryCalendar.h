#pragma once

#include "platform/evolution/Bus.h"
#include "platform/evolution/Sources.h"

#include <functional>
#include <memory>
#include <string>

namespace quenbrook::platform::evolution {

// One calendar of the calendar factory, which opens it when the first call needs it. Whoever has
// calls under way must be gone before it.
class FactoryCalendar {
  public:
    // `bus` must outlive this.
    FactoryCalendar(Bus& bus, std::string factory, CalendarSource source);

    const CalendarSource& source() const { return source_; }
    const std::string& identifier() const { return source_.calendar.identifier; }

    // As it is listed: not to be changed as long as it is not open.
    const std::shared_ptr<const Calendar>& calendar() const { return calendar_; }

    // Begins to open it. The answer may already be there.
    void open();
    bool isOpen() const { return state_ == State::open; }
    // Whether opening it has come to an end, good or bad.
    bool isSettled() const { return isOpen() || state_ == State::failed; }
    // Called once when it is settled, at once if it is.
    void whenSettled(std::function<void()> handler);
    // What opening it ended in, if it failed.
    const std::optional<BusError>& error() const { return error_; }

    // Takes it as one that cannot be opened, and does not ask again.
    void giveUp();

    // Of the open calendar: calls that the service answers.
    template <class... Arguments>
    PendingCall send(const char* method, Handler handler, const Arguments&... arguments) const {
        return bus_.send(target_, method, std::move(handler), arguments...);
    }
    template <class... Arguments>
    Message call(Deadline deadline, const char* method, const Arguments&... arguments) const {
        return bus_.call(deadline, target_, method, arguments...);
    }
    // A text; the answer to a request of it is a variant.
    std::string property(Deadline deadline, const char* name) const;
    PendingCall requestProperty(const char* name, Handler handler) const;

  private:
    enum class State { closed, opening, open, failed };

    void findObject();
    void openObject();
    void settle(State state);

    Bus& bus_;
    std::string factory_;
    CalendarSource source_;
    std::shared_ptr<const Calendar> calendar_;
    State state_ = State::closed;
    std::optional<BusError> error_;
    Target target_;
    std::function<void()> whenSettled_;
    PendingCall pending_;
};

} // namespace quenbrook::platform::evolution
