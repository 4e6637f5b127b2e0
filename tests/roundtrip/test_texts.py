"""Texts over all of Unicode."""

import collections
import random
import sys
import unicodedata
import unittest

from roundtrip import RoundTripTest

FIELDS = ("title", "location", "notes")
CHUNK = 10_000

HELD = [chr(number) for number in range(sys.maxunicode + 1)
        if not 0xD800 <= number <= 0xDFFF
        and (number >= 0x20 or chr(number) in "\t\n") and number != 0x7F]
REFUSED = [chr(number) for number in (*range(0x20), 0x7F) if chr(number) not in "\t\n\r"]

AWKWARD = [
    "", " ", "\t", "\n", "\n\n\n", " \t\n leading and trailing \n\t ", "\\", "\\\\", "\\n", "\\N",
    "\\\n", "\\;", "\\,", ";", ",", ":", "\"", "^n^^^'", "a;b,c:d\\e\"f", "\u2028", "\u2029",
    "\u0085", "\ufeff", "\ufeffBOM\ufeff", "\u200b\u200d\u2060", "\u202e reversed", "\ufffd\ufffe",
    "e\u0301", "\u0301 on nothing", "\u1100\u1161\u11a8", "👨‍👩‍👧‍👦" * 40, "🏳️‍🌈", "\U0010ffff",
    "x" * 10_000, "é" * 10_000, "🎉" * 10_000, "\n" * 10_000, "\\" * 10_000, " " * 10_000,
    ("\u0301" * 5_000), "tail\n", "\ntail", "=0D=0A", "%0D%0A", "&#13;", "null", "{\"a\":1}",
    "BEGIN:VEVENT", "x\nEND:VEVENT\nEND:VCALENDAR\n", "\nBEGIN:VEVENT\nUID:evil\nEND:VEVENT\n",
    "x\n ATTENDEE:mailto:a@example.com", "\nRRULE:FREQ=DAILY", "\\nRRULE:FREQ=DAILY",
    "x\\\nX-EVIL:1", "\u2028X-EVIL:1", "\u0085X-EVIL:1", "x" * 67 + "\nX-EVIL:1",
    "x" * 66 + "\\" + "n", "x" * 65 + "é\nEND:VEVENT", ";VALUE=DATE:20260101", "x\n\tfolded",
]


