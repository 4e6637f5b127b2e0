#!/usr/bin/python3
"""Compares the expansion of random recurrence rules with python-dateutil's.

The program to test is named by the environment variable EXPAND_RULE. RULES (3000) and SEED (5545)
set how many rules are made and from which seed.

Every rule is one that RFC 5545 allows, and its start is its own first occurrence: what a rule means
whose start it does not name, dateutil decides otherwise than the RFC.

Where dateutil is known to differ from RFC 5545 section 3.3.10, the RFC decides, and dateutil is led
to its answer (`settle` and `number_weeks` below); how many rules were concerned is printed. These are:

- BYWEEKNO: weeks around the turn of the year. dateutil passes over days at the end of a year that
  lie in week 1 of the next when that is named from the end (-52, -53), and takes the length of this
  year for that of the last when it numbers the last week of the last year.
- BYWEEKNO without a part that names days: the weekday is missing in the rule, so it is the start's;
  dateutil takes all seven.
- BYDAY with plain and numbered days side by side (MO,1TU) lists both; dateutil takes the days that
  are both at once.
- BYSETPOS in WEEKLY counts through the week; dateutil begins the first week with the start.
- BYSECOND=60 is an error to dateutil and is not among the rules made; nor is a BYDAY with a number
  next to BYWEEKNO, which the RFC forbids.
"""

import datetime
import functools
import itertools
import os
import random
import subprocess
import unittest

from dateutil import rrule

WEEKDAYS = ["MO", "TU", "WE", "TH", "FR", "SA", "SU"]
OCCURRENCES = 60

# How many years after the start are compared: dateutil takes its time.
YEARS = {"SECONDLY": 1, "MINUTELY": 2, "HOURLY": 4, "DAILY": 20, "WEEKLY": 30, "MONTHLY": 60,
         "YEARLY": 60}


