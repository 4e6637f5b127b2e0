"""The birthdays of the contacts."""

import json
import time
import unittest

from desktop import DesktopTest, kill, text_of
from private_session import PrivateSession
from quenbrook import QuenbrookTest, component

YEAR = {"startISO": "2026-01-01T00:00:00Z", "endISO": "2027-01-01T00:00:00Z"}
STARTS = 10


def contact(uid, *content):
    return text_of(*component("VCARD", "VERSION:3.0", f"UID:{uid}", f"FN:{uid}", f"N:;{uid}", *content))


class Birthdays(DesktopTest):
    options = {"built_in_calendars": True}

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        for text in [contact("zoe", "BDAY:1980-02-29"),
                     contact("yves", "BDAY:1980-03-01", "X-EVOLUTION-ANNIVERSARY:2001-04-01"),
                     contact("xaver", "BDAY:circa 1800"), contact("wanda", "BDAY:"),
                     text_of(*component("VCARD", "VERSION:3.0", "UID:nobody", "BDAY:1980-05-01"))]:
            cls.other.add_contact(text)

    def found(self, **more):
        return self.events("2024-01-01T00:00:00Z", "2028-01-01T00:00:00Z", env={"TZ": "UTC"}, **more)

    def test_are_all_there_in_the_run_that_starts_the_service(self):
        complete = {f"birthdays:{uid}" for uid in
                    ["zoe-birthday", "yves-birthday", "yves-anniversary"]}
        self.wait_for(lambda: {each["id"] for each in self.found()} == complete, "the birthdays")
        answered = 0
        for start in range(STARTS):
            for service in ["evolution-calendar-factory", "evolution-addressbook-factory"][:1 + start % 2]:
                for process in self.session.processes(service):
                    kill(process)
            self.wait_for(lambda: not self.other.factory_is_there(), "the bus to notice")
            if start % 3 < 2:
                result = self.run_program("list-events", request={**YEAR, "calendarIds": ["birthdays"]})
            else:
                result = self.run_program("get-attendee-status", request={"id": "birthdays:zoe-birthday"})
            if result.status == 0:
                answered += 1
                expected = complete if start % 3 < 2 else {"birthdays:zoe-birthday"}
                for uid in expected:
                    self.assertIn(uid.encode(), result.out)
            else:
                # A machine that is too slow to make them in time.
                self.assertIn(b'"UNKNOWN"', result.err)
        self.assertGreater(answered, 0)

    def test_on_the_29th_of_february_are_on_the_last_day_of_february(self):
        def starts(**more):
            return [each["startISO"][:10] for each in self.found(**more)
                    if each["id"] == "birthdays:zoe-birthday"]
        # The service makes them of the contacts in its own time.
        self.wait_for(starts, "the birthday")
        leap_days = ["2024-02-29", "2025-02-28", "2026-02-28", "2027-02-28"]
        self.assertEqual(starts(calendarIds=["birthdays"]), leap_days)
        self.assertEqual(
            self.event("birthdays:zoe-birthday")["recurrenceRules"][0]["frequency"], "yearly")


class LateBirthdays(QuenbrookTest):
    """The service makes the events of the contacts when the calendar is open already."""

    def setUp(self):
        super().setUp()
        self.session = PrivateSession(services=False)
        self.addCleanup(self.session.stop)

    def run_with(self, word, request, **options):
        with self.session.scripted_services(backend="contacts", **options):
            return self.run_program(word, request=request, env=self.session.environment)

    def titles_with(self, request, **options):
        result = self.run_with("list-events", {**YEAR, **request}, **options)
        self.assertEqual((result.status, result.err), (0, b""))
        return self.titles(json.loads(result.out)["events"])

    def test_are_waited_for(self):
        for request in ({}, {"calendarIds": ["new"]}):
            with self.subTest(request):
                self.assertEqual(
                    self.titles_with(request, contacts=["zoe", "yves"], late=5), ["yves", "zoe"])
        result = self.run_with("get-attendee-status", {"id": "new:zoe-birthday"}, contacts=["zoe"],
                               late=5)
        self.assertEqual(result.status, 0, result)

    def test_that_do_not_come_are_in_doubt_when_they_are_asked_for_by_name(self):
        for more in ({"late": -1}, {"silent": True, "late": -1}):
            with self.subTest(more):
                for word, request in [("list-events", {**YEAR, "calendarIds": ["new"]}),
                                      ("get-attendee-status", {"id": "new:zoe-birthday"})]:
                    started = time.monotonic()
                    result = self.run_with(word, request, contacts=["zoe"], **more)
                    self.assertIn(b'"UNKNOWN"', result.err)
                    self.assertEqual((result.out, result.status), (b"", 1))
                    self.assertGreater(time.monotonic() - started, 1.4)
                self.assertEqual(self.titles_with({}, contacts=["zoe"], **more), [])

    def test_that_nobody_has_are_not_waited_for(self):
        self.assertEqual(self.titles_with({"calendarIds": ["new"]}), [])
        result = self.run_with("get-attendee-status", {"id": "new:zoe-birthday"}, contacts=["yves"])
        self.assertIn(b'"EVENT_NOT_FOUND"', result.err)

    def test_of_which_there_are_some_are_not_counted(self):
        self.assertEqual(
            self.titles_with({"calendarIds": ["new"]}, contacts=["zoe"], silent=True), ["zoe"])


if __name__ == "__main__":
    unittest.main()
