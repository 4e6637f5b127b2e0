#pragma once

#include "tests/contract/StoreHarness.h"
#include "tests/eventkit/stand-in/World.h"

namespace quenbrook::eventkit {

// The macOS store over the stand-in, for the contract suite. No object of the framework may be
// alive when it is destroyed.
class EventKitHarness final : public contract::StoreHarness {
  public:
    ~EventKitHarness() override;

    contract::StoreCapabilities capabilities() const override;
    std::string addCalendar(const contract::CalendarSeed& seed) override;
    std::string addEvent(
        const std::string& calendarIdentifier, const contract::EventSeed& seed) override;
    std::unique_ptr<stores::CalendarStore> openStore() override;

  private:
    standin::World world_;
};

} // namespace quenbrook::eventkit
