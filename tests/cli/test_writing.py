"""create-event, update-event and cancel-event: checks, answers, and what the store holds after."""

import json
import os
import re
import stat
import unittest

from quenbrook import QuenbrookTest, calendar_text, component, event, write

SAVE_FAILED = ("EVENT_STORE_SAVE_FAILED", "EventKit save failed")
REMOVE_FAILED = ("EVENT_STORE_REMOVE_FAILED", "EventKit remove failed")


class Writing(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.calendar("work", displayname="Work")

    def request(self, **changes):
        return {"calendarId": "work", "title": "Dentist", "startISO": "2026-01-05T10:00:00Z",
                "endISO": "2026-01-05T11:00:00Z", **changes}

    def create(self, env=None, **changes):
        return self.answer("create-event", self.request(**changes), env=env)

    def update(self, identifier, env=None, **patch):
        self.assertEqual(
            self.answer("update-event", {"id": identifier, "patch": patch}, env=env),
            {"id": identifier, "updated": True})

    def cancel(self, identifier):
        self.assertEqual(self.answer("cancel-event", {"id": identifier}),
                         {"id": identifier, "cancelled": True})

    def get(self, identifier, env=None):
        return self.answer("get-event", {
            "calendarId": identifier.partition(":")[0], "eventId": identifier}, env=env)["event"]

    def files(self, calendar="work"):
        return {path.name: path.read_bytes() for path in (self.store / calendar).iterdir()}

    def file_of(self, identifier):
        calendar, _, uid = identifier.partition(":")
        return self.store / calendar / f"{uid}.ics"

    def assertRefused(self, word, request, code, message):
        """The error is reported and no file of any calendar has changed."""
        before = {path: path.read_bytes() for path in self.store.rglob("*") if path.is_file()}
        self.assertError(self.run_program(word, request=request), code, message)
        after = {path: path.read_bytes() for path in self.store.rglob("*") if path.is_file()}
        self.assertEqual(after, before)

    # Creation.

    def test_answers_a_creation_with_what_the_store_holds(self):
        result = self.run_program("create-event", request=self.request(
            startISO="2026-01-05T12:00:00.999+02:00"))
        self.assertRegex(result.out.decode(), re.compile(
            r'\A\{"calendarId":"work","endISO":"2026-01-05T11:00:00\.000Z",'
            r'"id":"work:[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}",'
            r'"startISO":"2026-01-05T10:00:00\.000Z"\}\n\Z'))
        self.assertEqual((result.err, result.status), (b"", 0))

    def test_names_the_file_after_the_identifier(self):
        identifier = self.create()["id"]
        self.assertTrue(self.file_of(identifier).is_file())
        self.assertEqual(len([name for name in self.files() if name != "displayname"]), 1)

    def test_refuses_an_alarm_that_a_calendar_file_cannot_hold(self):
        identifier = self.create()["id"]
        for minutes in (153722867280912930, -153722867280912930):
            with self.subTest(minutes=minutes):
                self.assertRefused(
                    "create-event", self.request(alarmMinutes=[minutes]), *SAVE_FAILED)
                self.assertRefused(
                    "update-event", {"id": identifier, "patch": {"alarmMinutes": [minutes]}},
                    *SAVE_FAILED)

    def test_writes_alarms_relative_to_the_start(self):
        identifier = self.create(alarmMinutes=[15, 0, -5, 60 * 24 * 400])["id"]
        text = self.unfolded(identifier)
        triggers = re.findall(r"TRIGGER[^:\r\n]*:([^\r\n]*)", text)
        self.assertEqual([seconds_of(trigger) for trigger in triggers],
                         [-900, 0, 300, -60 * 60 * 24 * 400])
        self.assertEqual(text.count("BEGIN:VALARM"), 4)
        self.assertEqual(text.count("ACTION:DISPLAY"), 4)

    def test_writes_files_as_the_standard_asks(self):
        identifier = self.create(title="🗓" * 100, notes="one\ntwo, three; four\\",
                                 location="x" * 300, alarmMinutes=[5])["id"]
        content = self.file_of(identifier).read_bytes()
        content.decode()
        self.assertTrue(content.endswith(b"END:VCALENDAR\r\n"))
        lines = content.split(b"\r\n")
        for part in lines:
            self.assertNotIn(b"\n", part)
            self.assertNotIn(b"\r", part)
            self.assertLessEqual(len(part), 75)
            part.decode()  # No character is split.
        text = self.unfolded(identifier)
        for expected in ("BEGIN:VCALENDAR\n", "VERSION:2.0\n", "PRODID:", "BEGIN:VEVENT\n",
                         f"UID:{identifier.partition(':')[2]}\n", "DTSTAMP:", "CREATED:",
                         "LAST-MODIFIED:", "SEQUENCE:0\n",
                         "DESCRIPTION:one\\ntwo\\, three\\; four\\\\\n"):
            self.assertIn(expected, text)
        self.assertNotIn("METHOD", text)

    def test_writes_times_in_the_zone_of_the_machine(self):
        identifier = self.create(env={"TZ": "Europe/Berlin"},
                                 recurrenceRule={"frequency": "weekly", "interval": 1,
                                                 "count": 52})["id"]
        text = self.unfolded(identifier)
        self.assertIn("DTSTART;TZID=Europe/Berlin:20260105T110000\n", text)
        self.assertIn("BEGIN:VTIMEZONE\n", text)
        self.assertIn("TZID:Europe/Berlin\n", text)
        self.assertNotIn("freeassociation", text)
        # The series keeps its wall-clock time, wherever it is read.
        starts = {e["startISO"][11:16] for e in self.year(env={"TZ": "Asia/Tokyo"})}
        self.assertEqual(starts, {"10:00", "09:00"})

    def test_writes_times_in_utc_when_that_is_the_zone_of_the_machine(self):
        text = self.unfolded(self.create(env={"TZ": "UTC"})["id"])
        self.assertIn("DTSTART:20260105T100000Z\n", text)
        self.assertNotIn("VTIMEZONE", text)

    def test_saves_all_day_events(self):
        cases = [
            ("UTC", "2026-07-05T00:00:00Z", "2026-07-06T00:00:00Z",
             "2026-07-05T00:00:00.000Z", "2026-07-05T23:59:59.000Z", "20260705", "20260706"),
            ("UTC", "2026-07-05T00:00:00Z", "2026-07-05T23:59:59Z",
             "2026-07-05T00:00:00.000Z", "2026-07-05T23:59:59.000Z", "20260705", "20260706"),
            ("UTC", "2026-07-05T12:00:00Z", "2026-07-07T12:00:00Z",
             "2026-07-05T00:00:00.000Z", "2026-07-07T23:59:59.000Z", "20260705", "20260708"),
            ("UTC", "2026-07-05T00:00:00Z", "2026-07-05T00:00:00Z",
             "2026-07-05T00:00:00.000Z", "2026-07-05T23:59:59.000Z", "20260705", "20260706"),
            ("Pacific/Auckland", "2026-09-26T12:00:00Z", "2026-09-27T11:00:00Z",
             "2026-09-26T12:00:00.000Z", "2026-09-27T10:59:59.000Z", "20260927", "20260928"),
            ("America/St_Johns", "2026-03-08T03:30:00Z", "2026-03-09T02:30:00Z",
             "2026-03-08T03:30:00.000Z", "2026-03-09T02:29:59.000Z", "20260308", "20260309"),
            ("Australia/Lord_Howe", "2026-04-04T13:00:00Z", "2026-04-05T13:30:00Z",
             "2026-04-04T13:00:00.000Z", "2026-04-05T13:29:59.000Z", "20260405", "20260406"),
        ]
        for zone, start, end, saved_start, saved_end, first, after in cases:
            with self.subTest(zone=zone, start=start, end=end):
                env = {"TZ": zone}
                answer = self.create(env=env, isAllDay=True, startISO=start, endISO=end)
                self.assertEqual(
                    (answer["startISO"], answer["endISO"]), (saved_start, saved_end))
                got = self.get(answer["id"], env=env)
                self.assertEqual((got["startISO"], got["endISO"], got["isAllDay"]),
                                 (saved_start, saved_end, True))
                text = self.unfolded(answer["id"])
                self.assertIn(f"DTSTART;VALUE=DATE:{first}\n", text)
                self.assertIn(f"DTEND;VALUE=DATE:{after}\n", text)

    def test_never_lets_a_text_become_a_property(self):
        injection = "x\r\nEND:VEVENT\r\nBEGIN:VEVENT\nUID:evil\rSUMMARY:evil\\nSTATUS:CANCELLED"
        for key in ("title", "location", "notes"):
            with self.subTest(key=key):
                identifier = self.create(**{key: injection})["id"]
                self.assertEqual(self.get(identifier)[key],
                                 injection.replace("\r\n", "\n").replace("\r", "\n"))
                text = self.unfolded(identifier)
                self.assertEqual(text.count("\nBEGIN:VEVENT\n"), 1)
                self.assertNotIn("\nUID:evil", text)
                self.file_of(identifier).unlink()
                self.assertEqual(self.year(), [])

    def test_gives_every_text_back_as_it_came(self):
        texts = ["", " ", "\n", "  around  ", "a\\b;c,d:e\"f\"", "tab\t", "\\n\\N\\,", "e\u0301",
                 "🗓🇩🇪𐍈", "\u2028\u2029\u0085\u00a0", "\ufeffx", "\uffff\ufdd0", "ﷺ" * 500,
                 "x" * 100_000, "^n^'^^", "%0A", "&amp;", "\u202e\u200f", "end\\"]
        # Every character of every plane that is no control character, in blocks.
        blocks = [[chr(c) for c in range(first, first + 0x800)
                   if not (0xd800 <= c < 0xe000) and c >= 0xa0]
                  for first in range(0, 0x110000, 0x800 * 8)]
        texts += ["".join(block) for block in blocks if block]
        identifier = self.create()["id"]
        for number, text in enumerate(texts):
            with self.subTest(number=number, text=text[:20]):
                created = self.create(title=text, location=text, notes=text)["id"]
                self.update(identifier, title=text, location=text, notes=text)
                for name in (created, identifier):
                    got = self.get(name)
                    self.assertEqual((got["title"], got["location"], got["notes"]), (text,) * 3)
                self.file_of(created).unlink()

    def test_keeps_tab_and_line_breaks_and_refuses_every_other_control_character(self):
        for code in [*range(1, 32), 127]:
            text = f"a{chr(code)}b"
            with self.subTest(code=code):
                result = self.run_program("create-event", request=self.request(title=text))
                if chr(code) in "\t\n\r":
                    self.assertEqual(result.status, 0, result)
                    identifier = json.loads(result.out)["id"]
                    self.assertEqual(self.get(identifier)["title"], text.replace("\r", "\n"))
                    self.file_of(identifier).unlink()
                else:
                    self.assertError(result, *SAVE_FAILED)

    def test_keeps_the_wall_clock_of_a_zone_without_a_name(self):
        for zone, summer, winter in [
                ("CET-1CEST,M3.5.0,M10.5.0/3", "2026-07-05T10:00Z", "2027-01-05T11:00Z"),
                ("<+0330>-3:30", "2026-07-05T10:00Z", "2027-01-05T10:00Z")]:
            with self.subTest(zone=zone):
                identifier = self.create(
                    env={"TZ": zone}, startISO="2026-07-05T10:00:00Z",
                    endISO="2026-07-05T10:00:00Z",
                    recurrenceRule={"frequency": "monthly", "interval": 6, "count": 2})["id"]
                for reader in ("Asia/Tokyo", zone):
                    self.assertEqual(
                        self.starts(self.events("2026-01-01T00:00:00Z", "2028-01-01T00:00:00Z",
                                                env={"TZ": reader})), [summer, winter])
                self.file_of(identifier).unlink()

    def test_writes_no_time_under_a_name_that_nobody_here_knows(self):
        path = self.store / "work" / "event.ics"
        write(path, calendar_text(event("DTSTART;TZID=Company Time:20260105T100000",
                                        "DTEND;TZID=Company Time:20260105T110000")))
        env = {"TZ": "Europe/Berlin"}
        self.update("work:event", env=env, startISO="2026-01-05T09:30:00Z")
        self.assertIn("DTSTART:20260105T093000Z\n", self.unfolded("work:event"))
        self.assertIn("DTEND:20260105T100000Z\n", self.unfolded("work:event"))

    def test_gives_every_time_back_as_it_was_saved(self):
        starts = ["2026-01-05T10:00:00", "2026-03-08T07:30:00", "2026-03-29T01:30:00",
                  "2026-04-04T14:45:00", "2026-04-04T15:15:00", "2026-07-01T00:00:01",
                  "2026-10-25T00:30:00", "2026-10-25T01:30:00", "2026-11-01T04:15:00",
                  "2026-11-01T05:15:00", "1930-06-15T12:00:00", "1969-12-31T23:59:59",
                  "2040-02-29T23:59:59", "2100-12-31T23:00:00", "9998-01-01T00:00:00"]
        for zone in ("UTC", "Europe/Berlin", "America/New_York", "America/St_Johns",
                     "Australia/Lord_Howe", "Asia/Kolkata", "Pacific/Kiritimati"):
            for start in starts:
                with self.subTest(zone=zone, start=start):
                    env = {"TZ": zone}
                    end = start[:14] + "59:59"
                    answer = self.create(env=env, startISO=start + "Z", endISO=end + "Z")
                    self.assertEqual((answer["startISO"], answer["endISO"]),
                                     (start + ".000Z", end + ".000Z"))
                    for reader in (zone, "Asia/Tokyo"):
                        got = self.get(answer["id"], env={"TZ": reader})
                        self.assertEqual((got["startISO"], got["endISO"]),
                                         (start + ".000Z", end + ".000Z"))
                    self.file_of(answer["id"]).unlink()

    # Update.

    FULL = event(
        "DTSTART;TZID=Europe/Berlin:20260105T110000", "DTEND;TZID=Europe/Berlin:20260105T120000",
        "SUMMARY;LANGUAGE=en:Old title", "LOCATION:Old room", "DESCRIPTION:Old notes",
        "ATTENDEE;CN=Zoe;PARTSTAT=ACCEPTED;X-NUM=1:mailto:z@example.com",
        "ORGANIZER:mailto:boss@example.com", "CATEGORIES:One,Two", "X-UNKNOWN;X-P=\"a;b\":c\\,d",
        "CLASS:PRIVATE", "GEO:1.5;2.5", "SEQUENCE:7", "CREATED:20200101T000000Z",
        "LAST-MODIFIED:20200101T000000Z", "IMAGE;VALUE=URI:https://example.com/i.png",
        component("VALARM", "ACTION:AUDIO", "TRIGGER;VALUE=DATE-TIME:20260105T090000Z",
                  "X-ALARM:kept"),
        component("X-COMPONENT", "X-INNER:kept"), uid="full")

    def put_full(self):
        self.put("work", "other-name.ics", [
            component("VTODO", "UID:todo", "DTSTAMP:20260101T000000Z", "SUMMARY:To do"),
            self.FULL, event("DTSTART:20260301T100000Z", "SUMMARY:Neighbour", uid="neighbour"),
            ["X-CALENDAR:kept"]])
        return "work:full"

    def properties(self, file="other-name.ics"):
        text = (self.store / "work" / file).read_bytes().decode()
        return text.replace("\r\n ", "").replace("\r\n\t", "").split("\r\n")

    def test_touches_only_what_the_patch_carries(self):
        own = re.compile(r"(DTSTAMP|LAST-MODIFIED|SEQUENCE)[:;]")
        cases = [
            ({}, set(), set()),
            ({"title": "New"}, {"SUMMARY;LANGUAGE=en:Old title"}, {"SUMMARY"}),
            ({"title": ""}, {"SUMMARY;LANGUAGE=en:Old title"}, {"SUMMARY"}),
            ({"location": "New room"}, {"LOCATION:Old room"}, {"LOCATION"}),
            ({"notes": "New"}, {"DESCRIPTION:Old notes"}, {"DESCRIPTION"}),
            ({"startISO": "2026-01-05T09:30:00Z"},
             {"DTSTART;TZID=Europe/Berlin:20260105T110000"}, {"DTSTART"}),
            ({"endISO": "2026-01-05T12:30:00Z"},
             {"DTEND;TZID=Europe/Berlin:20260105T120000"}, {"DTEND"}),
        ]
        for patch, gone, names in cases:
            with self.subTest(patch=patch):
                identifier = self.put_full()
                before = self.properties()
                self.update(identifier, **patch)
                after = self.properties()
                lost = [p for p in before if p not in after and not own.match(p)]
                new = [p for p in after if p not in before and not own.match(p)
                       and p not in ("BEGIN:VTIMEZONE", "END:VTIMEZONE")]
                self.assertEqual(set(lost), gone)
                self.assertEqual({re.split("[:;]", p)[0] for p in new} - self.zone_lines(after),
                                 names)
                self.assertIn("SEQUENCE:8", after)
                self.assertEqual(list(self.files()).count("other-name.ics"), 1)

    def zone_lines(self, lines):
        """The names of the lines within VTIMEZONE, which an update may add to a file."""
        names, inside = set(), False
        for text in lines:
            inside = inside or text == "BEGIN:VTIMEZONE"
            if inside:
                names.add(re.split("[:;]", text)[0])
            if text == "END:VTIMEZONE":
                inside = False
        return names - {"DTSTART", "DTEND"}

    def test_keeps_the_zone_of_the_event(self):
        identifier = self.put_full()
        self.update(identifier, env={"TZ": "Asia/Tokyo"}, startISO="2026-07-05T09:30:00Z",
                    endISO="2026-07-05T10:30:00Z")
        self.assertIn("DTSTART;TZID=Europe/Berlin:20260705T113000", self.properties())
        self.assertIn("DTEND;TZID=Europe/Berlin:20260705T123000", self.properties())

    def test_keeps_a_duration_meaningful(self):
        self.put("work", "event.ics", [event("DTSTART:20260105T100000Z", "DURATION:PT2H")])
        self.update("work:event", endISO="2026-01-05T13:00:00Z")
        got = self.get("work:event")
        self.assertEqual((got["startISO"], got["endISO"]),
                         ("2026-01-05T10:00:00.000Z", "2026-01-05T13:00:00.000Z"))
        text = "\n".join(self.properties("event.ics"))
        self.assertFalse("DURATION" in text and "DTEND" in text)

    def test_replaces_and_removes_alarms(self):
        identifier = self.put_full()
        self.update(identifier, alarmMinutes=[10, 20])
        self.assertEqual(self.properties().count("BEGIN:VALARM"), 2)
        self.assertNotIn("X-ALARM:kept", self.properties())
        self.update(identifier, title="x")
        self.assertEqual(self.properties().count("BEGIN:VALARM"), 2)
        self.update(identifier, alarmMinutes=[])
        self.assertEqual(self.properties().count("BEGIN:VALARM"), 0)
        self.assertFalse(self.get(identifier)["hasAlarms"])

    def test_ignores_attendees_in_a_patch(self):
        identifier = self.put_full()
        attendees = self.get(identifier)["attendees"]
        self.update(identifier, attendeesV2=[{"email": "nobody"}], attendees=["x"],
                    sendInvitations=True)
        self.assertEqual(self.get(identifier)["attendees"], attendees)

    # One occurrence of a series.

    def test_updates_the_first_standing_occurrence_only(self):
        self.put("work", "s.ics", [event(
            "DTSTART;TZID=Europe/Berlin:20260323T090000", "DTEND;TZID=Europe/Berlin:20260323T100000",
            "SUMMARY:Weekly", "RRULE:FREQ=WEEKLY;COUNT=3", "X-UNKNOWN:kept", uid="s")])
        self.update("work:s", title="Once", startISO="2026-03-23T12:00:00Z",
                    endISO="2026-03-23T13:00:00Z")
        found = self.year()
        self.assertEqual(self.titles(found), ["Once", "Weekly", "Weekly"])
        self.assertEqual(self.starts(found),
                         ["2026-03-23T12:00Z", "2026-03-30T07:00Z", "2026-04-06T07:00Z"])
        self.assertEqual({e["id"] for e in found}, {"work:s"})
        lines = self.properties("s.ics")
        self.assertIn("RECURRENCE-ID;TZID=Europe/Berlin:20260323T090000", lines)
        self.assertEqual(lines.count("X-UNKNOWN:kept"), 2)
        self.update("work:s", location="Here")
        found = self.year()
        self.assertEqual(self.titles(found), ["Once", "Weekly", "Weekly"])
        self.assertEqual([e.get("location") for e in found], ["Here", None, None])

    def test_cancels_the_occurrences_of_a_series_one_by_one(self):
        self.put("work", "s.ics", [event(
            "DTSTART;TZID=Europe/Berlin:20260323T090000", "SUMMARY:Weekly",
            "RRULE:FREQ=WEEKLY;COUNT=3", uid="s")])
        self.cancel("work:s")
        self.assertEqual(self.starts(self.year()), ["2026-03-30T07:00Z", "2026-04-06T07:00Z"])
        self.assertIn("EXDATE;TZID=Europe/Berlin:20260323T090000", self.properties("s.ics"))
        self.update("work:s", title="Moved", startISO="2026-03-31T10:00:00Z",
                    endISO="2026-03-31T11:00:00Z")
        self.cancel("work:s")
        self.assertEqual(self.starts(self.year()), ["2026-04-06T07:00Z"])
        self.cancel("work:s")
        self.assertEqual(self.year(), [])
        self.assertNotIn("s.ics", self.files())
        self.assertRefused("cancel-event", {"id": "work:s"}, "EVENT_NOT_FOUND", "work:s")

    def test_rewrites_a_series_from_its_first_standing_occurrence(self):
        self.put("work", "s.ics", [
            event("DTSTART:20260105T100000Z", "SUMMARY:Weekly", "RRULE:FREQ=WEEKLY;COUNT=4",
                  "EXDATE:20260105T100000Z", uid="s"),
            event("RECURRENCE-ID:20260119T100000Z", "DTSTART:20260120T100000Z", uid="s")])
        self.update("work:s", recurrenceRule={"frequency": "daily", "interval": 1, "count": 2})
        self.assertEqual(self.starts(self.year()), ["2026-01-12T10:00Z", "2026-01-13T10:00Z"])

    # Cancellation.

    def test_cancels_an_event_once(self):
        identifier = self.create()["id"]
        result = self.run_program("cancel-event", request={"id": identifier, "reason": "r" * 1000})
        self.assertEqual(
            result.out, ('{"cancelled":true,"id":"%s"}\n' % identifier).encode())
        self.assertFalse(self.file_of(identifier).exists())
        self.assertRefused("cancel-event", {"id": identifier}, "EVENT_NOT_FOUND", identifier)

    def test_cancels_one_event_of_a_file_and_leaves_the_rest(self):
        identifier = self.put_full()
        self.cancel(identifier)
        lines = self.properties()
        for kept in ("UID:todo", "UID:neighbour", "SUMMARY:Neighbour", "X-CALENDAR:kept"):
            self.assertIn(kept, lines)
        self.assertNotIn("UID:full", lines)
        self.assertEqual(self.titles(self.year()), ["Neighbour"])

    # The file system.

    def test_keeps_the_permissions_of_a_file(self):
        for mode in (0o600, 0o640, 0o444):
            with self.subTest(mode=oct(mode)):
                identifier = self.put_full()
                path = self.store / "work" / "other-name.ics"
                os.chmod(path, mode)
                self.update(identifier, title="New")
                self.assertEqual(stat.S_IMODE(path.stat().st_mode), mode)
                path.unlink()

    def test_leaves_no_temporary_file_behind(self):
        identifier = self.create()["id"]
        self.update(identifier, title="New")
        self.assertRefused(
            "update-event", {"id": identifier, "patch": {"endISO": "2000-01-01T00:00:00Z"}},
            *SAVE_FAILED)
        self.cancel(identifier)
        self.assertEqual(list(self.files()), ["displayname"])

    def test_never_lists_a_temporary_file(self):
        write(self.store / "work" / "x.ics.tmp", calendar_text(event("DTSTART:20260105T100000Z")))
        write(self.store / "work" / ".x.tmp", calendar_text(event("DTSTART:20260105T100000Z")))
        self.assertEqual(self.year(), [])

    def test_replaces_a_file_by_renaming(self):
        identifier = self.put_full()
        path = self.store / "work" / "other-name.ics"
        held = open(path, "rb")
        self.addCleanup(held.close)
        before = path.read_bytes()
        self.update(identifier, title="New")
        self.assertEqual(held.read(), before)

    def unfolded(self, identifier):
        text = self.file_of(identifier).read_bytes().decode()
        return text.replace("\r\n ", "").replace("\r\n", "\n")


def seconds_of(trigger):
    """The seconds of an RFC 5545 duration."""
    match = re.fullmatch(
        r"([+-]?)P(?:(\d+)W)?(?:(\d+)D)?(?:T(?:(\d+)H)?(?:(\d+)M)?(?:(\d+)S)?)?", trigger)
    weeks, days, hours, minutes, seconds = (int(group or 0) for group in match.groups()[1:])
    total = ((weeks * 7 + days) * 24 + hours) * 3600 + minutes * 60 + seconds
    return -total if match.group(1) == "-" else total


if __name__ == "__main__":
    unittest.main()
