#include "stores/evolution/Zones.h"

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using testing::ElementsAre;

TEST(ZonesToFetch, AreThoseOfTheCalendarItself) {
    icalendar::StreamAssembly components;
    components.add("BEGIN:VEVENT\r\nUID:one\r\n"
                   "DTSTART;TZID=Own:20260105T100000\r\n"
                   "DTEND;TZID=/freeassociation.sourceforge.net/Nowhere/City:20260105T110000\r\n"
                   "EXDATE;TZID=Europe/Berlin:20260105T100000\r\n"
                   "RDATE;TZID=\"\":20260105T100000\r\n"
                   "END:VEVENT\r\n");
    EXPECT_THAT(zonesToFetch(components), ElementsAre("Own"));
}

TEST(ZonesToFetch, AreNoneWhenTheServiceHasDefinedThem) {
    icalendar::StreamAssembly components;
    components.add("BEGIN:VEVENT\r\nUID:one\r\nDTSTART;TZID=Own:20260105T100000\r\nEND:VEVENT\r\n");
    components.add("BEGIN:VTIMEZONE\r\nTZID:Own\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\n"
                   "TZOFFSETFROM:+0130\r\nTZOFFSETTO:+0130\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n");
    EXPECT_THAT(zonesToFetch(components), ElementsAre());
}

} // namespace
} // namespace quenbrook::stores::evolution
