#include "files/DirectoryLock.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <system_error>
#include <thread>

namespace quenbrook::files {
namespace {

TEST(DirectoryLocks, LetOneWriterInAtATime) {
    const test::Files files;
    const Directory one = files.open();
    const Directory two = files.open();
    auto lock = std::make_unique<DirectoryLock>(one);
    EXPECT_EQ(::flock(two.descriptor(), LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    std::thread waiting([&] { const DirectoryLock second(two); });
    lock.reset();
    waiting.join();
    EXPECT_EQ(::flock(one.descriptor(), LOCK_EX | LOCK_NB), 0);
}

TEST(DirectoryLocks, GiveUpWhenTheTimeIsOver) {
    const test::Files files;
    const Directory one = files.open();
    const Directory two = files.open();
    const DirectoryLock lock(one);
    try {
        const DirectoryLock second(two, std::chrono::milliseconds(20));
        ADD_FAILURE();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::operation_would_block);
    }
}

} // namespace
} // namespace quenbrook::files
