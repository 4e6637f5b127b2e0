"""Standard streams as a careless caller leaves them."""

import json
import os
import resource
import subprocess
import unittest

from quenbrook import PATIENCE, PROGRAM, QuenbrookTest, error, event


class Streams(QuenbrookTest):
    def shell(self, script, request=b"", word="list-calendars"):
        """Runs the program by a shell that redirects its streams."""
        return subprocess.run(
            ["/bin/sh", "-c", f'"$0" {word} {script}', PROGRAM], input=request,
            env=self.environment(), capture_output=True, timeout=PATIENCE, check=False)

    def test_never_writes_an_answer_into_a_file_of_the_store(self):
        # With the standard streams closed, the next file opened would be given their numbers.
        file = self.put("work", "a.ics", [event("DTSTART:20260105T100000Z", "SUMMARY:Kept")])
        before = file.read_bytes()
        request = '{"startISO":"2026-01-01T00:00:00Z","endISO":"2027-01-01T00:00:00Z"}'
        self.shell(">&- 2>&-", word="list-events", request=request.encode())
        self.assertEqual(file.read_bytes(), before)

    def test_survives_a_full_disk_on_either_stream(self):
        self.assertGreaterEqual(self.shell(">/dev/full").returncode, 0)
        result = self.shell("2>/dev/full", word="xyz")
        self.assertEqual((result.stdout, result.returncode), (b"", 1))

    def big_store(self):
        notes = "n" * 50_000
        self.put("work", "a.ics", [
            event("DTSTART:20260105T100000Z", f"DESCRIPTION:{notes}", uid=f"e{i}")
            for i in range(40)])
        return b'{"startISO":"2026-01-01T00:00:00Z","endISO":"2027-01-01T00:00:00Z"}'

    def test_survives_a_reader_that_goes_away(self):
        request = self.big_store()
        with subprocess.Popen([PROGRAM, "list-events"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=self.environment()) as process:
            process.stdout.close()
            process.stdin.write(request)
            process.stdin.close()
            errors = process.stderr.read()
            self.assertGreaterEqual(process.wait(PATIENCE), 0, "ended by a signal")
        self.assertEqual(errors, b"")

    def test_waits_for_a_slow_reader(self):
        request = self.big_store()
        with subprocess.Popen([PROGRAM, "list-events"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, env=self.environment()) as process:
            process.stdin.write(request)
            process.stdin.close()
            pieces = []
            while piece := os.read(process.stdout.fileno(), 3000):
                pieces.append(piece)
            self.assertEqual(process.wait(PATIENCE), 0)
        self.assertEqual(len(json.loads(b"".join(pieces))["events"]), 40)

    def test_writes_to_a_pipe_that_was_left_non_blocking(self):
        request = self.big_store()
        reading, writing = os.pipe()
        os.set_blocking(writing, False)
        with subprocess.Popen([PROGRAM, "list-events"], stdin=subprocess.PIPE, stdout=writing,
                              env=self.environment()) as process:
            os.close(writing)
            process.stdin.write(request)
            process.stdin.close()
            with open(reading, "rb") as pipe:
                answer = pipe.read()
            self.assertEqual(process.wait(PATIENCE), 0)
        self.assertEqual(len(json.loads(answer)["events"]), 40)

    def test_takes_input_that_cannot_be_read_for_a_missing_request(self):
        for place in ("<.", "0>/dev/null", "<&-"):
            result = self.shell(place, word="get-event")
            self.assertEqual(
                result.stderr, error("MISSING_ARGS", "Subcommand 'GetEventRequest' requires JSON on stdin"), place)
        self.assertEqual(self.shell("<.").returncode, 0)

    def test_reads_a_hundred_megabytes(self):
        identifier = "x" * 100_000_000
        result = self.run_program("get-attendee-status", request='{"id":"' + identifier + '"}')
        self.assertEqual(result.status, 1)
        self.assertEqual(
            result.err, b'{"code":"EVENT_NOT_FOUND","error":"' + identifier.encode() + b'"}\n')

    def test_needs_few_file_descriptors(self):
        self.put("work", "a.ics", [event("DTSTART:20260105T100000Z")])
        for i in range(60):
            self.put("work", f"b{i}.ics", [event("DTSTART:20260106T100000Z", uid=f"b{i}")])
        result = self.run_program(
            "list-events", request=b'{"startISO":"2026-01-01T00:00:00Z",'
            b'"endISO":"2027-01-01T00:00:00Z"}',
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (24, 24)))
        self.assertEqual(len(json.loads(result.out)["events"]), 61)


if __name__ == "__main__":
    unittest.main()
