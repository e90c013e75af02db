# SPDX-License-Identifier: MIT
"""Checks that steady.py, and suite.py, notice what they are there to notice."""

import contextlib
import io
import unittest
from pathlib import Path

import steady
import suite

PASSED = "[ RUN      ] A.Works\n[       OK ] A.Works (1 ms)\n"
SKIPPED = "[ RUN      ] A.IsLeft\nwhy\n[  SKIPPED ] A.IsLeft (0 ms)\n"
FAILED = "[ RUN      ] A/B.Fails/0\nno\n[  FAILED  ] A/B.Fails/0, where GetParam() = 3 (2 ms)\n"


def job(tests=("*",), command=("true",), skipping=-1):
    return suite.Job("Some", command, (), ".", skipping, tests)


def verdicts(output, status):
    counts, failed = suite.verdicts_of(job(), output, status)
    return counts["passed"], counts["skipped"], failed


class Steady(unittest.TestCase):
    def test_counts_what_passes_and_what_is_skipped(self):
        self.assertEqual((1, 1, []), verdicts(PASSED + SKIPPED, 0))

    def test_names_the_test_that_fails(self):
        self.assertEqual((1, 0, ["Some: A/B.Fails/0"]), verdicts(PASSED + FAILED, 1))

    def test_names_the_test_that_ends_the_program(self):
        self.assertEqual((1, 0, ["Some: A.Dies"]), verdicts(PASSED + "[ RUN      ] A.Dies\n", -11))

    def test_notices_a_failure_outside_of_any_test(self):
        self.assertEqual((1, 0, ["Some: exit status 1"]), verdicts(PASSED, 1))

    def test_names_the_check_that_fails(self):
        self.assertEqual(["Some"], suite.verdicts_of(job(()), "", 1)[1])
        self.assertEqual([], suite.verdicts_of(job((), skipping=77), "", 77)[1])

    def test_takes_no_run_of_nothing_for_a_good_one(self):
        self.assertFalse(suite.run_all([], suite.Surroundings("nothing"), 1, Path()))

    def test_refuses_to_run_nothing_and_seeds_that_ctest_has_not(self):
        def status(*words):
            with contextlib.redirect_stderr(io.StringIO()), self.assertRaises(SystemExit) as refusal:
                steady.arguments(["--build", "build/dev", *words])
            return refusal.exception.code
        for words in (["--runs", "0"], ["--seed", "0"], ["--seed", "90000"], ["sideways"]):
            self.assertEqual(2, status(*words), words)

    def test_puts_the_tests_of_a_program_together_unless_a_script_starts_it(self):
        def test(*command):
            properties = [{"name": "WORKING_DIRECTORY", "value": "."}]
            return {"name": command[0], "command": command, "properties": properties}
        listed = [test("p/A", "--gtest_filter=A.B"), test("p/A", "--gtest_filter=A.C"),
                  test("sh", "s.sh", "p/A", "--gtest_filter=A.B")]
        jobs = suite.jobs_of({"tests": listed})
        self.assertEqual([[*listed[2]["command"]], ["p/A", "--gtest_filter=A.B:A.C"]],
                         [j.words() for j in jobs])

    def test_leaves_out_what_is_not_built_only_if_the_build_may_be_partial(self):
        listed = {"tests": [{"name": "A_NOT_BUILT", "properties": []}]}
        self.assertEqual([], suite.jobs_of(listed, partial=True))
        self.assertRaises(KeyError, suite.jobs_of, listed)

    def test_sets_the_surroundings(self):
        shown = job((), ("sh", "-c", 'echo "$TZ"; exit 3'))
        there = suite.Surroundings("there", ("env", "-u", "HOME"), (("TZ", "UTC0"),))
        self.assertEqual(("UTC0\n", 3), suite.run_job(shown, there))


if __name__ == "__main__":
    unittest.main()
