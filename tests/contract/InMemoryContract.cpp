#include "tests/contract/ContractSupport.h"
#include "tests/contract/StoreHarness.h"
#include "tests/support/InMemoryStore.h"

#include <utility>

namespace quenbrook::contract {
namespace {

using model::Calendar;
using model::Event;
using model::EventChanges;
using model::Instant;
using stores::CalendarStore;

// Passes everything on to a store that outlives it, as a platform's data outlive a run.
class Window final : public CalendarStore {
  public:
    explicit Window(CalendarStore& store)
        : store_(store) {}

    std::int64_t authorizationStatus() override { return store_.authorizationStatus(); }
    void requestFullAccess(stores::AccessCompletion completion) override {
        store_.requestFullAccess(std::move(completion));
    }
    std::vector<Calendar> calendars() override { return store_.calendars(); }
    std::optional<Calendar> calendar(std::string_view identifier) override {
        return store_.calendar(identifier);
    }
    void forEachEvent(Instant start, Instant end,
        std::optional<std::span<const Calendar>> calendars,
        const std::function<void(Event)>& take) override {
        store_.forEachEvent(start, end, calendars, take);
    }
    std::optional<Event> event(std::string_view identifier) override {
        return store_.event(identifier);
    }
    std::optional<model::SavedEvent> create(
        const Calendar& calendar, const EventChanges& changes) override {
        return store_.create(calendar, changes);
    }
    bool update(const Event& event, const EventChanges& changes) override {
        return store_.update(event, changes);
    }
    bool remove(const Event& event) override { return store_.remove(event); }

  private:
    CalendarStore& store_;
};

class InMemoryHarness final : public StoreHarness {
  public:
    StoreCapabilities capabilities() const override { return {.alignsAllDayEvents = false}; }

    std::string addCalendar(const CalendarSeed& seed) override {
        auto identifier = "calendar-" + seed.name;
        store_.add({identifier, seed.title, seed.writable, seed.source, seed.color});
        return identifier;
    }

    std::string addEvent(const std::string& calendarIdentifier, const EventSeed& seed) override {
        Event event = eventOf(seed);
        event.identifier = calendarIdentifier + "-" + seed.name;
        event.calendar = std::make_shared<Calendar>(store_.calendar(calendarIdentifier).value());
        store_.add(event);
        return *event.identifier;
    }

    std::unique_ptr<CalendarStore> openStore() override { return std::make_unique<Window>(store_); }

  private:
    support::InMemoryStore store_;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(InMemory, StoreContract,
    testing::Values(HarnessFactory{[] { return std::make_unique<InMemoryHarness>(); }}));

} // namespace quenbrook::contract
