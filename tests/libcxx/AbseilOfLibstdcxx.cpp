#include "tests/libcxx/AbseilOverLibcxx.h"

#include <string>

#include <absl/time/internal/cctz/include/cctz/time_zone.h>

bool quenbrookLoadTimeZone(const char* name, std::size_t length, void* zone) {
    namespace cctz = absl::time_internal::cctz;
    return cctz::load_time_zone(std::string(name, length), static_cast<cctz::time_zone*>(zone));
}
