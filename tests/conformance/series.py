"""Recurring events: their occurrences, and the change of one."""

from cases import DAY, HOUR, Case, in_local_days, whole_local_days
from creating import rule
from session import START, utc


class Series(Case):
    def series(self, frequency="weekly", interval=1, **fields):
        return self.create(recurrenceRule=rule(frequency, interval, count=3), **fields)

    def starts(self):
        return [event["startISO"] for event in self.listed()]

    def titles(self):
        return [event["title"] for event in self.listed()]

    def weeks(self, *numbers):
        return [utc(in_local_days(START, 7 * number)) for number in numbers]

    def test_lists_each_occurrence_with_the_identifier_of_the_series(self):
        for frequency, interval, days in (("daily", 1, 1), ("daily", 10, 10), ("weekly", 2, 14)):
            with self.subTest(frequency=frequency, interval=interval):
                identifier = self.series(frequency, interval)
                found = self.listed()
                self.assertEqual(
                    [(event["id"], event["startISO"], event["endISO"]) for event in found],
                    [(identifier, utc(start), utc(start + HOUR)) for start in
                     (in_local_days(START, days * number) for number in range(3))])
                self.assertEqual(found[0], self.get(identifier))
                self.session.remove(identifier)

    def test_ends_a_series_at_the_last_start_that_is_not_after_its_end(self):
        for until, occurrences in ((START + 4 * DAY + HOUR, 5), (START + 3 * DAY + HOUR, 4)):
            identifier = self.create(recurrenceRule=rule("daily", 1, untilISO=utc(until)))
            self.assertEqual(len(self.listed()), occurrences)
            self.session.remove(identifier)

    def test_lists_the_occurrences_that_lie_in_the_range(self):
        self.series()
        self.assertEqual(len(self.listed(START + 6 * DAY, START + 8 * DAY)), 1)
        self.assertEqual(self.listed(START + 1 * DAY, START + 6 * DAY), [])

    def test_repeats_whole_days(self):
        identifier = self.series("daily", isAllDay=True)
        self.assertEqual(
            [(event["id"], event["startISO"], event["endISO"], event["isAllDay"])
             for event in self.listed()],
            [(identifier, *whole_local_days(day, day + HOUR), True)
             for day in (in_local_days(START, number) for number in range(3))])

    def test_changes_one_occurrence_only(self):
        identifier = self.series()
        name = self.get(identifier)["title"]
        self.update(identifier, title=f"{self.tag} changed")
        self.assertEqual(self.titles(), [f"{self.tag} changed", name, name])
        self.assertEqual(self.starts(), self.weeks(0, 1, 2))
        self.same_identifier_as(identifier)

    def test_moves_one_occurrence_only(self):
        identifier = self.series()
        moved = START + 2 * DAY
        self.update(identifier, startISO=utc(moved), endISO=utc(moved + HOUR))
        self.assertEqual(self.starts(), [utc(moved), *self.weeks(1, 2)])
        self.same_identifier_as(identifier)

    def test_cancels_the_occurrences_one_by_one(self):
        identifier = self.series()
        self.assertEqual(self.get(identifier)["startISO"], self.weeks(0)[0])
        self.cancel(identifier)
        self.assertEqual(self.starts(), self.weeks(1, 2))
        leads_on = self.get(identifier)["startISO"] == self.weeks(1)[0]
        self.saw("identifier of a series whose first occurrence was removed",
                 "leads to the next" if leads_on else "leads to the removed one")
        if not leads_on:
            # A store may say no; that it removed what it did not is not an answer.
            self.assertEqual(self.get(identifier)["startISO"], self.weeks(0)[0])
            self.assertRefused("cancel-event", {"id": identifier}, "EVENT_STORE_REMOVE_FAILED",
                               "EventKit remove failed")
            self.assertEqual(self.starts(), self.weeks(1, 2))
            return
        self.cancel(identifier)
        self.assertEqual(self.starts(), self.weeks(2))
        self.assertEqual(self.get(identifier)["startISO"], self.weeks(2)[0])
        self.cancel(identifier)
        self.assertEqual(self.listed(), [])
        self.assertRefused("cancel-event", {"id": identifier}, "EVENT_NOT_FOUND", identifier)

    def test_decides_what_other_rules_make_of_a_series(self):
        identifier = self.series()
        self.update(identifier, recurrenceRule=rule("daily", 1, count=2))
        self.saw("series of 3 given a rule for 2", f"{len(self.listed())} events")
        self.update(identifier, clearRecurrenceRules=True)
        self.saw("then without rules", f"{len(self.listed())} events")

    def same_identifier_as(self, identifier):
        """A store may give an occurrence that differs from its series an identifier of its own."""
        identifiers = [event["id"] for event in self.listed()]
        self.session.made.extend(set(identifiers) - set(self.session.made))
        self.assertEqual(identifiers[1:], [identifier] * (len(identifiers) - 1))
        self.saw("identifier of a changed occurrence",
                 "that of the series" if identifiers[0] == identifier else "its own")
