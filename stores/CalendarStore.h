#pragma once

#include "model/Calendar.h"
#include "model/Event.h"
#include "model/EventChanges.h"
#include "model/Instant.h"
#include "model/PlatformError.h"
#include "model/PlatformNumbers.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

// What the program asks of the platform's calendar store. A store hands out values and takes
// changes; nobody outside it ever holds one of its live objects. Every text in these values is
// valid UTF-8: a store replaces what is not with U+FFFD.
namespace quenbrook::stores {

// Called exactly once, on any thread: whether the user granted access, or the platform's error
// (the flag then means nothing).
using AccessCompletion =
    std::function<void(bool granted, std::optional<model::PlatformError> error)>;

// The platform's calendar store. One object serves one run. A write that the store refuses has
// changed nothing. Any operation may throw PlatformError when the platform itself fails. Not
// thread-safe (but see AccessCompletion).
class CalendarStore {
  public:
    CalendarStore() = default;
    CalendarStore(const CalendarStore&) = delete;
    CalendarStore& operator=(const CalendarStore&) = delete;
    virtual ~CalendarStore() = default;

    // This process's access to events: an AuthorizationStatus or another number.
    virtual std::int64_t authorizationStatus() = 0;

    // Asks the user. Returns at once or after the answer; `completion` may run before this returns
    // or later, on another thread.
    virtual void requestFullAccess(AccessCompletion completion) = 0;

    // Every event calendar with all that is known of it, in the store's own stable order.
    virtual std::vector<model::Calendar> calendars() = 0;

    // The calendar with exactly this identifier. Here and with an event a store may leave out of a
    // calendar what only a listing tells: title, source and colour. Returns nullopt when there is
    // none.
    virtual std::optional<model::Calendar> calendar(std::string_view identifier) = 0;

    // Hands over every instance that starts before `end` and ends after `start`, and every one of
    // zero length that starts in the range, in the store's own stable order and one by one, so that
    // they need not all be in memory at once. `calendars` limits the search (one named twice counts
    // once); absent means all. An end before the start finds no event. What `take` throws passes
    // through.
    virtual void forEachEvent(model::Instant start, model::Instant end,
        std::optional<std::span<const model::Calendar>> calendars,
        const std::function<void(model::Event)>& take) = 0;

    // The event with this identifier; of a series, its first instance that still stands. Returns
    // nullopt when there is none.
    virtual std::optional<model::Event> event(std::string_view identifier) = 0;

    // That event as far as changing it takes: its calendar and its handle. The rest may be missing,
    // and then nothing that is wrong with it stands in the way of a change.
    virtual std::optional<model::Event> eventToChange(std::string_view identifier) {
        return event(identifier);
    }

    // That event's participants. Returns nullopt when there is no such event.
    virtual std::optional<std::vector<model::Participant>> participants(
        std::string_view identifier) {
        std::optional<model::Event> found = event(identifier);
        return found ? std::optional(std::move(found->participants)) : std::nullopt;
    }

    // Saves a new event in a calendar of this store and tells what it was saved as. `changes`
    // carries at least title, start, end and isAllDay. Returns nullopt when the store refuses. Once
    // the event is known to be saved nothing throws; an outcome that cannot be known is thrown.
    virtual std::optional<model::SavedEvent> create(
        const model::Calendar& calendar, const model::EventChanges& changes) = 0;

    // Applies the changes to this one event (of a series: to this instance) and saves it, even
    // when there is nothing to change. Returns false when the store refuses.
    virtual bool update(const model::Event& event, const model::EventChanges& changes) = 0;

    // Removes this one event (of a series: this instance). Returns false when the store refuses.
    virtual bool remove(const model::Event& event) = 0;
};

// The store of the platform this program was built for. Opening it touches nothing yet.
std::unique_ptr<CalendarStore> openCalendarStore();

} // namespace quenbrook::stores
