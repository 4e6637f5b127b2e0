#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What the program asks of the platform's calendar store, and the values that cross that line.
//
// A store hands out values and takes changes; nobody outside it ever holds one of its live objects.
// Every text in these values is valid UTF-8: a store replaces what is not with U+FFFD.
namespace quenbrook::platform {

// An instant in UTC. Stores hold years 0001 to 9999; the type has room for more.
using Instant = std::chrono::sys_time<std::chrono::milliseconds>;

// A failure of the platform itself, as opposed to a refusal: reading the store broke down, or the
// permission prompt ended in an error. The text is the platform's own and is not meant for callers
// of the program.
class PlatformError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The account that holds a calendar.
struct Source {
    std::string title;
    // The platform's source type: 0 local, 1 Exchange, 2 CalDAV, 3 MobileMe, 4 subscription,
    // 5 birthdays; other numbers are possible.
    std::int64_t type = 0;

    bool operator==(const Source&) const = default;
};

// Red, green and blue in sRGB, nominally 0 to 1; an extended-range colour may lie outside.
using Color = std::array<double, 3>;

struct Calendar {
    std::string identifier;
    std::string title;
    bool allowsContentModifications = false;
    std::optional<Source> source;
    std::optional<Color> color;

    bool operator==(const Calendar&) const = default;
};

struct Participant {
    // The absolute URL text, its scheme included ("mailto:…" as a rule).
    std::string url;
    std::optional<std::string> name;
    // 0 unknown, 1 pending, 2 accepted, 3 declined, 4 tentative, 5 delegated, 6 completed,
    // 7 in process; other numbers are possible.
    std::int64_t status = 0;

    bool operator==(const Participant&) const = default;
};

// When a recurrence rule stops. A rule ends by count or by date, never by both.
struct RecurrenceEnd {
    // 0 when the rule ends by date.
    std::int64_t occurrenceCount = 0;
    // Absent when the rule ends by count. The last occurrence starts at or before it.
    std::optional<Instant> endDate;

    static RecurrenceEnd withOccurrenceCount(std::int64_t count) { return {count, std::nullopt}; }
    static RecurrenceEnd withEndDate(Instant date) { return {0, date}; }

    bool operator==(const RecurrenceEnd&) const = default;
};

struct RecurrenceRule {
    // 0 daily, 1 weekly, 2 monthly, 3 yearly; other numbers are possible on reading.
    std::int64_t frequency = 0;
    std::int64_t interval = 1;
    // Absent: the rule repeats without limit.
    std::optional<RecurrenceEnd> end;
    // 1 Sunday to 7 Saturday, in the rule's own order; empty when the rule names none.
    std::vector<std::int64_t> daysOfTheWeek;
    // 1 to 31, or negative to count from the month's end.
    std::vector<std::int64_t> daysOfTheMonth;
    // 1 January to 12 December.
    std::vector<std::int64_t> monthsOfTheYear;

    bool operator==(const RecurrenceRule&) const = default;
};

// What a store keeps with an event it hands out, to find that very event (and occurrence) again.
// Only the store that made it looks inside.
class EventHandle {
  public:
    EventHandle() = default;
    EventHandle(const EventHandle&) = delete;
    EventHandle& operator=(const EventHandle&) = delete;
    virtual ~EventHandle() = default;
};

// One event, or one occurrence of a recurring event, as it stood when it was read.
struct Event {
    // Shared by all occurrences of a series.
    std::optional<std::string> identifier;
    // Null: the event belongs to no calendar.
    std::shared_ptr<const Calendar> calendar;
    std::optional<std::string> title;
    Instant start;
    Instant end;
    bool isAllDay = false;
    std::optional<std::string> location;
    std::optional<std::string> notes;
    std::vector<Participant> participants;
    std::size_t alarmCount = 0;
    std::vector<RecurrenceRule> recurrenceRules;
    std::optional<Instant> lastModified;
    // 0 busy, 1 free, 2 tentative, 3 unavailable; -1 when the calendar does not support it.
    std::int64_t availability = 0;
    std::shared_ptr<const EventHandle> handle;
};

// Values to set on an event. What is absent is not touched: a store never rewrites a property that
// the changes do not carry, so that what this interface does not model survives.
struct EventChanges {
    std::optional<std::string> title;
    std::optional<Instant> start;
    std::optional<Instant> end;
    std::optional<bool> isAllDay;
    std::optional<std::string> location;
    std::optional<std::string> notes;
    // Replaces all alarms: seconds relative to the start, negative before it.
    std::optional<std::vector<double>> alarms;
    // Replaces all rules; an empty list makes the event a single one.
    std::optional<std::vector<RecurrenceRule>> recurrenceRules;
};

// Called exactly once, on any thread: whether the user granted access, or the platform's error
// (the flag then means nothing).
using AccessCompletion = std::function<void(bool granted, std::optional<PlatformError> error)>;

// The platform's calendar store. One object serves one run, from one thread (but see
// AccessCompletion). Any operation may throw PlatformError when the platform itself fails. A write
// that the store refuses answers with nothing or false and has changed nothing.
class CalendarStore {
  public:
    CalendarStore() = default;
    CalendarStore(const CalendarStore&) = delete;
    CalendarStore& operator=(const CalendarStore&) = delete;
    virtual ~CalendarStore() = default;

    // The platform's number for this process's access to events: 0 never asked, 1 restricted,
    // 2 denied, 3 full access, 4 write-only; other numbers are possible.
    virtual std::int64_t authorizationStatus() = 0;

    // Asks the user. Returns at once or after the answer; `completion` may run before this returns
    // or later, on another thread.
    virtual void requestFullAccess(AccessCompletion completion) = 0;

    // Every event calendar, in the store's own stable order.
    virtual std::vector<Calendar> calendars() = 0;

    // The calendar with exactly this identifier.
    virtual std::optional<Calendar> calendar(std::string_view identifier) = 0;

    // Every occurrence that starts before `end` and ends after `start`, and every one of zero
    // length that starts in the range, in the store's own stable order. `calendars` limits the
    // search (one named twice counts once); absent means all. An end before the start finds
    // nothing.
    virtual std::vector<Event> events(
        Instant start, Instant end, std::optional<std::span<const Calendar>> calendars) = 0;

    // Hands the same events over in the same order, one by one, so that they need not all be in
    // memory at once. What `take` throws passes through.
    virtual void forEachEvent(Instant start, Instant end,
        std::optional<std::span<const Calendar>> calendars,
        const std::function<void(Event)>& take) {
        for (Event& event : events(start, end, calendars)) {
            take(std::move(event));
        }
    }

    // The event with this identifier; of a series, its first occurrence that still stands.
    virtual std::optional<Event> event(std::string_view identifier) = 0;

    // Saves a new event in a calendar of this store and gives it back as saved. `changes` carries
    // at least title, start, end and isAllDay. Absent: refused.
    virtual std::optional<Event> create(const Calendar& calendar, const EventChanges& changes) = 0;

    // Applies the changes to this one event (of a series: to this occurrence) and saves it, even
    // when there is nothing to change. False: refused.
    virtual bool update(const Event& event, const EventChanges& changes) = 0;

    // Removes this one event (of a series: this occurrence). False: refused.
    virtual bool remove(const Event& event) = 0;
};

// The store of the platform this program was built for. Opening it touches nothing yet.
std::unique_ptr<CalendarStore> openCalendarStore();

} // namespace quenbrook::platform
