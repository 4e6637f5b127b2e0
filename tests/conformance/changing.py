"""update-event and cancel-event on single events, and the refusals of read-only calendars."""

from cases import DAY, HOUR, SAVE_FAILED, Case, whole_local_days
from creating import BAD_RULES, rule
from session import START, utc


class Updating(Case):
    def setUp(self):
        super().setUp()
        self.identifier = self.create(location="Room", notes="Notes", alarmMinutes=[5])

    def told(self):
        """All that is told of the event but the instant of its last change."""
        event = self.get(self.identifier)
        event.pop("lastModifiedISO", None)
        return event

    def assertChanges(self, patch, **changes):
        expected = {**self.told(), **changes}
        self.update(self.identifier, **patch)
        self.assertEqual(self.told(), expected)
        self.assertEqual(len(self.listed()), 1)

    def test_changes_what_the_patch_carries_and_nothing_else(self):
        for patch in ({"title": f"{self.tag} new 🗓"}, {"location": "Hall 1/2"},
                      {"notes": "One\n\"two\"\n\\three"}, {"startISO": utc(START - HOUR)},
                      {"endISO": utc(START + 2 * HOUR)},
                      {"startISO": utc(START + 3 * DAY), "endISO": utc(START + 3 * DAY + HOUR)}):
            with self.subTest(patch=patch):
                self.assertChanges(patch, **patch)

    def test_saves_when_nothing_changes(self):
        self.assertChanges({})
        self.assertChanges({"title": self.told()["title"]})

    def test_takes_null_for_what_is_absent(self):
        self.assertChanges(dict.fromkeys((
            "title", "startISO", "endISO", "isAllDay", "location", "notes", "attendees",
            "alarmMinutes", "attendeesV2", "sendInvitations", "recurrenceRule",
            "clearRecurrenceRules")))

    def test_empties_texts(self):
        self.update(self.identifier, notes=self.tag)
        self.assertChanges({"title": ""}, title="")
        self.update(self.identifier, title=self.tag)
        for key in ("location", "notes"):
            self.update(self.identifier, **{key: ""})
            self.assertSeen(f"{key} emptied by an update", self.told().get(key),
                            {"kept as an empty text": "", "left out": None})

    def test_replaces_and_removes_alarms(self):
        self.assertChanges({"alarmMinutes": [10, 20, -5]})
        self.assertChanges({"alarmMinutes": []}, hasAlarms=False)
        self.assertChanges({"title": f"{self.tag} other"}, title=f"{self.tag} other")
        self.assertChanges({"alarmMinutes": [0]}, hasAlarms=True)

    def test_changes_an_event_between_timed_and_all_day(self):
        start, end = whole_local_days(START, START + HOUR)
        self.assertChanges({"isAllDay": True}, isAllDay=True, startISO=start, endISO=end)
        self.assertChanges(
            {"isAllDay": False, "startISO": utc(START), "endISO": utc(START + HOUR)},
            isAllDay=False, startISO=utc(START), endISO=utc(START + HOUR))

    def test_sets_a_rule(self):
        self.update(self.identifier, recurrenceRule=rule("daily", 1, count=3))
        self.assertEqual(self.told()["recurrenceRules"], [rule("daily", 1, count=3)])
        self.assertEqual(len(self.listed()), 3)
        self.update(self.identifier, clearRecurrenceRules=False)
        self.assertEqual(len(self.listed()), 3)

    def test_clears_no_rules_where_there_are_none(self):
        self.assertChanges({"clearRecurrenceRules": True, "recurrenceRule": rule("never", 0)})

    def test_ignores_attendees(self):
        self.assertChanges({"attendees": ["x"], "attendeesV2": [{"email": "nobody"}],
                            "sendInvitations": True})

    def test_changes_nothing_when_one_field_is_bad(self):
        for patch, message in (
                ({"title": "New", "endISO": "never"}, "never"),
                ({"startISO": "bad", "endISO": "never"}, "bad")):
            self.assertRefused("update-event", {"id": self.identifier, "patch": patch},
                               "INVALID_DATE", f"Cannot parse ISO 8601 date: {message}")
        for bad, code, message in BAD_RULES:
            with self.subTest(rule=bad):
                self.assertRefused(
                    "update-event",
                    {"id": self.identifier, "patch": {"title": "New", "recurrenceRule": bad}},
                    code, message)

    def test_refuses_what_ends_before_it_starts(self):
        for patch in ({"endISO": utc(START - HOUR)}, {"startISO": utc(START + 2 * HOUR)}):
            self.assertRefused("update-event", {
                "id": self.identifier, "patch": {"title": "New", **patch}}, *SAVE_FAILED)

    def test_ends_by_a_signal_when_an_alarm_overflows(self):
        before = self.listed()
        result = self.run_program("update-event", request={
            "id": self.identifier, "patch": {"alarmMinutes": [-2 ** 63]}})
        self.assertEqual((result.out, result.err), (b"", b""))
        self.assertLess(result.status, 0)
        self.assertEqual(self.listed(), before)

    def test_names_an_event_that_it_does_not_find(self):
        for identifier in ("unknown", "", "x" + self.identifier):
            self.assertRefused(
                "update-event", {"id": identifier, "patch": {"startISO": "never"}},
                "EVENT_NOT_FOUND", identifier)