class Week:
    """The week that a day lies in, numbered in the year that has its fourth day."""

    def __init__(self, day, week_start):
        first = day - datetime.timedelta(days=(day.weekday() - week_start) % 7)
        fourth = first + datetime.timedelta(days=3)
        before = fourth.timetuple().tm_yday - 1
        after = (datetime.date(fourth.year, 12, 31) - fourth).days
        self.number = before // 7 + 1
        self.number_from_end = -(after // 7) - 1


@functools.lru_cache(maxsize=None)
def weeks_of_days(first, days, week_start):
    return [Week(datetime.date.fromordinal(first + day), week_start) for day in range(days)]


class Reference:
    """dateutil, held to a last year and, when `settled`, led to the RFC's meaning."""

    def __init__(self, settled):
        self.settled = settled

    def first(self, parts, start, limit):
        """The first occurrences up to the last year that is looked at."""
        last_year = start.year + YEARS[parts["FREQ"]]
        original = rrule._iterinfo.rebuild

        def rebuild(info, year, month):
            if year > last_year:
                raise EndOfSearch
            is_new_year = year != info.lastyear
            original(info, year, month)
            if self.settled and info.rrule._byweekno and is_new_year:
                self.number_weeks(info)

        told, begin = settle(parts, start) if self.settled else (parts, start)
        found = []
        rrule._iterinfo.rebuild = rebuild
        try:
            rule = rrule.rrulestr(text_of(told), dtstart=begin)
            from_start = itertools.dropwhile(lambda time: time < start, rule)
            for time in itertools.islice(from_start, min(limit, parts.get("COUNT", limit))):
                found.append(time)
        except EndOfSearch:
            pass
        finally:
            rrule._iterinfo.rebuild = original
        return [time for time in found if time.year <= last_year]

    def number_weeks(self, info):
        named = info.rrule._byweekno
        for index, week in enumerate(weeks_of_days(info.yearordinal, info.yearlen,
                                                   info.rrule._wkst)):
            info.wnomask[index] = int(week.number in named or week.number_from_end in named)


class EndOfSearch(Exception):
    pass


def settle(parts, start):
    """The rule and the start as dateutil has to be told for the RFC's meaning."""
    parts = dict(parts)
    names_days = "BYDAY" in parts or "BYMONTHDAY" in parts or "BYYEARDAY" in parts
    is_positioned_week = parts["FREQ"] == "WEEKLY" and "BYSETPOS" in parts
    if ("BYWEEKNO" in parts or is_positioned_week) and not names_days:
        parts["BYDAY"] = WEEKDAYS[start.weekday()]
    days = parts.get("BYDAY", "").split(",")
    if any(len(day) > 2 for day in days):
        every = range(1, highest_ordinal(parts) + 1)
        parts["BYDAY"] = ",".join(
            day if len(day) > 2 else ",".join(f"{number}{day}" for number in every)
            for day in days)
    if is_positioned_week:
        parts.pop("COUNT", None)
        week_start = WEEKDAYS.index(parts.get("WKST", "MO"))
        start -= datetime.timedelta(days=(start.weekday() - week_start) % 7)
    return parts, start


def highest_ordinal(parts):
    """The highest number that a weekday can have in what BYDAY counts through."""
    return 5 if parts["FREQ"] == "MONTHLY" or "BYMONTH" in parts else 53


def text_of(parts):
    return ";".join(f"{name}={value}" for name, value in parts.items())


class RuleMaker:
    """Random rules that a random time matches, but for BYSETPOS."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def rule_and_time(self):
        time = self.time()
        frequency = self.random.choice(
            ["SECONDLY", "MINUTELY", "HOURLY", "DAILY", "WEEKLY", "MONTHLY", "YEARLY", "YEARLY"])
        parts = {"FREQ": frequency}
        if self.chance(0.5):
            parts["INTERVAL"] = self.interval(frequency)
        chance = self.random.choice([0.15, 0.3, 0.5])
        by_parts = [(name, make) for name, make, frequencies in self.by_parts()
                    if frequency in frequencies and self.chance(chance)]
        for name, make in by_parts:
            parts[name] = make(time, parts)
        if by_parts and self.chance(0.25):
            parts["BYSETPOS"] = self.set_positions(frequency)
        if self.chance(0.4):
            parts["WKST"] = self.random.choice(WEEKDAYS)
        shuffled = list(parts.items())
        self.random.shuffle(shuffled)
        return dict(shuffled), time

    def by_parts(self):
        within_day = ["SECONDLY", "MINUTELY", "HOURLY"]
        every = within_day + ["DAILY", "WEEKLY", "MONTHLY", "YEARLY"]
        return [
            ("BYMONTH", lambda time, _: self.including(time.month, range(1, 13)), every),
            ("BYWEEKNO", lambda time, _: self.weeks(time), ["YEARLY"]),
            ("BYYEARDAY", lambda time, _: self.year_days(time), within_day + ["YEARLY"]),
            ("BYMONTHDAY", lambda time, _: self.month_days(time),
             within_day + ["DAILY", "MONTHLY", "YEARLY"]),
            ("BYDAY", self.days, every),
            ("BYHOUR", lambda time, _: self.including(time.hour, range(24)), every),
            ("BYMINUTE", lambda time, _: self.including(time.minute, range(60)), every),
            ("BYSECOND", lambda time, _: self.including(time.second, range(60)), every),
        ]

    def chance(self, probability):
        return self.random.random() < probability

    def time(self):
        # Half of the times lie where years, months and weeks turn.
        year = self.random.randint(1950, 2070)
        day = datetime.datetime(year, 1, 1)
        if self.chance(0.5):
            day += datetime.timedelta(days=self.random.randint(0, 364))
        elif self.chance(0.6):
            day += datetime.timedelta(days=self.random.randint(-7, 7))
        else:
            day = datetime.datetime(year, 3, 1) - datetime.timedelta(days=self.random.randint(1, 3))
        return day + datetime.timedelta(seconds=self.random.randint(0, 86399))

    def interval(self, frequency):
        widest = {"YEARLY": 5, "MONTHLY": 20, "WEEKLY": 60}.get(frequency, 100)
        return self.random.randint(1, self.random.choice([3, widest]))

    def end(self, start):
        kind = self.random.random()
        if kind < 0.2:
            return {"COUNT": self.random.randint(1, 80)}
        if kind < 0.3:
            days = self.random.choice([0, 1, 30, 1000, 10000])
            until = start + datetime.timedelta(days=days)
            return {"UNTIL": until.strftime("%Y%m%dT%H%M%S")}
        return {}

    def including(self, value, values):
        """A list with the value among others, in any order and at times twice."""
        chosen = [self.random.choice(values) for _ in range(self.random.choice([0, 1, 2, 5, 12]))]
        chosen.append(value)
        self.random.shuffle(chosen)
        return ",".join(str(number) for number in chosen)

    def from_either_end(self, value, value_from_end, highest):
        values = [number for number in range(-highest, highest + 1) if number != 0]
        return self.including(self.random.choice([value, value_from_end]), values)

    def month_days(self, time):
        following = (time.replace(day=28) + datetime.timedelta(days=4)).replace(day=1)
        return self.from_either_end(time.day, -(following.date() - time.date()).days, 31)

    def year_days(self, time):
        day = time.timetuple().tm_yday
        length = datetime.date(time.year, 12, 31).timetuple().tm_yday
        return self.from_either_end(day, day - length - 1, 366)

    def weeks(self, time):
        week = Week(time.date(), 0)
        if self.chance(0.3):
            return self.random.choice(["1", "-1", "53", "-53", "52", "-52", "1,-1", "53,1"])
        return self.from_either_end(week.number, week.number_from_end, 53)

    def plain_days(self, time):
        return ",".join({WEEKDAYS[time.weekday()], *self.random.choices(
            WEEKDAYS, k=self.random.choice([0, 1, 3]))})

    def days(self, time, parts):
        may_be_numbered = parts["FREQ"] in ("MONTHLY", "YEARLY") and "BYWEEKNO" not in parts
        if not may_be_numbered or self.chance(0.3):
            return self.plain_days(time)
        highest = highest_ordinal(parts) if self.chance(0.5) else 5
        entries = [f"{self.random.choice([-1, 1]) * self.random.randint(1, highest)}{day}"
                   for day in self.random.choices(WEEKDAYS, k=self.random.choice([1, 2, 4]))]
        if self.chance(0.25):
            entries.append(WEEKDAYS[time.weekday()])
        self.random.shuffle(entries)
        return ",".join(entries)

    def set_positions(self, frequency):
        highest = 3 if frequency in ("SECONDLY", "MINUTELY", "HOURLY", "DAILY") else 12
        positions = [self.random.choice([-1, 1]) * self.random.randint(1, highest)
                     for _ in range(self.random.choice([1, 2, 4]))]
        # A period within a day may hold one occurrence only.
        if frequency in ("SECONDLY", "MINUTELY", "HOURLY", "DAILY"):
            positions.append(self.random.choice([1, -1]))
        return ",".join(str(position) for position in positions)


def first_occurrence(parts, time):
    """The first occurrence from the time on."""
    try:
        found = Reference(settled=True).first(parts, time, 1)
    except ValueError:
        return None  # So dateutil tells of an interval that never meets the other parts.
    return found[0] if found else None


def difference(here, there):
    pairs = itertools.zip_longest(here, there, fillvalue="none")
    index, (one, other) = next((index, pair) for index, pair in enumerate(pairs)
                               if pair[0] != pair[1])
    return f"occurrence {index + 1}: {one} here, {other} there"


class AgreesWithAnIndependentEngine(unittest.TestCase):
    def test_first_occurrences_of_random_rules(self):
        count = int(os.environ.get("RULES", "3000"))
        seed = int(os.environ.get("SEED", "5545"))
        print(f"seed {seed}, {count} rules")
        maker = RuleMaker(seed)
        cases = []
        empty = 0
        while len(cases) < count:
            parts, time = maker.rule_and_time()
            start = first_occurrence(parts, time)
            if start is None:
                empty += 1
            else:
                cases.append((parts | maker.end(start), start))
        lines = "".join(f"{text_of(parts)}|{start:%Y-%m-%d %H:%M:%S}|{OCCURRENCES}\n"
                        for parts, start in cases)
        answers = subprocess.run([os.environ["EXPAND_RULE"]], input=lines, text=True, check=True,
                                 stdout=subprocess.PIPE).stdout.splitlines()
        self.assertEqual(len(answers), count)

        wrong = []
        settled = 0
        compared = 0
        for (parts, start), answer in zip(cases, answers):
            expected = Reference(settled=True).first(parts, start, OCCURRENCES)
            if "BYWEEKNO" in parts or settle(parts, start) != (parts, start):
                settled += expected != Reference(settled=False).first(parts, start, OCCURRENCES)
            compared += len(expected)
            last_year = start.year + YEARS[parts["FREQ"]]
            here = [text for text in answer.split(",") if text[:4] <= str(last_year)]
            there = [f"{time:%Y-%m-%d %H:%M:%S}" for time in expected]
            if here != there:
                wrong.append(f"{text_of(parts)} from {start}, {difference(here, there)}")
        print(f"{compared} occurrences compared; {empty} rules without any left out; "
              f"dateutil had to be led to the RFC's meaning in {settled} rules; wrong: {len(wrong)}")
        self.assertGreater(compared, 20 * count)
        if wrong:
            self.fail("\n".join(wrong[:10]))


if __name__ == "__main__":
    unittest.main()
