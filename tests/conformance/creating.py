"""create-event: checks, answers, and what is read afterwards."""

import re

from cases import HOUR, SAVE_FAILED, Case, whole_local_days
from session import START, line, utc

BAD_ADDRESS = ("INVALID_JSON", "attendeesV2 contains an invalid email address.")
MARKER = "velmoria-sync-id:0F8fad5b-d9cb-469f-a165-70867728950E"

# Texts that a careless store would alter.
TEXTS = {
    "letters of many scripts": "Grüße Ωmega Жизнь 日本語 العربية עברית",
    "emoji": "🗓 👩\u200d👩\u200d👧 🇩🇪 🏳️\u200d🌈 \U0010ffff",
    "quotes and backslashes": '"quoted" \'single\' \\ \\n \\N \\, ^n^\'',
    "separators": "a;b,c:d=e/f?g&h%0A#i &amp; <b>",
    "combining characters": "e\u0301 \u1100\u1161 \u0301",
    "directions and joiners": "\u202eabc\u202c \u200b\u200d\u2060 \u200f",
    "a tab": "a\tb",
    "what looks like another format": "BEGIN:VEVENT null {\"a\":1} END:VCALENDAR",
    "a thousand letters": "é" * 1000,
}


def rule(frequency="daily", interval=1, **end):
    return {"frequency": frequency, "interval": interval, **end}


FREQUENCY = "recurrenceRule.frequency must be one of daily/weekly/monthly/yearly, got '%s'"
INTERVAL = "recurrenceRule.interval must be 1–366, got %d"
COUNT = "recurrenceRule.count must be 1–1000, got %d"
BOTH = "recurrenceRule.count and recurrenceRule.untilISO are mutually exclusive"
DATE = "Cannot parse ISO 8601 date: %s"

BAD_RULES = [
    (rule(" daily"), "INVALID_JSON", FREQUENCY % " daily"),
    (rule("day"), "INVALID_JSON", FREQUENCY % "day"),
    (rule(""), "INVALID_JSON", FREQUENCY % ""),
    (rule("Hourly"), "INVALID_JSON", FREQUENCY % "Hourly"),
    (rule("dailyé"), "INVALID_JSON", FREQUENCY % "dailyé"),
    (rule("x", 0), "INVALID_JSON", FREQUENCY % "x"),
    (rule(interval=0), "INVALID_JSON", INTERVAL % 0),
    (rule(interval=367), "INVALID_JSON", INTERVAL % 367),
    (rule(interval=-1), "INVALID_JSON", INTERVAL % -1),
    (rule(interval=-2 ** 63), "INVALID_JSON", INTERVAL % -2 ** 63),
    (rule(interval=2 ** 63 - 1), "INVALID_JSON", INTERVAL % (2 ** 63 - 1)),
    (rule(interval=0, count=0), "INVALID_JSON", INTERVAL % 0),
    (rule(count=0), "INVALID_JSON", COUNT % 0),
    (rule(count=1001), "INVALID_JSON", COUNT % 1001),
    (rule(count=-2 ** 63), "INVALID_JSON", COUNT % -2 ** 63),
    (rule(count=5000, untilISO="2020-02-01T00:00:00Z"), "INVALID_JSON", COUNT % 5000),
    (rule(count=5, untilISO="never"), "INVALID_JSON", BOTH),
    (rule(untilISO="never"), "INVALID_DATE", DATE % "never"),
]


