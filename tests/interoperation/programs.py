"""The program, and other programs that work on the same store, each with a home of its own."""

import os
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "cli"))

from quenbrook import PATIENCE, QuenbrookTest, calendar_text, event

LIBICAL_READING = os.environ.get("QUENBROOK_LIBICAL_READING", "quenbrook_libical_reading")
ZONE = "Europe/Berlin"


class ProgramsTest(QuenbrookTest):
    zone = ZONE

    def environment(self, **changes):
        return super().environment(**{"TZ": self.zone, **changes})

    def run_other(self, *command, request=None, env=None):
        """Runs another program in the test's place; what it prints."""
        environment = self.environment(
            LANG="C.UTF-8", LC_ALL="C.UTF-8", XDG_CONFIG_HOME=str(self.home / "config"),
            XDG_CACHE_HOME=str(self.home / "cache"), XDG_STATE_HOME=str(self.home / "state"),
            PYTHONDONTWRITEBYTECODE="1", **(env or {}))
        result = subprocess.run(
            command, input=request or "", stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            env=environment, cwd=self.place, text=True, timeout=PATIENCE, check=False)
        self.assertEqual(result.returncode, 0, (command, result.stdout, result.stderr))
        return result.stdout

    def create(self, title, start, end, calendar="work", env=None, **fields):
        return self.answer("create-event", dict(
            calendarId=calendar, title=title, startISO=start, endISO=end, **fields),
            env=env)["id"]

    def update(self, identifier, env=None, **patch):
        self.answer("update-event", dict(id=identifier, patch=patch), env=env)

    def cancel(self, identifier, env=None):
        self.answer("cancel-event", dict(id=identifier), env=env)

    def check_with_libical(self, *paths):
        self.assertTrue(paths)
        self.run_other(LIBICAL_READING, "check", *map(str, paths))
