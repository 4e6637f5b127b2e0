"""Network, encrypted and FUSE file systems cannot do all that others can: their errors are made
here, at each such call. What does not need the call is done without it."""

import errno
import json
import os
import signal
import stat
import unittest

from writers import CALENDAR, FAILURE, WRITES, WritersTest

# What kernels, FUSE servers and shares give for a call that they do not have.
NO_FLAGS = (errno.EINVAL, errno.ENOSYS, errno.EOPNOTSUPP, errno.EPERM)
NO_LINKS = (errno.EPERM, errno.EOPNOTSUPP, errno.ENOSYS, errno.EMLINK, errno.EXDEV, errno.EACCES)
NO_FOLDER_SYNC = (errno.EINVAL, errno.EBADF, errno.EOPNOTSUPP, errno.ENOSYS)
NO_MODES = (errno.EPERM, errno.EOPNOTSUPP, errno.ENOSYS, errno.EACCES, errno.EINVAL)
NO_LOCKS = (errno.ENOLCK, errno.ENOSYS, errno.EOPNOTSUPP)


class LesserFileSystems(WritersTest):
    def run_without(self, word, request, calls, **variables):
        failing = " ".join(f"{call}={number}" for call, number in calls.items())
        return self.run_program(word, request=request, env={
            **self.preloaded(), "QUENBROOK_FAIL": failing, **variables})

    def assert_all_done_without(self, calls):
        for write in WRITES:
            with self.subTest(write=write.name, calls=calls):
                self.lay_out()
                result = self.run_without(write.word, write.request, calls)
                self.assert_success_told(write, result)
                self.assertEqual(self.outcome(write), "new")
                self.assertEqual(self.left_over(), [])

    def test_without_the_flags_of_a_rename(self):
        for number in NO_FLAGS:
            self.assert_all_done_without({"rename-to-free": number, "exchange": number})

    def test_without_links(self):
        for number in NO_LINKS:
            self.assert_all_done_without({"linkat": number})

    def test_without_flags_and_links(self):
        for number in NO_LINKS:
            self.assert_all_done_without(
                {"rename-to-free": errno.EINVAL, "exchange": errno.EINVAL, "linkat": number})

    def test_without_extended_attributes(self):
        for number in (errno.ENOTSUP, errno.ENOSYS):
            self.assert_all_done_without({"flistxattr": number, "fremovexattr": number})

    def test_refuse_what_would_lose_an_attribute(self):
        """An attribute that cannot be set, or an access list of the folder's that cannot be taken off."""
        path = self.work / "one.ics"
        for calls in ({"fsetxattr": errno.ENOSPC}, {"fsetxattr": errno.EPERM},
                      {"fsetxattr": errno.ENOTSUP}, {"fremovexattr": errno.EPERM}):
            with self.subTest(calls=calls):
                self.lay_out()
                os.setxattr(path, "user.note", b"mine")
                update = WRITES[2]
                result = self.run_without(update.word, update.request, calls)
                self.assertError(result, *FAILURE[update.word])
                self.assertEqual(self.outcome(update), "old")
                self.assertEqual(os.getxattr(path, "user.note"), b"mine")
                self.assertEqual(self.left_over(), [])
                self.assertEqual(self.quarantined(), [])

    def test_a_sandbox_that_knows_only_the_older_question_of_access(self):
        """What it refuses is no word on the calendar; what it then answers is."""
        self.assert_all_done_without({"faccessat-effective": errno.EPERM})
        for answer, writable in ((None, True), (errno.EACCES, False), (errno.EROFS, False)):
            calls = {"faccessat-effective": errno.EPERM, **({"faccessat": answer} if answer else {})}
            with self.subTest(answer=answer):
                result = self.run_without("list-calendars", b"", calls)
                self.assertEqual((result.status, result.err), (0, b""))
                calendars = json.loads(result.out)["calendars"]
                self.assertEqual([each["writable"] for each in calendars], [writable])

    def test_without_syncing_folders(self):
        for number in NO_FOLDER_SYNC:
            self.assert_all_done_without({"fsync-directory": number})

    def test_without_modes_the_file_stays_private(self):
        for number in NO_MODES:
            calls = {"fchmod": number, "fchown": number}
            self.assert_all_done_without(calls)
            self.lay_out()
            os.chmod(self.work / "one.ics", 0o664)
            self.run_without("update-event", WRITES[2].request, calls)
            self.assertEqual(stat.S_IMODE((self.work / "one.ics").stat().st_mode), 0o600)

    def test_without_anything_of_these(self):
        self.assert_all_done_without({
            "rename-to-free": errno.EINVAL, "exchange": errno.EINVAL, "linkat": errno.EPERM,
            "fsync-directory": errno.EINVAL, "fchmod": errno.EPERM,
            "fchown": errno.EPERM})

    def test_without_locks_nothing_is_written(self):
        for number in NO_LOCKS:
            for write in WRITES:
                with self.subTest(write=write.name, number=number):
                    self.lay_out()
                    result = self.run_without(write.word, write.request, {"flock": number})
                    self.assertEqual((result.status, result.out), (1, b""))
                    self.assertIn(b"_FAILED", result.err)
                    self.assertEqual(self.files(), CALENDAR)
                    self.assertEqual(self.left_over(), [])

    def test_a_sync_of_a_folder_that_fails_otherwise_is_told(self):
        for write in WRITES:
            for number in (errno.EIO, errno.ENOSPC, errno.EDQUOT):
                with self.subTest(write=write.name, number=number):
                    self.lay_out()
                    result = self.run_without(write.word, write.request, {"fsync-directory": number})
                    self.assertEqual((result.status, result.out), (1, b""))

    def test_a_name_that_is_held_when_a_run_is_killed_hides_nothing(self):
        """Between the holding of a name and the whole file under it there is an empty file."""
        calls = {"rename-to-free": errno.EINVAL, "linkat": errno.EPERM}
        listed = self.place / "calls"
        self.run_without("create-event", WRITES[0].request, calls, QUENBROOK_LIST=str(listed))
        made = listed.read_text().split()
        hold = next(call for call in made[made.index("linkat"):] if call.startswith("openat"))
        self.lay_out()
        result = self.run_without("create-event", WRITES[0].request, calls,
                                  QUENBROOK_KILL_AFTER=hold)
        self.assertEqual(result.status, -signal.SIGKILL)
        _, content = self.changed_file()
        self.assertEqual(content, b"")
        self.assertEqual(self.list_titles(), self.untouched_titles)
        self.assert_next_write_works()

    def test_a_first_run(self):
        data = self.place / "fresh"
        result = self.run_without("list-calendars", b"", {
            "rename-to-free": errno.EINVAL, "linkat": errno.EPERM,
            "fsync-directory": errno.EBADF}, XDG_DATA_HOME=str(data))
        self.assertEqual((result.status, result.err), (0, b""))
        self.assertEqual(json.loads(result.out)["calendars"][0]["id"], "local/calendar")
        self.assertEqual([path.name for path in data.rglob(".*")], [])


if __name__ == "__main__":
    unittest.main()
