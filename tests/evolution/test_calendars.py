"""Which calendars the program lists on a desktop, and what it says of them."""

import unittest

from desktop import DesktopTest, source

NAMES = ["DisplayName[de]=Arbeit", "DisplayName[de_AT]=Hackn", "DisplayName=Work"]

SOURCES = {
    "account": "[Data Source]\nDisplayName=Company\nEnabled=true\nParent=\n",
    "off": "[Data Source]\nDisplayName=Former\nEnabled=false\nParent=\n",
    "work": source(NAMES, parent="account", color="#ff2968"),
    "attic": source("Attic", parent="account", color="rgb(0, 128,255)"),
    "hidden": source("Hidden", parent="account", enabled="false"),
    "former": source("Former work", parent="off"),
    "tasks": source("Tasks", group="Task List"),
    "memos": source("Memos", group="Memo List"),
    "both": source("Both", more="\n[Task List]\nBackendName=local\n"),
    "escaped": source(r"Tab\tand\\backslash", color="nonsense"),
    "holidays": source("Holidays", parent="webcal-stub", backend="webcal"),
    "lone": source("Alone", parent=""),
    "strange": source("Strange", parent="account", backend="nobody-has-this"),
}


class Calendars(DesktopTest):
    options = {"built_in_calendars": True}

    @classmethod
    def prepare(cls):
        for uid, text in SOURCES.items():
            cls.session.write_source(uid, text)

    def calendars(self, **env):
        return self.answer("list-calendars", env=env)["calendars"]

    def named(self, **env):
        return {calendar["id"]: calendar["name"] for calendar in self.calendars(**env)}

    def test_lists_every_enabled_calendar_by_account_and_name(self):
        # Without an account, of "Company", "Contacts", "On The Web" and "On This Computer"; a
        # calendar that is a task list as well is a calendar.
        self.assertEqual([calendar["id"] for calendar in self.calendars()], [
            "lone", "attic", "strange", "work", "birthdays", "holidays", "both", "system-calendar",
            "escaped"])

    def test_tells_all_that_is_known_of_a_calendar(self):
        calendars = {calendar["id"]: calendar for calendar in self.calendars()}
        self.assertEqual(calendars["work"], {
            "id": "work", "name": "Work", "writable": True, "source": "Company",
            "sourceType": "local", "color": "#FF2968"})
        self.assertEqual(calendars["attic"]["color"], "#0080FF")
        # Older and newer releases of the service give it different colours.
        self.assertIn(calendars["system-calendar"].pop("color"), ("#BECEDD", "#62A0EA"))
        self.assertEqual(calendars["system-calendar"], {
            "id": "system-calendar", "name": "Personal", "writable": True,
            "source": "On This Computer", "sourceType": "local"})
        self.assertEqual(calendars["birthdays"]["sourceType"], "birthdays")
        self.assertFalse(calendars["birthdays"]["writable"])
        self.assertEqual(calendars["holidays"]["sourceType"], "subscription")
        self.assertFalse(calendars["holidays"]["writable"])
        self.assertEqual(calendars["lone"], {"id": "lone", "name": "Alone", "writable": True})
        self.assertEqual(calendars["escaped"], {
            "id": "escaped", "name": "Tab\tand\\backslash", "writable": True,
            "source": "On This Computer", "sourceType": "local"})

    def test_lists_what_cannot_be_opened_as_not_writable(self):
        strange = [each for each in self.calendars() if each["id"] == "strange"]
        self.assertEqual([each["writable"] for each in strange], [False])

    def test_what_cannot_be_opened_may_be_missing_but_not_when_it_is_named(self):
        range = {"startISO": "2026-01-01T00:00:00Z", "endISO": "2026-02-01T00:00:00Z"}
        self.assertEqual(self.answer("list-events", range), {"events": []})
        for word, request in [("list-events", {**range, "calendarIds": ["strange"]}),
                              ("get-event", {"calendarId": "strange", "eventId": "strange:x"}),
                              ("get-attendee-status", {"id": "strange:x"}),
                              ("update-event", {"id": "strange:x", "patch": {}}),
                              ("cancel-event", {"id": "strange:x"})]:
            with self.subTest(word):
                result = self.run_program(word, request=request)
                self.assertEqual((result.out, result.status), (b"", 1))
                self.assertIn(b'"UNKNOWN"', result.err)

    def test_speaks_the_language_of_the_user(self):
        for env, name in [
                ({"LC_ALL": "C.UTF-8"}, "Work"),
                ({"LC_ALL": "de_DE.UTF-8"}, "Arbeit"),
                ({"LC_ALL": None, "LANG": "de_AT.UTF-8"}, "Hackn"),
                ({"LC_ALL": None, "LC_MESSAGES": "de", "LANG": "fr_FR"}, "Arbeit"),
                ({"LC_ALL": "fr_FR.UTF-8", "LANGUAGE": "it:de_AT@euro"}, "Hackn"),
                ({"LC_ALL": "fr_FR.UTF-8"}, "Work"),
                ({"LC_ALL": "C", "LANGUAGE": "de"}, "Work")]:
            with self.subTest(env):
                self.assertEqual(self.named(**env)["work"], name)

    def test_finds_only_calendars_that_it_lists(self):
        for calendar in ("hidden", "former", "tasks", "memos", "wor", "work ", "../work", ""):
            with self.subTest(calendar):
                result = self.run_program("create-event", request={
                    "calendarId": calendar, "title": "x", "startISO": "2026-01-05T09:00:00Z",
                    "endISO": "2026-01-05T10:00:00Z"})
                self.assertError(result, "CALENDAR_NOT_FOUND", calendar)

    def test_refuses_to_write_where_it_may_not(self):
        for calendar in ("birthdays", "holidays", "strange"):
            with self.subTest(calendar):
                result = self.run_program("create-event", request={
                    "calendarId": calendar, "title": "x", "startISO": "2026-01-05T09:00:00Z",
                    "endISO": "2026-01-05T10:00:00Z"})
                self.assertIn(b"READ_ONLY_CALENDAR", result.err)
                self.assertEqual(result.status, 1)


if __name__ == "__main__":
    unittest.main()
