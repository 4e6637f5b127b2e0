#include "stores/vdir/RangeAnswer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace quenbrook::stores::vdir {
namespace {

using icalendar::FoundInstance;

// As many occurrences of each of two events.
icalendar::FoundInstances occurrences(std::size_t count, std::int64_t steps = 0) {
    std::vector<FoundInstance> all;
    for (const char* uid : {"a", "b"}) {
        const auto event = std::make_shared<icalendar::FoundEvent>();
        event->key.uid = uid;
        event->size = 256;
        for (std::size_t i = 0; i < count; ++i) {
            all.push_back({event, {}, {}, {}, i == 0});
        }
    }
    return {all, steps};
}

// What two events of so many occurrences add.
std::size_t added(std::size_t count) {
    return 2 * (count - 1) * 256;
}

std::vector<std::size_t> taken(RangeAnswer& answer) {
    std::vector<std::size_t> sizes;
    for (const auto& [key, file] : answer.take()) {
        sizes.push_back(file.size());
    }
    return sizes;
}

TEST(RangeAnswers, HoldEverythingWithinTheLimit) {
    RangeAnswer answer({.size = added(10) + added(20)});
    answer.add({0, "b"}, occurrences(20));
    answer.add({0, "a"}, occurrences(10));
    answer.add({0, "c"}, {});
    EXPECT_EQ(taken(answer), (std::vector<std::size_t>{20, 40}));
}

TEST(RangeAnswers, HoldOneOccurrenceOfEachEventBeyondTheLimit) {
    RangeAnswer answer({.size = added(10) + added(20) - 1});
    answer.add({0, "b"}, occurrences(20));
    answer.add({0, "a"}, occurrences(10));
    answer.add({1, "a"}, occurrences(2));
    EXPECT_EQ(taken(answer), (std::vector<std::size_t>{20, 2, 2}));
}

TEST(RangeAnswers, CountNoFirstOccurrences) {
    RangeAnswer answer({.size = 0});
    for (int i = 0; i < 100; ++i) {
        answer.add({0, std::to_string(i)}, occurrences(1));
    }
    EXPECT_EQ(taken(answer), std::vector<std::size_t>(100, 2));
}

// Of a large event and a small one.
icalendar::FoundInstances largeAndSmall(std::size_t size, std::int64_t steps = 0) {
    icalendar::FoundInstances found = occurrences(1, steps);
    found.instances.front().event->size = size;
    return found;
}

constexpr std::size_t large = (1 << 20) + 1;

TEST(RangeAnswers, HoldNoLargeEventBeyondTheLimit) {
    RangeAnswer answer({.size = 2 * large});
    answer.add({0, "d"}, largeAndSmall(large));
    answer.add({0, "c"}, largeAndSmall(large - 1));
    answer.add({0, "b"}, largeAndSmall(large));
    answer.add({0, "a"}, largeAndSmall(large));
    EXPECT_EQ(taken(answer), (std::vector<std::size_t>{2, 2, 2, 1}));
}

TEST(RangeAnswers, CountLargeEventsBesideWhatRecurs) {
    RangeAnswer answer({.size = large});
    icalendar::FoundInstances found = largeAndSmall(large);
    found.instances.push_back(found.instances.front());
    found.instances.back().isFirst = false;
    answer.add({0, "a"}, found);
    answer.add({0, "b"}, occurrences(2));
    EXPECT_EQ(taken(answer), (std::vector<std::size_t>{3, 2}));
}

TEST(RangeAnswers, HoldNoLargeEventOfCostlyFilesBeyondTheirLimit) {
    const std::int64_t steps = icalendar::RangeQuery::modestSteps;
    RangeAnswer answer({.size = 2 * large});
    answer.add({0, "a"}, largeAndSmall(large, steps), largeAndSmall(large).instances);
    answer.add({0, "b"}, largeAndSmall(large, steps), largeAndSmall(large).instances);
    answer.add({0, "c"}, largeAndSmall(large, steps), largeAndSmall(large).instances);
    answer.add({0, "d"}, largeAndSmall(large));
    EXPECT_FALSE(answer.mayBeCostly({0, "d"}));
    EXPECT_EQ(taken(answer), (std::vector<std::size_t>{2, 2, 1, 2}));
}

// What a new reading within modest steps would find: of one event the first occurrence.
std::vector<FoundInstance> oneFirst() {
    std::vector<FoundInstance> all = occurrences(1).instances;
    all.pop_back();
    return all;
}

TEST(RangeAnswers, HoldWhatModestStepsFindBeyondTheLimitOnSteps) {
    const std::int64_t steps = icalendar::RangeQuery::modestSteps;
    RangeAnswer answer({.steps = 3 * steps - 1});
    answer.add({0, "d"}, occurrences(5, steps - 1));
    answer.add({0, "c"}, occurrences(4, steps), oneFirst());
    answer.add({0, "b"}, occurrences(3, steps), oneFirst());
    EXPECT_TRUE(answer.mayBeCostly({0, "d"}));
    answer.add({0, "a"}, occurrences(2, steps), oneFirst());
    EXPECT_FALSE(answer.mayBeCostly({0, "d"}));
    EXPECT_TRUE(answer.mayBeCostly({0, "b"}));
    EXPECT_EQ(taken(answer), (std::vector<std::size_t>{4, 6, 1, 10}));
}

TEST(RangeAnswers, HoldEventsWithoutUidBeyondTheLimit) {
    icalendar::FoundInstances two = occurrences(1);
    for (FoundInstance& each : two.instances) {
        each.event->key.uid.clear();
    }
    RangeAnswer answer({.size = 0});
    answer.add({0, "a"}, occurrences(2));
    answer.add({0, "b"}, two);
    EXPECT_EQ(taken(answer), (std::vector<std::size_t>{2, 2}));
}

TEST(RangeAnswers, DoNotDependOnTheOrderInWhichFilesCome) {
    std::mt19937 chance(5);
    const auto below = [&](std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(chance);
    };
    for (int round = 0; round < 200; ++round) {
        struct File {
            FileKey key;
            std::size_t count;
            std::int64_t steps;
            std::size_t size;
        };
        const std::int64_t modest = icalendar::RangeQuery::modestSteps;
        std::vector<File> files;
        for (std::size_t i = 0; i < 1 + below(12); ++i) {
            files.push_back({{below(3), std::to_string(i)}, 1 + below(20),
                below(3) == 0 ? modest * static_cast<std::int64_t>(1 + below(5)) : 0,
                below(3) == 0 ? large : 256});
        }
        const RangeLimits limits{
            below(added(60)) + large * below(4), modest * static_cast<std::int64_t>(below(20))};
        std::vector<std::size_t> expected;
        for (int order = 0; order < 5; ++order) {
            std::shuffle(files.begin(), files.end(), chance);
            RangeAnswer answer(limits);
            for (const File& file : files) {
                // As readers do that know what is beyond the limits.
                const bool isWhole = file.steps < modest || answer.mayBeCostly(file.key);
                icalendar::FoundInstances found =
                    isWhole ? occurrences(file.count, file.steps) : occurrences(2, modest);
                found.instances.front().event->size = file.size;
                std::vector<FoundInstance> firsts = oneFirst();
                firsts.front().event->size = file.size;
                answer.add(
                    file.key, found, file.steps < modest ? std::vector<FoundInstance>() : firsts);
            }
            const std::vector<std::size_t> sizes = taken(answer);
            expected = order == 0 ? sizes : expected;
            EXPECT_EQ(sizes, expected);
        }
    }
}

TEST(RangeAnswers, ForgetFilesThatAreGone) {
    RangeAnswer answer({.size = added(10)});
    answer.add({0, "a"}, occurrences(10));
    answer.remove({0, "a"});
    answer.remove({0, "none"});
    answer.add({0, "b"}, occurrences(10));
    EXPECT_EQ(taken(answer), std::vector<std::size_t>{20});
}

} // namespace
} // namespace quenbrook::stores::vdir
