# SPDX-License-Identifier: MIT
"""Tests of the harness and the tools; the build directory comes in VORN_BENCH_BUILD."""

import json
import os
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import against
import curves
import measure
import page
from bounds import Bounds
from goals import Goals

BUILD = Path(os.environ["VORN_BENCH_BUILD"])
TOOLS = Path(__file__).parent
SHORT = {"repetitions": 3, "seconds": 0.001}


def self_test(operation, purpose="row"):
    rows = measure.rows_of(BUILD / "benchmarks/bench_selftest", purpose)
    return next(row for row in rows if row.operation == operation)


class Harness(unittest.TestCase):
    def test_ratio_is_the_peers_time_by_ours(self):
        slow, level = measure.compare(self_test("slower peer"), **SHORT)
        self.assertEqual([slow["peer"], level["peer"]], ["twenty times", "as quick"])
        self.assertGreater(slow["ratio"], 8)
        self.assertLess(level["ratio"], 4)

    def test_times_are_per_item(self):
        (entry,) = measure.compare(self_test("per item"), **SHORT)
        (whole, _) = measure.compare(self_test("slower peer"), **SHORT)
        self.assertLess(entry["ours_ns"], whole["ours_ns"] / 100)

    def test_contenders_that_disagree_give_no_figure(self):
        for operation in ["differ at once", "differ later", "differ in children"]:
            with self.assertRaisesRegex(measure.Failure, "results differ"):
                measure.compare(self_test(operation), **SHORT)

    def test_every_contender_is_entered(self):
        with self.assertRaisesRegex(measure.Failure, "other contenders"):
            measure.compare(self_test("a contender less"), **SHORT)

    def test_heap_is_what_the_work_keeps(self):
        row = self_test("heap", "heap")
        for contender, least, most in [("ours", 4e6, 4.1e6), ("nothing", 0, 1000)]:
            found, _ = measure.samples(row, repetitions=1, seconds=0.001, contender=contender)
            self.assertTrue(least <= found[contender][0]["bytes"] <= most)

    def test_a_route_that_is_chosen_is_taken(self):
        row = self_test("slower on the portable route")
        (entry,) = measure.compare(row, route="portable", **SHORT)
        self.assertEqual(entry["route"], "portable")
        self.assertLess(entry["ratio"], 0.2)

    def test_a_route_that_is_not_there_is_refused(self):
        with self.assertRaisesRegex(measure.Failure, "no such route"):
            measure.compare(self_test("per item"), route="none such", **SHORT)


class Tools(unittest.TestCase):
    def test_every_goal_has_its_row_and_peer(self):
        rows = {row.name: row for family in measure.FAMILIES
                for row in measure.rows_of(BUILD / f"benchmarks/bench_{family}", "row")}
        for name, peer in Goals().keys():
            self.assertIn(peer, rows[name].contenders)

    def test_goals_go_by_route(self):
        goals = Goals()
        entry = {"family": "crypto", "operation": "SEED encipher", "size": "4 KiB",
                 "peer": "OpenSSL", "route": "avx2"}
        self.assertEqual(goals.of(entry), 6.2)
        self.assertEqual(goals.of(dict(entry, route="sse4")), 3)
        self.assertEqual(goals.of(dict(entry, size="64 B")), 2.8)
        self.assertIsNone(goals.of(dict(entry, size="none such")))
        self.assertEqual(goals.routes("crypto/SEED encipher/4 KiB"),
                         ["portable", "avx2", "avx512", "avx512gfni"])
        self.assertEqual(goals.routes("crypto/SEED encipher/64 B"), [])

    def test_only_more_than_ten_percent_is_slower(self):
        for rounds in [against.FEWEST_ROUNDS, against.ROUNDS]:
            before = [100 + i % 7 for i in range(rounds)]
            for factor, is_slower in [(0.8, False), (1.0, False), (1.05, False), (1.25, True)]:
                self.assertEqual(against.doubt(before, [factor * t for t in before])
                                 < against.CERTAINTY, is_slower)

    def test_every_curve_has_its_bound(self):
        kinds = {"curve": "times", "heap": "bytes"}
        curved = {(f"{row.family}/{row.operation}", kinds[purpose]) for purpose in kinds
                  for family in measure.FAMILIES
                  for row in measure.rows_of(BUILD / f"benchmarks/bench_{family}", purpose)}
        self.assertEqual(curved, set(Bounds().keys()))

    def test_memory_of_many_items_is_within_its_bounds(self):
        rows = [row for family in measure.FAMILIES
                for row in measure.rows_of(BUILD / f"benchmarks/bench_{family}", "heap")
                if row.size == "100,000" and row.family != "file"]
        found = curves.heap_curves(rows, None, lambda line: None)
        self.assertGreaterEqual(len(found), 4)
        self.assertEqual(Bounds().broken(found), [])

    def test_a_cost_that_grows_with_the_number_of_items_is_beyond_its_bound(self):
        def post(at_most, stopped=False):
            points = [(10**3, 90), (10**4, 30), (10**5, 300), (10**6, at_most)]
            return {"family": "thread", "operation": "pool post, per task", "contender": "ours",
                    "points": [{"items": n, "ns_per_item": ns} for n, ns in points],
                    "stopped": stopped}

        def task(most):
            return {"family": "thread", "operation": "queued task", "contender": "ours",
                    "points": [{"items": n, "bytes_per_item": size}
                               for n, size in [(10**4, 1000), (10**5, 60), (10**6, most)]],
                    "stopped": False}

        self.assertEqual(Bounds().broken([post(60), task(65)]), [])
        self.assertEqual(Bounds().broken([post(61), task(65)]),
                         ["thread/pool post, per task (times)"])
        self.assertEqual(Bounds().broken([post(60, stopped=True), task(66)]),
                         ["thread/pool post, per task (times)", "thread/queued task (bytes)"])

    def test_a_measurement_gives_report_and_pictures(self):
        with tempfile.TemporaryDirectory() as directory:
            subprocess.run([sys.executable, TOOLS / "bench.py", "--build", BUILD, "--output",
                            directory, "--quick", "--row", "crypto/MD5/64 B"], check=True,
                           capture_output=True)
            report = json.loads(Path(directory, "report.json").read_text(encoding="utf-8"))
            ElementTree.parse(Path(directory, "pictures/ratio-crypto.svg"))
        self.check_report(report)

    def check_report(self, report):
        for key in ["machine", "compiler", "flags", "peers", "rows"]:
            self.assertTrue(report[key], key)
        self.assertEqual(len(report["rows"]), 2)
        for entry in report["rows"]:
            for key, kind in [("family", str), ("operation", str), ("size", str), ("route", str),
                              ("ours_ns", float), ("peer", str), ("peer_ns", float),
                              ("ratio", float)]:
                self.assertIsInstance(entry[key], kind)
            self.assertAlmostEqual(entry["ratio"] * entry["ours_ns"] / entry["peer_ns"], 1, delta=0.5)

    def test_the_page_has_a_place_for_every_part(self):
        text = (TOOLS.parent.parent / "docs/benchmarks.md").read_text(encoding="utf-8")
        for part in page.PARTS:
            self.assertIn(f"new {part}", page.replace(text, part, f"new {part}"))


if __name__ == "__main__":
    unittest.main()
