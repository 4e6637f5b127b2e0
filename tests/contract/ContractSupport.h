#pragma once

#include "stores/CalendarStore.h"
#include "tests/contract/StoreHarness.h"

#include <string>
#include <string_view>
#include <vector>

namespace quenbrook::contract {

model::Instant utc(int year, unsigned month, unsigned day, int hour = 0, int minute = 0,
    int second = 0, int millisecond = 0);

// The first moment of a day in the machine's zone.
model::Instant localMidnight(int year, unsigned month, unsigned day);

// An hour on Monday, 5 January 2026, that a test alters as it needs.
EventSeed anEvent(std::string name = "event");

model::EventChanges aNewEvent(std::string title = "New");

// All that a store tells of an event, one property to a line, for comparison. `lastModified` is
// left out: it is the store's own.
std::string describe(const model::Event& event);

// The event that a seed stands for, without identifier and calendar.
model::Event eventOf(const EventSeed& seed);

// What becomes of a text that is set.
std::optional<std::string> asKept(const std::string& text, const StoreCapabilities& capabilities);

// The description of the event that a seed stands for, in the given calendar.
std::string expected(const EventSeed& seed, const std::string& identifier,
    const model::Calendar& calendar, const StoreCapabilities& capabilities);

// What occurs in January 2026.
std::vector<model::Event> eventsOfJanuary(stores::CalendarStore& store);

std::vector<std::string> titlesOf(const std::vector<model::Event>& events);
std::vector<model::Instant> startsOf(const std::vector<model::Event>& events);

// Texts that a careless store would alter: each with a word for what it holds.
struct TextCase {
    std::string_view what;
    std::string text;
};
const std::vector<TextCase>& texts();

} // namespace quenbrook::contract
