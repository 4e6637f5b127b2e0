#pragma once

#include "stores/CalendarStore.h"
#include "tests/eventkit/stand-in/World.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::eventkit {

// A store over the stand-in. After each test no object of the framework may be alive, and none may
// have outlived the store.
class StoreTest : public testing::Test {
  protected:
    void TearDown() override;

    // Opened by the first use.
    stores::CalendarStore& store();
    void closeStore() { store_.reset(); }

    // What the framework was asked while `operation` ran.
    template <typename Operation>
    std::vector<std::string> callsOf(const Operation& operation) {
        store();
        world_.calls.clear();
        operation();
        return world_.calls;
    }

    standin::Calendar& addCalendar(std::u16string identifier);
    // An hour from 10:00 UTC on 5 January 2026 in the first calendar.
    standin::Event& addEvent(std::u16string identifier);

    standin::World world_;

  private:
    std::unique_ptr<stores::CalendarStore> store_;
};

// 10:00 UTC on 5 January 2026.
constexpr model::Instant ten{std::chrono::seconds{1767607200}};
constexpr model::Instant eleven = ten + std::chrono::hours{1};
constexpr double tenInSeconds = 1767607200;

// The calls that write: those that neither read a property nor look at a colour.
std::vector<std::string> withoutReading(const std::vector<std::string>& calls);

// A calendar and an event with a value in every property, of every kind there is.
standin::Calendar fullCalendar(std::u16string identifier);
standin::Event fullEvent(std::u16string identifier, std::u16string calendar);

} // namespace quenbrook::eventkit
