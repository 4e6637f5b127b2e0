"""Local calendars when the service is killed, and when many runs change one at once."""

import concurrent.futures
import unittest

from desktop import DesktopTest, kill, values

KILLS = 100
RUNS = 8
CHANGES = 50


class Killed(DesktopTest):
    def test_nothing_that_was_answered_is_lost(self):
        calendar = self.new_calendar(hold=False)
        standing = {}
        for number in range(KILLS):
            kind = number % 4
            if kind < 2 or len(standing) < 2:
                title = f"Event {number}"
                identifier = self.create(calendar, title)
                standing[identifier] = title
            elif kind == 2:
                identifier = next(iter(standing))
                standing[identifier] = f"Changed {number}"
                self.update(identifier, title=standing[identifier])
            else:
                identifier = next(iter(standing))
                del standing[identifier]
                self.cancel(identifier)
            kill(self.session.factory())
            self.wait_for(lambda: not self.other.factory_is_there(), "the bus to notice")
            text = self.calendar_file(calendar).read_text()
            self.assertCountEqual(values(text, "SUMMARY"), standing.values(), number)
        found = self.events("2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z", calendarIds=[calendar])
        self.assertEqual({event["id"]: event["title"] for event in found}, standing)

    def test_no_change_of_many_runs_at_once_is_lost(self):
        calendar = self.new_calendar()
        fields = ["title", "location", "notes"]
        identifiers = [self.create(calendar, "Nobody's") for _ in range(2)]

        def change(run):
            for number in range(CHANGES // 2):
                self.update(identifiers[run % 2], **{fields[run // 2 % 3]: f"{run}-{number}"})
                self.create(calendar, f"Run {run}, {number}")

        with concurrent.futures.ThreadPoolExecutor(RUNS) as pool:
            list(pool.map(change, range(RUNS)))
        created = RUNS * (CHANGES // 2)
        found = self.events("2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z", calendarIds=[calendar])
        self.assertEqual(len(found), created + 2)
        last = f"-{CHANGES // 2 - 1}"
        for place, identifier in enumerate(identifiers):
            [event] = self.other.event(calendar, identifier.partition(":")[2])
            # Each update counts: none was made to what another had read before.
            self.assertEqual(values(event, "SEQUENCE"), [str(RUNS // 2 * (CHANGES // 2))])
            for run in range(place, 6, 2):
                self.assertTrue(self.event(identifier)[fields[run // 2 % 3]].endswith(last))


if __name__ == "__main__":
    unittest.main()
