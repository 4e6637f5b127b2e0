#include "tests/eventkit/EventKitHarness.h"

namespace quenbrook::contract {

INSTANTIATE_TEST_SUITE_P(EventKitOverStandIn, StoreContract,
    testing::Values(HarnessFactory{[] { return std::make_unique<eventkit::EventKitHarness>(); }}));

} // namespace quenbrook::contract
