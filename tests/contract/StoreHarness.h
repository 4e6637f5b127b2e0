#pragma once

#include "stores/CalendarStore.h"

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// What a store brings along to be put through the contract suite (StoreContract.h).
//
// A store's test binary compiles the suite's sources (the object library quenbrook_contract), one
// harness of its own, and one line that names it:
//
//     INSTANTIATE_TEST_SUITE_P(InMemory, StoreContract,
//         testing::Values(HarnessFactory{[] { return std::make_unique<InMemoryHarness>(); }}));
namespace quenbrook::contract {

// Where stores lawfully differ. A test reads the flag and asserts the one behaviour or the other;
// none is left out because of a flag.
struct StoreCapabilities {
    // Instants come back to the millisecond; otherwise cut to the whole second.
    bool keepsFractionalSeconds = true;
    // A range of any length is searched whole; otherwise no further than its first four years.
    bool searchesLongRanges = true;
    // An event without a title comes back without one; otherwise with an empty title.
    bool keepsAbsentTitles = true;
    // Blanks around a text stay, and so does a text that is nothing else, or nothing at all;
    // otherwise they go, and what is left without any character counts as no text.
    bool keepsBlanks = true;
    // Texts may hold U+0000; otherwise a write that carries one is refused.
    bool keepsNul = true;
    // The availability of a seeded event comes back; otherwise -1.
    bool supportsAvailability = true;
    // A saved event carries the instant of its last change; otherwise it carries none.
    bool stampsLastModified = true;
    // A seeded event has the instant of its last change that it tells, or none; otherwise that of
    // its arrival.
    bool keepsLastModified = true;
    // The days of the week of a rule stay in their order; otherwise Monday comes first.
    bool keepsOrderOfDays = true;
    // Accounts of type 3 are told as such; otherwise as CalDAV accounts, which they are.
    bool tellsMobileMe = true;
    // An all-day event is saved from the first moment of its first local day to 23:59:59 of its
    // last; otherwise with the very instants that were set.
    bool alignsAllDayEvents = true;
    // A change of an event that is gone by then is refused; otherwise it brings the event back.
    bool refusesChangesOfGoneEvents = true;
};

struct CalendarSeed {
    // Unique among the seeds of a test: lower-case ASCII letters and digits.
    std::string name;
    std::string title;
    // False for a calendar in a source of type 4 or 5, and for no other.
    bool writable = true;
    // Sources with the same title are the same account. Types 0 to 5.
    std::optional<model::Source> source;
    // Each component a multiple of 1/255 between 0 and 1.
    std::optional<model::Color> color;
};

struct EventSeed {
    // Unique among the seeds of a test: ASCII letters, digits and hyphens.
    std::string name;
    std::optional<std::string> title;
    // Whole seconds. For an all-day event: the first moment of the first day and 23:59:59 of the
    // last, in the machine's zone.
    model::Instant start;
    model::Instant end;
    bool isAllDay = false;
    std::optional<std::string> location;
    std::optional<std::string> notes;
    // Statuses 1 to 7 (0 is what a store says of a status it does not know).
    std::vector<model::Participant> participants;
    // Seconds relative to the start.
    std::vector<double> alarms;
    std::vector<model::RecurrenceRule> recurrenceRules;
    std::optional<model::Instant> lastModified;
    // 0 to 3.
    std::int64_t availability = 0;
};

// A world of calendars and events outside the store, set up before the store is opened.
class StoreHarness {
  public:
    StoreHarness() = default;
    StoreHarness(const StoreHarness&) = delete;
    StoreHarness& operator=(const StoreHarness&) = delete;
    // Every store opened through this harness is destroyed before it.
    virtual ~StoreHarness() = default;

    virtual StoreCapabilities capabilities() const = 0;

    // Adds a calendar and returns the identifier under which the store will list it.
    virtual std::string addCalendar(const CalendarSeed& seed) = 0;

    // Adds an event to a calendar that addCalendar() returned, and returns the identifier under
    // which the store will find it.
    virtual std::string addEvent(const std::string& calendarIdentifier, const EventSeed& seed) = 0;

    // Opens a store over all that was added and saved so far; access is granted. Several may be
    // open one after the other over one world, as successive runs of the program are.
    virtual std::unique_ptr<stores::CalendarStore> openStore() = 0;
};

struct HarnessFactory {
    std::function<std::unique_ptr<StoreHarness>()> make;
};

// Names the parameter in lists of tests, where the instantiation already names the store.
inline void PrintTo(const HarnessFactory&, std::ostream* output) {
    *output << "store";
}

// The fixture of the whole suite.
class StoreContract : public testing::TestWithParam<HarnessFactory> {
  protected:
    StoreHarness& harness() { return *harness_; }
    StoreCapabilities capabilities() const { return harness_->capabilities(); }

  private:
    std::unique_ptr<StoreHarness> harness_ = GetParam().make();
};

} // namespace quenbrook::contract
