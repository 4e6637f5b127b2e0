"""Recurrence rules and alarms."""

import datetime
import random
import unittest
import zoneinfo

from dateutil import rrule

from roundtrip import RoundTripTest

UTC = datetime.timezone.utc
FREQUENCIES = {"daily": rrule.DAILY, "weekly": rrule.WEEKLY, "monthly": rrule.MONTHLY,
               "yearly": rrule.YEARLY}
ZONES = ["UTC", "Europe/Berlin", "America/New_York", "Australia/Lord_Howe", "Asia/Kolkata",
         "America/Santiago"]
RANGE = (datetime.datetime(2026, 1, 1, tzinfo=UTC), datetime.datetime(2031, 1, 1, tzinfo=UTC))

# A duration has to fit into 31 bits of seconds.
MOST_MINUTES = (2 ** 31 - 1) // 60


def wire(instant):
    return instant.strftime("%Y-%m-%dT%H:%M:%S.000Z")


def occurrences(zone, start, rule):
    """The starts in the range, by the wall clock of the zone."""
    wall = start.astimezone(zone).replace(tzinfo=None)
    until = datetime.datetime.fromisoformat(
        rule.get("untilISO", "9999-12-31T00:00:00.000Z").replace("Z", "+00:00"))
    found = []
    for each in rrule.rrule(FREQUENCIES[rule["frequency"].lower()], dtstart=wall,
                            interval=rule["interval"], count=rule.get("count")):
        instant = each.replace(tzinfo=zone).astimezone(UTC)
        if instant >= RANGE[1] or instant > until:
            break
        found.append(wire(instant))
    return found


class RulesAndAlarms(RoundTripTest):
    def random_rule(self, chance, start):
        rule = dict(frequency=chance.choice(["daily", "Weekly", "MONTHLY", "yearly"]),
                    interval=chance.choice([1, 1, 2, 3, 13, 366]))
        end = chance.randrange(3)
        if end == 0:
            rule["count"] = chance.choice([1, 2, 10, 1000])
        elif end == 1:
            rule["untilISO"] = wire(start + datetime.timedelta(
                seconds=chance.choice([0, 1, 86400 * 7, 86400 * 700, 86400 * 100 + 5])))
        return rule

    def assert_rule(self, event, rule):
        reported, = event["recurrenceRules"]
        self.assertEqual(event["recurrenceRuleCount"], 1)
        self.assertEqual(reported, dict(rule, frequency=rule["frequency"].lower()))

    def test_rules(self):
        chance = random.Random(17)
        for number in range(60):
            name = chance.choice(ZONES)
            zone = zoneinfo.ZoneInfo(name)
            start = RANGE[0] + datetime.timedelta(seconds=chance.randrange(365 * 86400))
            end = start + datetime.timedelta(minutes=chance.randrange(1, 90))
            rule = self.random_rule(chance, start)
            with self.subTest(number=number, zone=name, start=wire(start), rule=rule):
                times = dict(startISO=wire(start), endISO=wire(end))
                if number % 2:
                    identifier = self.create(name, recurrenceRule=rule, **times)
                else:
                    identifier = self.create(name, **times)
                    self.update(identifier, name, recurrenceRule=rule)
                self.assert_rule(self.get(identifier, name), rule)
                listed = self.events(wire(RANGE[0]), wire(RANGE[1]), env={"TZ": name})
                for event in listed:
                    self.assert_rule(event, rule)
                self.assertEqual([event["startISO"] for event in listed],
                                 occurrences(zone, start, rule))
                (self.work / (identifier.removeprefix("work:") + ".ics")).unlink()

    def test_rules_can_be_cleared(self):
        identifier = self.create(recurrenceRule=dict(frequency="daily", interval=1))
        self.update(identifier, clearRecurrenceRules=True,
                    recurrenceRule=dict(frequency="never", interval=0))
        got = self.get_and_list(identifier)
        self.assertEqual((got["recurrenceRules"], got["recurrenceRuleCount"]), ([], 0))
        self.assertEqual(len(self.year()), 1)

    def test_alarms(self):
        identifier = self.create()
        for minutes in ([15], [], [15, 0, -5], [MOST_MINUTES, -MOST_MINUTES], [0] * 100):
            with self.subTest(minutes=minutes):
                made = self.create(alarmMinutes=minutes)
                self.assertEqual(self.get_and_list(made)["hasAlarms"], bool(minutes))
                self.update(identifier, alarmMinutes=minutes)
                self.assertEqual(self.get_and_list(identifier)["hasAlarms"], bool(minutes))
                self.update(identifier, title="Else")
                self.assertEqual(self.get_and_list(identifier)["hasAlarms"], bool(minutes))
                content = (self.work / (made.removeprefix("work:") + ".ics")).read_bytes()
                self.assertEqual(content.count(b"BEGIN:VALARM\r\n"), len(minutes))

    def test_alarms_out_of_range_are_refused(self):
        identifier = self.create(alarmMinutes=[15])
        largest = (2 ** 63 - 1) // 60
        for minutes in (MOST_MINUTES + 1, -MOST_MINUTES - 1, largest, -largest):
            with self.subTest(minutes=minutes):
                self.assertIsNone(self.try_to_create(alarmMinutes=[5, minutes]))
                self.assertIsNone(self.try_to_update(identifier, alarmMinutes=[minutes]))
        self.assertTrue(self.get(identifier)["hasAlarms"])


if __name__ == "__main__":
    unittest.main()
