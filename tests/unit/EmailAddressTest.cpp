#include "src/EmailAddress.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook {
namespace {

using std::string_literals::operator""s;

bool passes(const std::string& email) {
    const std::vector<AttendeeRequestDTO> attendees = {{email, std::nullopt}};
    return areEmailAddresses(attendees);
}

TEST(EmailAddress, PassesWellFormedAddresses) {
    for (const std::string email :
        {"a@b.cc", "A.B+c%d_e-F9@Example.ORG", "a@b.c.dd", "a@1.2.example.museum", ".@-.aa",
            "a@b-c.dd", "a@b..cc", "%@b.cc", "a@b.cccccccccccccccccccccccccccccccccccccc"}) {
        EXPECT_TRUE(passes(email)) << email;
    }
}

TEST(EmailAddress, RefusesEveryOtherText) {
    for (const std::string& email : {""s, "a"s, "a@"s, "@b.cc"s, "a@b"s, "a@b."s, "a@.c"s, "a@.cc"s,
             "a@b.c"s, "a@b.c1"s, "a@b.cc1"s, "a@b.1c"s, "ab.cc"s, "a@@b.cc"s, "a@b@c.dd"s,
             "a b@c.dd"s, " a@b.cc"s, "a@b.cc "s, "a@b. cc"s, "a@b.cc\n"s, "a@b.cc\r\n"s,
             "a@b.cc\r"s, "\na@b.cc"s, "a@b.cc\u2028"s, "a@b.cc\u0085"s, "a@b.cc\nx"s, "a@b.cc\0"s,
             "\0a@b.cc"s, "a\0@b.cc"s, "a@b.c\0c"s, "a\t@b.cc"s, "ä@b.cc"s, "a@bä.cc"s, "a@b.cä"s,
             "a@b.\u0441\u0441"s, "\uFF41@b.cc"s,
             "a\uFF20"
             "b.cc"s,
             "a@b\uFF0E"
             "cc"s,
             "a@b\u3002"
             "cc"s,
             "a@b.cc\u200B"s, "a@b.\u212A\u212A"s, "a!b@c.dd"s, "a@b_c.dd"s, "<a@b.cc>"s,
             "mailto:a@b.cc"s, "a@b.cc,d@e.ff"s, "a@[1.2.3.4]"s, "\"a\"@b.cc"s, "a'b@c.dd"s}) {
        EXPECT_FALSE(passes(email)) << testing::PrintToString(email);
    }
}

TEST(EmailAddress, TakesAnAddressOfAnyLength) {
    EXPECT_TRUE(passes(std::string(1'000'000, 'a') + "@" + std::string(1'000'000, 'b') + ".cc"));
    EXPECT_FALSE(passes(std::string(1'000'000, 'a')));
}

TEST(EmailAddress, ChecksEveryEntryAndNoNames) {
    using Attendees = std::vector<AttendeeRequestDTO>;
    EXPECT_TRUE(areEmailAddresses({}));
    EXPECT_TRUE(areEmailAddresses(Attendees{{"a@b.cc", "no address\n"}, {"d@e.ff", ""}}));
    EXPECT_FALSE(areEmailAddresses(Attendees{{"a@b.cc", {}}, {"d@e", {}}}));
    EXPECT_FALSE(areEmailAddresses(Attendees{{"d@e", {}}, {"a@b.cc", {}}}));
}

} // namespace
} // namespace quenbrook
