#include "stores/evolution/Services.h"

#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::stores::evolution {
namespace {

std::string found(const std::vector<std::string>& endings) {
    std::vector<std::string> names;
    for (const std::string& ending : endings) {
        names.push_back("org.gnome.evolution.dataserver." + ending);
    }
    const auto services = findServices(names);
    constexpr std::size_t family = std::string_view("org.gnome.evolution.dataserver.").size();
    return services ? services->registry.substr(family) + " " + services->factory.substr(family)
                    : "none";
}

TEST(Services, AreTheOnesThatAreKnownOrElseNewer) {
    EXPECT_EQ(found({"Calendar8", "Sources5"}), "Sources5 Calendar8");
    EXPECT_EQ(found({"AddressBook10", "Sources5", "Calendar9", "Calendar8", "Calendar10"}),
        "Sources5 Calendar8");
    EXPECT_EQ(found({"Sources6", "Calendar9", "Calendar10"}), "Sources6 Calendar10");
}

TEST(Services, KnowTheContactsWhereThereIsOneThatDoes) {
    const auto addressBooks = [](std::vector<std::string> names) {
        names.emplace_back("org.gnome.evolution.dataserver.Sources5");
        names.emplace_back("org.gnome.evolution.dataserver.Calendar8");
        return findServices(names).value().addressBooks;
    };
    EXPECT_EQ(addressBooks({}), std::nullopt);
    EXPECT_EQ(addressBooks({"org.gnome.evolution.dataserver.AddressBook9"}), std::nullopt);
    EXPECT_EQ(addressBooks({"org.gnome.evolution.dataserver.AddressBook10"}),
        "org.gnome.evolution.dataserver.AddressBook10");
}

TEST(Services, AreMissingWhenOneIs) {
    EXPECT_EQ(found({}), "none");
    EXPECT_EQ(found({"Calendar8"}), "none");
    EXPECT_EQ(found({"Sources5"}), "none");
    EXPECT_EQ(found({"Sources5", "Calendar7"}), "none");
    EXPECT_EQ(found({"Sources4", "Calendar8"}), "none");
    EXPECT_EQ(found({"Sources5", "Calendar8x", "Calendar", "Calendar-8"}), "none");
}

} // namespace
} // namespace quenbrook::stores::evolution