class Texts(RoundTripTest):
    def assert_holds(self, event, **texts):
        self.assertEqual({name: event.get(name) for name in texts}, texts)

    def assert_one_plain_event(self, identifier):
        """Whatever the texts say, the file has the properties of one event and no other."""
        content = (self.work / (identifier.removeprefix("work:") + ".ics")).read_bytes()
        unfolded = content.replace(b"\r\n ", b"")
        self.assertNotIn(b"\r", unfolded.replace(b"\r\n", b""))
        self.assertNotIn(b"\n", unfolded.replace(b"\r\n", b""))
        names = collections.Counter(
            line.split(b":")[0].split(b";")[0].decode() for line in unfolded.split(b"\r\n"))
        self.assertLessEqual(set(names), {
            "", "BEGIN", "END", "VERSION", "PRODID", "UID", "DTSTAMP", "CREATED", "LAST-MODIFIED",
            "SEQUENCE", "DTSTART", "DTEND", "SUMMARY", "LOCATION", "DESCRIPTION"})
        self.assertEqual((names["BEGIN"], names["END"], names["UID"]), (2, 2, 1))

    def test_every_character_is_held(self):
        """Created in one field, then given to the other two by an update."""
        expected = {}
        for begin in range(0, len(HELD), CHUNK):
            text = "".join(HELD[begin:begin + CHUNK])
            identifier = self.create(title=text)
            self.update(identifier, location=text, notes=text)
            expected[identifier] = text
            self.assert_holds(self.get(identifier), **dict.fromkeys(FIELDS, text))
            self.assert_one_plain_event(identifier)
        listed = self.year()
        self.assertEqual(len(listed), len(expected))
        for event in listed:
            self.assert_holds(event, **dict.fromkeys(FIELDS, expected[event["id"]]))

    def test_every_class_of_characters_at_every_place(self):
        chance = random.Random(5)
        classes = collections.defaultdict(list)
        for character in HELD:
            classes[unicodedata.category(character)].append(character)
        self.assertGreaterEqual(len(classes), 29)
        for name, members in sorted(classes.items()):
            with self.subTest(category=name):
                start, middle, end = (chance.choice(members) for _ in range(3))
                texts = {field: start + "x" * chance.randrange(80) + middle + "y" + end
                         for field in FIELDS}
                identifier = self.create(**texts)
                self.assert_holds(self.get_and_list(identifier), **texts)
                (self.work / (identifier.removeprefix("work:") + ".ics")).unlink()

    def test_awkward_texts(self):
        other = self.create(title="Other")
        for number, text in enumerate(AWKWARD):
            with self.subTest(text=text[:80]):
                raw = number % 2 == 0
                made = self.try_to_create(raw=raw, **dict.fromkeys(FIELDS, text))
                identifier = made["id"]
                self.assert_holds(self.get_and_list(identifier), **dict.fromkeys(FIELDS, text))
                self.assert_one_plain_event(identifier)
                # Over another text, and with another text over it.
                self.update(identifier, notes="short")
                self.assert_holds(self.get(identifier), title=text, location=text, notes="short")
                self.update(identifier, notes=text, title=text + text)
                self.assert_holds(self.get_and_list(identifier), title=text + text, location=text,
                                  notes=text)
                self.assert_one_plain_event(identifier)
                self.answer("cancel-event", dict(id=identifier))
        self.assert_holds(self.get(other), title="Other")

    def test_random_texts(self):
        chance = random.Random(7)
        alphabet = "\n\t\\;,:\" ^x\u0301é会🎉\u2028\u0085\ufeff"
        identifier = self.create()
        for number in range(100):
            texts = {field: "".join(chance.choices(
                alphabet if chance.random() < 0.7 else HELD, k=chance.randrange(200)))
                for field in chance.sample(FIELDS, chance.randrange(1, 4))}
            with self.subTest(number=number, texts=texts):
                before = self.get(identifier)
                self.update(identifier, raw=number % 2 == 0, **texts)
                kept = {field: before[field] for field in FIELDS
                        if field in before and field not in texts}
                self.assert_holds(self.get_and_list(identifier), **texts, **kept)
                self.assert_one_plain_event(identifier)

    def test_line_breaks_of_every_kind_come_back_as_line_feeds(self):
        identifier = self.create()
        for number, text in enumerate(["\r\n", "\r", "a\r\nb\rc\nd", "\r\r\n\n\r", "tail\r",
                                       "\r\nhead", "x" * 73 + "\r\n" + "y" * 73 + "\r",
                                       "\r\n" * 5_000, "x\r\nEND:VEVENT\rEND:VCALENDAR"]):
            with self.subTest(text=text[:80]):
                read = text.replace("\r\n", "\n").replace("\r", "\n")
                raw = number % 2 == 0
                created = self.try_to_create(raw=raw, **dict.fromkeys(FIELDS, text))["id"]
                self.update(identifier, raw=raw, **dict.fromkeys(FIELDS, text))
                for each in (created, identifier):
                    self.assert_holds(self.get_and_list(each), **dict.fromkeys(FIELDS, read))
                    self.assert_one_plain_event(each)
                self.answer("cancel-event", dict(id=created))

    def test_control_characters_are_refused(self):
        identifier = self.create(title="Kept", location="Kept", notes="Kept")
        before = self.files()
        for character in [*REFUSED, "\r\n\0"]:
            for number, field in enumerate(FIELDS):
                text = ("{}x", "x{}", "x{}y")[number].format(character)
                with self.subTest(character=character, field=field):
                    self.assertIsNone(self.try_to_create(**{field: text}))
                    self.assertIsNone(self.try_to_update(identifier, **{field: text}))
        # Not even the good part of a change is made.
        self.assertIsNone(self.try_to_update(identifier, title="New", notes="x\0"))
        self.assertEqual(self.files(), before)


if __name__ == "__main__":
    unittest.main()
