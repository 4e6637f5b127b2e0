"""Two users and a group share a calendar: a change gives nobody more than he had, and nothing that one of
them planted changes what another has."""

import errno
import fcntl
import os
import pathlib
import shutil
import stat
import struct
import tempfile
import time
import unittest

from quenbrook import PROGRAM, QuenbrookTest, calendar_text, event

ALICE = 54321
MALLORY = 54322
EVE = 54323
SHARED = 60001

TEXT = calendar_text(event("DTSTART:20260105T100000Z", "SUMMARY:Shared", uid="one"))
UPDATE = {"id": "work:one", "patch": {"title": "Changed"}}
SAVE_FAILED = ("EVENT_STORE_SAVE_FAILED", "EventKit save failed")
REMOVE_FAILED = ("EVENT_STORE_REMOVE_FAILED", "EventKit remove failed")

# A file system of another kind, where there is one.
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK | os.X_OK) else None

ACCESS = "system.posix_acl_access"
DEFAULT = "system.posix_acl_default"


def access_list(user, permissions):
    """Reading and writing for the owner, this for one more user, nothing for anybody else."""
    nobody = 0xFFFFFFFF
    entries = [(1, 6, nobody), (2, permissions, user), (4, 0, nobody), (16, permissions, nobody),
               (32, 0, nobody)]
    return struct.pack("<I", 2) + b"".join(struct.pack("<HHI", *entry) for entry in entries)


