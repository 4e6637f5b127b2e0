"""Where the store lies, how it first comes to be, and when access to it is refused."""

import os
import shutil
import stat
import unittest

from quenbrook import QuenbrookTest

FIRST = (b'{"calendars":[{"color":"#1BADF8","id":"local\\/calendar","name":"Calendar",'
         b'"source":"Quenbrook","sourceType":"local","writable":true}]}\n')
DENIED = ("Calendar access not granted (status=%d). "
          "Grant access in System Settings → Privacy & Security → Calendars.")


class StoreRoot(QuenbrookTest):
    def setUp(self):
        super().setUp()
        shutil.rmtree(self.data)

    def test_makes_a_first_calendar(self):
        self.assertEqual(self.run_program("list-calendars").out, FIRST)
        self.assertEqual(self.run_program("list-calendars").out, FIRST)
        self.assertTrue((self.store / "local" / "calendar").is_dir())
        self.assertEqual(
            (self.store / "local" / "displayname").read_text().strip(), "Quenbrook")
        self.assertEqual(
            (self.store / "local" / "calendar" / "displayname").read_text().strip(), "Calendar")
        self.assertEqual(
            (self.store / "local" / "calendar" / "color").read_text().strip(), "#1BADF8")

    def test_makes_the_store_private(self):
        for mask in (0o022, 0o000, 0o077):
            with self.subTest(umask=oct(mask)):
                shutil.rmtree(self.data, ignore_errors=True)
                self.run_program("list-calendars", umask=mask)
                self.assertEqual(stat.S_IMODE(self.store.stat().st_mode), 0o700)

    def test_lies_in_the_home_folder_by_default(self):
        for value in (None, "", "relative/folder", "./data", "~/data"):
            with self.subTest(XDG_DATA_HOME=value):
                shutil.rmtree(self.home)
                self.home.mkdir()
                self.assertEqual(
                    self.run_program("list-calendars", env={"XDG_DATA_HOME": value},
                                     cwd=self.place).out, FIRST)
                store = self.home / ".local" / "share" / "quenbrook" / "calendars"
                self.assertTrue((store / "local" / "calendar").is_dir())
                self.assertEqual(sorted(os.listdir(self.place)), ["home"])

    def test_is_not_asked_for_without_a_word(self):
        result = self.run_program(env={"HOME": None, "XDG_DATA_HOME": None})
        self.assertEqual(result.status, 2)

    def test_is_asked_for_before_the_word_is_looked_at(self):
        self.data.write_text("no folder")
        for word in ("list-calendars", "list-events", "create-event", "xyz", ""):
            with self.subTest(word=word):
                self.assertError(self.run_program(word), "ACCESS_DENIED", DENIED % 2)

    def test_adds_nothing_to_a_store_that_is_there(self):
        self.store.mkdir(parents=True)
        self.assertEqual(self.run_program("list-calendars").out, b'{"calendars":[]}\n')
        self.assertEqual(os.listdir(self.store), [])

    def test_may_be_a_link(self):
        elsewhere = self.place / "elsewhere"
        (elsewhere / "work").mkdir(parents=True)
        self.store.parent.mkdir(parents=True)
        self.store.symlink_to(elsewhere)
        self.assertEqual(self.run_program("list-calendars").out,
                         b'{"calendars":[{"id":"work","name":"work","writable":true}]}\n')

    def test_may_lie_at_a_path_with_odd_characters(self):
        data = self.place / "da ta\n'\"ü"
        self.assertEqual(
            self.run_program("list-calendars", env={"XDG_DATA_HOME": str(data)}).out, FIRST)
        self.assertTrue((data / "quenbrook" / "calendars" / "local").is_dir())

    def test_refuses_access_when_something_else_stands_in_its_place(self):
        self.store.parent.mkdir(parents=True)
        self.store.write_text("a file")
        self.assertError(self.run_program("list-calendars"), "ACCESS_DENIED", DENIED % 2)
        self.assertEqual(self.store.read_text(), "a file")

    def test_refuses_access_when_a_fifo_stands_in_its_place(self):
        self.store.parent.mkdir(parents=True)
        os.mkfifo(self.store)
        self.assertError(self.run_program("list-calendars"), "ACCESS_DENIED", DENIED % 2)

    def test_refuses_access_when_it_cannot_be_made(self):
        self.data.write_text("a file")
        self.assertError(self.run_program("list-calendars"), "ACCESS_DENIED", DENIED % 2)

    def test_refuses_access_without_any_home(self):
        result = self.run_as_another_user(
            "list-calendars", env={"HOME": None, "XDG_DATA_HOME": None})
        self.assertError(result, "ACCESS_DENIED", DENIED % 1)

    def test_refuses_access_to_a_store_it_may_not_read(self):
        self.store.mkdir(parents=True)
        os.chmod(self.store, 0o000)
        self.addCleanup(os.chmod, self.store, 0o700)
        result = self.run_as_another_user("list-calendars")
        self.assertError(result, "ACCESS_DENIED", DENIED % 2)

    def test_lists_a_calendar_it_may_not_write_to_as_read_only(self):
        (self.store / "work").mkdir(parents=True)
        os.chmod(self.store / "work", 0o555)
        self.addCleanup(os.chmod, self.store / "work", 0o700)
        result = self.run_as_another_user("list-calendars")
        self.assertEqual(
            result.out, b'{"calendars":[{"id":"work","name":"work","writable":false}]}\n')

    def test_passes_over_a_calendar_it_may_not_read(self):
        (self.store / "shown").mkdir(parents=True)
        (self.store / "closed").mkdir()
        os.chmod(self.store / "closed", 0o000)
        self.addCleanup(os.chmod, self.store / "closed", 0o700)
        result = self.run_as_another_user(
            "list-events", request={"startISO": "2026-01-01T00:00:00Z",
                                    "endISO": "2027-01-01T00:00:00Z"})
        self.assertEqual((result.out, result.status), (b'{"events":[]}\n', 0))


if __name__ == "__main__":
    unittest.main()
