# SPDX-License-Identifier: MIT
"""Checks that valgrind.py notices what it is there to notice, in the canaries of the preset dev."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

import valgrind
from suite import SOURCES, Job

CANARIES = SOURCES / "build/dev/tests/canaries"


def job(command, *tests, name="Some"):
    return Job(name, command, (), ".", -1, tests)


def outcome(*jobs):
    """Whether all goes well, and what is printed."""
    with tempfile.TemporaryDirectory(dir=SOURCES / "build") as scratch, \
            contextlib.redirect_stdout(io.StringIO()) as printed:
        return valgrind.run_under_valgrind(jobs, Path(scratch)), printed.getvalue()


class Valgrind(unittest.TestCase):
    def expect_report(self, text, program, *tests):
        good, printed = outcome(job((str(CANARIES / program),), *tests))
        self.assertFalse(good)
        self.assertIn(text, printed)

    def test_notices_the_use_of_what_nobody_has_written(self):
        self.expect_report("depends on uninitialised value", "Uninitialised")

    def test_notices_what_the_library_has_allocated_and_nobody_frees(self):
        self.expect_report("definitely lost", "Canary", "Canary.LeaksWhatTheLibraryHasAllocated")

    def test_notices_a_read_behind_an_array(self):
        self.expect_report("Invalid read", "Canary", "Canary.LetsTheLibraryReadBehindAnArray")

    def test_notices_a_test_that_fails(self):
        self.expect_report("FAILED valgrind: Some: Canary.FailsAnExpectation", "Canary",
                           "Canary.FailsAnExpectation")

    def test_finds_nothing_where_there_is_nothing(self):
        good, printed = outcome(job(("true",)))
        self.assertTrue(good, printed)

    def test_counts_the_report_about_a_process_that_looks_well(self):
        with tempfile.TemporaryDirectory() as place, contextlib.redirect_stdout(io.StringIO()):
            for name, text, good in (("1", "", True), ("2", "Invalid read", False)):
                report = Path(place) / "Some-0" / name
                report.parent.mkdir(exist_ok=True)
                report.write_text(text)
                self.assertEqual(good, valgrind.tell_reports(Path(place)))

    def test_leaves_out_programs_and_tests(self):
        jobs = [job((), "A.B", "A.C", name="One"), job((), "B.B", name="Other"),
                job((), name="Fuzz.ReplaysTheCorpusOfIt")]
        kept = valgrind.without(jobs, ["*.C", "Other"])
        self.assertEqual([("One", ("A.B",)), ("Fuzz.ReplaysTheCorpusOfIt", ())],
                         [(j.name, j.tests) for j in kept])

    def test_refuses_to_leave_out_what_is_not_there(self):
        with self.assertRaises(SystemExit):
            valgrind.without([job((), "A.B")], ["A.C"])

    def test_runs_a_program_in_one_environment(self):
        jobs = [job((), "A.B", name="One"), job((), "A.B", name="Other"), job((), "A.C", name="One")]
        self.assertEqual(jobs[:2], valgrind.once(jobs))

    def test_runs_all_that_a_sample_of_few_tests_has(self):
        jobs = [job((), "A.B", "A.C", name="One"), job((), name="Fuzz.ReplaysTheCorpusOfIt")]
        self.assertEqual({("One", frozenset({"A.B", "A.C"})),
                          ("Fuzz.ReplaysTheCorpusOfIt", frozenset())},
                         {(j.name, frozenset(j.tests)) for j in valgrind.sample(jobs, 1)})


if __name__ == "__main__":
    unittest.main()