class Borders(QuenbrookTest):
    """Where nobody can be another user, there is one user alone: what he does to his own files."""

    def setUp(self):
        super().setUp()
        self.is_root = os.geteuid() == 0
        # Beside the store it may be that nothing can be run.
        programs = pathlib.Path(tempfile.mkdtemp(prefix="quenbrook-"))
        self.addCleanup(shutil.rmtree, programs)
        self.copy = programs / PROGRAM.name
        shutil.copy(PROGRAM, self.copy)
        for path in (programs, self.copy):
            os.chmod(path, 0o755)
        self.path = self.put("work", "one.ics", TEXT)
        self.work = self.path.parent
        for directory in (self.place, self.data, self.store.parent, self.store):
            os.chmod(directory, 0o755)
        os.chmod(self.work, 0o777)

    def as_user(self, user, word, request, groups=()):
        who = dict(user=user, group=user, extra_groups=list(groups)) if self.is_root else {}
        return self.run_program(word, request=request, program=self.copy, **who)

    def as_alice(self, word, request, groups=()):
        return self.as_user(ALICE, word, request, groups)

    def owned(self, mode, user=MALLORY, group=MALLORY):
        self.path.unlink(missing_ok=True)
        self.path.write_text(TEXT, newline="")
        if self.is_root:
            os.chown(self.path, user, group)
        os.chmod(self.path, mode)

    def assert_done(self, result):
        self.assertEqual((result.status, result.err), (0, b""))
        self.assertIn(b"SUMMARY:Changed", self.path.read_bytes())
        self.assertEqual(os.listdir(self.work), ["one.ics"])

    def mode(self):
        return stat.S_IMODE(self.path.stat().st_mode)

    def note(self, text):
        """An attribute of the user's own; before Linux 6.6 a file in memory had none."""
        try:
            os.setxattr(self.path, "user.note", text.encode())
        except OSError as error:
            self.assertEqual((error.errno, self.where), (errno.ENOTSUP, MEMORY))

    def attributes(self):
        return {name: os.getxattr(self.path, name) for name in os.listxattr(self.path)
                if name == ACCESS or name.startswith("user.")}

    def test_lend_no_rights_of_the_new_owner(self):
        for mode in (0o4755, 0o6755, 0o2775, 0o1755):
            with self.subTest(mode=oct(mode)):
                self.owned(mode)
                self.assert_done(self.as_alice("update-event", UPDATE))
                status = self.path.stat()
                if self.is_root:
                    self.assertEqual((status.st_uid, status.st_gid), (ALICE, ALICE))
                    self.assertEqual(stat.S_IMODE(status.st_mode) & 0o7000, 0)

    def test_keep_what_belongs_to_an_owner_who_stays(self):
        self.owned(0o640)
        self.assert_done(self.run_program("update-event", request=UPDATE))
        status = self.path.stat()
        self.assertEqual(stat.S_IMODE(status.st_mode), 0o640)
        if self.is_root:
            self.assertEqual((status.st_uid, status.st_gid), (MALLORY, MALLORY))

    def test_keep_a_group_that_the_writer_is_in(self):
        self.owned(0o664, group=SHARED)
        self.assert_done(self.as_alice("update-event", UPDATE, groups=[SHARED]))
        self.assertEqual(self.mode(), 0o664)
        if self.is_root:
            self.assertEqual(self.path.stat().st_gid, SHARED)

    def test_let_two_people_of_a_group_take_turns(self):
        self.owned(0o660, user=ALICE, group=SHARED)
        os.chmod(self.work, 0o2770)
        if self.is_root:
            os.chown(self.work, ALICE, SHARED)
            os.chmod(self.work, 0o2770)
        for turn, user in enumerate((MALLORY, ALICE, MALLORY)):
            update = {"id": "work:one", "patch": {"title": f"Changed {turn}"}}
            self.assert_done(self.as_user(user, "update-event", update, groups=[SHARED]))
            status = self.path.stat()
            self.assertEqual(stat.S_IMODE(status.st_mode), 0o660)
            if self.is_root:
                self.assertEqual((status.st_uid, status.st_gid), (user, SHARED))
        if self.is_root:
            result = self.as_user(EVE, "get-event", {"calendarId": "work", "eventId": "work:one"})
            self.assertError(result, "EVENT_NOT_FOUND", "work:one")
            self.assertNotEqual(self.as_user(EVE, "update-event", UPDATE).status, 0)
        self.assertIn(b"SUMMARY:Changed 2", self.path.read_bytes())

    def test_take_the_permissions_of_a_group_with_it(self):
        # Who was in the group and is among the others now must not read what he could not read.
        for mode, reduced in ((0o664, 0o604), (0o604, 0o600), (0o646, 0o604), (0o666, 0o606)):
            with self.subTest(mode=oct(mode)):
                self.owned(mode, group=SHARED)
                self.assert_done(self.as_alice("update-event", UPDATE))
                self.assertEqual(self.mode(), reduced if self.is_root else mode)

    def test_keep_an_access_list(self):
        for permissions in (4, 6):
            self.owned(0o600, group=SHARED)
            os.setxattr(self.path, ACCESS, access_list(ALICE, permissions))
            self.note("mine")
            before = self.attributes(), self.mode()
            self.assert_done(self.as_alice("update-event", UPDATE, groups=[SHARED]))
            self.assertEqual((self.attributes(), self.mode()), before)

    def test_refuse_a_change_that_would_lose_an_access_list(self):
        if not self.is_root:
            return
        self.owned(0o644, group=SHARED)
        os.setxattr(self.path, ACCESS, access_list(ALICE, 4))
        self.assertError(self.as_alice("update-event", UPDATE), *SAVE_FAILED)
        self.assertEqual(self.path.read_bytes(), TEXT.encode())
        self.assertEqual(os.listdir(self.work), ["one.ics"])

    def test_take_over_no_access_list_of_the_directory(self):
        os.setxattr(self.work, DEFAULT, access_list(MALLORY, 6))
        self.owned(0o664)
        if ACCESS in os.listxattr(self.path):
            os.removexattr(self.path, ACCESS)
        os.chmod(self.path, 0o664)
        self.assert_done(self.run_program("update-event", request=UPDATE))
        self.assertNotIn(ACCESS, os.listxattr(self.path))
        self.assertEqual(self.mode(), 0o664)

    def test_change_nobody_s_file_in_a_sticky_directory(self):
        os.chmod(self.work, 0o1777)
        self.owned(0o666)
        planted = [".quenbrook.tmp", ".quenbrook.taken.tmp", ".quenbrook.quarantine-X.tmp"]
        for name in planted:
            (self.work / name).write_text("planted")
            if self.is_root:
                os.chown(self.work / name, MALLORY, MALLORY)
        (self.work / ".quenbrook.note.tmp").symlink_to("3:0 - one.ics")
        before = sorted(os.listdir(self.work))
        if self.is_root:
            self.assertError(self.as_alice("update-event", UPDATE), *SAVE_FAILED)
            self.assertError(self.as_alice("cancel-event", {"id": "work:one"}), *REMOVE_FAILED)
            self.assertEqual(self.path.read_bytes(), TEXT.encode())
            self.assertEqual(sorted(os.listdir(self.work)), before)
        result = self.as_alice("create-event", {
            "calendarId": "work", "title": "New", "startISO": "2026-01-05T10:00:00Z",
            "endISO": "2026-01-05T11:00:00Z"})
        self.assertEqual((result.status, result.err), (0, b""))
        self.assertEqual(len(os.listdir(self.work)), len(before) + self.is_root)
        for name in planted[1:]:
            self.assertEqual((self.work / name).read_text(), "planted")

    def test_write_beside_a_directory_that_is_called_like_a_temporary_file(self):
        (self.work / ".quenbrook.tmp" / "kept").mkdir(parents=True)
        result = self.as_alice("update-event", UPDATE)
        self.assertEqual((result.status, result.err), (0, b""))
        self.assertEqual(sorted(os.listdir(self.work)), [".quenbrook.tmp", "one.ics"])
        self.assertEqual(os.listdir(self.work / ".quenbrook.tmp"), ["kept"])

    def test_wait_ten_seconds_for_a_lock(self):
        directory = os.open(self.work, os.O_RDONLY)
        self.addCleanup(os.close, directory)
        fcntl.flock(directory, fcntl.LOCK_EX)
        begin = time.monotonic()
        self.assertError(self.as_alice("update-event", UPDATE), *SAVE_FAILED)
        self.assertGreaterEqual(time.monotonic() - begin, 10)
        self.assertEqual(self.path.read_bytes(), TEXT.encode())
        self.assertEqual(os.listdir(self.work), ["one.ics"])


class BordersInMemory(Borders):
    where = MEMORY
    # Ten seconds are as long there.
    test_wait_ten_seconds_for_a_lock = None


if __name__ == "__main__":
    unittest.main()
