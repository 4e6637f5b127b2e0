"""How the properties of an event file become the fields of an answer."""

import unittest

from quenbrook import QuenbrookTest, calendar_text, component, escape, event

START = "DTSTART:20260105T100000Z"
END = "DTEND:20260105T113000Z"


class ReadingEvents(QuenbrookTest):
    def read(self, *content, env=None):
        """One event of the given properties; list-events and get-event must agree on it."""
        self.put("work", "event.ics", [event(*content)])
        listed = self.events("0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z", env=env)
        self.assertEqual(len(listed), 1)
        got = self.answer(
            "get-event", {"calendarId": "work", "eventId": "work:event"}, env=env)["event"]
        self.assertEqual(got, listed[0])
        return got

    def test_writes_a_whole_event(self):
        self.account("acc", displayname="Account", type="caldav")
        self.put("acc/work", "event.ics", [event(
            START, END, "SUMMARY:Review\\, part 1\\; a/b", "LOCATION:Room \"1\"",
            "DESCRIPTION:First line\\nsecond no-sync",
            "ATTENDEE;CN=Zoe;PARTSTAT=ACCEPTED:mailto:zoe@example.com",
            "ATTENDEE:mailto:a@example.com", "RRULE:FREQ=WEEKLY;COUNT=1",
            "LAST-MODIFIED:20251224T183059Z", "TRANSP:TRANSPARENT",
            component("VALARM", "ACTION:DISPLAY", "DESCRIPTION:x", "TRIGGER:-PT15M"))])
        snapshot = (
            '{"attendees":[{"email":"zoe@example.com","name":"Zoe","status":"accepted"},'
            '{"email":"a@example.com","name":"","status":"pending"}],"availability":"free",'
            '"calendarId":"acc\\/work","categories":["no-sync"],'
            '"endISO":"2026-01-05T11:30:00.000Z","hasAlarms":true,"id":"acc\\/work:event",'
            '"isAllDay":false,"lastModifiedISO":"2025-12-24T18:30:59.000Z",'
            '"location":"Room \\"1\\"","notes":"First line\\nsecond no-sync",'
            '"recurrenceRuleCount":1,"recurrenceRules":[{"count":1,"frequency":"weekly",'
            '"interval":1}],"startISO":"2026-01-05T10:00:00.000Z",'
            '"title":"Review, part 1; a\\/b"}')
        request = '{"startISO":"2026-01-05T00:00:00Z","endISO":"2026-01-06T00:00:00Z"}'
        self.assertEqual(self.run_program("list-events", request=request).out.decode(),
                         '{"events":[' + snapshot + "]}\n")
        request = '{"calendarId":"acc/work","eventId":"acc/work:event"}'
        self.assertEqual(self.run_program("get-event", request=request).out.decode(),
                         '{"event":' + snapshot + "}\n")
        self.assertEqual(
            self.run_program("get-attendee-status", request='{"id":"acc/work:event"}').out,
            b'{"attendees":[{"email":"zoe@example.com","name":"Zoe","status":"accepted"},'
            b'{"email":"a@example.com","name":"","status":"pending"}],"id":"acc\\/work:event"}\n')

    def test_writes_an_event_that_says_next_to_nothing(self):
        self.put("work", "event.ics", [event(START)])
        request = '{"calendarId":"work","eventId":"work:event"}'
        self.assertEqual(
            self.run_program("get-event", request=request).out,
            b'{"event":{"attendees":[],"availability":"busy","calendarId":"work",'
            b'"endISO":"2026-01-05T10:00:00.000Z","hasAlarms":false,"id":"work:event",'
            b'"isAllDay":false,"recurrenceRuleCount":0,"recurrenceRules":[],'
            b'"startISO":"2026-01-05T10:00:00.000Z","title":""}}\n')

    def test_reads_texts(self):
        for text in ("", " ", "a\\b;c,d:e\"f\"", "one\ntwo\n\n", "tab\there", "Café Ωmega",
                     "🗓 🇩🇪 𐍈", "e\u0301", "\u2028\u2029\u0085", "x" * 20_000, "🗓" * 3_000,
                     "ends with a backslash\\", "\\n is no line feed", "BEGIN:VEVENT"):
            with self.subTest(text=text[:30]):
                got = self.read(START, f"SUMMARY:{escape(text)}", f"LOCATION:{escape(text)}",
                                f"DESCRIPTION:{escape(text)}")
                self.assertEqual((got["title"], got["location"], got["notes"]), (text,) * 3)

    def test_reads_escapes_of_either_case(self):
        self.assertEqual(self.read(START, "SUMMARY:a\\Nb\\nc")["title"], "a\nb\nc")

    def test_unfolds_lines(self):
        folded = ["SUMMARY:one ", " two\\", " nthree \\,", "\t fou", " r", " "]
        self.assertEqual(self.read(START, *folded)["title"], "one two\nthree , four")

    def test_unfolds_within_a_character(self):
        text = "🗓".encode()
        content = (b"BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:x\r\nBEGIN:VEVENT\r\nUID:event\r\n"
                   b"DTSTAMP:20260101T000000Z\r\nDTSTART:20260105T100000Z\r\nSUMMARY:a"
                   + text[:2] + b"\r\n " + text[2:] + b"b\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n")
        self.put("work", "event.ics", content)
        self.assertEqual(self.titles(self.year()), ["a🗓b"])

    def test_reads_either_line_end(self):
        for end in ("\r\n", "\n"):
            with self.subTest(end=end):
                self.put("work", "event.ics", calendar_text(
                    event(START, END, "SUMMARY:one", " two\\nthree",
                          component("VALARM", "ACTION:AUDIO", "TRIGGER:PT0S")), end=end))
                got = self.year()
                self.assertEqual(self.titles(got), ["onetwo\nthree"])
                self.assertTrue(got[0]["hasAlarms"])

    def test_reads_a_file_without_a_last_line_end(self):
        self.put("work", "a.ics", calendar_text(event(START, uid="a")).rstrip())
        self.assertEqual([e["id"] for e in self.year()], ["work:a"])

    def test_reads_a_file_that_begins_with_a_byte_order_mark(self):
        self.put("work", "b.ics", "\ufeff" + calendar_text(event(START, uid="b")))
        self.assertEqual([e["id"] for e in self.year()], ["work:b"])

    def test_replaces_what_is_not_utf8(self):
        content = (b"BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:x\r\nBEGIN:VEVENT\r\nUID:event\r\n"
                   b"DTSTAMP:20260101T000000Z\r\nDTSTART:20260105T100000Z\r\n"
                   b"SUMMARY:caf\xe9 x\r\nDESCRIPTION:\xff no-sync\r\n"
                   b"ATTENDEE;CN=\xe9:mailto:a@example.com\r\n"
                   b"END:VEVENT\r\nEND:VCALENDAR\r\n")
        self.put("work", "event.ics", content)
        got = self.year()[0]
        self.assertEqual(got["title"], "caf\ufffd x")
        self.assertEqual(got["notes"], "\ufffd no-sync")
        self.assertEqual(got["attendees"][0]["name"], "\ufffd")

    def test_reads_names_of_any_case(self):
        self.put("work", "event.ics",
                 "begin:vcalendar\r\nversion:2.0\r\nprodid:x\r\nBegin:vEvent\r\nuid:event\r\n"
                 "dtstamp:20260101T000000Z\r\ndtstart;value=date-time:20260105T100000Z\r\n"
                 "summary:Lower\r\ntransp:transparent\r\nend:vevent\r\nend:vcalendar\r\n")
        got = self.year()
        self.assertEqual(self.titles(got), ["Lower"])
        self.assertEqual(got[0]["availability"], "free")

    def test_reads_the_length_of_an_event(self):
        cases = [
            ([], "2026-01-05T10:00:00.000Z"),
            (["DURATION:PT1H30M"], "2026-01-05T11:30:00.000Z"),
            (["DURATION:P1DT2H"], "2026-01-06T12:00:00.000Z"),
            (["DURATION:P2W"], "2026-01-19T10:00:00.000Z"),
            (["DURATION:PT0S"], "2026-01-05T10:00:00.000Z"),
            (["DTEND:20260105T101530Z"], "2026-01-05T10:15:30.000Z"),
            (["DTEND:20260105T100000Z"], "2026-01-05T10:00:00.000Z"),
            (["DTEND;TZID=Asia/Tokyo:20260105T200000"], "2026-01-05T11:00:00.000Z"),
        ]
        for content, end in cases:
            with self.subTest(content=content):
                self.assertEqual(self.read(START, *content)["endISO"], end)

    def test_reads_days_in_the_zone_that_the_library_takes_the_variable_for(self):
        cases = [
            ("EST5EDT,M3.2.0,M11.1.0", "2026-07-05T04:00:00.000Z"),
            (":EST5EDT4,M3.2.0,M11.1.0", "2026-07-05T04:00:00.000Z"),
            ("<+0330>-3:30", "2026-07-04T20:30:00.000Z"),
            ("JST-9", "2026-07-04T15:00:00.000Z"),
            ("/usr/share/zoneinfo/Asia/Tokyo", "2026-07-04T15:00:00.000Z"),
            ("", "2026-07-05T00:00:00.000Z"),
            (":", "2026-07-05T00:00:00.000Z"),
            ("nonsense", "2026-07-05T00:00:00.000Z"),
            ("Fixed/UTC+05:00:00", "2026-07-05T00:00:00.000Z"),
        ]
        self.put("work", "day.ics", [event("DTSTART;VALUE=DATE:20260705")])
        for zone, start in cases:
            with self.subTest(zone=zone):
                self.assertEqual(self.year(env={"TZ": zone})[0]["startISO"], start)

    def test_lists_what_stands_outside_of_any_calendar(self):
        lines = "".join(text + "\r\n" for text in event(START, "SUMMARY:Bare"))
        for content in (lines, calendar_text() + lines, lines + calendar_text()):
            with self.subTest(content=content):
                path = self.put("work", "bare.ics", content)
                self.assertEqual(self.titles(self.year()), ["Bare"])
                self.assertError(
                    self.run_program("update-event", request={
                        "id": "work:event", "patch": {"title": "New"}}),
                    "EVENT_STORE_SAVE_FAILED", "EventKit save failed")
                self.assertError(
                    self.run_program("cancel-event", request={"id": "work:event"}),
                    "EVENT_STORE_REMOVE_FAILED", "EventKit remove failed")
                self.assertEqual(path.read_bytes().decode(), content)

    def test_reads_answers_of_attendees(self):
        cases = [
            ("ATTENDEE;PARTSTAT=NEEDS-ACTION:mailto:a@example.com", "pending"),
            ("ATTENDEE;PARTSTAT=ACCEPTED:mailto:a@example.com", "accepted"),
            ("ATTENDEE;PARTSTAT=DECLINED:mailto:a@example.com", "declined"),
            ("ATTENDEE;PARTSTAT=TENTATIVE:mailto:a@example.com", "pending"),
            ("ATTENDEE;PARTSTAT=DELEGATED:mailto:a@example.com", "unknown"),
            ("ATTENDEE;PARTSTAT=COMPLETED:mailto:a@example.com", "unknown"),
            ("ATTENDEE;PARTSTAT=IN-PROCESS:mailto:a@example.com", "unknown"),
            ("ATTENDEE;PARTSTAT=X-PERHAPS:mailto:a@example.com", "unknown"),
            ("ATTENDEE;PARTSTAT=accepted:mailto:a@example.com", "accepted"),
            ("ATTENDEE;PARTSTAT=\"ACCEPTED\":mailto:a@example.com", "accepted"),
            ("ATTENDEE;ROLE=CHAIR;RSVP=TRUE:mailto:a@example.com", "pending"),
        ]
        for content, status in cases:
            with self.subTest(content=content):
                self.assertEqual(self.read(START, content)["attendees"],
                                 [{"email": "a@example.com", "name": "", "status": status}])

    def test_reads_addresses_and_names_of_attendees(self):
        cases = [
            ("ATTENDEE;CN=Zoe:mailto:Zoe@Example.com", "Zoe@Example.com", "Zoe"),
            ("ATTENDEE;CN=\"Last, First; x: y\":mailto:a@b.c", "a@b.c", "Last, First; x: y"),
            ("ATTENDEE;CN=Ωmega 🗓:MAILTO:a@b.c", "MAILTO:a@b.c", "Ωmega 🗓"),
            ("ATTENDEE;CN=:mailto:a%20b@c.de", "a%20b@c.de", ""),
            ("ATTENDEE:https://example.com/p?a=1&b=2", "https://example.com/p?a=1&b=2", ""),
            ("ATTENDEE:urn:uuid:0-1", "urn:uuid:0-1", ""),
            ("ATTENDEE:mailto:", "", ""),
            ("ATTENDEE:mailto:mailto:a@b.c", "mailto:a@b.c", ""),
            ("ATTENDEE:/principals/users/1", "/principals/users/1", ""),
        ]
        for content, email, name in cases:
            with self.subTest(content=content):
                self.assertEqual(self.read(START, content)["attendees"],
                                 [{"email": email, "name": name, "status": "pending"}])

    def test_keeps_attendees_in_order_and_twice(self):
        got = self.read(START, "ATTENDEE:mailto:b@x.y", "ATTENDEE:mailto:a@x.y",
                        "ORGANIZER:mailto:boss@x.y", "ATTENDEE:mailto:b@x.y")
        self.assertEqual([a["email"] for a in got["attendees"]], ["b@x.y", "a@x.y", "b@x.y"])

    def test_reads_availability(self):
        cases = [
            ([], "busy"),
            (["TRANSP:OPAQUE"], "busy"),
            (["TRANSP:TRANSPARENT"], "free"),
            (["X-MICROSOFT-CDO-BUSYSTATUS:BUSY"], "busy"),
            (["X-MICROSOFT-CDO-BUSYSTATUS:FREE"], "free"),
            (["X-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE"], "tentative"),
            (["X-MICROSOFT-CDO-BUSYSTATUS:OOF"], "unavailable"),
            (["TRANSP:TRANSPARENT", "X-MICROSOFT-CDO-BUSYSTATUS:OOF"], "unavailable"),
        ]
        for content, availability in cases:
            with self.subTest(content=content):
                self.assertEqual(self.read(START, *content)["availability"], availability)

    def test_reads_recurrence_rules(self):
        cases = [
            ("FREQ=DAILY", {"frequency": "daily", "interval": 1}),
            ("FREQ=WEEKLY;INTERVAL=2;COUNT=5", {"frequency": "weekly", "interval": 2, "count": 5}),
            ("FREQ=MONTHLY;UNTIL=20260401T100000Z",
             {"frequency": "monthly", "interval": 1, "untilISO": "2026-04-01T10:00:00.000Z"}),
            ("FREQ=MONTHLY;BYDAY=-1FR",
             {"frequency": "monthly", "interval": 1, "daysOfWeek": [6]}),
            ("FREQ=YEARLY;BYMONTH=3,4",
             {"frequency": "yearly", "interval": 1, "monthsOfYear": [3, 4]}),
            ("FREQ=MONTHLY;BYMONTHDAY=5,-1,1",
             {"frequency": "monthly", "interval": 1, "daysOfMonth": [5, -1, 1]}),
            ("FREQ=WEEKLY;BYDAY=SA,MO,SU",
             {"frequency": "weekly", "interval": 1, "daysOfWeek": [7, 2, 1]}),
            ("FREQ=MONTHLY;BYDAY=TU;BYSETPOS=2;WKST=SU",
             {"frequency": "monthly", "interval": 1, "daysOfWeek": [3]}),
        ]
        for rule, expected in cases:
            with self.subTest(rule=rule):
                self.put("work", "event.ics", [event(START, f"RRULE:{rule}")])
                got = self.answer("get-event", {"calendarId": "work", "eventId": "work:event"})
                self.assertEqual(got["event"]["recurrenceRules"], [expected])
                self.assertEqual(got["event"]["recurrenceRuleCount"], 1)

    def test_reads_two_rules(self):
        self.put("work", "event.ics", [event(
            START, "RRULE:FREQ=DAILY;COUNT=2", "RRULE:FREQ=YEARLY;COUNT=2")])
        got = self.answer("get-event", {"calendarId": "work", "eventId": "work:event"})["event"]
        self.assertEqual(got["recurrenceRuleCount"], 2)
        self.assertEqual([r["frequency"] for r in got["recurrenceRules"]], ["daily", "yearly"])

    def test_counts_alarms_of_every_kind(self):
        alarm = component("VALARM", "ACTION:AUDIO", "TRIGGER;VALUE=DATE-TIME:20260101T000000Z")
        self.assertTrue(self.read(START, alarm)["hasAlarms"])
        self.assertTrue(self.read(START, alarm, alarm)["hasAlarms"])
        self.assertFalse(self.read(START)["hasAlarms"])
        none = component("VALARM", "ACTION:NONE", "TRIGGER;VALUE=DATE-TIME:19760401T005545Z")
        self.assertFalse(self.read(START, none)["hasAlarms"])
        self.assertTrue(self.read(START, none, alarm)["hasAlarms"])

    def test_finds_categories_in_the_notes(self):
        marker = "velmoria-sync-id:01234567-89ab-cdef-0123-456789ABCDEF"
        cases = [
            ("please no-sync", ["no-sync"]),
            (marker, ["velmoria-sync"]),
            (f"no-sync and {marker}", ["velmoria-sync", "no-sync"]),
            (f"line\n{marker}\nno-sync\n", ["velmoria-sync", "no-sync"]),
            ("no-syncing", None), ("xno-sync", None), ("no-sync-id", ["no-sync"]),
            ("NO-SYNC", None), ("_no-sync", None), ("(no-sync)", ["no-sync"]),
            (marker[:-1], None), (marker + "0", None), (marker + "-", ["velmoria-sync"]),
            ("x" + marker, None), (marker.upper(), None), ("éno-sync", None),
            ("", None),
        ]
        for notes, categories in cases:
            with self.subTest(notes=notes):
                got = self.read(START, f"DESCRIPTION:{escape(notes)}")
                self.assertEqual(got["notes"], notes)
                self.assertEqual(got.get("categories"), categories)

    def test_reads_times_in_zones(self):
        cases = [
            ("DTSTART;TZID=Europe/Berlin:20260105T100000", "2026-01-05T09:00:00.000Z"),
            ("DTSTART;TZID=Europe/Berlin:20260705T100000", "2026-07-05T08:00:00.000Z"),
            ("DTSTART;TZID=America/New_York:20260705T100000", "2026-07-05T14:00:00.000Z"),
            ("DTSTART;TZID=Asia/Kolkata:20260105T100000", "2026-01-05T04:30:00.000Z"),
            ("DTSTART;TZID=Arctic/Longyearbyen:20260105T100000", "2026-01-05T09:00:00.000Z"),
            ("DTSTART;TZID=UTC:20260105T100000", "2026-01-05T10:00:00.000Z"),
            ("DTSTART;TZID=Eastern Standard Time:20260705T100000", "2026-07-05T14:00:00.000Z"),
            ("DTSTART;TZID=\"W. Europe Standard Time\":20260105T100000", "2026-01-05T09:00:00.000Z"),
            ("DTSTART;TZID=Australia/Lord_Howe:20260105T100000", "2026-01-04T23:00:00.000Z"),
            ("DTSTART;TZID=Australia/Lord_Howe:20260705T100000", "2026-07-04T23:30:00.000Z"),
            ("DTSTART:20260105T100000Z", "2026-01-05T10:00:00.000Z"),
        ]
        for content, start in cases:
            with self.subTest(content=content):
                self.assertEqual(self.read(content)["startISO"], start)

    def test_takes_the_first_of_two_local_times_and_moves_on_from_one_that_is_none(self):
        # RFC 5545, 3.3.5: an ambiguous local time is the first one; one in the gap is taken with
        # the offset before the gap.
        cases = [
            ("DTSTART;TZID=America/New_York:20261101T013000", "2026-11-01T05:30:00.000Z"),
            ("DTSTART;TZID=America/New_York:20260308T023000", "2026-03-08T07:30:00.000Z"),
            ("DTSTART;TZID=Europe/Berlin:20261025T023000", "2026-10-25T00:30:00.000Z"),
            ("DTSTART;TZID=Europe/Berlin:20260329T023000", "2026-03-29T01:30:00.000Z"),
            ("DTSTART;TZID=Australia/Lord_Howe:20260405T014500", "2026-04-04T14:45:00.000Z"),
        ]
        for content, start in cases:
            with self.subTest(content=content):
                self.assertEqual(self.read(content)["startISO"], start)

    def test_reads_floating_times_in_the_zone_of_the_machine(self):
        cases = [("UTC", "2026-07-05T10:00:00.000Z"),
                 ("Europe/Berlin", "2026-07-05T08:00:00.000Z"),
                 ("America/St_Johns", "2026-07-05T12:30:00.000Z"),
                 ("Pacific/Kiritimati", "2026-07-04T20:00:00.000Z")]
        for zone, start in cases:
            with self.subTest(zone=zone):
                got = self.read("DTSTART:20260705T100000", env={"TZ": zone})
                self.assertEqual((got["startISO"], got["isAllDay"]), (start, False))

    def test_reads_all_day_events_in_the_zone_of_the_machine(self):
        cases = [
            ("UTC", [], "2026-07-05T00:00:00.000Z", "2026-07-05T23:59:59.000Z"),
            ("UTC", ["DTEND;VALUE=DATE:20260706"],
             "2026-07-05T00:00:00.000Z", "2026-07-05T23:59:59.000Z"),
            ("UTC", ["DTEND;VALUE=DATE:20260708"],
             "2026-07-05T00:00:00.000Z", "2026-07-07T23:59:59.000Z"),
            ("UTC", ["DURATION:P2D"], "2026-07-05T00:00:00.000Z", "2026-07-06T23:59:59.000Z"),
            ("UTC", ["DURATION:P1W"], "2026-07-05T00:00:00.000Z", "2026-07-11T23:59:59.000Z"),
            ("Europe/Berlin", [], "2026-07-04T22:00:00.000Z", "2026-07-05T21:59:59.000Z"),
            ("America/St_Johns", [], "2026-07-05T02:30:00.000Z", "2026-07-06T02:29:59.000Z"),
            ("Pacific/Auckland", [], "2026-07-04T12:00:00.000Z", "2026-07-05T11:59:59.000Z"),
        ]
        for zone, content, start, end in cases:
            with self.subTest(zone=zone, content=content):
                got = self.read("DTSTART;VALUE=DATE:20260705", *content, env={"TZ": zone})
                self.assertEqual(
                    (got["startISO"], got["endISO"], got["isAllDay"]), (start, end, True))

    def test_reads_an_all_day_event_over_the_change_of_the_clocks(self):
        got = self.read("DTSTART;VALUE=DATE:20260329", env={"TZ": "Europe/Berlin"})
        self.assertEqual((got["startISO"], got["endISO"]),
                         ("2026-03-28T23:00:00.000Z", "2026-03-29T21:59:59.000Z"))

    def test_starts_a_day_without_midnight_at_its_first_moment(self):
        # In Cairo the clocks went from 23:59:59 straight to 01:00 on 24 April 2026's midnight.
        got = self.read("DTSTART;VALUE=DATE:20260424", env={"TZ": "Africa/Cairo"})
        self.assertEqual((got["startISO"], got["endISO"]),
                         ("2026-04-23T22:00:00.000Z", "2026-04-24T20:59:59.000Z"))

    def test_takes_a_zone_that_the_system_lacks_from_the_file(self):
        zone = component(
            "VTIMEZONE", "TZID:Office (Somewhere)",
            component("STANDARD", "DTSTART:19701025T030000", "TZOFFSETFROM:+0345",
                      "TZOFFSETTO:+0245", "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU"),
            component("DAYLIGHT", "DTSTART:19700329T020000", "TZOFFSETFROM:+0245",
                      "TZOFFSETTO:+0345", "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU"))
        self.put("work", "event.ics", [
            zone, event("DTSTART;TZID=Office (Somewhere):20260105T100000", uid="winter"),
            event("DTSTART;TZID=\"Office (Somewhere)\":20260705T100000", uid="summer")])
        self.assertEqual(self.starts(self.year()), ["2026-01-05T07:15Z", "2026-07-05T06:15Z"])

    def test_prefers_the_zone_of_the_system_to_a_stale_one_in_the_file(self):
        zone = component("VTIMEZONE", "TZID:Europe/Berlin", component(
            "STANDARD", "DTSTART:19700101T000000", "TZOFFSETFROM:+0500", "TZOFFSETTO:+0500"))
        self.put("work", "event.ics",
                 [zone, event("DTSTART;TZID=Europe/Berlin:20260105T100000")])
        self.assertEqual(self.starts(self.year()), ["2026-01-05T09:00Z"])

    def test_reads_many_events_of_one_file(self):
        self.put("work", "export.ics", [
            event(f"DTSTART:202601{day:02}T100000Z", f"SUMMARY:Day {day}", uid=f"e{day}")
            for day in range(28, 0, -1)])
        self.assertEqual(
            self.titles(self.year()), [f"Day {day}" for day in range(1, 29)])
        self.assertEqual(self.answer(
            "get-event", {"calendarId": "work", "eventId": "work:e17"})["event"]["title"], "Day 17")

    def test_reads_several_calendars_of_one_file(self):
        self.put("work", "a.ics", calendar_text(event(START, "SUMMARY:One", uid="1")) +
                 calendar_text(event(START, "SUMMARY:Two", uid="2")))
        self.assertEqual(self.titles(self.year()), ["One", "Two"])

    def test_passes_over_components_that_are_no_events(self):
        self.put("work", "a.ics", [
            component("VTODO", "UID:todo", "DTSTAMP:20260101T000000Z", START, "SUMMARY:To do"),
            component("VJOURNAL", "UID:journal", "DTSTAMP:20260101T000000Z", START),
            event(START, "SUMMARY:Event"),
            component("VFREEBUSY", "UID:fb", "DTSTAMP:20260101T000000Z", START)])
        self.assertEqual(self.titles(self.year()), ["Event"])

    def test_lists_events_without_uid_that_nothing_addresses(self):
        nameless = component("VEVENT", START, "SUMMARY:Nameless")
        for file in ("a.ics", "b.ics"):
            self.put("work", file, [nameless])
        self.put("work", "c.ics", [nameless, event(START, "SUMMARY:Named", uid="named"), nameless])
        expected = [("", "Nameless")] * 4 + [("work:named", "Named")]
        self.assertEqual([(e["id"], e["title"]) for e in self.year()], expected)
        for identifier in ("", "work:", ":"):
            self.assertError(
                self.run_program("get-event", request={"calendarId": "work", "eventId": identifier}),
                "EVENT_NOT_FOUND", identifier)
            self.assertError(self.run_program("cancel-event", request={"id": identifier}),
                             "EVENT_NOT_FOUND", identifier)
        self.answer("update-event", {"id": "work:named", "patch": {"title": "Renamed"}})
        self.assertEqual([e["title"] for e in self.year()], ["Nameless"] * 4 + ["Renamed"])
        self.answer("cancel-event", {"id": "work:named"})
        self.assertEqual([e["title"] for e in self.year()], ["Nameless"] * 4)

    def test_tells_events_of_one_uid_in_two_calendars_apart(self):
        self.put("one", "a.ics", [event(START, "SUMMARY:One")])
        self.put("two", "b.ics", [event(START, "SUMMARY:Two")])
        for calendar, title in (("one", "One"), ("two", "Two")):
            self.assertEqual(self.answer("get-event", {
                "calendarId": calendar, "eventId": f"{calendar}:event"})["event"]["title"], title)

    def test_reads_identifiers_of_every_kind(self):
        for uid in ("a:b:c", "with blank", "{braces}@example.com", "Ωmega 🗓", "../../etc/passwd",
                    "x" * 10_000, "a/b", "%2e%2e", "quote\"s"):
            with self.subTest(uid=uid[:30]):
                self.put("work", "event.ics", [event(START, "SUMMARY:Found", uid=uid)])
                self.assertEqual([e["id"] for e in self.year()], [f"work:{uid}"])
                self.assertEqual(self.answer("get-event", {
                    "calendarId": "work", "eventId": f"work:{uid}"})["event"]["title"], "Found")

    def test_orders_events_by_start_end_and_identifier(self):
        rows = [("b", "20260105T100000Z", "20260105T110000Z"),
                ("a", "20260105T100000Z", "20260105T120000Z"),
                ("d", "20260105T100000Z", "20260105T110000Z"),
                ("c", "20260104T100000Z", "20260106T110000Z"),
                ("e", "20260105T095959Z", "20260105T235959Z")]
        for uid, start, end in rows:
            calendar = "one" if uid in "bc" else "two"
            self.put(calendar, f"{uid}.ics", [event(f"DTSTART:{start}", f"DTEND:{end}", uid=uid)])
        self.assertEqual([e["id"] for e in self.year()],
                         ["one:c", "two:e", "one:b", "two:d", "two:a"])

    def test_reads_years_far_off(self):
        for start, expected in (("00010203T040506Z", "0001-02-03T04:05:06.000Z"),
                                ("15000101T000000Z", "1500-01-01T00:00:00.000Z"),
                                ("99991231T235958Z", "9999-12-31T23:59:58.000Z")):
            with self.subTest(start=start):
                self.assertEqual(self.read(f"DTSTART:{start}")["startISO"], expected)


if __name__ == "__main__":
    unittest.main()
