#include "src/AlarmOffsets.h"

#include <cstdlib>

namespace quenbrook {
namespace {

std::int64_t secondsBefore(std::int64_t minutes) {
    std::int64_t after = 0;
    std::int64_t before = 0;
    if (__builtin_mul_overflow(minutes, std::int64_t{60}, &after) ||
        __builtin_sub_overflow(std::int64_t{0}, after, &before)) {
        std::abort();
    }
    return before;
}

} // namespace

std::vector<double> alarmOffsets(std::span<const std::int64_t> minutes) {
    std::vector<double> offsets;
    offsets.reserve(minutes.size());
    for (const std::int64_t entry : minutes) {
        offsets.push_back(static_cast<double>(secondsBefore(entry)));
    }
    return offsets;
}

} // namespace quenbrook
