#include "src/AlarmOffsets.h"

#include <csignal>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook {
namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

std::vector<double> offsets(const std::vector<std::int64_t>& minutes) {
    return alarmOffsets(minutes);
}

TEST(AlarmOffsets, AreSecondsBeforeTheStart) {
    EXPECT_EQ(offsets({15, 0, -5}), (std::vector<double>{-900, 0, 300}));
    EXPECT_EQ(offsets({}), std::vector<double>{});
}

TEST(AlarmOffsets, ReachTheEndsOf64Bits) {
    EXPECT_EQ(offsets({largest / 60, smallest / 60}),
        (std::vector<double>{
            -static_cast<double>(largest / 60 * 60), -static_cast<double>(smallest / 60 * 60)}));
}

TEST(AlarmOffsets, EndTheProcessSilentlyWhenTheyDoNotFit) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const std::int64_t minutes : {largest / 60 + 1, smallest / 60 - 1, largest, smallest}) {
        EXPECT_EXIT(offsets({15, minutes}), testing::KilledBySignal(SIGABRT), "^$") << minutes;
    }
}

} // namespace
} // namespace quenbrook
