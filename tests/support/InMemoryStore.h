#pragma once

#include "platform/CalendarStore.h"

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
class InMemoryStore final : public platform::CalendarStore {
  public:
    // What the permission prompt will do.
    struct Prompt {
        bool granted = true;
        std::optional<std::string> error;
        // The completion runs on another thread, after requestFullAccess() has returned.
        bool answersLate = false;
    };

    std::int64_t status = 3;
    Prompt prompt;
    bool refusesSaves = false;
    bool refusesRemovals = false;
    // When set, every operation after the access check throws it as a PlatformError.
    std::optional<std::string> failure;
    // The time at which events are saved.
    platform::Instant now{std::chrono::sys_days{std::chrono::year{2026} / 1 / 1}};

    // Every call in order: the operation with the identifiers it was given, as in
    // "event(E1)", "events(all)", "events(A,B)".
    std::vector<std::string> calls;
    // What the last create or update was asked to set.
    std::optional<platform::EventChanges> lastChanges;

    ~InMemoryStore() override;

    void add(platform::Calendar calendar);
    // Adds an event as it is, with as many alarms as it says. With rules it is a series' first
    // occurrence. An event without an identifier is found by its range only.
    void add(platform::Event event);

    std::int64_t authorizationStatus() override;
    void requestFullAccess(platform::AccessCompletion completion) override;
    std::vector<platform::Calendar> calendars() override;
    std::optional<platform::Calendar> calendar(std::string_view identifier) override;
    std::vector<platform::Event> events(platform::Instant start, platform::Instant end,
        std::optional<std::span<const platform::Calendar>> calendars) override;
    std::optional<platform::Event> event(std::string_view identifier) override;
    std::optional<platform::Event> create(
        const platform::Calendar& calendar, const platform::EventChanges& changes) override;
    bool update(const platform::Event& event, const platform::EventChanges& changes) override;
    bool remove(const platform::Event& event) override;

  private:
    // A single event, or a series: its first occurrence and what departs from its rules, both
    // keyed by the start that the rules give.
    struct Entry {
        platform::Event first;
        std::map<platform::Instant, platform::Event> exceptions;
        std::set<platform::Instant> removed;
    };
    class Handle;

    void record(std::string call);
    static platform::Instant lastRemoved(const Entry& entry);
    // In the order of the starts that the rules give: those up to `until` and the next.
    static std::vector<platform::Event> occurrences(const Entry& entry, platform::Instant until);
    Entry& entryOf(const platform::Event& event);
    void apply(const platform::EventChanges& changes, platform::Event& event) const;

    std::vector<platform::Calendar> calendars_;
    std::map<std::size_t, Entry> entries_;
    std::size_t nextEntry_ = 1;
    std::thread answering_;
};

} // namespace quenbrook::support
