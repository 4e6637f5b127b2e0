"""Links, names from requests, modes and rights: nothing is reached or opened that should not be."""

import os
import shutil
import stat
import unittest

from quenbrook import QuenbrookTest, calendar_text, event, write

SAVE_FAILED = ("EVENT_STORE_SAVE_FAILED", "EventKit save failed")
REMOVE_FAILED = ("EVENT_STORE_REMOVE_FAILED", "EventKit remove failed")
EVENT = calendar_text(event("DTSTART:20260105T100000Z", "SUMMARY:Secret", uid="secret"))


def state_of(place):
    """Every path below with its mode, its times of change and what it holds or leads to."""
    state = {}
    for path in sorted(place.rglob("*")):
        status = path.lstat()
        content = (os.readlink(path) if path.is_symlink()
                   else path.read_bytes() if path.is_file() else None)
        state[str(path)] = (status.st_mode, status.st_ino, status.st_mtime_ns, content)
    return state


class FileSafety(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.folder("work")
        self.canary = self.place / "canary"
        self.canary.mkdir()
        write(self.canary / "secret.ics", EVENT)

    def creation(self, **changes):
        return {"calendarId": "work", "title": "New", "startISO": "2026-01-05T10:00:00Z",
                "endISO": "2026-01-05T11:00:00Z", **changes}

    def test_writes_through_a_root_that_is_a_link(self):
        elsewhere = self.place / "elsewhere"
        self.store.rename(elsewhere)
        self.store.symlink_to(elsewhere)
        identifier = self.answer("create-event", self.creation())["id"]
        self.assertEqual(os.listdir(elsewhere / "work"),
                         [identifier.partition(":")[2] + ".ics"])
        self.assertTrue(self.store.is_symlink())
        self.answer("update-event", {"id": identifier, "patch": {"title": "Changed"}})
        self.assertEqual(self.titles(self.year()), ["Changed"])
        self.answer("cancel-event", {"id": identifier})
        self.assertEqual(os.listdir(elsewhere / "work"), [])

    def test_reads_a_linked_file_and_never_changes_it(self):
        for name, target in (("secret.ics", self.canary / "secret.ics"),
                             ("other.ics", "../../../../canary/secret.ics")):
            with self.subTest(name=name, target=target):
                link = self.store / "work" / name
                link.symlink_to(target)
                self.assertEqual(self.titles(self.year()), ["Secret"])
                before = state_of(self.place)
                self.assertError(
                    self.run_program("update-event", request={
                        "id": "work:secret", "patch": {"title": "Changed"}}), *SAVE_FAILED)
                self.assertError(
                    self.run_program("cancel-event", request={"id": "work:secret"}),
                    *REMOVE_FAILED)
                self.assertEqual(state_of(self.place), before)
                link.unlink()

    def test_never_writes_through_a_link_in_place_of_its_temporary_file(self):
        link = self.store / "work" / ".quenbrook.tmp"
        link.symlink_to(self.canary / "secret.ics")
        before = state_of(self.canary)
        self.answer("create-event", self.creation())
        self.assertEqual(state_of(self.canary), before)
        self.assertFalse(link.is_symlink())

    def test_never_takes_an_identifier_for_a_path(self):
        write(self.store / "outside.ics", EVENT)
        write(self.store / "work" / ".hidden.ics", EVENT)
        below = self.folder("work-too")
        write(below / "x.ics", calendar_text(event("DTSTART:20260105T100000Z", uid="x")))
        outside = str(self.canary / "secret")
        uids = ("secret", "../outside", "../../../../canary/secret", outside, outside + ".ics",
                "/" + outside, "./secret", "../work-too/x", ".hidden", "..", ".", "/", "",
                "secret\0", "\0secret", "../outside.ics\0", "secret\n", "\n", "x/../secret",
                "%2e%2e/outside", "..\\outside", "~/secret", "secret.ics", "*", "a" * 300,
                "../" * 2000 + outside)
        calendars = ("..", ".", "/", "", "../calendars/work", "./work", "work/", "/work", "work\0",
                     "work\n", "\0", str(self.canary), "../../../canary", "work/..", "work//",
                     "WORK", "~", "*", str(self.store / "work"), "a" * 5000)
        before = state_of(self.place)

        def refuse(word, request, code, message):
            with self.subTest(word=word, request=str(request)[:200]):
                self.assertError(self.run_program(word, request=request), code, message)

        for uid in uids:
            identifier = f"work:{uid}"
            refuse("get-event", {"calendarId": "work", "eventId": identifier},
                   "EVENT_NOT_FOUND", identifier)
            refuse("get-attendee-status", {"id": identifier}, "EVENT_NOT_FOUND", identifier)
            refuse("update-event", {"id": identifier, "patch": {"title": "Changed"}},
                   "EVENT_NOT_FOUND", identifier)
            refuse("cancel-event", {"id": identifier}, "EVENT_NOT_FOUND", identifier)
        for calendar in calendars:
            refuse("create-event", self.creation(calendarId=calendar),
                   "CALENDAR_NOT_FOUND", calendar)
            refuse("get-event", {"calendarId": calendar, "eventId": f"{calendar}:x"},
                   "CALENDAR_NOT_FOUND", calendar)
            for uid in ("x", "secret"):
                refuse("cancel-event", {"id": f"{calendar}:{uid}"},
                       "EVENT_NOT_FOUND", f"{calendar}:{uid}")
        # The event is there, but only a colon leads from its calendar to it.
        for identifier in ("work-too/x", "work-too\0x", "work-too x", "work-too.x", "work-toox"):
            refuse("cancel-event", {"id": identifier}, "EVENT_NOT_FOUND", identifier)
        self.assertEqual(self.titles(self.year(calendarIds=list(calendars))), [""])
        self.assertEqual(state_of(self.place), before)

    def test_finds_an_event_whose_uid_looks_like_a_path(self):
        for number, uid in enumerate(("../outside", "/etc/passwd", ".hidden", "a/b", "x:y", " ")):
            with self.subTest(uid=uid):
                path = self.put("work", f"{number}.ics", [
                    event("DTSTART:20260105T100000Z", "SUMMARY:Found", uid=uid)])
                found = self.answer("get-event", {
                    "calendarId": "work", "eventId": f"work:{uid}"})["event"]
                self.assertEqual(found["title"], "Found")
                self.answer("update-event", {"id": f"work:{uid}", "patch": {"title": "New"}})
                self.assertIn(b"SUMMARY:New\r\n", path.read_bytes())
                self.answer("cancel-event", {"id": f"work:{uid}"})
                self.assertEqual(os.listdir(self.store / "work"), [])

    def test_makes_everything_private_whatever_the_mask(self):
        for mask in (0o000, 0o022, 0o077):
            with self.subTest(mask=oct(mask)):
                shutil.rmtree(self.data)
                result = self.run_program(
                    "create-event", request=self.creation(calendarId="local/calendar"),
                    umask=mask)
                self.assertEqual((result.status, result.err), (0, b""))
                modes = {stat.S_IMODE(path.stat().st_mode) for path in self.data.rglob("*")
                         if path.is_file()}
                self.assertEqual(modes, {0o600})
                modes = {stat.S_IMODE(path.stat().st_mode)
                         for path in (self.data, *self.data.rglob("*")) if path.is_dir()}
                self.assertEqual(modes, {0o700})

    def test_keeps_the_mode_of_a_file_whatever_the_mask(self):
        path = self.put("work", "secret.ics", EVENT)
        for mask, mode in ((0o000, 0o600), (0o077, 0o664), (0o777, 0o640)):
            with self.subTest(mask=oct(mask), mode=oct(mode)):
                os.chmod(path, mode)
                result = self.run_program("update-event", umask=mask, request={
                    "id": "work:secret", "patch": {"title": "Secret"}})
                self.assertEqual((result.status, result.err), (0, b""))
                self.assertEqual(stat.S_IMODE(path.stat().st_mode), mode)

    def test_writes_nothing_to_a_calendar_of_somebody_else(self):
        path = self.put("work", "secret.ics", EVENT)
        os.chmod(path, 0o644)
        os.chmod(path.parent, 0o555)
        self.addCleanup(os.chmod, path.parent, 0o755)
        read_only = "Event 'work:secret' belongs to a read-only calendar."
        for word, request, message in (
                ("create-event", self.creation(), "Calendar work is read-only."),
                ("update-event", {"id": "work:secret", "patch": {}}, read_only),
                ("cancel-event", {"id": "work:secret"}, read_only)):
            with self.subTest(word):
                result = self.run_as_another_user(word, request=request)
                self.assertError(result, "READ_ONLY_CALENDAR", message)
        self.assertEqual(os.listdir(path.parent), ["secret.ics"])
        self.assertEqual(path.read_bytes(), EVENT.encode())

    def test_lists_the_rest_beside_what_it_may_not_read(self):
        self.put("work", "secret.ics", EVENT)
        for calendar, file in (("work", "a.ics"), ("work", "z.ics"), ("closed", "x.ics"),
                               ("account/closed", "x.ics"), ("account/open", "y.ics")):
            self.put(calendar, file, EVENT.replace("Secret", f"{calendar} {file}"))
        os.chmod(self.store / "work" / "a.ics", 0o000)
        os.chmod(self.store / "work" / "z.ics", 0o000)
        for closed in (self.store / "closed", self.store / "account" / "closed"):
            os.chmod(closed, 0o000)
            self.addCleanup(os.chmod, closed, 0o755)
        os.chmod(self.store / "work" / "secret.ics", 0o644)
        os.chmod(self.store / "account" / "open" / "y.ics", 0o644)
        result = self.run_as_another_user("list-events", request={
            "startISO": "2026-01-01T00:00:00Z", "endISO": "2027-01-01T00:00:00Z"})
        self.assertEqual((result.status, result.err), (0, b""))
        for title, shown in (("Secret", True), ("account\\/open y.ics", True),
                             ("work a.ics", False), ("work z.ics", False),
                             ("closed x.ics", False)):
            self.assertEqual(f'"title":"{title}"'.encode() in result.out, shown, title)
        result = self.run_as_another_user(
            "get-event", request={"calendarId": "work", "eventId": "work:secret"})
        self.assertEqual((result.status, result.err), (0, b""))
        self.assertIn(b'"title":"Secret"', result.out)


if __name__ == "__main__":
    unittest.main()
