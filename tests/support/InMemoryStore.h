#pragma once

#include "stores/CalendarStore.h"

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quenbrook::support {

// A whole calendar store without a platform below it, every behaviour of which a test can choose.
//
// Calendars and events come back in the order in which they were added, so that a program that
// sorted them would be found out. Of a recurrence rule only frequency, interval and end are
// expanded, in UTC.
class InMemoryStore final : public stores::CalendarStore {
  public:
    // What the permission prompt will do.
    struct Prompt {
        bool granted = true;
        std::optional<std::string> error;
        // The completion runs on another thread, after requestFullAccess() has returned.
        bool answersLate = false;
    };

    std::int64_t status = model::AuthorizationStatus::fullAccess;
    Prompt prompt;
    bool refusesSaves = false;
    bool refusesRemovals = false;
    // When set, every operation after the access check throws it as a PlatformError.
    std::optional<std::string> failure;
    // The time at which events are saved.
    model::Instant now{std::chrono::sys_days{std::chrono::year{2026} / 1 / 1}};

    // Every call in order: the operation with the identifiers it was given, as in
    // "event(E1)", "events(all)", "events(A,B)".
    std::vector<std::string> calls;
    // What the last create or update was asked to set.
    std::optional<model::EventChanges> lastChanges;

    ~InMemoryStore() override;

    void add(model::Calendar calendar);
    // Adds an event as it is, with as many alarms as it says. With rules it is a series' first
    // occurrence. An event without an identifier is found by its range only.
    void add(model::Event event);

    std::int64_t authorizationStatus() override;
    void requestFullAccess(stores::AccessCompletion completion) override;
    std::vector<model::Calendar> calendars() override;
    std::optional<model::Calendar> calendar(std::string_view identifier) override;
    void forEachEvent(model::Instant start, model::Instant end,
        std::optional<std::span<const model::Calendar>> calendars,
        const std::function<void(model::Event)>& take) override;
    std::optional<model::Event> event(std::string_view identifier) override;
    std::optional<model::SavedEvent> create(
        const model::Calendar& calendar, const model::EventChanges& changes) override;
    bool update(const model::Event& event, const model::EventChanges& changes) override;
    bool remove(const model::Event& event) override;

  private:
    // A single event, or a series: its first occurrence and what departs from its rules, both
    // keyed by the start that the rules give.
    struct Entry {
        model::Event first;
        std::map<model::Instant, model::Event> exceptions;
        std::set<model::Instant> removed;
    };
    class Handle;

    void record(std::string call);
    static model::Instant lastRemoved(const Entry& entry);
    // In the order of the starts that the rules give: those up to `until` and the next.
    static std::vector<model::Event> occurrences(const Entry& entry, model::Instant until);
    Entry& entryOf(const model::Event& event);
    void apply(const model::EventChanges& changes, model::Event& event) const;

    std::vector<model::Calendar> calendars_;
    std::map<std::size_t, Entry> entries_;
    std::size_t nextEntry_ = 1;
    std::thread answering_;
};

} // namespace quenbrook::support
