"""Several first runs at once make one root, and all of them find it."""

import shutil
import unittest

from processes import TIMES, QuenbrookTest, Run

ROUNDS = 40


class FirstRuns(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.data = self.place / "fresh"

    def runs(self, *requests):
        shutil.rmtree(self.data, ignore_errors=True)
        started = [Run(self.environment(), word, request) for word, request in requests]
        results = [run.result() for run in started]
        self.assertEqual([status for status, _ in results], [0] * len(results), results)
        # One root, whole, and nothing beside it.
        place = self.data / "quenbrook"
        self.assertEqual([path.name for path in place.iterdir()], ["calendars"])
        self.assertEqual(sorted(str(path.relative_to(place / "calendars"))
                                for path in place.glob("calendars/**/*") if path.suffix != ".ics"),
                         ["local", "local/calendar", "local/calendar/color",
                          "local/calendar/displayname", "local/displayname"])
        return [document for _, document in results]

    def test_make_one_root(self):
        for _ in range(ROUNDS):
            answers = self.runs(*[("list-calendars", None)] * 4)
            self.assertEqual(answers, [answers[0]] * 4)
            self.assertEqual([each["id"] for each in answers[0]["calendars"]], ["local/calendar"])

    def test_keep_the_events_of_all(self):
        for _ in range(ROUNDS):
            answers = self.runs(*(
                ("create-event", dict(calendarId="local/calendar", title=str(number), **TIMES))
                for number in range(4)))
            self.assertEqual(sorted(event["id"] for event in self.year()),
                             sorted(answer["id"] for answer in answers))


if __name__ == "__main__":
    unittest.main()
