# SPDX-License-Identifier: MIT
"""Checks that coverage.py notices what it is there to notice."""

import unittest

import coverage

PAGE = "| Lines | 9 of 10 | 90 % |\n| Functions | 2 of 2 | |\n| Branches | 200 of 200 | |\n"
FIGURES = {"Lines": (9, 10), "Functions": (2, 2), "Branches": (200, 200)}


def source(*lines):
    return {"file": "Bases/a.cpp", "functions": [{"execution_count": 1}],
            "lines": [{"line_number": number, "count": count,
                       "branches": [{"count": taken} for taken in branches]}
                      for number, (count, *branches) in enumerate(lines, 1)]}


def marks(text, *lines):
    found = []
    coverage.marks_of(source(*lines), text, found)
    return found


class Coverage(unittest.TestCase):
    def test_counts_what_is_run_and_what_is_not(self):
        report = {"files": [source((1, 1, 0), (0,))]}
        self.assertEqual(coverage.figures_of(report),
                         {"Lines": (1, 2), "Functions": (1, 1), "Branches": (1, 2)})

    def test_accepts_what_the_page_says_and_better(self):
        for run in (9, 10):
            self.assertEqual([], coverage.faults_of({**FIGURES, "Lines": (run, 10)}, [], PAGE))

    def test_notices_that_any_figure_has_fallen(self):
        for kind, (run, all) in FIGURES.items():
            fallen = {**FIGURES, kind: (run - 1, all)}
            self.assertIn(kind, coverage.faults_of(fallen, [], PAGE)[0])
            grown = {**FIGURES, kind: (run, all + 1)}
            self.assertIn(kind, coverage.faults_of(grown, [], PAGE)[0])

    def test_notices_a_figure_that_the_page_lacks(self):
        self.assertEqual(3, len(coverage.faults_of(FIGURES, [], "nothing")))

    def test_finds_what_marks_hide(self):
        self.assertEqual([("Bases/a.cpp:1", "race", 1, 0), ("Bases/a.cpp:2", "host", 0, 1)],
                         marks("a // GCOVR_EXCL_BR_LINE race\nb // GCOVR_EXCL_LINE host\n",
                               (1, 1, 0), (0,)))

    def test_notices_marks_that_hide_nothing_or_give_no_reason(self):
        for text, fault in [("a // GCOVR_EXCL_BR_LINE host", "hides nothing"),
                            ("a // GCOVR_EXCL_LINE host", "hides nothing"),
                            ("a\nb // GCOVR_EXCL_BR_LINE", "one word"),
                            ("a\nb // GCOVR_EXCL_BR_LINE two words", "one word")]:
            found = marks(text, (1, 1, 1), (1, 0))
            self.assertIn(fault, coverage.faults_of(FIGURES, found, PAGE)[0])

    def test_accepts_that_a_race_has_happened(self):
        found = marks("a // GCOVR_EXCL_BR_LINE race", (1, 1, 1))
        self.assertEqual([], coverage.faults_of(FIGURES, found, PAGE))

    def test_notices_that_marks_hide_more_than_one_branch_in_a_hundred(self):
        self.assertEqual([], coverage.faults_of(FIGURES, [("a:1", "race", 2, 0)], PAGE))
        self.assertEqual(1, len(coverage.faults_of(FIGURES, [("a:1", "race", 3, 0)], PAGE)))


if __name__ == "__main__":
    unittest.main()
