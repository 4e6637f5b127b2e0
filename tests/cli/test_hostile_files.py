"""Files that are broken, huge or no files at all: passed over, never touched, never in the way."""

import os
import stat
import unittest

from quenbrook import QuenbrookTest, calendar_text, component, event, write

GOOD = [event("DTSTART:20260105T100000Z", "SUMMARY:Good", uid="good")]
START = "DTSTART:20260105T100000Z"


class HostileFiles(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.put("work", "m-good.ics", GOOD)

    def titles_beside(self, file, content):
        path = self.put("work", file, content)
        before = path.read_bytes()
        found = self.titles(self.year())
        self.assertEqual(path.read_bytes(), before)
        path.unlink()
        return found

    def test_passes_over_broken_files(self):
        whole = calendar_text(event(START, "SUMMARY:Broken"))
        cases = {
            "empty": "",
            "blank": "\r\n\r\n",
            "not a calendar": "hello\r\n",
            "binary": bytes(range(256)) * 100,
            "only NUL": b"\0" * 100_000,
            "a picture": b"\x89PNG\r\n\x1a\n" + b"\xff" * 1000,
            "UTF-16": whole.encode("utf-16"),
            "a directory listing": "BEGIN:VCARD\r\nVERSION:4.0\r\nEND:VCARD\r\n",
            "no start": calendar_text(event("SUMMARY:Broken")),
            "no such day": calendar_text(event("DTSTART:20260230T100000Z")),
            "a start that is none": calendar_text(event("DTSTART:tomorrow")),
            "a start of letters": calendar_text(event("DTSTART;VALUE=DATE:2026011x")),
            "an empty start": calendar_text(event("DTSTART:")),
            "only an end": "END:VEVENT\r\nEND:VCALENDAR\r\n",
            "only beginnings": "BEGIN:VCALENDAR\r\n" * 1000,
            "one long line": "BEGIN:VCALENDAR" + "x" * 1_000_000,
            "many colons": ":" * 100_000,
            "many blank folds": "BEGIN:VCALENDAR\r\n" + " \r\n" * 100_000,
        }
        for what, content in cases.items():
            with self.subTest(what):
                for file in ("a.ics", "z.ics"):
                    self.assertEqual(self.titles_beside(file, content), ["Good"])

    def test_survives_every_cut_of_a_file(self):
        whole = calendar_text(
            event(START, "SUMMARY:Cut \U0001F5D3", "RRULE:FREQ=DAILY;COUNT=2",
                  component("VALARM", "ACTION:DISPLAY", "TRIGGER:-PT15M"), uid="cut")).encode()
        for length in range(0, len(whole), 7):
            with self.subTest(length=length):
                self.assertIn("Good", self.titles_beside("a.ics", whole[:length]))

    def test_keeps_the_good_events_of_a_file_with_a_broken_one(self):
        self.put("work", "a.ics", [
            event(START, "SUMMARY:First", uid="1"),
            event("SUMMARY:Without a start", uid="2"),
            event("DTSTART:nonsense", "SUMMARY:Nonsense", uid="3"),
            event(START, "SUMMARY:Last", uid="4")])
        self.assertEqual(self.titles(self.year()), ["First", "Last", "Good"])

    def test_reads_a_good_event_around_broken_properties(self):
        for content in ("RRULE:nonsense", "RRULE:", "RRULE:FREQ=SOMETIMES", "EXDATE:never",
                        "RDATE:", "ATTENDEE", "ATTENDEE;PARTSTAT", "X-", ";;;;", "LAST-MODIFIED:x",
                        "ATTENDEE;CN=\"unclosed:mailto:a@b.c", "TRANSP:", "no colon at all",
                        "DURATION:forever", "DTEND:never", ":", "X-NAME;=:x", "SEQUENCE:many"):
            with self.subTest(content=content):
                found = self.titles_beside(
                    "z.ics", calendar_text(event(START, content, "SUMMARY:Odd", uid="odd")))
                self.assertEqual(found, ["Good", "Odd"])

    def test_reads_an_event_of_an_unknown_zone_as_floating(self):
        self.put("work", "z.ics", [
            event("DTSTART;TZID=No/Such_Zone:20260106T100000", "SUMMARY:Lost", uid="lost")])
        found = self.events("2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z", env={"TZ": "UTC"})
        self.assertEqual(self.starts(found), ["2026-01-05T10:00Z", "2026-01-06T10:00Z"])

    def test_passes_over_what_is_no_regular_file(self):
        folder = self.folder("account/calendar")
        self.put("account/calendar", "x.ics", [event(START, "SUMMARY:Too", uid="too")])
        os.mkfifo(folder / "a.ics")
        (folder / "b.ics").mkdir()
        (folder / "c.ics").symlink_to("/dev/zero")
        (folder / "d.ics").symlink_to("/dev/stdin")
        (folder / "e.ics").symlink_to("nowhere.ics")
        (folder / "f.ics").symlink_to("f.ics")
        os.mkfifo(folder / "fifo")
        (folder / "g.ics").symlink_to("fifo")
        self.assertEqual(self.titles(self.year()), ["Too", "Good"])
        self.assertEqual(self.answer("get-event", {
            "calendarId": "account/calendar", "eventId": "account/calendar:too"})["event"]["title"],
            "Too")
        result = self.run_program("get-attendee-status", request={"id": "work:other"})
        self.assertError(result, "EVENT_NOT_FOUND", "work:other")

    def test_passes_over_files_of_other_names(self):
        other = calendar_text(event(START, "SUMMARY:Other", uid="other"))
        for name in ("other", "other.ICS.bak", "other.ics~", ".other.ics.swp", "other.tmp",
                     "other.ics.tmp", "other.icsx", "ics"):
            write(self.store / "work" / name, other)
        self.assertEqual(self.titles(self.year()), ["Good"])

    def test_passes_over_a_file_that_was_taken_away(self):
        path = self.put("work", "a.ics", GOOD)
        path.unlink()
        self.assertEqual(self.titles(self.year()), ["Good"])

    def test_survives_a_sparse_giant(self):
        path = self.put("work", "giant.ics", "BEGIN:VCALENDAR\r\n")
        with open(path, "r+b") as file:
            file.truncate(1 << 30)
        self.assertEqual(self.titles(self.year()), ["Good"])

    def test_survives_a_file_that_was_touched_by_a_stranger(self):
        zone = component("VTIMEZONE", "TZID:Loop", component(
            "STANDARD", "DTSTART;TZID=Loop:19700101T000000", "TZOFFSETFROM:+9999",
            "TZOFFSETTO:-9999", "RRULE:FREQ=SECONDLY"))
        cases = {
            "a zone that refers to itself": [zone, event("DTSTART;TZID=Loop:20260107T100000")],
            "a zone without rules": [component("VTIMEZONE", "TZID:Bare"),
                                     event("DTSTART;TZID=Bare:20260107T100000")],
            "a rule of every second": [event(START, "RRULE:FREQ=SECONDLY", uid="s")],
            "a rule that never matches": [event(START, "RRULE:FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30")],
            "a rule of everything": [event(
                START, "RRULE:FREQ=SECONDLY;BYSECOND=" + ",".join(map(str, range(60))) +
                ";BYMINUTE=" + ",".join(map(str, range(60))))],
            "a vast interval": [event(START, "RRULE:FREQ=YEARLY;INTERVAL=2147483647")],
            "no interval": [event(START, "RRULE:FREQ=DAILY;INTERVAL=0")],
            "a negative count": [event(START, "RRULE:FREQ=DAILY;COUNT=-1")],
            "many properties": [event(START, *["X-MANY:value"] * 100_000)],
            "many exceptions": [event(START, "RRULE:FREQ=DAILY;COUNT=3"), *[
                event(f"RECURRENCE-ID:2026{m:02}{d:02}T100000Z", f"DTSTART:2027{m:02}{d:02}T100000Z")
                for m in range(1, 13) for d in range(1, 29)]],
            "deep components": "BEGIN:VCALENDAR\r\n" + "BEGIN:X\r\n" * 50_000,
            "a duration of ages": [event(START, "DURATION:P999999999W")],
            "a negative duration": [event(START, "DURATION:-PT1H")],
            "an end before the start": [event(START, "DTEND:20200101T000000Z")],
            "a year that is none": [event("DTSTART:00000101T000000Z")],
        }
        for what, content in cases.items():
            with self.subTest(what):
                self.put("work", "z.ics", content)
                found = self.events("2026-01-05T09:00:00Z", "2026-01-05T10:00:01Z")
                self.assertIn("Good", self.titles(found))
                self.assertEqual(self.answer("get-event", {
                    "calendarId": "work", "eventId": "work:good"})["event"]["title"], "Good")

    def test_reports_an_end_before_the_start_as_no_length(self):
        self.put("work", "z.ics", [
            event("DTSTART:20260106T100000Z", "DTEND:20200101T000000Z", uid="z")])
        self.assertEqual(self.year()[1]["endISO"], self.year()[1]["startISO"])

    def test_reads_a_read_only_store(self):
        os.chmod(self.store / "work" / "m-good.ics", stat.S_IRUSR)
        self.assertEqual(self.titles(self.year()), ["Good"])

    def test_finds_one_event_among_very_many_broken_files(self):
        for number in range(500):
            self.put("work", f"x{number}.ics", "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\n")
        self.assertEqual(self.titles(self.year()), ["Good"])

    def test_waits_for_no_zone_that_is_no_file(self):
        self.put("work", "a.ics", [event("DTSTART:20260105T100000", uid="a")])
        fifo = self.place / "zone1"
        os.mkfifo(fifo)
        for zone in (str(fifo), f":{fifo}", f"../../../../{fifo}", "/dev/zero", "/dev/tty", "/"):
            with self.subTest(zone):
                self.assertEqual(self.starts(self.year(env={"TZ": zone})), ["2026-01-05T10:00Z"] * 2)


if __name__ == "__main__":
    unittest.main()
