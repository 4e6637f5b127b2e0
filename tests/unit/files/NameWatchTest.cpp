#include "files/NameWatch.h"

#include "files/Directory.h"
#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace quenbrook::files {
namespace {

using Names = std::set<std::string>;

TEST(NameWatches, TellNamesThatAreMadeOrRenamedTo) {
    const test::Files files;
    files.write("old", "");
    files.write("replaced", "");
    const Directory directory = files.open();
    NameWatch watch(directory.descriptor());
    EXPECT_EQ(watch.newNames(), Names{});
    files.write("made", "");
    files.write("old", "Changed.");
    std::filesystem::rename(files.path("old"), files.path("replaced"));
    EXPECT_EQ(watch.newNames(), (Names{"made", "replaced"}));
    std::filesystem::remove(files.path("made"));
    EXPECT_EQ(watch.newNames(), Names{});
}

TEST(NameWatches, TellNothingWhereNothingIsWatched) {
    EXPECT_EQ(NameWatch(-1).newNames(), std::nullopt);
}

} // namespace
} // namespace quenbrook::files