class Cancelling(Case):
    def test_removes_one_event_once(self):
        gone, stays = self.create(), self.create()
        neighbour = self.get(stays)
        self.cancel(gone)
        self.assertEqual(self.listed(), [neighbour])
        self.assertRefused("cancel-event", {"id": gone}, "EVENT_NOT_FOUND", gone)
        self.assertRefused("update-event", {"id": gone, "patch": {}}, "EVENT_NOT_FOUND", gone)
        self.assertError(self.run_program("get-event", request={
            "calendarId": self.session.calendar, "eventId": gone}), "EVENT_NOT_FOUND", gone)
        self.assertError(self.run_program("get-attendee-status", request={"id": gone}),
                         "EVENT_NOT_FOUND", gone)

    def test_takes_any_reason_or_none(self):
        for fields in ({"reason": "r" * 1000}, {"reason": None}, {"reason": ""}):
            identifier = self.create()
            self.cancel(identifier, **fields)
            self.assertEqual(self.listed(), [])

    def test_names_an_event_that_it_does_not_find(self):
        for identifier in ("unknown", ""):
            self.assertRefused("cancel-event", {"id": identifier}, "EVENT_NOT_FOUND", identifier)


class ReadOnlyCalendars(Case):
    """In calendars that may not be changed nothing is asked for that a fault could do harm by."""

    def setUp(self):
        super().setUp()
        self.read_only = [calendar["id"] for calendar in self.session.calendars()
                          if not calendar["writable"]]
        self.saw("read-only calendars", "found" if self.read_only else "none to try")

    def test_refuses_to_create(self):
        for calendar in self.read_only:
            self.assertRefused(
                "create-event", self.session.request(
                    calendarId=calendar, attendeesV2=[{"email": "nobody"}], startISO="never"),
                "READ_ONLY_CALENDAR", f"Calendar {calendar} is read-only.")

    def test_refuses_to_change(self):
        identifier = self.an_event()
        if identifier is not None:
            message = f"Event '{identifier}' belongs to a read-only calendar."
            self.assertRefused(
                "update-event", {"id": identifier, "patch": {"startISO": "never"}},
                "READ_ONLY_CALENDAR", message)
            if self.session.is_disposable:
                self.assertRefused(
                    "cancel-event", {"id": identifier}, "READ_ONLY_CALENDAR", message)

    def an_event(self):
        """One that stands in a read-only calendar, if there is any in the years around."""
        found = []
        if self.read_only:
            found = self.session.events(
                START - 700 * DAY, START + 700 * DAY, calendarIds=self.read_only)
        self.saw("events in read-only calendars", "found" if found else "none to try")
        return found[0]["id"] if found else None
