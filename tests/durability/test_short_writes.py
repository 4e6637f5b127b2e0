"""A file system may take fewer bytes than it is given."""

import unittest

from tracing import traced
from writers import TEMPORARY, WRITES, WritersTest


class ShortWrites(WritersTest):
    def test_end_in_the_same_file(self):
        for limit in (1, 70, 4096):
            for write in WRITES:
                if limit < 4096 and write.name in ("create large", "update of many",
                                                   "cancel of many"):
                    continue
                with self.subTest(write=write.name, limit=limit):
                    self.lay_out()
                    result, calls = traced(self, write.word, write.request, variables=[
                        *(f"{name}={value}" for name, value in self.preloaded().items()),
                        f"QUENBROOK_WRITE_LIMIT={limit}"])
                    self.assert_success_told(write, result)
                    self.assertEqual(self.outcome(write), "new")
                    self.assertEqual(self.left_over(), [])
                    written = [int(call.result) for call in calls if call.name == "write"
                               and call.place == str(self.work / TEMPORARY)]
                    if write.name != "cancel one":
                        self.assertLessEqual(max(written), limit)


if __name__ == "__main__":
    unittest.main()
