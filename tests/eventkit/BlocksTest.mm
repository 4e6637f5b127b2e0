#import <Foundation/Foundation.h>

#import <objc/blocks_runtime.h>

#include "tests/eventkit/stand-in/World.h"

#include <memory>

#include <gtest/gtest.h>

namespace quenbrook::eventkit {
namespace {

using Block = int (^)();

bool anyBlockIsAlive() {
    return standin::liveObjects().contains("block");
}

} // namespace

// What of the blocks runtime the access prompt builds on.
TEST(Blocks, CopyWhatTheyCapture) {
    Block copied = nil;
    std::weak_ptr<int> captured;
    {
        const auto held = std::make_shared<int>(42);
        captured = held;
        copied = Block_copy(^{
            return *held;
        });
    }
    EXPECT_TRUE(anyBlockIsAlive());
    EXPECT_EQ(copied(), 42);
    Block_release(copied);
    EXPECT_TRUE(captured.expired());
    EXPECT_FALSE(anyBlockIsAlive());
}

TEST(Blocks, RetainTheObjectsThatTheyCapture) {
    NSObject* object = [[NSObject alloc] init];
    Block copied = Block_copy(^{
        return static_cast<int>([object retainCount]);
    });
    EXPECT_EQ(copied(), 2);
    Block_release(copied);
    EXPECT_EQ([object retainCount], 1U);
    [object release];
}

TEST(Blocks, AreCountedByReference) {
    int number = 7;
    Block once = Block_copy(^{
        return number;
    });
    Block twice = Block_copy(once);
    EXPECT_EQ(once, twice);
    Block_release(once);
    EXPECT_EQ(twice(), 7);
    Block_release(twice);
    EXPECT_FALSE(anyBlockIsAlive());
}

TEST(Blocks, CaptureOtherBlocks) {
    int number = 7;
    Block inner = ^{
        return number;
    };
    Block outer = Block_copy(^{
        return inner() + 1;
    });
    EXPECT_EQ(outer(), 8);
    Block_release(outer);
    EXPECT_FALSE(anyBlockIsAlive());
}

} // namespace quenbrook::eventkit
