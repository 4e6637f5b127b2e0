#include "stores/evolution/KeyFile.h"

#include "tests/support/ScopedVariable.h"

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using support::ScopedVariable;
using testing::ElementsAre;

TEST(KeyFile, ReadsTheKeysOfEachGroup) {
    const KeyFile file("# About\nlost=1\n[One]\nkey=first\n key = second \nother=\n"
                       "no key\n\n[Two]\r\nkey=third\r\n");
    EXPECT_TRUE(file.hasGroup("One"));
    EXPECT_FALSE(file.hasGroup("one"));
    EXPECT_EQ(file.value("One", "key"), "second");
    EXPECT_EQ(file.value("One", "other"), "");
    EXPECT_EQ(file.value("Two", "key"), "third");
    EXPECT_EQ(file.value("One", "lost"), std::nullopt);
    EXPECT_EQ(file.value("Three", "key"), std::nullopt);
}

TEST(KeyFile, DecodesEscapes) {
    const KeyFile file("[G]\nkey=\\sa\\tb\\nc\\\\d\\qe=f\\\n");
    EXPECT_EQ(file.value("G", "key"), " a\tb\nc\\d\\qe=f\\");
}

TEST(KeyFile, TakesTheFirstLanguageThatIsThere) {
    const KeyFile file("[G]\nkey[de]=Arbeit\nkey[de_AT]=Hackn\nkey=Work\n");
    const auto in = [&](const std::vector<std::string>& languages) {
        return file.localizedValue("G", "key", languages);
    };
    EXPECT_EQ(in({}), "Work");
    EXPECT_EQ(in({"fr"}), "Work");
    EXPECT_EQ(in({"fr", "de"}), "Arbeit");
    EXPECT_EQ(in({"de_AT", "de"}), "Hackn");
}

TEST(KeyFile, ReadsFlags) {
    const KeyFile file("[G]\na=true\nb=1\nc=false\nd=0\ne=yes\n");
    EXPECT_TRUE(file.flag("G", "a", false));
    EXPECT_TRUE(file.flag("G", "b", false));
    for (const char* key : {"c", "d", "e"}) {
        EXPECT_FALSE(file.flag("G", key, true)) << key;
    }
    EXPECT_TRUE(file.flag("G", "f", true));
    EXPECT_FALSE(file.flag("G", "f", false));
}

TEST(UserLanguages, FollowTheEnvironment) {
    const ScopedVariable all("LC_ALL", std::nullopt);
    const ScopedVariable messages("LC_MESSAGES", std::nullopt);
    const ScopedVariable list("LANGUAGE", std::nullopt);
    const ScopedVariable language("LANG", std::nullopt);
    EXPECT_THAT(userLanguages(), ElementsAre());
    {
        const ScopedVariable set("LANG", "de_AT.UTF-8@euro");
        EXPECT_THAT(userLanguages(), ElementsAre("de_AT@euro", "de_AT", "de@euro", "de"));
    }
    {
        const ScopedVariable set("LANG", "fr_FR.UTF-8");
        const ScopedVariable before("LC_MESSAGES", "it");
        const ScopedVariable first("LANGUAGE", "nl::de_AT");
        EXPECT_THAT(userLanguages(), ElementsAre("nl", "nl", "de_AT", "de", "it", "it"));
    }
    {
        const ScopedVariable set("LANG", "fr_FR.UTF-8");
        const ScopedVariable none("LC_ALL", "C.UTF-8");
        const ScopedVariable first("LANGUAGE", "nl");
        EXPECT_THAT(userLanguages(), ElementsAre());
    }
}

} // namespace
} // namespace quenbrook::stores::evolution
