#include "icalendar/time/LocalTimeZone.h"

#include "tests/support/ScopedVariable.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace quenbrook::icalendar {
namespace {

struct ZoneVariableCase {
    std::string variable;
    std::string name;
};
const std::vector<ZoneVariableCase> zoneVariableCases{
    {"Europe/Berlin", "Europe/Berlin"},
    {":Europe/Berlin", "Europe/Berlin"},
    {"/usr/share/zoneinfo/Europe/Berlin", "Europe/Berlin"},
    {":/usr/share/zoneinfo/America/St_Johns", "America/St_Johns"},
    {"/somewhere/else/zoneinfo/Asia/Tokyo", "Asia/Tokyo"},
    {"CET-1CEST,M3.5.0,M10.5.0/3", "CET-1CEST,M3.5.0,M10.5.0/3"},
    {"/nowhere", ""},
    {"", ""},
};

TEST(NamesOfTheMachinesZone, AreWhatTheVariableNames) {
    for (const ZoneVariableCase& row : zoneVariableCases) {
        const support::ScopedVariable zone("TZ", row.variable);
        EXPECT_EQ(localTimeZoneName(), row.name) << row.variable;
    }
}

TEST(NamesOfTheMachinesZone, AreThoseOfTheFileThatALinkLeadsTo) {
    const support::TemporaryFolder folder;
    const std::filesystem::path link = folder.path() / "own";
    std::filesystem::create_symlink("/usr/share/zoneinfo/America/St_Johns", link);
    const support::ScopedVariable zone("TZ", link.string());
    EXPECT_EQ(localTimeZoneName(), "America/St_Johns");
}

// As the machine's link /etc/localtime has it.
TEST(NamesOfTheMachinesZone, AreTheSameWithoutAVariableAndByTheMachinesFile) {
    std::string byLink;
    {
        const support::ScopedVariable zone("TZ", std::nullopt);
        byLink = localTimeZoneName();
    }
    const support::ScopedVariable zone("TZ", ":/etc/localtime");
    EXPECT_EQ(localTimeZoneName(), byLink);
    EXPECT_EQ(byLink.find("zoneinfo/"), std::string::npos);
}

} // namespace
} // namespace quenbrook::icalendar
