#!/usr/bin/python3
"""Fills a folder with events, the same ones each time: generate.py FOLDER COUNT

Single events spread evenly over 2020 to 2029; one in twenty is a series. Half carry a zone with its
definition, some are all-day, some have attendees and alarms, as calendars have them.
"""

import pathlib
import random
import sys

ZONE = """BEGIN:VTIMEZONE
TZID:Europe/Berlin
BEGIN:DAYLIGHT
TZOFFSETFROM:+0100
TZOFFSETTO:+0200
TZNAME:CEST
DTSTART:19700329T020000
RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU
END:DAYLIGHT
BEGIN:STANDARD
TZOFFSETFROM:+0200
TZOFFSETTO:+0100
TZNAME:CET
DTSTART:19701025T030000
RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU
END:STANDARD
END:VTIMEZONE
"""

RULES = ["FREQ=WEEKLY;BYDAY=MO,WE", "FREQ=DAILY;COUNT=30", "FREQ=MONTHLY;BYMONTHDAY=1",
         "FREQ=YEARLY", "FREQ=WEEKLY;UNTIL=20301231T230000Z", "FREQ=MONTHLY;BYDAY=-1FR"]

WORDS = ("review planning budget call dentist travel lunch team quarterly draft release visit "
         "concert birthday training interview workshop delivery").split()


def event(chance, number):
    date = f"{chance.randint(2020, 2029)}{chance.randint(1, 12):02}{chance.randint(1, 28):02}"
    hour = chance.randint(6, 20)
    kind = chance.random()
    lines = ["BEGIN:VCALENDAR", "VERSION:2.0", "PRODID:-//Generated//EN"]
    if kind < 0.5:
        lines += ZONE.splitlines()
        start = f"DTSTART;TZID=Europe/Berlin:{date}T{hour:02}0000"
        end = f"DTEND;TZID=Europe/Berlin:{date}T{hour + 1:02}3000"
    elif kind < 0.9:
        start = f"DTSTART:{date}T{hour:02}0000Z"
        end = f"DTEND:{date}T{hour + 1:02}3000Z"
    else:
        start, end = f"DTSTART;VALUE=DATE:{date}", "DURATION:P1D"
    words = " ".join(chance.choices(WORDS, k=4))
    lines += ["BEGIN:VEVENT", f"UID:{uid(number)}", "DTSTAMP:20250101T000000Z", start, end,
              f"SUMMARY:{words.title()}", f"LOCATION:Room {chance.randint(1, 99)}",
              f"DESCRIPTION:{' '.join(chance.choices(WORDS, k=6))}",
              "LAST-MODIFIED:20250101T000000Z", "SEQUENCE:1"]
    if number % 20 == 0:
        lines.append("RRULE:" + chance.choice(RULES))
    if chance.random() < 0.2:
        lines += [f"ATTENDEE;CN=Person {i};PARTSTAT=ACCEPTED:mailto:p{i}@example.com"
                  for i in range(3)]
    if chance.random() < 0.3:
        lines += ["BEGIN:VALARM", "ACTION:DISPLAY", "DESCRIPTION:Alarm", "TRIGGER:-PT15M",
                  "END:VALARM"]
    return "\r\n".join([*lines, "END:VEVENT", "END:VCALENDAR", ""])


def uid(number):
    return f"{number:08X}-0000-4000-8000-000000000000"


def generate(folder, count):
    chance = random.Random(5545)
    folder.mkdir(parents=True)
    for number in range(count):
        (folder / f"{uid(number)}.ics").write_text(event(chance, number), newline="")


if __name__ == "__main__":
    generate(pathlib.Path(sys.argv[1]), int(sys.argv[2]))