class Creating(Case):
    def request(self, **fields):
        return self.session.request(**fields)

    def test_answers_with_what_the_store_holds(self):
        result = self.run_program("create-event", request=self.request(
            startISO="2020-01-06T12:20:00+02:00"))
        match = re.search(r'"id":"((?:[^"\\]|\\.)+)"', result.out.decode())
        self.assertTrue(match, result)
        identifier = match.group(1).replace("\\/", "/")
        self.session.made.append(identifier)
        self.assertEqual((result.out, result.err, result.status), (line({
            "calendarId": self.session.calendar, "endISO": utc(START + HOUR), "id": identifier,
            "startISO": utc(START)}), b"", 0))

    def test_saves_every_field(self):
        identifier = self.create(
            title="Dentist", location="High Street", notes=f"{self.tag}\nno-sync {MARKER}",
            alarmMinutes=[15, 0, -5], recurrenceRule=rule("WEEKLY", 2, count=3))
        got = self.get(identifier)
        self.assertSeen("instant of the last change", "lastModifiedISO" in got,
                        {"told": True, "not told": False})
        self.assertSeen("availability of a new event", got.get("availability"),
                        {"busy": "busy", "not told": None})
        for key in ("lastModifiedISO", "availability"):
            got.pop(key, None)
        self.assertEqual(got, {
            "attendees": [], "calendarId": self.session.calendar,
            "categories": ["velmoria-sync", "no-sync"], "endISO": utc(START + HOUR),
            "hasAlarms": True, "id": identifier, "isAllDay": False, "location": "High Street",
            "notes": f"{self.tag}\nno-sync {MARKER}", "recurrenceRuleCount": 1,
            "recurrenceRules": [{"count": 3, "frequency": "weekly", "interval": 2}],
            "startISO": utc(START), "title": "Dentist"})

    def test_leaves_out_what_the_request_does_not_give(self):
        got = self.get(self.create())
        self.assertNotIn("location", got)
        self.assertNotIn("notes", got)
        self.assertNotIn("categories", got)
        self.assertFalse(got["isAllDay"])
        self.assertEqual(got["recurrenceRules"], [])
        # A calendar may have alarms of its own for every event.
        self.assertSeen("alarms of an event created without any", got["hasAlarms"],
                        {"none": False, "the calendar's own": True})

    def test_keeps_an_empty_title(self):
        self.assertEqual(self.get(self.create(title="", notes=self.tag))["title"], "")

    def test_keeps_an_empty_location_and_empty_notes(self):
        got = self.get(self.create(location="", notes="", alarmMinutes=[]))
        for key in ("location", "notes"):
            self.assertSeen(f"empty {key}", got.get(key), {"kept": "", "left out": None})

    def test_keeps_texts_as_they_are(self):
        for what, text in TEXTS.items():
            with self.subTest(what):
                got = self.get(self.create(title=text, location=text, notes=self.tag + text))
                self.assertEqual((got["title"], got["location"], got["notes"]),
                                 (text, text, self.tag + text))
                got = self.get(self.create(notes=text + "\n" + text))
                self.assertEqual(got["notes"], text + "\n" + text)

    def test_decides_on_line_breaks_and_outer_blanks(self):
        for what, text in (("line feed", "one\ntwo"), ("blanks around", " a \n"),
                           ("line and paragraph separator", "a\u2028b\u2029c\u0085d\ufeffe")):
            got = self.get(self.create(title=self.tag + text, location=text, notes=text))
            for key, given in (("title", self.tag + text), ("location", text), ("notes", text)):
                self.saw(f"{what} in {key}", "kept" if got.get(key) == given else "altered")

    def test_keeps_or_refuses_control_characters(self):
        characters = {"carriage return": "a\r\nb\rc"}
        if self.session.is_disposable:
            characters.update({"NUL": "a\0b", "escape": "a\x1bb", "delete": "a\x7fb"})
        for what, text in characters.items():
            for key in ("title", "location", "notes"):
                fields = {"title": self.tag, key: self.tag + text}
                before = self.listed()
                result = self.run_program("create-event", request=self.request(**fields))
                found = [event for event in self.listed() if event not in before]
                self.session.made.extend(event["id"] for event in found)
                if result.status == 0:
                    self.assertEqual(len(found), 1)
                    kept = found[0][key] == self.tag + text
                    self.saw(f"{what} in {key}", "kept" if kept else "altered")
                else:
                    self.assertEqual(found, [])
                    self.assertError(result, *SAVE_FAILED)
                    self.saw(f"{what} in {key}", "refused")

    def test_keeps_instants_at_least_to_the_second(self):
        answer = self.session.create(startISO="2020-01-06T10:20:00.250Z",
                                     endISO="2020-01-06T11:20:00.999Z")
        found = (answer["startISO"], answer["endISO"])
        self.assertSeen("fractions of a second", found, {
            "kept": ("2020-01-06T10:20:00.250Z", "2020-01-06T11:20:00.999Z"),
            "cut off": ("2020-01-06T10:20:00.000Z", "2020-01-06T11:20:00.000Z")})
        got = self.get(answer["id"])
        self.assertEqual((got["startISO"], got["endISO"]), found)

    def test_makes_an_all_day_event_of_whole_days(self):
        for days in (1, 3):
            end = START + (days - 1) * 24 * HOUR
            expected = whole_local_days(START, end)
            answer = self.session.create(isAllDay=True, endISO=utc(end))
            self.assertEqual((answer["startISO"], answer["endISO"]), expected)
            got = self.get(answer["id"])
            self.assertEqual((got["startISO"], got["endISO"], got["isAllDay"]), (*expected, True))

    def test_saves_an_event_of_no_length(self):
        answer = self.session.create(endISO=utc(START))
        self.assertEqual((answer["startISO"], answer["endISO"]), (utc(START), utc(START)))

    def test_saves_recurrence_rules(self):
        until = utc(START + 40 * 24 * HOUR)
        for given, kept in (
                (rule("Daily", 1, count=3), rule("daily", 1, count=3)),
                (rule("WEEKLY", 366, count=2), rule("weekly", 366, count=2)),
                (rule("mOnThLy", 1, count=2), rule("monthly", 1, count=2)),
                (rule("yearly", 1, count=1), rule("yearly", 1, count=1)),
                (rule("monthly", 1, untilISO="2020-02-15T11:20:00+01:00"),
                 rule("monthly", 1, untilISO=until)),
                # Without an end, yet few enough occurrences to clear up.
                (rule("yearly", 366), rule("yearly", 366))):
            with self.subTest(rule=given):
                got = self.get(self.create(recurrenceRule=given))
                self.assertEqual(got["recurrenceRules"], [kept])
                self.assertEqual(got["recurrenceRuleCount"], 1)

    def test_ignores_what_it_does_not_use(self):
        identifier = self.create(attendees=["nobody", ""], sendInvitations=True, attendeesV2=[],
                                 isAllDay=False, extra=1)
        self.assertEqual(self.get(identifier)["attendees"], [])

    def test_checks_the_addresses_of_attendees(self):
        for address in ("a@example.com", "A.B_c%d+e-f@Ex-ample.CO.uk", "1@2.ab"):
            with self.subTest(address=address):
                identifier = self.create(attendeesV2=[{"email": address, "name": ""}])
                self.assertEqual(self.get(identifier)["attendees"], [])
        for address in ("", "a", "a@b", "a@b.c", "@example.com", "a@.c", "a b@example.com",
                        " a@example.com", "a@example.com ", "a@example.com\n", "a@example.c0m",
                        "a@example.com\r\n", "a@example.com\u2028", "é@example.com", "a@@b.com",
                        "a@example.com\nb@example.com", "<a@example.com>", "mailto:a@b.com",
                        "a@example.com\u0085"):
            with self.subTest(address=address):
                self.assertRefused("create-event", self.request(
                    attendeesV2=[{"email": "a@example.com"}, {"email": address}]), *BAD_ADDRESS)

    def test_checks_the_recurrence_rule(self):
        for bad, code, message in BAD_RULES:
            with self.subTest(rule=bad):
                self.assertRefused("create-event", self.request(recurrenceRule=bad), code, message)

    def test_checks_in_a_fixed_order(self):
        bad = {"attendeesV2": [{"email": "nobody"}], "startISO": "never", "endISO": "no",
               "recurrenceRule": rule("x", 0)}
        self.assertRefused("create-event", self.request(calendarId="unknown", **bad),
                           "CALENDAR_NOT_FOUND", "unknown")
        self.assertRefused("create-event", self.request(**bad), *BAD_ADDRESS)
        del bad["attendeesV2"]
        self.assertRefused(
            "create-event", self.request(**bad), "INVALID_DATE", DATE % "never")
        del bad["startISO"]
        self.assertRefused("create-event", self.request(**bad), "INVALID_DATE", DATE % "no")
        del bad["endISO"]
        self.assertRefused("create-event", self.request(**bad), "INVALID_JSON", FREQUENCY % "x")

    def test_refuses_what_ends_before_it_starts(self):
        self.assertRefused(
            "create-event", self.request(endISO="2020-01-06T10:19:59Z"), *SAVE_FAILED)

    def test_ends_by_a_signal_when_an_alarm_overflows(self):
        before = self.listed()
        for minutes in (2 ** 63 - 1, -2 ** 63, 153722867280912931, -153722867280912931):
            with self.subTest(minutes=minutes):
                result = self.run_program(
                    "create-event", request=self.request(alarmMinutes=[5, minutes]))
                self.assertEqual((result.out, result.err), (b"", b""))
                self.assertLess(result.status, 0)
                self.assertEqual(self.listed(), before)
