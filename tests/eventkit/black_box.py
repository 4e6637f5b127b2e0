"""Runs the black-box tests that need no embedded store: black_box.py SUBJECT…"""

import sys
import unittest

# These lay out the embedded store; test_program.py does the like over the stand-in.
WITH_EMBEDDED_STORE = {
    "test_asks_for_access_before_it_looks_at_the_word",
    "test_needs_few_file_descriptors",
    "test_waits_for_a_slow_reader",
    "test_writes_to_a_pipe_that_was_left_non_blocking",
}


def tests_in(suite):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from tests_in(test)
        else:
            yield test


def name(test):
    return test.id().rpartition(".")[2]


def main(subjects):
    every = list(tests_in(unittest.defaultTestLoader.loadTestsFromNames(
        [f"test_{subject}" for subject in subjects])))
    unknown = WITH_EMBEDDED_STORE - {name(test) for test in every}
    if unknown:
        sys.exit(f"no such tests: {', '.join(sorted(unknown))}")
    chosen = unittest.TestSuite(test for test in every if name(test) not in WITH_EMBEDDED_STORE)
    result = unittest.TextTestRunner().run(chosen)
    sys.exit(not result.wasSuccessful())


if __name__ == "__main__":
    main(sys.argv[1:])
