"""The word, the streams, and what each kind of run ends with."""

import json
import subprocess

from cases import Case
from session import PATIENCE

WORDS = ["list-calendars", "list-events", "create-event", "update-event", "cancel-event",
         "get-event", "get-attendee-status"]

REQUEST_NAMES = {
    "list-events": "ListEventsRequest",
    "create-event": "CreateEventRequest",
    "update-event": "UpdateEventRequest",
    "cancel-event": "CancelEventRequest",
    "get-event": "GetEventRequest",
    "get-attendee-status": "GetAttendeeStatusRequest",
}


class Words(Case):
    def test_reports_a_missing_word_with_status_2(self):
        self.assertError(self.run_program(), "UNKNOWN_SUBCOMMAND",
                         "(none — no subcommand provided)", status=2)

    def test_leaves_standard_input_unread_without_a_word(self):
        # A pipe that nobody closes: reading it to its end would never return.
        with subprocess.Popen(["sleep", "600"], stdout=subprocess.PIPE) as endless:
            try:
                result = self.run_program(stdin=endless.stdout)
            finally:
                endless.kill()
        self.assertEqual(result.status, 2)

    def test_takes_an_empty_word_for_a_word(self):
        self.assertError(self.run_program(""), "UNKNOWN_SUBCOMMAND", "")

    def test_writes_the_code_first_and_the_word_second(self):
        result = self.run_program("xyz")
        self.assertEqual(result.err, b'{"code":"UNKNOWN_SUBCOMMAND","error":"xyz"}\n')
        self.assertEqual((result.out, result.status), (b"", 1))

    def test_compares_words_exactly(self):
        for word in WORDS:
            for near in (word.upper(), word.title(), word + " ", " " + word, word[:-1], word + "s",
                         word.replace("-", "_"), word.replace("-", "\u2011")):
                with self.subTest(word=near):
                    result = self.run_program(near, request={"id": "x"})
                    self.assertEqual(result.status, 1)
                    self.assertIn(b'"UNKNOWN_SUBCOMMAND"', result.err)

    def test_echoes_the_ascii_characters_of_the_first_64(self):
        cases = [
            ("a" * 100, "a" * 64),
            ("ab\ncd", "abcd"),
            ("ab\r\ncd", "abcd"),
            ("a\vb\fc\rd", "abcd"),
            ("café", "caf"),
            ("cafe\u0301x", "cafx"),
            ("\u0301abc", "abc"),
            ("e\u0301tude", "tude"),
            ("tab\tescape\x1b", "tab\tescape\x1b"),
            ("del\x7f", "del\x7f"),
            ("\u0085\u2028\u2029abc", "abc"),
            ("\U0001F468\u200D\U0001F469\u200D\U0001F467 family", " family"),
            ("\U0001F1E9\U0001F1EAde", "de"),
            ("a" * 63 + "e\u0301" + "b", "a" * 63),
            ("\r\n" * 64 + "a", ""),
            ("\r\n" * 63 + "ab", "a"),
            ("é" * 64 + "a", ""),
            ("é" * 63 + "ab", "a"),
            ("日本語", ""),
            ("a/b", "a/b"),
            ('quote"back\\slash', 'quote"back\\slash'),
            ("--help", "--help"),
        ]
        for word, echo in cases:
            with self.subTest(word=word):
                result = self.run_program(word)
                self.assertEqual((result.out, result.status), (b"", 1))
                # The escape of a control character may be short or long.
                self.assertEqual(json.loads(result.err),
                                 {"code": "UNKNOWN_SUBCOMMAND", "error": echo})
                self.assertEqual(result.err.count(b"\n"), 1)

    def test_survives_words_that_are_no_text(self):
        for word in (b"\xff", b"abc\xff\xfe", b"\xc3", b"\xed\xa0\x80", b"\xf4\x90\x80\x80",
                     b"\xc0\xaf", b"\xf0\x9f\x97", b"\x80" * 100_000, b"a" * 100_000):
            with self.subTest(word=word[:10]):
                result = self.run_program(word)
                self.assertEqual((result.out, result.status), (b"", 1))
                self.assertIn(b'{"code":"UNKNOWN_SUBCOMMAND","error":"', result.err)
                result.err.decode()

    def test_ignores_further_arguments(self):
        self.assertEqual(sorted_calendars(self.run_program("list-calendars", "x", "--help", "")),
                         sorted_calendars(self.run_program("list-calendars")))

    def test_lists_calendars_whatever_stands_on_standard_input(self):
        expected = sorted_calendars(self.run_program("list-calendars"))
        for request in (b"{}", b"no JSON", b"\xff\xfe\x00", b"[" * 100_000, b"\0"):
            with self.subTest(request=request[:10]):
                result = self.run_program("list-calendars", request=request)
                self.assertEqual((result.err, result.status), (b"", 0))
                self.assertEqual(sorted_calendars(result), expected)

    def test_reports_a_missing_request_by_the_name_of_its_record(self):
        for word, name in REQUEST_NAMES.items():
            for request in (b"", b" \t\r\n ", "\u00a0\u2028\u3000\u0085".encode(), b"\xff{}",
                            b'{"id":"\xff"}', b"\xed\xa0\x80"):
                with self.subTest(word=word, request=request):
                    self.assertError(self.run_program(word, request=request), "MISSING_ARGS",
                                     f"Subcommand '{name}' requires JSON on stdin")

    def test_writes_errors_on_one_line_and_escapes_them(self):
        result = self.run_program("get-attendee-status", request={"id": 'a"b\\c/d'})
        self.assertEqual(result.err, b'{"code":"EVENT_NOT_FOUND","error":"a\\"b\\\\c\\/d"}\n')


