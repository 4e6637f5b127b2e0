#include "stores/vdir/VdirStore.h"

#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

namespace quenbrook::stores::vdir {
namespace {

// A directory that names are made in and taken from, if only for a moment, tells so by its time.
TEST(RefusedRoots, AreLeftAloneWithTheDirectoryAroundThem) {
    const test::Files files;
    files.write("file", "kept");
    const auto longAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1000);
    std::filesystem::last_write_time(files.path(), longAgo);
    EXPECT_EQ(openVdirStore(files.path("file"))->authorizationStatus(), 2);
    EXPECT_EQ(std::filesystem::last_write_time(files.path()), longAgo);
    EXPECT_EQ(files.read("file"), "kept");
}

} // namespace
} // namespace quenbrook::stores::vdir
