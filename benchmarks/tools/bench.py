# SPDX-License-Identifier: MIT
"""Measures the library beside its peers and reports; ./dev bench calls it."""

import argparse
import datetime
import json
import os
import sys
from pathlib import Path

import against
import curves
import machine
import measure
import page
import pictures
import table
from bounds import Bounds
from goals import Goals

SOURCES = Path(__file__).resolve().parent.parent.parent
QUICK = {"repetitions": 11, "seconds": 0.01}
FULL = {"repetitions": 15, "seconds": 0.03}


def say(line):
    print(line, flush=True)


def arguments():
    parser = argparse.ArgumentParser(prog="./dev bench", description=__doc__)
    parser.add_argument("--quick", action="store_true",
                        help="every row with less time for each, and no curves")
    parser.add_argument("--row", metavar="TEXT", help="only rows with the text in their names")
    parser.add_argument("--route", metavar="NAME", help="have the library take that route")
    parser.add_argument("--page", action="store_true", help="put the figures into the docs")
    parser.add_argument("--small", action="store_true", help="only the rows marked in goals.txt")
    parser.add_argument("--build", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--output", type=Path, help=argparse.SUPPRESS)
    parser.add_argument("--against", type=Path, metavar="REV",
                        help="fail if the library is slower than that revision's")
    options = parser.parse_args()
    if options.page and (options.quick or options.row or options.small):
        parser.error("--page takes a whole measurement")
    return options


def selected(options, purpose, goals):
    found = [row for family in measure.FAMILIES
             for row in measure.rows_of(options.build / f"benchmarks/bench_{family}", purpose)
             if not options.row or options.row in row.name]
    return [row for row in found if row.name in goals.guarded] if options.small else found


def measure_table(options, goals):
    entries = []
    rows = selected(options, "row", goals)
    for number, row in enumerate(rows, 1):
        for route in routes(row, options, goals):
            found = measure.compare(row, route=route, **(QUICK if options.quick else FULL))
            say(f"[{number}/{len(rows)}] {row.name}, {found[0]['route']}: "
                + ", ".join(f"{table.ratio_text(e['ratio'])} {e['peer']}" for e in found))
            entries += found
    return entries


def routes(row, options, goals):
    """The route asked for; else the machine's best, and those that have goals of their own."""
    if options.route:
        return [options.route]
    wanted = goals.routes(row.name)
    if not wanted:
        return [None]
    *lower, _ = measure.routes_of(row)
    return [None] + [route for route in reversed(lower) if route in wanted]


def measure_all(options, goals):
    report = machine.describe(options.build, SOURCES)
    report["date"] = datetime.date.today().isoformat()
    report["repetitions"] = (QUICK if options.quick else FULL)["repetitions"]
    report["rows"] = measure_table(options, goals)
    if not options.quick and not options.small:
        report["time_curves"] = curves.time_curves(selected(options, "curve", goals),
                                                   options.route, say)
        report["heap_curves"] = curves.heap_curves(selected(options, "heap", goals),
                                                   options.route, say)
    report["load_at_end"] = round(os.getloadavg()[0], 2)
    return report


def report_all(options, goals):
    report = measure_all(options, goals)
    (options.output / "report.json").write_text(json.dumps(report, indent=1), encoding="utf-8")
    drawn = options.output / "pictures"
    drawn.mkdir(exist_ok=True)
    pictures.draw_all(report, goals, drawn)
    say(table.as_text(report["rows"], goals))
    say(f"the report is {options.output}/report.json, the pictures are beside it")
    if options.page:
        page.update(SOURCES / "docs/benchmarks.md", report, goals, drawn)
    broken = Bounds().broken(report.get("time_curves", []) + report.get("heap_curves", []))
    if broken:
        raise measure.Failure("beyond their bounds: " + ", ".join(broken))


def compare_builds(options, goals):
    slower = against.find_slower(selected(options, "row", goals), options.against,
                                 options.build / "Bases", say)
    if slower:
        raise measure.Failure("slower than before: " + ", ".join(slower))
    say("no row is slower than before by more than 10 %")


def main():
    options = arguments()
    options.build = options.build.resolve()
    options.output = (options.output or options.build).resolve()
    goals = Goals()
    if options.against:
        options.against = options.against.resolve()
    work = options.build / "work"  # where programs put their files
    work.mkdir(exist_ok=True)
    os.chdir(work)
    try:
        if options.against:
            compare_builds(options, goals)
        else:
            report_all(options, goals)
    except measure.Failure as failure:
        sys.exit(f"bench: {failure}")


if __name__ == "__main__":
    main()