class Streams(Case):
    """Standard streams as a careless caller leaves them."""

    def shell(self, redirection, word="list-calendars"):
        self.session.runs += 1
        return subprocess.run(
            ["/bin/sh", "-c", f'"$0" {word} {redirection}', self.session.program], input=b"",
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=PATIENCE, check=False)

    def test_takes_a_closed_standard_input_for_an_empty_one(self):
        self.assertIn("calendars", json.loads(self.shell("<&-").stdout))
        self.assertEqual(
            json.loads(self.shell("<&-", word="get-event").stderr)["code"], "MISSING_ARGS")

    def test_succeeds_with_a_closed_standard_output(self):
        result = self.shell(">&-")
        self.assertEqual((result.stdout, result.stderr, result.returncode), (b"", b"", 0))

    def test_fails_as_ever_with_a_closed_standard_error(self):
        result = self.shell("2>&-", word="xyz")
        self.assertEqual((result.stdout, result.stderr, result.returncode), (b"", b"", 1))

    def test_survives_with_all_streams_closed(self):
        self.assertEqual(self.shell("<&- >&- 2>&-").returncode, 0)
        self.assertEqual(self.shell("<&- >&- 2>&-", word="xyz").returncode, 1)

    def test_survives_a_reader_that_goes_away(self):
        with subprocess.Popen([self.session.program, "list-calendars"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            process.stdout.close()
            process.stdin.close()
            self.assertEqual(process.stderr.read(), b"")
            self.assertEqual(process.wait(PATIENCE), 0)

    def test_reads_a_request_that_comes_in_pieces(self):
        with subprocess.Popen([self.session.program, "get-attendee-status"],
                              stdin=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            for piece in b'  {"id"', b':"a\xc3', b'\xa9b"', b"}":
                process.stdin.write(piece)
                process.stdin.flush()
            process.stdin.close()
            self.assertEqual(json.loads(process.stderr.read())["error"], "aéb")


def sorted_calendars(result):
    return sorted(json.loads(result.out)["calendars"], key=lambda calendar: calendar["id"])
