#include "tests/libcxx/AbseilOverLibcxx.h"

#include <string>

#include <absl/time/internal/cctz/include/cctz/time_zone.h>

namespace absl {
ABSL_NAMESPACE_BEGIN
namespace time_internal::cctz {

bool load_time_zone(const std::string& name, time_zone* zone) {
    return quenbrookLoadTimeZone(name.data(), name.size(), zone);
}

} // namespace time_internal::cctz
ABSL_NAMESPACE_END
} // namespace absl
