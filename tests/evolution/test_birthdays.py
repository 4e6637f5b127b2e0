"""The birthdays of the contacts."""

import unittest

from desktop import DesktopTest, text_of
from quenbrook import component


class Birthdays(DesktopTest):
    options = {"built_in_calendars": True}

    def starts(self, **more):
        return [each["startISO"][:10] for each in self.events(
            "2024-01-01T00:00:00Z", "2028-01-01T00:00:00Z", env={"TZ": "UTC"}, **more)]

    def test_on_the_29th_of_february_are_on_the_last_day_of_february(self):
        self.other.add_contact(text_of(*component(
            "VCARD", "VERSION:3.0", "UID:zoe", "FN:Zoe", "N:;Zoe", "BDAY:1980-02-29")))
        # The service makes them of the contacts in its own time.
        self.wait_for(self.starts, "the birthday")
        leap_days = ["2024-02-29", "2025-02-28", "2026-02-28", "2027-02-28"]
        self.assertEqual(self.starts(calendarIds=["birthdays"]), leap_days)
        [identifier] = {each["id"] for each in self.events(
            "2024-01-01T00:00:00Z", "2028-01-01T00:00:00Z")}
        self.assertEqual(self.event(identifier)["recurrenceRules"][0]["frequency"], "yearly")


if __name__ == "__main__":
    unittest.main()
